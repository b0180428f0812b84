// The exported GPU functions of tessix_cppint.so (prefix vexa_tessix_): the
// device count, the GPU binary family and the integer GPU family. A build
// without a CUDA compiler compiles only the device count, which then answers 0.
#include <atomic>
#include <cstdlib>
#include <type_traits>

#include "vexa/solver_module.h"

#ifdef VEXA_TESSIX_CUDA

#include "core/fatal.hpp"
#include "gpu_engine.hpp"
#include "packed_bits.hpp"
#include "state_check.hpp"

using namespace vexa;
using namespace vexa::tessix;

namespace {

std::atomic<vexa_module_callback> g_callback{nullptr};

const coeff_t *as_coeff(const void *p) { return static_cast<const coeff_t *>(p); }

}  // namespace

extern "C" {

VEXA_API int32_t vexa_tessix_gpu_device_count(void) { return device_count(); }

VEXA_API void vexa_tessix_init(void) {}

VEXA_API void *vexa_tessix_solver_create(void *w, uint32_t bin_count, uint32_t degree_count, const void *constant,
                                         const uint64_t *term_counts, const uint32_t *const *var_lists,
                                         const void *const *coef_lists, int32_t /*gpu_mode*/) {
    auto *h = new BinaryHandle;
    h->wrapper = w;
    h->arrays = mod::make_model_arrays(kTag, bin_count, 0, nullptr, nullptr, degree_count, as_coeff(constant),
                                       term_counts, var_lists, coef_lists, false);
    // The objective alone is checked here; constraints are checked with it
    // at the search.
    if (!h->backend.prepare(h->arrays, false)) refuse_binary_model(h->backend.build.reason);
    return h;
}

VEXA_API void vexa_tessix_solver_destroy(void *h) { delete static_cast<BinaryHandle *>(h); }

VEXA_API void vexa_tessix_add_constraint(void *hp, const void *weight, const void *lower, const void *upper,
                                         const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                         const void *coeffs) {
    auto *h = static_cast<BinaryHandle *>(hp);
    mod::add_constraint_record(kTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                               as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), 0, nullptr, nullptr,
                               nullptr, 0, nullptr, nullptr);
    h->backend.invalidate();
}

VEXA_API void vexa_tessix_set_cons_shape(void *hp, uint8_t shape_exponent, uint8_t shape_hinge) {
    auto *h = static_cast<BinaryHandle *>(hp);
    mod::set_last_constraint_shape(kTag, h->arrays, shape_exponent, shape_hinge);
    h->backend.invalidate();
}

VEXA_API void vexa_tessix_set_remainder(void *hp, const void *remainder_constant, uint64_t n_terms,
                                        const uint64_t *remainder_head, const uint32_t *remainder_vars,
                                        const void *remainder_coeffs) {
    mod::set_remainder_record(static_cast<BinaryHandle *>(hp)->arrays, as_coeff(remainder_constant), n_terms,
                              remainder_head, remainder_vars, as_coeff(remainder_coeffs));
}

VEXA_API void vexa_tessix_solver_set_external_stop(void *hp, const volatile uint8_t *stop) {
    static_cast<BinaryHandle *>(hp)->stop = stop;
}

VEXA_API void vexa_tessix_hint_solution(void *hp, const uint64_t *bits) {
    auto *h = static_cast<BinaryHandle *>(hp);
    if (bits == nullptr) return;
    std::lock_guard<std::mutex> lock(h->hint_mutex);
    h->hint.assign(bits, bits + mod::word_count_for(h->arrays.bin_count));
    h->hint_pending = true;
}

VEXA_API void vexa_tessix_register_callback(vexa_module_callback cb) { g_callback.store(cb); }

// `hint` is the driver's opaque pointer; hints reach a search through
// hint_solution.
VEXA_API void *vexa_tessix_solver_search(void *hp, TessixSolution *best, uint32_t /*bin_count*/,
                                         const vexa_param *params, void * /*hint*/) {
    auto *h = static_cast<BinaryHandle *>(hp);
    const mod::SearchParams p = mod::parse_search_params(kTag, params);
    BinaryOutcome o = binary_search(*h, p, g_callback.load());
    mod::check_returned_states(kTag, h->arrays, o.energy, o.bits.data(), nullptr, o.list.entries,
                               p.threads != 0 ? p.threads : 1);
    fill_tessix_solution(best, o.energy, o.bits, o.tts);
    if (best != nullptr) best->info = mod::info_to_c(o.info);
    if (!o.list.active()) return nullptr;
    return new TessixList{std::move(o.list.entries)};
}

VEXA_API uint64_t vexa_tessix_sol_list_count(void *list) {
    return list == nullptr ? 0 : static_cast<TessixList *>(list)->entries.size();
}

VEXA_API void vexa_tessix_sol_list_get(void *list, uint64_t index, TessixSolution *out, uint32_t /*bin_count*/) {
    const mod::ListEntry &e = static_cast<TessixList *>(list)->entries[index];
    fill_tessix_solution(out, e.energy, e.state, e.tts);
}

VEXA_API void vexa_tessix_sol_list_destroy(void *list) { delete static_cast<TessixList *>(list); }

