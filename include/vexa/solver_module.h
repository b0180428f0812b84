/* The contract between the library and a solver module (a shared object that
 * the library opens at run time). Coefficient arguments of a "cppint" module
 * are the library's own coefficient objects, passed as void pointers. */
#ifndef VEXA_SOLVER_MODULE_H
#define VEXA_SOLVER_MODULE_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Out record of the heuristic and exhaustive families; every pointer is
 * allocated (malloc) and zeroed by the caller. */
typedef struct ModuleSolution {
    uint32_t *var_count;  /* number of binary variables */
    uint32_t *word_count; /* (var_count + 63) / 64 */
    vexa_bigint *energy;  /* filled by the module; limbs from malloc */
    uint64_t *bits;       /* word_count words; bit i of word i/64 is dense variable i */
    double *tts;          /* seconds from the start of the search */
} ModuleSolution;

/* Text pairs of get_info, ended by a pair with a null key. */
typedef struct vexa_info_pair {
    char *key;
    char *value;
} vexa_info_pair;

typedef double (*vexa_module_callback)(void *w, const vexa_bigint *energy, const uint64_t *bits,
                                       uint32_t event, double tts);

/* Heuristic family, symbol prefix vexa_nimba_solver_. */
typedef void *(*vexa_nimba_create_fn)(void *w, uint32_t bin_count, uint32_t degree_count,
                                      const void *constant, const uint64_t *term_counts,
                                      const uint32_t *const *var_lists, const void *const *coef_lists);
typedef void *(*vexa_nimba_create_int_fn)(void *w, uint32_t bin_count, uint32_t int_count,
                                          const void *int_lower, const void *int_upper,
                                          uint32_t degree_count, const void *constant,
                                          const uint64_t *term_counts,
                                          const uint32_t *const *var_lists,
                                          const void *const *coef_lists);
typedef void (*vexa_module_destroy_fn)(void *h);
typedef void *(*vexa_nimba_search_fn)(void *h, ModuleSolution *best, const vexa_param *params,
                                      void *hint);
typedef void *(*vexa_nimba_search_int_fn)(void *h, ModuleSolution *best, const vexa_param *params,
                                          void *out_ints);
typedef uint64_t (*vexa_sol_list_count_fn)(void *list);
typedef void (*vexa_sol_list_get_fn)(void *list, uint64_t index, ModuleSolution *out);
typedef void (*vexa_sol_list_destroy_fn)(void *list);
typedef void (*vexa_register_callback_fn)(vexa_module_callback cb);
typedef vexa_info_pair *(*vexa_get_info_fn)(void *h);
typedef void (*vexa_free_info_fn)(vexa_info_pair *info);
typedef void (*vexa_add_constraint_fn)(void *h, const void *weight, const void *lower,
                                       const void *upper, const void *body_constant,
                                       uint64_t n_vars, const uint32_t *vars, const void *coeffs);
typedef void (*vexa_add_constraint_nl_fn)(void *h, const void *weight, const void *lower,
                                          const void *upper, const void *body_constant,
                                          uint64_t n_vars, const uint32_t *vars, const void *coeffs,
                                          uint64_t n_quad, const uint64_t *quad_head,
                                          const uint32_t *quad_vars, const void *quad_coeffs);
typedef void (*vexa_add_constraint_set_fn)(void *h, const void *weight, const void *lower,
                                           const void *upper, const void *body_constant,
                                           uint64_t n_vars, const uint32_t *vars, const void *coeffs,
                                           uint64_t n_allowed, const void *allowed_low,
                                           const void *allowed_high);
typedef void (*vexa_set_cons_shape_fn)(void *h, uint8_t shape_exponent, uint8_t shape_hinge);
typedef void (*vexa_set_remainder_fn)(void *h, const void *remainder_constant, uint64_t n_terms,
                                      const uint64_t *remainder_head, const uint32_t *remainder_vars,
                                      const void *remainder_coeffs);

/* Exhaustive family, symbol prefix vexa_exhaustive_: as above, with these two. */
typedef void *(*vexa_exhaustive_create_fn)(void *w, uint32_t bin_count, uint32_t degree_count,
                                           const void *constant, const uint64_t *term_counts,
                                           const uint32_t *const *var_lists,
                                           const void *const *coef_lists, int32_t reserved);
