// Solver modules: finding the module directory, opening the three families of
// module files and keeping their function tables for the life of the process.
#pragma once

#include <string>

#include "vexa/solver_module.h"

namespace vexa {

// The directory the heuristic and accelerated modules are looked for in,
// ending in "/": VEXA_LIB_DIR if set and not empty, else the directory of the
// file that holds this library's code, else "lib/".
std::string module_dir();

// The same without VEXA_LIB_DIR: where "exhaustive_cppint.so" is looked for.
std::string library_dir();

// The functions the heuristic and exhaustive families share under the same
// names: destroy and the solution list are mandatory, the rest may be null.
struct SharedModuleTable {
    void *handle = nullptr;
    vexa_module_destroy_fn destroy = nullptr;
    vexa_sol_list_count_fn sol_list_count = nullptr;
    vexa_sol_list_get_fn sol_list_get = nullptr;
    vexa_sol_list_destroy_fn sol_list_destroy = nullptr;
    vexa_register_callback_fn register_callback = nullptr;
    vexa_get_info_fn get_info = nullptr;
    vexa_free_info_fn free_info = nullptr;
    vexa_add_constraint_fn add_constraint = nullptr;
    vexa_add_constraint_nl_fn add_constraint_nl = nullptr;
    vexa_add_constraint_set_fn add_constraint_set = nullptr;
    vexa_set_cons_shape_fn set_cons_shape = nullptr;
    vexa_set_remainder_fn set_remainder = nullptr;
};

// One heuristic module ("nimbasolver_<word>.so"). create and search are
// mandatory; the integer engine may be missing.
struct NimbaModuleTable : SharedModuleTable {
    vexa_nimba_create_fn create = nullptr;
    vexa_nimba_create_int_fn create_int = nullptr;
    vexa_nimba_search_int_fn search_int = nullptr;
    vexa_nimba_search_fn search = nullptr;
};

struct ExhaustiveModuleTable : SharedModuleTable {
    vexa_exhaustive_create_fn create = nullptr;
    vexa_exhaustive_search_fn search = nullptr;
};

// The accelerated module: a GPU binary family (absent in a CPU-only file), a
// CPU family, constraint functions of both, and the integer GPU engine
// (int_create is null when any of its mandatory parts is missing).
struct TessixModuleTable {
    void *handle = nullptr;
    vexa_tessix_init_fn init = nullptr;
    vexa_tessix_solver_create_fn solver_create = nullptr;
    vexa_module_destroy_fn solver_destroy = nullptr;
    vexa_tessix_search_fn solver_search = nullptr;
    vexa_register_callback_fn register_callback = nullptr;
    vexa_sol_list_count_fn sol_list_count = nullptr;
    vexa_tessix_sol_list_get_fn sol_list_get = nullptr;
    vexa_sol_list_destroy_fn sol_list_destroy = nullptr;
    vexa_tessix_hint_solution_fn hint_solution = nullptr;
    vexa_tessix_set_external_stop_fn solver_set_external_stop = nullptr;
    vexa_nimba_create_fn cpu_solver_create = nullptr;
    vexa_add_constraint_fn cpu_add_constraint = nullptr;
    vexa_add_constraint_nl_fn cpu_add_constraint_nl = nullptr;
    vexa_add_constraint_set_fn cpu_add_constraint_set = nullptr;
    vexa_set_cons_shape_fn cpu_set_cons_shape = nullptr;
    vexa_add_constraint_set_fn add_constraint_set = nullptr;
    vexa_add_constraint_fn add_constraint = nullptr;
    vexa_add_constraint_nl_fn add_constraint_nl = nullptr;
    vexa_set_cons_shape_fn set_cons_shape = nullptr;
    vexa_set_remainder_fn cpu_set_remainder = nullptr;
    vexa_set_remainder_fn set_remainder = nullptr;
    vexa_module_destroy_fn cpu_solver_destroy = nullptr;
    vexa_tessix_search_fn cpu_solver_search = nullptr;
    vexa_tessix_cpu_solver_create_int_fn cpu_solver_create_int = nullptr;
    vexa_tessix_search_int_fn cpu_solver_search_int = nullptr;
    vexa_tessix_register_callback_iv_fn cpu_register_callback_iv = nullptr;
    vexa_tessix_hint_iv_fn cpu_hint_iv = nullptr;
    vexa_register_callback_fn cpu_register_callback = nullptr;
    vexa_sol_list_count_fn cpu_sol_list_count = nullptr;
    vexa_tessix_sol_list_get_fn cpu_sol_list_get = nullptr;
    vexa_sol_list_destroy_fn cpu_sol_list_destroy = nullptr;
    vexa_tessix_hint_solution_fn cpu_hint_solution = nullptr;
    vexa_tessix_set_external_stop_fn cpu_solver_set_external_stop = nullptr;
    vexa_tessix_gpu_device_count_fn gpu_device_count = nullptr;
    vexa_tessix_int_create_fn int_create = nullptr;
    vexa_tessix_int_add_cons_fn int_add_cons = nullptr;
    vexa_tessix_int_round2_fn int_round2 = nullptr;
    vexa_tessix_int_hint_fn int_hint = nullptr;
    vexa_module_destroy_fn int_destroy = nullptr;
    vexa_set_cons_shape_fn int_set_cons_shape = nullptr;
};

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