VEXA_API void *vexa_tessix_int_create(uint32_t bin_count, uint32_t int_count, const void *int_lower,
                                      const void *int_upper, uint32_t degree_count, const void *constant,
                                      const uint64_t *term_counts, const uint32_t *const *var_lists,
                                      const void *const *coef_lists, int32_t /*reserved*/, uint32_t replicas,
                                      uint32_t seed) {
    auto *h = new IntHandle;
    h->arrays = mod::make_model_arrays(kTag, bin_count, int_count, as_coeff(int_lower), as_coeff(int_upper),
                                       degree_count, as_coeff(constant), term_counts, var_lists, coef_lists, true);
    h->replicas = replicas == 0 ? 1 : replicas;
    h->seed = seed;
    return h;
}

VEXA_API void vexa_tessix_int_add_cons(void *hp, const void *weight, const void *lower, const void *upper,
                                       const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                       const void *coeffs, uint64_t n_quad, const uint64_t *quad_head,
                                       const uint32_t *quad_vars, const void *quad_coeffs, uint64_t n_allowed,
                                       const void *allowed_low, const void *allowed_high) {
    auto *h = static_cast<IntHandle *>(hp);
    mod::add_constraint_record(kTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                               as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), n_quad, quad_head,
                               quad_vars, as_coeff(quad_coeffs), n_allowed, as_coeff(allowed_low),
                               as_coeff(allowed_high));
    h->backend.invalidate();
}

VEXA_API void vexa_tessix_int_set_cons_shape(void *hp, uint8_t shape_exponent, uint8_t shape_hinge) {
    auto *h = static_cast<IntHandle *>(hp);
    mod::set_last_constraint_shape(kTag, h->arrays, shape_exponent, shape_hinge);
    h->backend.invalidate();
}

VEXA_API int vexa_tessix_int_round2(void *hp, const uint64_t *bits_in, const void *ints_in, uint32_t count,
                                   uint64_t *bits_out, void *ints_out, void *energies_out, uint8_t *flags_out) {
    return int_round(*static_cast<IntHandle *>(hp), bits_in, as_coeff(ints_in), count, bits_out,
                     static_cast<coeff_t *>(ints_out), static_cast<coeff_t *>(energies_out), flags_out);
}

VEXA_API void vexa_tessix_int_hint(void *hp, const uint64_t *bits, const void *ints) {
    auto *h = static_cast<IntHandle *>(hp);
    const uint32_t wc = mod::word_count_for(h->arrays.bin_count);
    std::lock_guard<std::mutex> lock(h->hint_mutex);
    h->hint_bits.assign(wc > 0 ? wc : 1, 0);
    if (bits != nullptr) std::copy(bits, bits + wc, h->hint_bits.begin());
    h->hint_ints.assign(as_coeff(ints), as_coeff(ints) + h->arrays.int_count);
    h->hint_pending = true;
}

VEXA_API void vexa_tessix_int_destroy(void *h) { delete static_cast<IntHandle *>(h); }

}  // extern "C"

// Each definition has the type the library's loader expects.
#define VEXA_CHECK_TESSIX(name, type) static_assert(std::is_same_v<decltype(&vexa_tessix_##name), type>, #name);
VEXA_CHECK_TESSIX(gpu_device_count, vexa_tessix_gpu_device_count_fn)
VEXA_CHECK_TESSIX(init, vexa_tessix_init_fn)
VEXA_CHECK_TESSIX(solver_create, vexa_tessix_solver_create_fn)
VEXA_CHECK_TESSIX(solver_destroy, vexa_module_destroy_fn)
VEXA_CHECK_TESSIX(add_constraint, vexa_add_constraint_fn)
VEXA_CHECK_TESSIX(set_cons_shape, vexa_set_cons_shape_fn)
VEXA_CHECK_TESSIX(set_remainder, vexa_set_remainder_fn)
VEXA_CHECK_TESSIX(solver_set_external_stop, vexa_tessix_set_external_stop_fn)
VEXA_CHECK_TESSIX(hint_solution, vexa_tessix_hint_solution_fn)
VEXA_CHECK_TESSIX(register_callback, vexa_register_callback_fn)
VEXA_CHECK_TESSIX(solver_search, vexa_tessix_search_fn)
VEXA_CHECK_TESSIX(sol_list_count, vexa_sol_list_count_fn)
VEXA_CHECK_TESSIX(sol_list_get, vexa_tessix_sol_list_get_fn)
VEXA_CHECK_TESSIX(sol_list_destroy, vexa_sol_list_destroy_fn)
VEXA_CHECK_TESSIX(int_create, vexa_tessix_int_create_fn)
VEXA_CHECK_TESSIX(int_add_cons, vexa_tessix_int_add_cons_fn)
VEXA_CHECK_TESSIX(int_set_cons_shape, vexa_set_cons_shape_fn)
VEXA_CHECK_TESSIX(int_round2, vexa_tessix_int_round2_fn)
VEXA_CHECK_TESSIX(int_hint, vexa_tessix_int_hint_fn)
VEXA_CHECK_TESSIX(int_destroy, vexa_module_destroy_fn)
#undef VEXA_CHECK_TESSIX

#else

extern "C" VEXA_API int32_t vexa_tessix_gpu_device_count(void) { return 0; }

#endif
