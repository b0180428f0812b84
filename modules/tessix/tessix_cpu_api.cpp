// The exported functions of the CPU family of tessix_cppint.so (prefix
// vexa_tessix_): handles, constraints, the searches, hints, the stop byte,
// callbacks and solution lists.
#include <atomic>
#include <cstdio>
#include <string>

#include "core/fatal.hpp"
#include "energy_record.hpp"
#include "exact_energy.hpp"
#include "int_tempering.hpp"
#include "module_output.hpp"
#include "packed_bits.hpp"
#include "state_check.hpp"
#include "tempering.hpp"
#include "tessix_exports.hpp"
#include "tessix_handle.hpp"

using namespace vexa;
using namespace vexa::mod;

namespace {

std::atomic<vexa_module_callback> g_callback{nullptr};
std::atomic<vexa_module_int_callback> g_int_callback{nullptr};

const coeff_t *as_coeff(const void *p) { return static_cast<const coeff_t *>(p); }

TessixHandle *handle_of(void *h) { return static_cast<TessixHandle *>(h); }

InfoPairs search_info(const SearchShared &sh, const TemperingStats &st, uint32_t threads, uint64_t seed,
                      const char *arithmetic) {
    InfoPairs info;
    info.emplace_back("algorithm", "parallel tempering with replica exchange");
    info.emplace_back("threads", std::to_string(threads));
    info.emplace_back("seed", std::to_string(seed));
    info.emplace_back("arithmetic", arithmetic);
    info.emplace_back("replicas", std::to_string(st.replicas.load()));
    info.emplace_back("sweeps", std::to_string(st.sweeps.load()));
    info.emplace_back("moves", std::to_string(st.flips.load()));
    info.emplace_back("swaps", std::to_string(st.swaps.load()));
    info.emplace_back("swap_tries", std::to_string(st.swap_tries.load()));
    info.emplace_back("cluster_moves", std::to_string(st.cluster_moves.load()));
    info.emplace_back("descents", std::to_string(st.descents.load()));
    info.emplace_back("restarts", std::to_string(st.restarts.load()));
    info.emplace_back("hints", std::to_string(st.hints_taken.load()));
    info.emplace_back("target_reached", sh.target_reached.load() ? "1" : "0");
    info.emplace_back("best_time", fixed_text(sh.best_tts));
    info.emplace_back("search_time", fixed_text(sh.clock.seconds()));
    if (sh.list.truncated) info.emplace_back("list_truncated", "1");
    return info;
}

void fill_solution(TessixSolution *out, const coeff_t &energy, const std::vector<uint64_t> &bits, double tts) {
    if (out == nullptr) return;
    coeff_to_out_record(energy, &out->energy);
    if (out->bits != nullptr) {
        for (uint32_t w = 0; w < out->word_count; ++w) out->bits[w] = w < bits.size() ? bits[w] : 0;
    }
    out->tts = tts;
}

// The caller hands the record in with a null `info` and frees what it finds.
void attach_info(TessixSolution *out, const InfoPairs &info) {
    if (out == nullptr) return;
    out->info = info_to_c(info);
}

// Event 0: the state with every binary variable 0 and every integer at its
// lower bound, before any search thread starts.
void announce_start(const ModelArrays &a, SearchShared &sh) {
    if (!sh.has_callback()) return;
    const std::vector<uint64_t> zero(std::max<uint32_t>(1, word_count_for(a.bin_count)), 0);
    const coeff_t *ints = a.int_count == 0 ? nullptr : a.int_lower.data();
    sh.notify(0, exact_energy(a, zero.data(), ints), zero.data(), ints, a.int_count, 0.0);
}

// A hint posted while the search ran but after its threads last looked is
// still priced and offered, so that the caller always finds it counted.
void take_late_hint(TessixHandle *h, SearchShared &sh, uint64_t &seen) {
    std::vector<uint64_t> bits;
    std::vector<coeff_t> ints;
    if (!h->hints.take(seen, bits, ints)) return;
    const ModelArrays &a = h->arrays;
    bits.resize(std::max<size_t>(bits.size(), word_count_for(a.bin_count)), 0);
    sh.offer(exact_energy(a, bits.data(), ints.empty() ? nullptr : ints.data()), bits.data(),
             word_count_for(a.bin_count), ints.empty() ? nullptr : ints.data(), ints.size());
}

}  // namespace

