// The linear view of a model with 10^6 linear constraint terms in 10^5
// constraints over 10^5 binary variables (plus a linear objective over all of
// them): the time to build the view (target 1 s), and to write it as an LP
// file (target 2 s) and as an MPS file.
//
// The constraints are put into the model's records directly, as the model
// builder would leave them, so that the figures are those of the view and the
// writers alone.
//
//   vexa_bench_ilp [variables] [constraints] [terms per constraint]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "common/measure.hpp"
#include "model/ilp.hpp"
#include "model/model.hpp"
#include "vexa/vexa.hpp"

int main(int argc, char **argv) {
    const uint64_t n_vars = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100000;
    const uint64_t n_cons = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 100000;
    const uint64_t per_row = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 10;
    std::mt19937_64 rng(12345);

    vexa::TermList terms;
    const vexa::Vars x("x", n_vars);
    for (uint64_t i = 0; i < n_vars; ++i) {
        const int64_t c = static_cast<int64_t>(rng() % 10) + 1;  // never 0, so every variable is in the model
        terms.add(vexa::Int(rng() % 2 == 0 ? c : -c), x[i]);
    }
    const vexa::Model model(vexa::simplify_as_binary(vexa::Expr::from_terms(terms, 7)));

    // Each constraint: per_row distinct variables, coefficients in -5..5
    // without 0, bounds that bind on both sides, one side, or are equal.
    vexa::ModelImpl &impl = *model.handle()->ref;
    if (impl.var_count() != n_vars) return 1;
    impl.native_constraints.reserve(n_cons);
    for (uint64_t r = 0; r < n_cons; ++r) {
        vexa::NativeConstraint nc;
        nc.weight = 1;
        const uint64_t start = rng() % (n_vars - per_row);
        for (uint64_t k = 0; k < per_row; ++k) {
            nc.vars.push_back(static_cast<uint32_t>(start + k));
            int64_t c = static_cast<int64_t>(rng() % 10) - 5;
            if (c >= 0) ++c;
            nc.coeffs.emplace_back(c);
        }
        switch (r % 3) {
            case 0: nc.lower = -2; nc.upper = 3; break;
            case 1: nc.lower = 1; nc.upper = 1000; break;
            default: nc.lower = 0; nc.upper = 0; break;
        }
        impl.native_constraints.push_back(std::move(nc));
    }
    const uint64_t n_terms = n_cons * per_row;
    std::printf("model: %llu variables, %llu constraints, %llu constraint terms, %llu objective terms\n",
                static_cast<unsigned long long>(n_vars), static_cast<unsigned long long>(n_cons),
                static_cast<unsigned long long>(n_terms), static_cast<unsigned long long>(n_vars));

    auto t0 = std::chrono::steady_clock::now();
    std::optional<vexa::Ilp> ilp = vexa::Ilp::try_build(model);
    const double build_s = vexa::bench::seconds_since(t0);
    if (!ilp) {
        std::printf("not an ILP: %s\n", vexa::Ilp::last_error().c_str());
        return 1;
    }
    std::printf("build view:  %.3f s  (%llu columns, %llu rows)\n", build_s,
                static_cast<unsigned long long>(ilp->col_count()), static_cast<unsigned long long>(ilp->row_count()));

    const std::filesystem::path dir = std::filesystem::temp_directory_path();
    for (const char *kind : {"lp", "mps"}) {
        const std::filesystem::path path = dir / ("vexa_bench_ilp." + std::string(kind));
        t0 = std::chrono::steady_clock::now();
        {
            std::ofstream f(path);
            if (kind[0] == 'l') {
                ilp->write_lp(f);
            } else {
                ilp->write_mps(f);
            }
        }
        const double write_s = vexa::bench::seconds_since(t0);
        std::printf("write %-4s   %.3f s  (%.1f MiB)\n", kind, write_s,
                    static_cast<double>(std::filesystem::file_size(path)) / (1024.0 * 1024.0));
        std::filesystem::remove(path);
    }
    std::printf("peak memory: %.1f MiB\n", vexa::bench::status_mib("VmHWM:"));
    return 0;
}
