#include "solver/modules.hpp"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>
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

// Looks up prefix + name; a missing mandatory symbol is fatal.
template <class Fn>
void find(Fn &slot, void *handle, const char *prefix, const char *name, bool mandatory, const char *tag) {
    const std::string symbol = std::string(prefix) + name;
    dlerror();
    void *address = dlsym(handle, symbol.c_str());
    if (address == nullptr && mandatory) fatal(std::string(tag) + ": symbol not found: " + symbol);
    slot = reinterpret_cast<Fn>(address);
}

// The shared part of a heuristic or exhaustive module, looked up with the
// family's prefix.
void load_shared(SharedModuleTable &t, const char *p, const char *tag) {
    find(t.destroy, t.handle, p, "destroy", true, tag);
    find(t.sol_list_count, t.handle, p, "sol_list_count", true, tag);
    find(t.sol_list_get, t.handle, p, "sol_list_get", true, tag);
    find(t.sol_list_destroy, t.handle, p, "sol_list_destroy", true, tag);
    find(t.register_callback, t.handle, p, "register_callback", true, tag);
    find(t.get_info, t.handle, p, "get_info", false, tag);
    find(t.free_info, t.handle, p, "free_info", false, tag);
    find(t.add_constraint, t.handle, p, "add_constraint", false, tag);
    find(t.add_constraint_nl, t.handle, p, "add_constraint_nl", false, tag);
    find(t.add_constraint_set, t.handle, p, "add_constraint_set", false, tag);
    find(t.set_cons_shape, t.handle, p, "set_cons_shape", false, tag);
    find(t.set_remainder, t.handle, p, "set_remainder", false, tag);
}

NimbaModuleTable load_nimba(const std::string &word) {
    constexpr const char *tag = "NimbaSolver";
    constexpr const char *p = "vexa_nimba_solver_";
    NimbaModuleTable t;
    t.handle = open_module(module_dir() + "nimbasolver_" + word + ".so", tag);
    find(t.create, t.handle, p, "create", true, tag);
    find(t.search, t.handle, p, "search", true, tag);
    load_shared(t, p, tag);
    find(t.create_int, t.handle, p, "create_int", false, tag);
    find(t.search_int, t.handle, p, "search_int", false, tag);
    return t;
}

ExhaustiveModuleTable load_exhaustive() {
    constexpr const char *tag = "ExhaustiveSolver";
    constexpr const char *p = "vexa_exhaustive_";
    ExhaustiveModuleTable t;
    t.handle = open_module(library_dir() + "exhaustive_cppint.so", tag);
    find(t.create, t.handle, p, "create", true, tag);
    find(t.search, t.handle, p, "search", true, tag);
    load_shared(t, p, tag);
    return t;
}

TessixModuleTable load_tessix() {
    constexpr const char *tag = "TessixSolver";
    constexpr const char *p = "vexa_tessix_";
    TessixModuleTable t;
    void *h = t.handle = open_module(module_dir() + "tessix_cppint.so", tag);
    find(t.gpu_device_count, h, p, "gpu_device_count", true, tag);
    find(t.cpu_solver_create, h, p, "cpu_solver_create", true, tag);
    find(t.cpu_solver_create_int, h, p, "cpu_solver_create_int", false, tag);
    find(t.cpu_solver_search_int, h, p, "cpu_solver_search_int", false, tag);
    find(t.cpu_register_callback_iv, h, p, "cpu_register_callback_iv", false, tag);
    find(t.cpu_hint_iv, h, p, "cpu_hint_iv", false, tag);
    find(t.cpu_add_constraint, h, p, "cpu_add_constraint", false, tag);
    find(t.cpu_add_constraint_nl, h, p, "cpu_add_constraint_nl", false, tag);
    find(t.cpu_add_constraint_set, h, p, "cpu_add_constraint_set", false, tag);
    find(t.add_constraint_set, h, p, "add_constraint_set", false, tag);
    find(t.add_constraint, h, p, "add_constraint", false, tag);
    find(t.add_constraint_nl, h, p, "add_constraint_nl", false, tag);
    find(t.cpu_set_cons_shape, h, p, "cpu_set_cons_shape", false, tag);
    find(t.set_cons_shape, h, p, "set_cons_shape", false, tag);
    find(t.cpu_set_remainder, h, p, "cpu_set_remainder", false, tag);
    find(t.set_remainder, h, p, "set_remainder", false, tag);
    find(t.cpu_solver_destroy, h, p, "cpu_solver_destroy", true, tag);
    find(t.cpu_solver_search, h, p, "cpu_solver_search", true, tag);
    find(t.cpu_register_callback, h, p, "cpu_register_callback", true, tag);
    find(t.cpu_sol_list_count, h, p, "cpu_sol_list_count", true, tag);
    find(t.cpu_sol_list_get, h, p, "cpu_sol_list_get", true, tag);
    find(t.cpu_sol_list_destroy, h, p, "cpu_sol_list_destroy", true, tag);
    find(t.cpu_hint_solution, h, p, "cpu_hint_solution", false, tag);
    find(t.cpu_solver_set_external_stop, h, p, "cpu_solver_set_external_stop", false, tag);
    find(t.solver_create, h, p, "solver_create", false, tag);
    if (t.solver_create != nullptr) {
        find(t.init, h, p, "init", false, tag);
        find(t.solver_destroy, h, p, "solver_destroy", false, tag);
        find(t.solver_search, h, p, "solver_search", false, tag);
        find(t.register_callback, h, p, "register_callback", false, tag);
        find(t.sol_list_count, h, p, "sol_list_count", false, tag);
        find(t.sol_list_get, h, p, "sol_list_get", false, tag);
        find(t.sol_list_destroy, h, p, "sol_list_destroy", false, tag);
        find(t.hint_solution, h, p, "hint_solution", false, tag);
        find(t.solver_set_external_stop, h, p, "solver_set_external_stop", false, tag);
    }
    find(t.int_create, h, p, "int_create", false, tag);
    find(t.int_add_cons, h, p, "int_add_cons", false, tag);
    find(t.int_round2, h, p, "int_round2", false, tag);
    find(t.int_hint, h, p, "int_hint", false, tag);
    find(t.int_set_cons_shape, h, p, "int_set_cons_shape", false, tag);
    find(t.int_destroy, h, p, "int_destroy", false, tag);
    // The integer GPU engine needs all of these; int_set_cons_shape is asked
    // for only by models with penalty shapes.
    if (t.int_add_cons == nullptr || t.int_round2 == nullptr || t.int_hint == nullptr ||
        t.int_destroy == nullptr) {
        t.int_create = nullptr;
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
    return tables->emplace(word, load_nimba(word)).first->second;
}

ExhaustiveModuleTable &exhaustive_module() {
    static ExhaustiveModuleTable table = load_exhaustive();
    return table;
}

TessixModuleTable &tessix_module() {
    static TessixModuleTable table = load_tessix();
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