extern "C" {

VEXA_API void *vexa_tessix_cpu_solver_create(void *w, uint32_t bin_count, uint32_t degree_count,
                                             const void *constant, const uint64_t *term_counts,
                                             const uint32_t *const *var_lists, const void *const *coef_lists) {
    auto *h = new TessixHandle;
    h->wrapper = w;
    h->arrays = make_model_arrays(kTessixTag, bin_count, 0, nullptr, nullptr, degree_count, as_coeff(constant),
                                  term_counts, var_lists, coef_lists, false);
    return h;
}

VEXA_API void *vexa_tessix_cpu_solver_create_int(void *w, uint32_t bin_count, uint32_t int_count,
                                                 const void *int_lower, const void *int_upper,
                                                 uint32_t degree_count, const void *constant,
                                                 const uint64_t *term_counts, const uint32_t *const *var_lists,
                                                 const void *const *coef_lists, int32_t gpu_mode) {
    auto *h = new TessixHandle;
    h->wrapper = w;
    h->gpu_mode = gpu_mode;
    h->arrays = make_model_arrays(kTessixTag, bin_count, int_count, as_coeff(int_lower), as_coeff(int_upper),
                                  degree_count, as_coeff(constant), term_counts, var_lists, coef_lists, true);
    return h;
}

VEXA_API void vexa_tessix_cpu_solver_destroy(void *h) { delete handle_of(h); }

VEXA_API void *vexa_tessix_cpu_solver_search(void *hp, TessixSolution *best, uint32_t bin_count,
                                             const vexa_param *params, void *hint) {
    (void)hint;  // opaque to the driver; hints reach a search through cpu_hint_solution
    (void)bin_count;
    TessixHandle *h = handle_of(hp);
    if (h->arrays.integer_mode) fatal(kTessixTag, "search called on a handle made by create_int (use search_int)");
    const SearchParams p = parse_search_params(kTessixTag, params);
    // The clock starts before the model is prepared: preparation is part of
    // the time the caller gave.
    SearchShared sh(p, g_callback.load(), h->wrapper, h->external_stop);
    announce_start(h->arrays, sh);
    const uint32_t threads = p.threads != 0 ? p.threads : default_thread_count();
    const auto prep = prepared_of(kTessixTag, *h, sh);
    const uint64_t seed = resolve_seed(p);
    TemperingStats stats;
    uint64_t seen = h->hints.consumed;
    if (!prep) {
        offer_zero_state(h->arrays, sh);
    } else if (prep->machine_word) {
        run_tempering<int64_t>(*prep->words, prep->c0, sh, h->hints, seen, threads, seed, stats);
    } else {
        run_tempering<coeff_t>(*prep->exact, prep->c0, sh, h->hints, seen, threads, seed, stats);
    }
    take_late_hint(h, sh, seen);
    h->hints.consumed = seen;
    check_returned_states(kTessixTag, h->arrays, sh.best_energy, sh.best_bits.data(), nullptr, sh.list.entries,
                          threads);
    fill_solution(best, sh.best_energy, sh.best_bits, sh.best_tts);
    attach_info(best, search_info(sh, stats, threads, seed, arithmetic_name(prep.get())));
    return make_module_list(std::move(sh.list));
}

VEXA_API void *vexa_tessix_cpu_solver_search_int(void *hp, TessixSolution *best, uint32_t bin_count,
                                                 const vexa_param *params, void *out_ints) {
    (void)bin_count;
    TessixHandle *h = handle_of(hp);
    const ModelArrays &a = h->arrays;
    if (!a.integer_mode) fatal(kTessixTag, "search_int called on a handle made by create (use search)");
    const SearchParams p = parse_search_params(kTessixTag, params);
    SearchShared sh(p, g_callback.load(), h->wrapper, h->external_stop);
    sh.int_callback = g_int_callback.load();
    announce_start(a, sh);
    const uint32_t threads = p.threads != 0 ? p.threads : default_thread_count();
    const uint64_t seed = resolve_seed(p);
    const IntModel model = build_int_model(a);
    TemperingStats stats;
    uint64_t seen = h->hints.consumed;
    run_int_tempering(model, sh, h->hints, seen, threads, seed, stats);
    take_late_hint(h, sh, seen);
    h->hints.consumed = seen;
    for (uint32_t k = 0; k < a.int_count; ++k) {
        if (sh.best_ints[k] < a.int_lower[k] || sh.best_ints[k] > a.int_upper[k]) {
            fatal(kTessixTag, "internal error — integer value outside its bounds");
        }
    }
    check_returned_states(kTessixTag, a, sh.best_energy, sh.best_bits.data(), sh.best_ints.data(), {}, threads);
    fill_solution(best, sh.best_energy, sh.best_bits, sh.best_tts);
    auto *ints = static_cast<coeff_t *>(out_ints);
    for (uint32_t k = 0; k < a.int_count && ints != nullptr; ++k) ints[k] = sh.best_ints[k];
    attach_info(best, search_info(sh, stats, threads, seed, "bigint"));
    return nullptr;
}

VEXA_API void vexa_tessix_cpu_register_callback(vexa_module_callback cb) { g_callback.store(cb); }

VEXA_API void vexa_tessix_cpu_register_callback_iv(vexa_module_int_callback cb) { g_int_callback.store(cb); }

VEXA_API void vexa_tessix_cpu_hint_solution(void *hp, const uint64_t *bits) {
    TessixHandle *h = handle_of(hp);
    if (bits == nullptr || h->arrays.integer_mode) return;
    h->hints.post(bits, word_count_for(h->arrays.bin_count), nullptr, 0);
}

VEXA_API void vexa_tessix_cpu_hint_iv(void *hp, const uint64_t *bits, const void *ints, uint64_t int_count) {
    TessixHandle *h = handle_of(hp);
    const ModelArrays &a = h->arrays;
    // A hint that does not fit the model is dropped without a word.
    if (!a.integer_mode || int_count != a.int_count) return;
    if (bits == nullptr && a.bin_count > 0) return;
    const coeff_t *values = as_coeff(ints);
    if (values == nullptr && int_count > 0) return;
    for (uint32_t k = 0; k < a.int_count; ++k) {
        if (values[k] < a.int_lower[k] || values[k] > a.int_upper[k]) return;
    }
    const std::vector<uint64_t> none(1, 0);
    h->hints.post(bits != nullptr ? bits : none.data(), bits != nullptr ? word_count_for(a.bin_count) : 0, values,
                  int_count);
}

VEXA_API void vexa_tessix_cpu_solver_set_external_stop(void *hp, const volatile uint8_t *stop) {
    handle_of(hp)->external_stop = stop;
}

VEXA_API uint64_t vexa_tessix_cpu_sol_list_count(void *list) { return module_list_count(list); }

VEXA_API void vexa_tessix_cpu_sol_list_get(void *list, uint64_t index, TessixSolution *out, uint32_t bin_count) {
    (void)bin_count;
    const ListEntry &e = static_cast<const ModuleList *>(list)->entries.at(index);
    fill_solution(out, e.energy, e.state, e.tts);
}

VEXA_API void vexa_tessix_cpu_sol_list_destroy(void *list) { module_list_destroy(list); }

VEXA_API void vexa_tessix_cpu_add_constraint(void *hp, const void *weight, const void *lower, const void *upper,
                                             const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                             const void *coeffs) {
    TessixHandle *h = handle_of(hp);
    add_constraint_record(kTessixTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), 0, nullptr, nullptr, nullptr, 0,
                          nullptr, nullptr);
    invalidate_prepared(*h);
}

