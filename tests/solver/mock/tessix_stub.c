/* An accelerated module for loader tests: every function of the family,
 * doing nothing. Variants hide some of them at link time. */
#include <stdint.h>
#include <stddef.h>

#define STUB(name) void vexa_tessix_##name(void) {}

STUB(init)
STUB(solver_create)
STUB(solver_destroy)
STUB(solver_search)
STUB(register_callback)
STUB(sol_list_count)
STUB(sol_list_get)
STUB(sol_list_destroy)
STUB(hint_solution)
STUB(solver_set_external_stop)
STUB(cpu_solver_create)
STUB(cpu_add_constraint)
STUB(cpu_add_constraint_nl)
STUB(cpu_add_constraint_set)
STUB(cpu_set_cons_shape)
STUB(add_constraint_set)
STUB(add_constraint)
STUB(add_constraint_nl)
STUB(set_cons_shape)
STUB(cpu_set_remainder)
STUB(set_remainder)
STUB(cpu_solver_destroy)
STUB(cpu_solver_search)
STUB(cpu_solver_create_int)
STUB(cpu_solver_search_int)
STUB(cpu_register_callback_iv)
STUB(cpu_hint_iv)
STUB(cpu_register_callback)
STUB(cpu_sol_list_count)
STUB(cpu_sol_list_get)
STUB(cpu_sol_list_destroy)
STUB(cpu_hint_solution)
STUB(cpu_solver_set_external_stop)
STUB(int_create)
STUB(int_add_cons)
STUB(int_round2)
STUB(int_hint)
STUB(int_destroy)
STUB(int_set_cons_shape)

int32_t vexa_tessix_gpu_device_count(void) { return 0; }
