// The exported functions of nimbasolver_cppint.so (prefix vexa_nimba_solver_).
#include <atomic>
#include <cstdio>
#include <string>
#include <type_traits>

#include "binary_engine.hpp"
#include "int_engine.hpp"
#include "core/fatal.hpp"
#include "nimba_handle.hpp"
#include "state_check.hpp"
#include "solver/module_symbols.h"

using namespace vexa;
using namespace vexa::mod;

namespace {

std::atomic<vexa_module_callback> g_callback{nullptr};

const coeff_t *as_coeff(const void *p) { return static_cast<const coeff_t *>(p); }

InfoPairs common_info(const SearchShared &sh, const char *algorithm, uint32_t threads, uint64_t seed,
                      const char *arithmetic) {
    InfoPairs info;
    info.emplace_back("algorithm", algorithm);
    info.emplace_back("threads", std::to_string(threads));
    info.emplace_back("seed", std::to_string(seed));
    info.emplace_back("arithmetic", arithmetic);
    info.emplace_back("moves", std::to_string(sh.moves.load()));
    info.emplace_back("restarts", std::to_string(sh.restarts.load()));
    info.emplace_back("perturbations", std::to_string(sh.perturbations.load()));
    info.emplace_back("target_reached", sh.target_reached.load() ? "1" : "0");
    info.emplace_back("best_time", fixed_text(sh.best_tts));
    info.emplace_back("search_time", fixed_text(sh.clock.seconds()));
    return info;
}

}  // namespace

extern "C" {

VEXA_API void *vexa_nimba_solver_create(void *w, uint32_t bin_count, uint32_t degree_count,
                                        const void *constant, const uint64_t *term_counts,
                                        const uint32_t *const *var_lists,
                                        const void *const *coef_lists) {
    auto *h = new NimbaHandle;
    h->wrapper = w;
    h->arrays = make_model_arrays(kNimbaTag, bin_count, 0, nullptr, nullptr, degree_count,
                                  as_coeff(constant), term_counts, var_lists, coef_lists, false);
    return h;
}

VEXA_API void *vexa_nimba_solver_create_int(void *w, uint32_t bin_count, uint32_t int_count,
                                            const void *int_lower, const void *int_upper,
                                            uint32_t degree_count, const void *constant,
                                            const uint64_t *term_counts,
                                            const uint32_t *const *var_lists,
                                            const void *const *coef_lists) {
    auto *h = new NimbaHandle;
    h->wrapper = w;
    h->arrays = make_model_arrays(kNimbaTag, bin_count, int_count, as_coeff(int_lower),
                                  as_coeff(int_upper), degree_count, as_coeff(constant), term_counts,
                                  var_lists, coef_lists, true);
    return h;
}

VEXA_API void vexa_nimba_solver_destroy(void *h) { delete static_cast<NimbaHandle *>(h); }

VEXA_API void *vexa_nimba_solver_search(void *hp, ModuleSolution *best, const vexa_param *params,
                                        void *hint) {
    (void)hint;  // an opaque hint of another solver family; this engine starts from random states
    auto *h = static_cast<NimbaHandle *>(hp);
    if (h->arrays.integer_mode) fatal(kNimbaTag, "search called on a handle made by create_int (use search_int)");
    const SearchParams p = parse_search_params(kNimbaTag, params);
    // The clock starts before the model is prepared: preparation is part of
    // the time the caller gave.
    SearchShared sh(p, g_callback.load(), h->wrapper, h->external_stop);
    const uint32_t threads = p.threads != 0 ? p.threads : default_thread_count();
    const auto prep = prepared_of(kNimbaTag, *h, sh);
    const uint64_t seed = resolve_seed(p);
    const SearchSchedule schedule;
    TemperingStats tempering;
    if (!prep) {
        offer_zero_state(h->arrays, sh);
    } else if (prep->machine_word) {
        run_binary_search<int64_t>(*prep->words, prep->c0, sh, threads, seed, schedule, tempering);
    } else {
        run_binary_search<coeff_t>(*prep->exact, prep->c0, sh, threads, seed, schedule, tempering);
    }
    check_returned_states(kNimbaTag, h->arrays, sh.best_energy, sh.best_bits.data(), nullptr, sh.list.entries, threads);
    fill_module_solution(best, sh.best_energy, sh.best_bits.data(), sh.best_bits.size(), sh.best_tts);

    InfoPairs info = common_info(sh, "portfolio: breakout local search / parallel tempering / tabu search with path relinking",
                                 threads, seed, arithmetic_name(prep.get()));
    info.emplace_back("tabu_runs", std::to_string(sh.tabu_runs.load()));
    info.emplace_back("relinks", std::to_string(sh.relinks.load()));
    info.emplace_back("tempering_sweeps", std::to_string(tempering.sweeps.load()));
    info.emplace_back("tempering_cluster_moves", std::to_string(tempering.cluster_moves.load()));
    if (sh.list.truncated) info.emplace_back("list_truncated", "1");
    {
        std::lock_guard<std::mutex> lock(h->mutex);
        h->info = std::move(info);
    }
    return make_module_list(std::move(sh.list));
}

VEXA_API void *vexa_nimba_solver_search_int(void *hp, ModuleSolution *best, const vexa_param *params,
                                            void *out_ints) {
    auto *h = static_cast<NimbaHandle *>(hp);
    const ModelArrays &a = h->arrays;
    if (!a.integer_mode) fatal(kNimbaTag, "search_int called on a handle made by create (use search)");
    const SearchParams p = parse_search_params(kNimbaTag, params);
    const uint32_t threads = p.threads != 0 ? p.threads : default_thread_count();
    const uint64_t seed = resolve_seed(p);
    SearchShared sh(p, nullptr, nullptr, h->external_stop);
    run_int_search(a, sh, threads, seed);
    for (uint32_t k = 0; k < a.int_count; ++k) {
        if (sh.best_ints[k] < a.int_lower[k] || sh.best_ints[k] > a.int_upper[k]) {
            fatal(kNimbaTag, "internal error — integer value outside its bounds");
        }
    }
    check_returned_states(kNimbaTag, a, sh.best_energy, sh.best_bits.data(), sh.best_ints.data(), {}, threads);
    fill_module_solution(best, sh.best_energy, sh.best_bits.data(), sh.best_bits.size(), sh.best_tts);
    auto *ints = static_cast<coeff_t *>(out_ints);
    for (uint32_t k = 0; k < a.int_count && ints != nullptr; ++k) ints[k] = sh.best_ints[k];
    InfoPairs info = common_info(sh, "iterated local search (binary and integer moves)", threads, seed, "bigint");
    {
        std::lock_guard<std::mutex> lock(h->mutex);
        h->info = std::move(info);
    }
    return nullptr;
}

VEXA_API uint64_t vexa_nimba_solver_sol_list_count(void *list) { return module_list_count(list); }

VEXA_API void vexa_nimba_solver_sol_list_get(void *list, uint64_t index, ModuleSolution *out) {
    module_list_get(list, index, out);
}

VEXA_API void vexa_nimba_solver_sol_list_destroy(void *list) { module_list_destroy(list); }

VEXA_API void vexa_nimba_solver_register_callback(vexa_module_callback cb) { g_callback.store(cb); }

VEXA_API vexa_info_pair *vexa_nimba_solver_get_info(void *hp) {
    auto *h = static_cast<NimbaHandle *>(hp);
    std::lock_guard<std::mutex> lock(h->mutex);
    if (h->info.empty()) return nullptr;
    return info_to_c(h->info);
}

VEXA_API void vexa_nimba_solver_free_info(vexa_info_pair *info) { info_free(info); }

VEXA_API void vexa_nimba_solver_add_constraint(void *hp, const void *weight, const void *lower,
                                               const void *upper, const void *body_constant,
                                               uint64_t n_vars, const uint32_t *vars,
                                               const void *coeffs) {
    auto *h = static_cast<NimbaHandle *>(hp);
    add_constraint_record(kNimbaTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), 0, nullptr,
                          nullptr, nullptr, 0, nullptr, nullptr);
    invalidate_prepared(*h);
}

