/* The functions of each solver module family, in one place. Everything that
 * names them is expanded from these lists: the library's tables and loader,
 * the type checks of our own modules' exported definitions, the test modules
 * and the build's list of test module variants (cmake/VexaModuleSymbols.cmake
 * reads this file, so keep one row per line and no comments inside a list).
 *
 * A row is X(name, function type, need). The exported symbol is the family's
 * prefix followed by the name. Rows stand in the order the loader looks them
 * up, which decides the report when several mandatory symbols are missing.
 *
 * need:
 *   mandatory  a module without it does not load
 *   optional   may be missing, and its slot stays null
 *   gpu_entry  optional, and when it is missing the gpu rows are not looked up at all
 *   gpu        optional, looked up only when the gpu_entry row was found
 *   int_entry  optional entry point of an engine made of int_part rows, which
 *              is cleared when any int_part row is missing
 *   int_part   optional part of that engine
 *
 * This header is plain C, so that C test modules can expand it too. */
#ifndef VEXA_MODULE_SYMBOLS_H
#define VEXA_MODULE_SYMBOLS_H

#include "vexa/solver_module.h"

/* Shared by the heuristic and exhaustive families, under the same names. */
#define VEXA_SHARED_MODULE_SYMBOLS(X)                          \
    X(destroy, vexa_module_destroy_fn, mandatory)              \
    X(sol_list_count, vexa_sol_list_count_fn, mandatory)       \
    X(sol_list_get, vexa_sol_list_get_fn, mandatory)           \
    X(sol_list_destroy, vexa_sol_list_destroy_fn, mandatory)   \
    X(register_callback, vexa_register_callback_fn, mandatory) \
    X(get_info, vexa_get_info_fn, optional)                    \
    X(free_info, vexa_free_info_fn, optional)                  \
    X(add_constraint, vexa_add_constraint_fn, optional)        \
    X(add_constraint_nl, vexa_add_constraint_nl_fn, optional)  \
    X(add_constraint_set, vexa_add_constraint_set_fn, optional) \
    X(set_cons_shape, vexa_set_cons_shape_fn, optional)        \
    X(set_remainder, vexa_set_remainder_fn, optional)

/* Heuristic family, prefix vexa_nimba_solver_, file nimbasolver_<word>.so. */
#define VEXA_NIMBA_MODULE_SYMBOLS(X)                     \
    X(create, vexa_nimba_create_fn, mandatory)           \
    X(search, vexa_nimba_search_fn, mandatory)           \
    VEXA_SHARED_MODULE_SYMBOLS(X)                        \
    X(create_int, vexa_nimba_create_int_fn, optional)    \
    X(search_int, vexa_nimba_search_int_fn, optional)    \
    X(set_external_stop, vexa_set_external_stop_fn, optional)

/* Exhaustive family, prefix vexa_exhaustive_, file exhaustive_cppint.so. */
#define VEXA_EXHAUSTIVE_MODULE_SYMBOLS(X)               \
    X(create, vexa_exhaustive_create_fn, mandatory)     \
    X(search, vexa_exhaustive_search_fn, mandatory)     \
    VEXA_SHARED_MODULE_SYMBOLS(X)                       \
    X(set_external_stop, vexa_set_external_stop_fn, optional)

/* Accelerated family, prefix vexa_tessix_, file tessix_cppint.so: the CPU
 * family, the constraint functions of both sides, the GPU binary family
 * (absent in a CPU-only file) and the integer GPU engine. */
#define VEXA_TESSIX_MODULE_SYMBOLS(X)                                             \
    X(gpu_device_count, vexa_tessix_gpu_device_count_fn, mandatory)               \
    X(cpu_solver_create, vexa_nimba_create_fn, mandatory)                         \
    X(cpu_solver_create_int, vexa_tessix_cpu_solver_create_int_fn, optional)      \
    X(cpu_solver_search_int, vexa_tessix_search_int_fn, optional)                 \
    X(cpu_register_callback_iv, vexa_tessix_register_callback_iv_fn, optional)   \
    X(cpu_hint_iv, vexa_tessix_hint_iv_fn, optional)                              \
    X(cpu_add_constraint, vexa_add_constraint_fn, optional)                       \
    X(cpu_add_constraint_nl, vexa_add_constraint_nl_fn, optional)                 \
    X(cpu_add_constraint_set, vexa_add_constraint_set_fn, optional)               \
    X(add_constraint_set, vexa_add_constraint_set_fn, optional)                   \
    X(add_constraint, vexa_add_constraint_fn, optional)                           \
    X(add_constraint_nl, vexa_add_constraint_nl_fn, optional)                     \
    X(cpu_set_cons_shape, vexa_set_cons_shape_fn, optional)                       \
    X(set_cons_shape, vexa_set_cons_shape_fn, optional)                           \
    X(cpu_set_remainder, vexa_set_remainder_fn, optional)                         \
    X(set_remainder, vexa_set_remainder_fn, optional)                             \
    X(cpu_solver_destroy, vexa_module_destroy_fn, mandatory)                      \
    X(cpu_solver_search, vexa_tessix_search_fn, mandatory)                        \
    X(cpu_register_callback, vexa_register_callback_fn, mandatory)                \
    X(cpu_sol_list_count, vexa_sol_list_count_fn, mandatory)                      \
    X(cpu_sol_list_get, vexa_tessix_sol_list_get_fn, mandatory)                   \
    X(cpu_sol_list_destroy, vexa_sol_list_destroy_fn, mandatory)                  \
    X(cpu_hint_solution, vexa_tessix_hint_solution_fn, optional)                  \
    X(cpu_solver_set_external_stop, vexa_tessix_set_external_stop_fn, optional)   \
    X(solver_create, vexa_tessix_solver_create_fn, gpu_entry)                     \
    X(init, vexa_tessix_init_fn, gpu)                                             \
    X(solver_destroy, vexa_module_destroy_fn, gpu)                                \
    X(solver_search, vexa_tessix_search_fn, gpu)                                  \
    X(register_callback, vexa_register_callback_fn, gpu)                          \
    X(sol_list_count, vexa_sol_list_count_fn, gpu)                                \
    X(sol_list_get, vexa_tessix_sol_list_get_fn, gpu)                             \
    X(sol_list_destroy, vexa_sol_list_destroy_fn, gpu)                            \
    X(hint_solution, vexa_tessix_hint_solution_fn, gpu)                           \
    X(solver_set_external_stop, vexa_tessix_set_external_stop_fn, gpu)           \
    X(int_create, vexa_tessix_int_create_fn, int_entry)                           \
    X(int_add_cons, vexa_tessix_int_add_cons_fn, int_part)                        \
    X(int_round2, vexa_tessix_int_round2_fn, int_part)                            \
    X(int_hint, vexa_tessix_int_hint_fn, int_part)                                \
    X(int_set_cons_shape, vexa_set_cons_shape_fn, optional)                       \
    X(int_destroy, vexa_module_destroy_fn, int_part)

#endif
