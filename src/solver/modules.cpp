#include "solver/modules.hpp"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>

#include "core/fatal.hpp"
#include "vexa/var.h"

namespace vexa {

namespace {

// Directory part of the file that holds vexa_var_reset: this library, or the
// executable when the code is linked in statically.
std::string own_file_dir() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&vexa_var_reset), &info) != 0 && info.dli_fname != nullptr &&
        info.dli_fname[0] != '\0') {
        const std::string path = info.dli_fname;
        const size_t slash = path.rfind('/');
        return slash == std::string::npos ? std::string("./") : path.substr(0, slash + 1);
    }
    return "lib/";
}

void *open_module(const std::string &path, const char *tag) {
    void *handle = dlopen(path.c_str(), RTLD_NOW);
    if (handle == nullptr) {
        const char *why = dlerror();
        fatal(std::string(tag) + ": failed to load " + path + ": " + (why != nullptr ? why : ""));
    }
    return handle;
}

// Opens the file at `path` and fills every slot of the family's table, row
// by row: a missing mandatory symbol is fatal with the family's tag, rows of
// the GPU family are looked up only when its entry was found, and an engine
// with a missing part loses its entry point.
template <class Table>
Table load_table(const std::string &path) {
    Table t;
    t.handle = open_module(path, Table::tag);
    bool gpu_family = true;
    bool engine_complete = true;
    t.each_slot([&](const SymbolRow &row, auto &slot) {
        if (row.need == SymbolNeed::gpu && !gpu_family) return;
        const std::string symbol = std::string(Table::prefix) + row.name;
        dlerror();
        void *address = dlsym(t.handle, symbol.c_str());
        if (address == nullptr && row.need == SymbolNeed::mandatory) {
            fatal(std::string(Table::tag) + ": symbol not found: " + symbol);
        }
        slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(address);
        if (row.need == SymbolNeed::gpu_entry) gpu_family = address != nullptr;
        if (row.need == SymbolNeed::int_part && address == nullptr) engine_complete = false;
    });
    if (!engine_complete) {
        t.each_slot([](const SymbolRow &row, auto &slot) {
            if (row.need == SymbolNeed::int_entry) slot = nullptr;
        });
    }
    return t;
}

// What the exhaustive family is registered with: its progress goes nowhere.
double swallow_progress(void *, const vexa_bigint *, const uint64_t *, uint32_t, double) { return 0.0; }

// Registrations of the exhaustive and accelerated families: plain flags.
bool exhaustive_registered = false;
bool tessix_gpu_registered = false;
bool tessix_cpu_registered = false;
bool tessix_int_registered = false;

}  // namespace

double ignore_progress(void *, const vexa_bigint *, const uint64_t *, uint32_t, double) { return -1.0; }

std::string library_dir() { return own_file_dir(); }

std::string module_dir() {
    const char *env = std::getenv("VEXA_LIB_DIR");
    if (env != nullptr && env[0] != '\0') {
        std::string dir = env;
        if (dir.back() != '/') dir.push_back('/');
        return dir;
    }
    return own_file_dir();
}

NimbaModuleTable &nimba_module(const char *variant) {
    static std::once_flag once;
    static std::unordered_map<std::string, NimbaModuleTable> *tables = nullptr;
    std::call_once(once, [] { tables = new std::unordered_map<std::string, NimbaModuleTable>(); });
    const std::string word = variant != nullptr ? variant : "cppint";
    auto found = tables->find(word);
    if (found != tables->end()) return found->second;
    // Nodes of an unordered_map never move, so the reference stays valid.
    return tables->emplace(word, load_table<NimbaModuleTable>(module_dir() + "nimbasolver_" + word + ".so"))
        .first->second;
}

ExhaustiveModuleTable &exhaustive_module() {
    static ExhaustiveModuleTable table = load_table<ExhaustiveModuleTable>(library_dir() + "exhaustive_cppint.so");
    return table;
}

TessixModuleTable &tessix_module() {
    static TessixModuleTable table = load_table<TessixModuleTable>(module_dir() + "tessix_cppint.so");
    return table;
}

void register_nimba_callback_once(const std::string &variant, const NimbaModuleTable &table) {
    static std::unordered_set<std::string> registered;
    if (registered.insert(variant).second) table.register_callback(&ignore_progress);
}

void register_exhaustive_callback_once(const ExhaustiveModuleTable &table) {
    if (exhaustive_registered) return;
    exhaustive_registered = true;
    table.register_callback(&swallow_progress);
}

void register_tessix_gpu_callback_once(const TessixModuleTable &table, vexa_module_callback forwarder) {
    if (tessix_gpu_registered || table.register_callback == nullptr) return;
    tessix_gpu_registered = true;
    table.register_callback(forwarder);
}

void register_tessix_cpu_callback_once(const TessixModuleTable &table, vexa_module_callback forwarder) {
    if (tessix_cpu_registered || table.cpu_register_callback == nullptr) return;
    tessix_cpu_registered = true;
    table.cpu_register_callback(forwarder);
}

void register_tessix_int_callback_once(const TessixModuleTable &table, vexa_module_int_callback forwarder) {
    if (tessix_int_registered || table.cpu_register_callback_iv == nullptr) return;
    tessix_int_registered = true;
    table.cpu_register_callback_iv(forwarder);
}

}  // namespace vexa