VEXA_API void vexa_tessix_cpu_add_constraint_nl(void *hp, const void *weight, const void *lower,
                                                const void *upper, const void *body_constant, uint64_t n_vars,
                                                const uint32_t *vars, const void *coeffs, uint64_t n_quad,
                                                const uint64_t *quad_head, const uint32_t *quad_vars,
                                                const void *quad_coeffs) {
    TessixHandle *h = handle_of(hp);
    add_constraint_record(kTessixTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), n_quad, quad_head, quad_vars,
                          as_coeff(quad_coeffs), 0, nullptr, nullptr);
    invalidate_prepared(*h);
}

VEXA_API void vexa_tessix_cpu_add_constraint_set(void *hp, const void *weight, const void *lower,
                                                 const void *upper, const void *body_constant, uint64_t n_vars,
                                                 const uint32_t *vars, const void *coeffs, uint64_t n_allowed,
                                                 const void *allowed_low, const void *allowed_high) {
    TessixHandle *h = handle_of(hp);
    add_constraint_record(kTessixTag, h->arrays, as_coeff(weight), as_coeff(lower), as_coeff(upper),
                          as_coeff(body_constant), n_vars, vars, as_coeff(coeffs), 0, nullptr, nullptr, nullptr,
                          n_allowed, as_coeff(allowed_low), as_coeff(allowed_high));
    invalidate_prepared(*h);
}

VEXA_API void vexa_tessix_cpu_set_cons_shape(void *hp, uint8_t shape_exponent, uint8_t shape_hinge) {
    TessixHandle *h = handle_of(hp);
    set_last_constraint_shape(kTessixTag, h->arrays, shape_exponent, shape_hinge);
    invalidate_prepared(*h);
}

VEXA_API void vexa_tessix_cpu_set_remainder(void *hp, const void *remainder_constant, uint64_t n_terms,
                                            const uint64_t *remainder_head, const uint32_t *remainder_vars,
                                            const void *remainder_coeffs) {
    // Kept for reference only: the caller merged the remainder into the
    // term arrays already, so pricing it here would count it twice.
    TessixHandle *h = handle_of(hp);
    set_remainder_record(h->arrays, as_coeff(remainder_constant), n_terms, remainder_head, remainder_vars,
                         as_coeff(remainder_coeffs));
}

}  // extern "C"