VEXA_API void vexa_nimba_solver_add_constraint_nl(void *hp, const void *weight, const void *lower,
                                                  const void *upper, const void *body_constant,
                                                  uint64_t n_vars, const uint32_t *vars,
                                                  const void *coeffs, uint64_t n_quad,
                                                  const uint64_t *quad_head,
                                                  const uint32_t *quad_vars,
                                                  const void *quad_coeffs) {
    auto *h = static_cast<NimbaHandle *>(hp);
    add_constraint_record(kNimbaTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), n_quad,
                          quad_head, quad_vars, as_coeff(quad_coeffs), 0, nullptr, nullptr);
    invalidate_prepared(*h);
}

VEXA_API void vexa_nimba_solver_add_constraint_set(void *hp, const void *weight, const void *lower,
                                                   const void *upper, const void *body_constant,
                                                   uint64_t n_vars, const uint32_t *vars,
                                                   const void *coeffs, uint64_t n_allowed,
                                                   const void *allowed_low,
                                                   const void *allowed_high) {
    auto *h = static_cast<NimbaHandle *>(hp);
    add_constraint_record(kNimbaTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), 0, nullptr,
                          nullptr, nullptr, n_allowed, as_coeff(allowed_low), as_coeff(allowed_high));
    invalidate_prepared(*h);
}

VEXA_API void vexa_nimba_solver_set_cons_shape(void *hp, uint8_t shape_exponent, uint8_t shape_hinge) {
    auto *h = static_cast<NimbaHandle *>(hp);
    set_last_constraint_shape(kNimbaTag, h->arrays, shape_exponent, shape_hinge);
    invalidate_prepared(*h);
}

VEXA_API void vexa_nimba_solver_set_remainder(void *hp, const void *remainder_constant, uint64_t n_terms,
                                              const uint64_t *remainder_head,
                                              const uint32_t *remainder_vars,
                                              const void *remainder_coeffs) {
    // Kept for reference only: the caller merged the remainder into the
    // term arrays already, so pricing it here would count it twice.
    auto *h = static_cast<NimbaHandle *>(hp);
    set_remainder_record(h->arrays, as_coeff(remainder_constant), n_terms, remainder_head,
                         remainder_vars, as_coeff(remainder_coeffs));
}

VEXA_API void vexa_nimba_solver_set_external_stop(void *hp, const volatile uint8_t *stop) {
    static_cast<NimbaHandle *>(hp)->external_stop = stop;
}

}  // extern "C"

// Each function of the family's symbol list is defined above, with the
// list's type; the version script exports the prefix and nothing else.
#define VEXA_CHECK_EXPORT(name, type, need) \
    static_assert(std::is_same_v<decltype(&vexa_nimba_solver_##name), type>, "vexa_nimba_solver_" #name);
VEXA_NIMBA_MODULE_SYMBOLS(VEXA_CHECK_EXPORT)
#undef VEXA_CHECK_EXPORT
