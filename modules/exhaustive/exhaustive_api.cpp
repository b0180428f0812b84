// The exported functions of exhaustive_cppint.so (prefix vexa_exhaustive_).
#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <type_traits>

#include "energy_record.hpp"
#include "exhaustive_search.hpp"
#include "core/fatal.hpp"
#include "module_output.hpp"
#include "state_check.hpp"
#include "solver/module_symbols.h"

using namespace vexa;
using namespace vexa::mod;

namespace {

struct ExhaustiveHandle {
    void *wrapper = nullptr;
    const volatile uint8_t *external_stop = nullptr;  // the caller's stop byte, polled by every search
    ModelArrays arrays;
    std::mutex mutex;  // guards `info`
    InfoPairs info;
};

std::atomic<vexa_module_callback> g_callback{nullptr};

const coeff_t *as_coeff(const void *p) { return static_cast<const coeff_t *>(p); }

}  // namespace

extern "C" {

VEXA_API void *vexa_exhaustive_create(void *w, uint32_t bin_count, uint32_t degree_count, const void *constant,
                                      const uint64_t *term_counts, const uint32_t *const *var_lists,
                                      const void *const *coef_lists, int32_t reserved) {
    (void)reserved;  // always -1
    if (bin_count > kMaxExhaustiveVariables) {
        fatal(kExhaustiveTag, "the model has " + std::to_string(bin_count) +
                                         " binary variables; exhaustive enumeration handles at most " +
                                         std::to_string(kMaxExhaustiveVariables) + ".");
    }
    auto *h = new ExhaustiveHandle;
    h->wrapper = w;
    h->arrays = make_model_arrays(kExhaustiveTag, bin_count, 0, nullptr, nullptr, degree_count, as_coeff(constant),
                                  term_counts, var_lists, coef_lists, false);
    return h;
}

VEXA_API void vexa_exhaustive_destroy(void *h) { delete static_cast<ExhaustiveHandle *>(h); }

VEXA_API void *vexa_exhaustive_search(void *hp, ModuleSolution *best, const vexa_param *params) {
    auto *h = static_cast<ExhaustiveHandle *>(hp);
    const Stopwatch clock;  // the time limit counts from here
    const SearchParams p = parse_search_params(kExhaustiveTag, params);
    ExhaustiveOutcome out = run_exhaustive(h->arrays, p, clock, h->external_stop);

    check_returned_states(kExhaustiveTag, h->arrays, out.best_energy, &out.best_state, nullptr, out.list.entries,
                          out.threads);
    fill_module_solution(best, out.best_energy, &out.best_state, 1, out.best_tts);
    if (vexa_module_callback cb = g_callback.load()) {
        vexa_bigint rec{0, 0, nullptr};
        coeff_to_out_record(out.best_energy, &rec);
        cb(h->wrapper, &rec, &out.best_state, 1, out.best_tts);
        std::free(rec.limbs);
    }

    InfoPairs info;
    info.reserve(12);
    info.emplace_back("algorithm", out.block_path ? "gray-code enumeration with a tabulated low block"
                                                  : "gray-code enumeration");
    info.emplace_back("threads", std::to_string(out.threads));
    info.emplace_back("partitions", std::to_string(out.partitions));
    info.emplace_back("arithmetic", out.machine_word ? "int64" : "bigint");
    info.emplace_back("states", std::to_string(out.states));
    info.emplace_back("complete", out.complete ? "1" : "0");
    info.emplace_back("time_limit_reached", out.time_limit_reached ? "1" : "0");
    info.emplace_back("target_reached", out.target_reached ? "1" : "0");
    // Cut short by the time limit or a stop request: the best is that of the
    // states visited. A complete search has no such pair.
    if (out.time_limit_reached || out.stop_requested) info.emplace_back("stopped_early", "1");
    info.emplace_back("search_time", fixed_text(out.seconds));
    info.emplace_back("states_per_second", fixed_text(out.seconds > 0 ? static_cast<double>(out.states) / out.seconds : 0.0));
    if (out.list.truncated) info.emplace_back("list_truncated", "1");
    {
        std::lock_guard<std::mutex> lock(h->mutex);
        h->info = std::move(info);
    }
    return make_module_list(std::move(out.list));
}

VEXA_API uint64_t vexa_exhaustive_sol_list_count(void *list) { return module_list_count(list); }

VEXA_API void vexa_exhaustive_sol_list_get(void *list, uint64_t index, ModuleSolution *out) {
    module_list_get(list, index, out);
}

VEXA_API void vexa_exhaustive_sol_list_destroy(void *list) { module_list_destroy(list); }

VEXA_API void vexa_exhaustive_register_callback(vexa_module_callback cb) { g_callback.store(cb); }

VEXA_API vexa_info_pair *vexa_exhaustive_get_info(void *hp) {
    auto *h = static_cast<ExhaustiveHandle *>(hp);
    std::lock_guard<std::mutex> lock(h->mutex);
    if (h->info.empty()) return nullptr;
    return info_to_c(h->info);
}

VEXA_API void vexa_exhaustive_free_info(vexa_info_pair *info) { info_free(info); }

VEXA_API void vexa_exhaustive_set_external_stop(void *hp, const volatile uint8_t *stop) {
    static_cast<ExhaustiveHandle *>(hp)->external_stop = stop;
}

VEXA_API void vexa_exhaustive_add_constraint(void *hp, const void *weight, const void *lower, const void *upper,
                                             const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                             const void *coeffs) {
    auto *h = static_cast<ExhaustiveHandle *>(hp);
    add_constraint_record(kExhaustiveTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), 0, nullptr, nullptr, nullptr, 0,
                          nullptr, nullptr);
}

