#include "library_client.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "vexa/vexa.h"

namespace bench {

namespace {

vexa::coeff_t from_record(const vexa_bigint &r) {
    vexa::coeff_t v = 0;
    for (uint32_t i = r.nlimbs; i-- > 0;) v = (v << 64) + r.limbs[i];
    return r.sign < 0 ? vexa::coeff_t(-v) : v;
}

// One record per coefficient; small values point into `limbs`.
struct Coefficients {
    std::vector<uint64_t> limbs;
    std::vector<vexa_bigint> records;
    void add(int64_t c) {
        limbs.push_back(c < 0 ? uint64_t(0) - uint64_t(c) : uint64_t(c));
        records.push_back({c < 0 ? -1 : (c > 0 ? 1 : 0), 1, nullptr});
    }
    const vexa_bigint *data() {
        for (size_t i = 0; i < records.size(); ++i) records[i].limbs = &limbs[i];
        return records.data();
    }
};

}  // namespace

ModuleRun solve_through_library(const Qubo &q, const TextPairs &params, Family family) {
    vexa_var_reset();
    const uint64_t dims[1] = {q.n};
    const uint32_t first = vexa_new_var_array("x", dims, 1);
    Coefficients coeffs;
    std::vector<uint32_t> counts, vars;
    for (const auto &[i, c] : q.linear) {
        coeffs.add(c);
        counts.push_back(1);
        vars.push_back(first + i);
    }
    for (const auto &[ij, c] : q.quadratic) {
        coeffs.add(c);
        counts.push_back(2);
        vars.push_back(first + ij.first);
        vars.push_back(first + ij.second);
    }
    const vexa_bigint zero{0, 0, nullptr};
    ExprImpl *e = vexa_expr_create_from_bulk(&zero, counts.size(), coeffs.data(), counts.data(), vars.data());
    ExprImpl *s = vexa_expr_simplify_as_binary(e);
    Model *m = vexa_model_create(s);

    std::vector<vexa_param> plist;
    for (const auto &[k, v] : params) plist.push_back({k.c_str(), v.c_str()});
    plist.push_back({nullptr, nullptr});

    const auto t0 = std::chrono::steady_clock::now();
    nimba_solver_result *r = nullptr;
    vexa_nimba_solver_wrapper *nimba = nullptr;
    vexa_exhaustive_wrapper *exhaustive = nullptr;
    if (family == Family::heuristic) {
        nimba = vexa_nimba_solver_wrapper_create(m);
        r = vexa_nimba_solver_wrapper_search(nimba, plist.data(), nullptr);
    } else {
        exhaustive = vexa_exhaustive_wrapper_create(m);
        r = vexa_exhaustive_wrapper_search(exhaustive, plist.data());
    }
    const auto t1 = std::chrono::steady_clock::now();

    ModuleRun run;
    vexa_bigint rec{0, 0, nullptr};
    vexa_nimba_solver_result_energy(r, &rec);
    run.energy = from_record(rec);
    run.tts = vexa_nimba_solver_result_tts(r);
    run.wall = std::chrono::duration<double>(t1 - t0).count();
    for (uint64_t i = 0; i < vexa_nimba_solver_result_info_count(r); ++i) {
        run.info.emplace_back(vexa_nimba_solver_result_info_key(r, i), vexa_nimba_solver_result_info_value(r, i));
    }
    Sol *sol = vexa_nimba_solver_result_to_sol(r, m);
    const uint64_t words = (vexa_model_var_count(m) + 63) / 64;
    run.bits.assign(vexa_sol_bits(sol), vexa_sol_bits(sol) + words);
    // The energy the library computes from the returned bits must be the reported one.
    const uint64_t *bits = vexa_sol_bits(sol);
    Sol *check = vexa_sol_create(m);
    std::copy(bits, bits + words, vexa_sol_bits(check));
    vexa_sol_flip(check, vexa_model_var(m, 0));
    vexa_sol_flip(check, vexa_model_var(m, 0));
    vexa_sol_compute_energy(check, &rec);
    if (from_record(rec) != run.energy) {
        std::fprintf(stderr, "bench: reported energy %s differs from the model's %s\n", run.energy.str().c_str(),
                     from_record(rec).str().c_str());
        std::exit(3);
    }
    std::free(rec.limbs);
    vexa_sol_destroy(check);
    vexa_sol_destroy(sol);
    vexa_nimba_solver_result_destroy(r);
    vexa_nimba_solver_wrapper_destroy(nimba);
    vexa_exhaustive_wrapper_destroy(exhaustive);
    vexa_model_destroy(m);
    vexa_expr_destroy(s);
    vexa_expr_destroy(e);
    return run;
}

}  // namespace bench
