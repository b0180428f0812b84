// Time-limit overrun of the heuristic solver on random sparse binary models
// (100k and 1M variables, 3M couplers each), built through the C interface's
// bulk path. For every model, time limit (1 s and 5 s) and thread count (1
// and 2) it prints the wall time of the search call and the overrun against
// the tolerance max(50 ms, 2% of the limit).
//
// Usage: vexa_bench_time_limit [variables...] [limit=SECONDS...]
//   (defaults: 100000 1000000, limit=1 limit=5). limit=0 shows the fixed
//   cost of a search: preparing the model, one start state per thread, and
//   the final check.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "vexa/vexa.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

constexpr uint64_t kCouplers = 3'000'000;

// A random model: every variable has a linear term, and kCouplers couplers
// join random pairs; weights are small signed integers.
Model *random_sparse_model(uint64_t n, uint64_t seed) {
    vexa_var_reset();
    const uint64_t dims[1] = {n};
    const uint32_t first = vexa_new_var_array("x", dims, 1);
    std::mt19937_64 rng(seed);
    const uint64_t terms = n + kCouplers;
    std::vector<uint64_t> limbs(terms);
    std::vector<vexa_bigint> coeffs(terms);
    std::vector<uint32_t> counts;
    std::vector<uint32_t> vars;
    counts.reserve(terms);
    vars.reserve(n + 2 * kCouplers);
    auto weight = [&](uint64_t t) {
        const int64_t w = static_cast<int64_t>(rng() % 201) - 100;
        limbs[t] = w < 0 ? uint64_t(-w) : uint64_t(w);
        coeffs[t] = {w < 0 ? -1 : (w > 0 ? 1 : 0), 1, &limbs[t]};
    };
    uint64_t t = 0;
    for (uint64_t i = 0; i < n; ++i, ++t) {
        weight(t);
        counts.push_back(1);
        vars.push_back(first + static_cast<uint32_t>(i));
    }
    for (uint64_t c = 0; c < kCouplers; ++c, ++t) {
        const uint64_t a = rng() % n;
        uint64_t b = rng() % (n - 1);
        if (b >= a) ++b;
        weight(t);
        counts.push_back(2);
        vars.push_back(first + static_cast<uint32_t>(a));
        vars.push_back(first + static_cast<uint32_t>(b));
    }
    const vexa_bigint zero{0, 0, nullptr};
    ExprImpl *e = vexa_expr_create_from_bulk(&zero, terms, coeffs.data(), counts.data(), vars.data());
    ExprImpl *s = vexa_expr_simplify_as_binary(e);
    Model *m = vexa_model_create(s);
    vexa_expr_destroy(s);
    vexa_expr_destroy(e);
    return m;
}

std::string info_value(const nimba_solver_result *r, const char *key) {
    for (uint64_t i = 0; i < vexa_nimba_solver_result_info_count(r); ++i) {
        if (std::string(vexa_nimba_solver_result_info_key(r, i)) == key) return vexa_nimba_solver_result_info_value(r, i);
    }
    return "-";
}

}  // namespace

int main(int argc, char **argv) {
    std::vector<uint64_t> sizes;
    std::vector<double> limits;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("limit=", 0) == 0) {
            limits.push_back(std::strtod(arg.c_str() + 6, nullptr));
        } else {
            sizes.push_back(std::strtoull(arg.c_str(), nullptr, 10));
        }
    }
    if (sizes.empty()) sizes = {100'000, 1'000'000};
    if (limits.empty()) limits = {1.0, 5.0};
    std::printf("%-10s %-9s %-8s %-7s %-9s %-9s %-9s %-9s %s\n", "variables", "couplers", "limit_s", "threads",
                "create_s", "search_s", "overrun_s", "allowed_s", "verdict");
    bool all_kept = true;
    for (const uint64_t n : sizes) {
        const auto tb = Clock::now();
        Model *m = random_sparse_model(n, 12345 + n);
        std::fprintf(stderr, "model of %llu variables built in %.2f s\n", static_cast<unsigned long long>(n), since(tb));
        for (const double limit : limits) {
            for (const int threads : {1, 2}) {
                const std::string tl = std::to_string(limit), th = std::to_string(threads);
                const vexa_param params[] = {{"time_limit", tl.c_str()}, {"threads", th.c_str()}, {nullptr, nullptr}};
                const auto tc = Clock::now();
                vexa_nimba_solver_wrapper *w = vexa_nimba_solver_wrapper_create(m);
                const double create_s = since(tc);
                const auto ts = Clock::now();
                nimba_solver_result *r = vexa_nimba_solver_wrapper_search(w, params, nullptr);
                const double search_s = since(ts);
                const double allowed = std::max(0.05, 0.02 * limit);
                const double overrun = search_s - limit;
                const bool kept = overrun <= allowed;
                all_kept = all_kept && kept;
                std::printf("%-10llu %-9llu %-8.1f %-7d %-9.3f %-9.3f %-9.3f %-9.3f %s (module search_time %s)\n",
                            static_cast<unsigned long long>(n), static_cast<unsigned long long>(kCouplers), limit,
                            threads, create_s, search_s, overrun, allowed, kept ? "kept" : "OVERRUN",
                            info_value(r, "search_time").c_str());
                std::fflush(stdout);
                vexa_nimba_solver_result_destroy(r);
                vexa_nimba_solver_wrapper_destroy(w);
            }
        }
        vexa_model_destroy(m);
    }
    return all_kept ? 0 : 1;
}
