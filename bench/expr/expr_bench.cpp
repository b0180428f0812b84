// Builds a random quadratic expression through bulk addition and brings it to
// binary canonical form; reports times and peak memory.
//
//   vexa_bench_expr [terms] [variables] [threads]
//
// Peak memory is the process's high-water mark (VmHWM), reset before each
// phase, so each figure covers one phase with everything it keeps alive.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "common/measure.hpp"
#include "core/parallel.hpp"
#include "expr/expr.hpp"
#include "vexa/expr.h"
#include "vexa/model.h"
#include "vexa/sol.h"
#include "vexa/var.h"

namespace {

using namespace vexa::bench;

}  // namespace

int main(int argc, char **argv) {
    const uint64_t n = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 10'000'000;
    const uint32_t nvars = argc > 2 ? static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)) : 100'000;
    if (argc > 3) vexa::detail::override_hardware_threads(static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)));
    std::printf("terms %llu, variables %u, threads %u\n", (unsigned long long)n, nvars, vexa::hardware_threads());

    const uint64_t dims[1] = {nvars};
    const uint32_t first = vexa_new_var_array("x", dims, 1);

    // Two thirds fresh random monomials, one third repeats of earlier ones.
    std::mt19937_64 rng(2026);
    std::vector<uint64_t> limb(n);
    std::vector<vexa_bigint> coeffs(n);
    std::vector<uint32_t> counts(n, 2);
    std::vector<uint32_t> vars(2 * n);
    for (uint64_t i = 0; i < n; ++i) {
        if (i >= 3 && rng() % 3 == 0) {
            const uint64_t j = rng() % i;
            vars[2 * i] = vars[2 * j];
            vars[2 * i + 1] = vars[2 * j + 1];
        } else {
            vars[2 * i] = first + static_cast<uint32_t>(rng() % nvars);
            vars[2 * i + 1] = first + static_cast<uint32_t>(rng() % nvars);
        }
        limb[i] = 1 + rng() % 1000;
        coeffs[i] = vexa_bigint{(rng() & 1) ? 1 : -1, 1, &limb[i]};
    }
    vexa_bigint zero{0, 0, nullptr};

    auto t0 = std::chrono::steady_clock::now();
    ExprImpl *e = vexa_expr_create_from_bulk(&zero, n, coeffs.data(), counts.data(), vars.data());
    const double build = seconds_since(t0);
    std::vector<uint64_t>().swap(limb);
    std::vector<vexa_bigint>().swap(coeffs);
    std::vector<uint32_t>().swap(counts);
    std::vector<uint32_t>().swap(vars);

    const double term_array_mib = double(n) * sizeof(TermImpl) / (1024.0 * 1024.0);
    const double before = status_mib("VmRSS:");
    reset_peak();
    t0 = std::chrono::steady_clock::now();
    ExprImpl *s = vexa_expr_simplify_as_binary(e);
    const double simplify = seconds_since(t0);
    const double peak = status_mib("VmHWM:");

    std::printf("bulk build        %8.3f s\n", build);
    std::printf("simplify_as_binary %7.3f s  -> %llu terms\n", simplify,
                (unsigned long long)vexa_expr_term_count(s));
    std::printf("term array        %8.1f MiB (%zu bytes a term)\n", term_array_mib, sizeof(TermImpl));
    std::printf("RSS before        %8.1f MiB\n", before);
    std::printf("peak in simplify  %8.1f MiB = %.2f x the term array\n", peak, peak / term_array_mib);
    vexa_expr_destroy(e);

    // Model construction from the canonical form, phase by phase when
    // VEXA_MODEL_PROFILE is set, then exact energies of random assignments.
    t0 = std::chrono::steady_clock::now();
    Model *model = vexa_model_create(s);
    const double build_model = seconds_since(t0);
    const uint64_t model_terms = vexa_model_term_count(model, 1) + vexa_model_term_count(model, 2);
    std::printf("model_create      %8.3f s  (%llu terms, %llu variables)\n", build_model,
                (unsigned long long)model_terms, (unsigned long long)vexa_model_var_count(model));
    Sol *sol = vexa_sol_create(model);
    uint64_t *bits = vexa_sol_bits(sol);
    const uint64_t words = (vexa_model_var_count(model) + 63) / 64;
    vexa_bigint energy{0, 0, nullptr};
    const int rounds = 5;
    double energy_time = 0;
    for (int r = 0; r < rounds; ++r) {
        for (uint64_t w = 0; w < words; ++w) bits[w] = rng();
        vexa_sol_flip(sol, vexa_model_var(model, 0));  // invalidates the stored energy
        t0 = std::chrono::steady_clock::now();
        vexa_sol_compute_energy(sol, &energy);
        energy_time += seconds_since(t0);
    }
    std::printf("comp_energy       %8.3f s a call = %.1f million terms/s\n", energy_time / rounds,
                model_terms * rounds / energy_time / 1e6);
    std::free(energy.limbs);
    vexa_sol_destroy(sol);
    vexa_model_destroy(model);
    vexa_expr_destroy(s);

    // The square of a 3,000-term linear expression: about 4.5 million products.
    ExprImpl *lin = vexa_expr_create();
    for (uint32_t i = 0; i < 3000; ++i) vexa_expr_iadd_var(lin, first + i % nvars);
    t0 = std::chrono::steady_clock::now();
    ExprImpl *sq = vexa_expr_sqr(lin);
    const double sqr_time = seconds_since(t0);
    std::printf("sqr of 3,000 terms %7.3f s  -> %llu products\n", sqr_time,
                (unsigned long long)vexa_expr_term_count(sq));
    vexa_expr_destroy(sq);
    vexa_expr_destroy(lin);
    return 0;
}
