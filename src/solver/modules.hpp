// Solver modules: finding the module directory, opening the three families of
// module files and keeping their function tables for the life of the process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "solver/module_symbols.h"

namespace vexa {

// The directory the heuristic and accelerated modules are looked for in,
// ending in "/": VEXA_LIB_DIR if set and not empty, else the directory of the
// file that holds this library's code, else "lib/".
std::string module_dir();

// The same without VEXA_LIB_DIR: where "exhaustive_cppint.so" is looked for.
std::string library_dir();

// How the loader treats one row of a family's symbol list
// (solver/module_symbols.h tells each case).
enum class SymbolNeed : uint8_t { mandatory, optional, gpu_entry, gpu, int_entry, int_part };

// A row of a symbol list: the name without the family's prefix.
struct SymbolRow {
    const char *name;
    SymbolNeed need;
};

// A module table: the dlopen handle, then one function pointer per row of the
// family's list, in the list's order. `rows` names them; each_slot visits
// every slot with its row, in the same order.
#define VEXA_TABLE_SLOT(name, type, need) type name = nullptr;
#define VEXA_TABLE_ROW(name, type, need) SymbolRow{#name, SymbolNeed::need},
#define VEXA_TABLE_VISIT(name, type, need) visit(SymbolRow{#name, SymbolNeed::need}, name);
#define VEXA_MODULE_TABLE(Table, LIST, PREFIX, TAG)                                            \
    struct Table {                                                                             \
        static constexpr const char *prefix = PREFIX;                                          \
        static constexpr const char *tag = TAG;                                                \
        static constexpr SymbolRow rows[] = {LIST(VEXA_TABLE_ROW)};                            \
        void *handle = nullptr;                                                                \
        LIST(VEXA_TABLE_SLOT)                                                                  \
        template <class Visit>                                                                 \
        void each_slot(Visit &&visit) {                                                        \
            LIST(VEXA_TABLE_VISIT)                                                             \
        }                                                                                      \
        template <class Visit>                                                                 \
        void each_slot(Visit &&visit) const {                                                  \
            LIST(VEXA_TABLE_VISIT)                                                             \
        }                                                                                      \
    };

// One heuristic module ("nimbasolver_<word>.so").
VEXA_MODULE_TABLE(NimbaModuleTable, VEXA_NIMBA_MODULE_SYMBOLS, "vexa_nimba_solver_", "NimbaSolver")
// The exhaustive module ("exhaustive_cppint.so").
VEXA_MODULE_TABLE(ExhaustiveModuleTable, VEXA_EXHAUSTIVE_MODULE_SYMBOLS, "vexa_exhaustive_", "ExhaustiveSolver")
// The accelerated module ("tessix_cppint.so"): a CPU family, constraint
// functions of both sides, a GPU binary family (absent in a CPU-only file)
// and the integer GPU engine (int_create is null when a part is missing).
VEXA_MODULE_TABLE(TessixModuleTable, VEXA_TESSIX_MODULE_SYMBOLS, "vexa_tessix_", "TessixSolver")

#undef VEXA_MODULE_TABLE
#undef VEXA_TABLE_VISIT
#undef VEXA_TABLE_ROW
#undef VEXA_TABLE_SLOT

// Whether the table's slot of that name is filled; false for a name the
// family does not have.
template <class Table>
bool has_symbol(const Table &t, std::string_view name) {
    bool found = false;
    t.each_slot([&](const SymbolRow &row, const auto &slot) {
        if (name == row.name) found = slot != nullptr;
    });
    return found;
}

// Whether the family has an optional symbol of that name (for checks at
// compile time of names written elsewhere).
template <class Table>
constexpr bool names_optional_symbol(std::string_view name) {
    for (const SymbolRow &row : Table::rows) {
        if (name == row.name) return row.need != SymbolNeed::mandatory;
    }
    return false;
}

// The table of a variant word (null means "cppint"), opened on first use.
// The map of tables is filled without a lock: the first use of a word must
// not race with another thread.
NimbaModuleTable &nimba_module(const char *variant);
// Opened once per process, under a once-guard.
ExhaustiveModuleTable &exhaustive_module();
TessixModuleTable &tessix_module();

// Once-per-process callback registrations. The heuristic family gets a
// function that returns -1.0, once per variant word; the exhaustive family a
// function that does nothing.
void register_nimba_callback_once(const std::string &variant, const NimbaModuleTable &table);
void register_exhaustive_callback_once(const ExhaustiveModuleTable &table);

// The accelerated family's three registrations, each once per process and
// skipped when the module lacks the function. The driver passes its
// forwarders.
void register_tessix_gpu_callback_once(const TessixModuleTable &table, vexa_module_callback forwarder);
void register_tessix_cpu_callback_once(const TessixModuleTable &table, vexa_module_callback forwarder);
void register_tessix_int_callback_once(const TessixModuleTable &table, vexa_module_int_callback forwarder);

// The callback the heuristic family is registered with.
double ignore_progress(void *w, const vexa_bigint *energy, const uint64_t *bits, uint32_t event, double tts);

}  // namespace vexa