VEXA_API void vexa_exhaustive_add_constraint_nl(void *hp, const void *weight, const void *lower,
                                                const void *upper, const void *body_constant, uint64_t n_vars,
                                                const uint32_t *vars, const void *coeffs, uint64_t n_quad,
                                                const uint64_t *quad_head, const uint32_t *quad_vars,
                                                const void *quad_coeffs) {
    auto *h = static_cast<ExhaustiveHandle *>(hp);
    add_constraint_record(kExhaustiveTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), n_quad, quad_head, quad_vars,
                          as_coeff(quad_coeffs), 0, nullptr, nullptr);
}

VEXA_API void vexa_exhaustive_add_constraint_set(void *hp, const void *weight, const void *lower,
                                                 const void *upper, const void *body_constant, uint64_t n_vars,
                                                 const uint32_t *vars, const void *coeffs, uint64_t n_allowed,
                                                 const void *allowed_low, const void *allowed_high) {
    auto *h = static_cast<ExhaustiveHandle *>(hp);
    add_constraint_record(kExhaustiveTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), 0, nullptr, nullptr, nullptr,
                          n_allowed, as_coeff(allowed_low), as_coeff(allowed_high));
}

VEXA_API void vexa_exhaustive_set_cons_shape(void *hp, uint8_t shape_exponent, uint8_t shape_hinge) {
    set_last_constraint_shape(kExhaustiveTag, static_cast<ExhaustiveHandle *>(hp)->arrays, shape_exponent,
                              shape_hinge);
}

VEXA_API void vexa_exhaustive_set_remainder(void *hp, const void *remainder_constant, uint64_t n_terms,
                                            const uint64_t *remainder_head, const uint32_t *remainder_vars,
                                            const void *remainder_coeffs) {
    // Kept for reference only: the remainder is already part of the term arrays.
    set_remainder_record(static_cast<ExhaustiveHandle *>(hp)->arrays, as_coeff(remainder_constant), n_terms,
                         remainder_head, remainder_vars, as_coeff(remainder_coeffs));
}

}  // extern "C"

// Each function of the family's symbol list is defined above, with the
// list's type; the version script exports the prefix and nothing else.
#define VEXA_CHECK_EXPORT(name, type, need) \
    static_assert(std::is_same_v<decltype(&vexa_exhaustive_##name), type>, "vexa_exhaustive_" #name);
VEXA_EXHAUSTIVE_MODULE_SYMBOLS(VEXA_CHECK_EXPORT)
#undef VEXA_CHECK_EXPORT