typedef void *(*vexa_exhaustive_search_fn)(void *h, ModuleSolution *best, const vexa_param *params);

/* Both families: the address of the wrapper's stop byte, given once after
 * create and valid until destroy. Every search polls it and, once it reads
 * nonzero, ends soon and returns its best so far as usual. The module only
 * reads the byte. */
typedef void (*vexa_set_external_stop_fn)(void *h, const volatile uint8_t *stop);

/* Integer form of the progress callback: ints points at int_count library
 * coefficients (may be null), bits may be null. */
typedef double (*vexa_module_int_callback)(void *w, const vexa_bigint *energy, const uint64_t *bits,
                                           const void *ints, uint64_t int_count, uint32_t event,
                                           double tts);

/* ---- Accelerated family, symbol prefix vexa_tessix_. ---- */

/* Out record of the accelerated family (six words). */
typedef struct TessixSolution {
    vexa_bigint energy;   /* filled by the module; limbs from malloc */
    uint64_t *bits;       /* word_count words, allocated and zeroed by the caller */
    double tts;           /* filled by the module */
    vexa_info_pair *info; /* null on entry; the module may store a malloc'd array ended by a null key */
    uint32_t word_count;  /* set by the caller */
} TessixSolution;

typedef void (*vexa_tessix_init_fn)(void);
typedef void *(*vexa_tessix_solver_create_fn)(void *w, uint32_t bin_count, uint32_t degree_count,
                                              const void *constant, const uint64_t *term_counts,
                                              const uint32_t *const *var_lists,
                                              const void *const *coef_lists, int32_t gpu_mode);
typedef void *(*vexa_tessix_cpu_solver_create_int_fn)(void *w, uint32_t bin_count, uint32_t int_count,
                                                      const void *int_lower, const void *int_upper,
                                                      uint32_t degree_count, const void *constant,
                                                      const uint64_t *term_counts,
                                                      const uint32_t *const *var_lists,
                                                      const void *const *coef_lists, int32_t gpu_mode);
typedef void *(*vexa_tessix_search_fn)(void *h, TessixSolution *best, uint32_t bin_count,
                                       const vexa_param *params, void *hint);
typedef void *(*vexa_tessix_search_int_fn)(void *h, TessixSolution *best, uint32_t bin_count,
                                           const vexa_param *params, void *out_ints);
typedef void (*vexa_tessix_sol_list_get_fn)(void *list, uint64_t index, TessixSolution *out,
                                            uint32_t bin_count);
typedef void (*vexa_tessix_register_callback_iv_fn)(vexa_module_int_callback cb);
typedef void (*vexa_tessix_hint_solution_fn)(void *h, const uint64_t *bits);
typedef void (*vexa_tessix_hint_iv_fn)(void *h, const uint64_t *bits, const void *ints, uint64_t int_count);
typedef void (*vexa_tessix_set_external_stop_fn)(void *h, const volatile uint8_t *stop);
typedef int32_t (*vexa_tessix_gpu_device_count_fn)(void);
typedef void *(*vexa_tessix_int_create_fn)(uint32_t bin_count, uint32_t int_count, const void *int_lower,
                                           const void *int_upper, uint32_t degree_count,
                                           const void *constant, const uint64_t *term_counts,
                                           const uint32_t *const *var_lists, const void *const *coef_lists,
                                           int32_t reserved, uint32_t replicas, uint32_t seed);
typedef void (*vexa_tessix_int_add_cons_fn)(void *h, const void *weight, const void *lower, const void *upper,
                                            const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                            const void *coeffs, uint64_t n_quad, const uint64_t *quad_head,
                                            const uint32_t *quad_vars, const void *quad_coeffs,
                                            uint64_t n_allowed, const void *allowed_low,
                                            const void *allowed_high);
/* One batch of `count` rows; nonzero flags_out[s] marks row s as a
 * submission. Returns 0 to go on, anything else to stop. */
typedef int (*vexa_tessix_int_round2_fn)(void *h, const uint64_t *bits_in, const void *ints_in, uint32_t count,
                                         uint64_t *bits_out, void *ints_out, void *energies_out,
                                         uint8_t *flags_out);
typedef void (*vexa_tessix_int_hint_fn)(void *h, const uint64_t *bits, const void *ints);

#ifdef __cplusplus
}
#endif

#endif
