// Choosing assets: minimise the risk x^T Q x minus the expected return mu^T x
// over x in {0,1}^n, with exactly k assets chosen (a squared penalty). Q is a
// symmetric integer risk matrix and mu integer returns, both in one unit.
// Both forms are einsum contractions of arrays; the exhaustive solver finds
// the optimum, which the example checks by enumerating every subset.
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "vexa/vexa.hpp"

int main() {
    constexpr uint64_t n = 6;
    constexpr int64_t k = 3;
    const std::vector<std::string> names{"bonds", "energy", "health", "tech", "retail", "gold"};
    const vexa::Array<vexa::Int> mu({n}, {4, 11, 8, 14, 7, 5});
    const vexa::Array<vexa::Int> q({n, n}, {2, 0, 0, -1, 0, 0,  //
                                            0, 6, 1, 2, 1, -1,  //
                                            0, 1, 4, 1, 1, 0,   //
                                            -1, 2, 1, 7, 2, -1, //
                                            0, 1, 1, 2, 5, 0,   //
                                            0, -1, 0, -1, 0, 3});
    const vexa::Array<vexa::Var> x("x", {n});

    const vexa::Expr risk = vexa::einsum<0>("i,ij,j->", x, q, x)();
    const vexa::Expr gain = vexa::einsum<0>("i,i->", mu, x)();
    const vexa::Expr objective = risk - gain + 100 * vexa::sqr(x.sum() - k);
    const vexa::Result r = vexa::ExhaustiveSolver(vexa::Model::from(objective)).search();
    const vexa::Array<vexa::Int> chosen = vexa::values(r, x);

    std::cout << "chosen assets:";
    for (uint64_t i = 0; i < n; ++i) {
        if (chosen(i) == 1) std::cout << " " << names[i];
    }
    std::cout << "\nrisk - return: " << r.energy() << "\n";

    // Every subset of k assets, by the same formula in plain integers.
    int64_t best = 0;
    bool first = true;
    for (uint64_t mask = 0; mask < (uint64_t{1} << n); ++mask) {
        if (__builtin_popcountll(mask) != k) continue;
        int64_t value = 0;
        for (uint64_t i = 0; i < n; ++i) {
            if ((mask >> i & 1) == 0) continue;
            value -= mu(i).to_int64();
            for (uint64_t j = 0; j < n; ++j) {
                if ((mask >> j & 1) != 0) value += q(i, j).to_int64();
            }
        }
        if (first || value < best) best = value;
        first = false;
    }
    if (r.energy() != best) {
        std::cout << "MISMATCH: enumeration gives " << best << "\n";
        return 1;
    }
    std::cout << "optimum " << best << " equals the enumeration of all " << k << "-asset portfolios\n";
    return 0;
}
