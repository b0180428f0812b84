// The 4x4 assignment problem over an array of variables: x(i, j) = 1 when
// worker i takes job j. The cost sum c(i, j) x(i, j) is one einsum; "each
// worker one job, each job one worker" are one-hot rows and columns, added as
// squared penalties (sum_j x(i, j) - 1)^2 built with sums along an axis. The
// penalty weight exceeds any total cost, so a violated row or column never
// pays. The exhaustive solver visits all 2^16 assignments; the example checks
// its optimum against a brute force over the 24 permutations.
#include <algorithm>
#include <array>
#include <cstdint>
#include <iostream>
#include <numeric>
#include <vector>

#include "vexa/vexa.hpp"

int main() {
    constexpr int n = 4;
    const std::vector<vexa::Int> costs{9, 2, 7, 8,  //
                                       6, 4, 3, 7,  //
                                       5, 8, 1, 8,  //
                                       7, 6, 9, 4};
    const vexa::Array<vexa::Int> c({n, n}, costs);
    const vexa::Array<vexa::Var> x("x", {n, n});

    const vexa::Expr cost = vexa::einsum<0>("ij,ij->", c, x)();
    const vexa::Expr one_hot = vexa::sqr(x.sum(1) - 1).sum() + vexa::sqr(x.sum(0) - 1).sum();
    int64_t weight = 1;
    for (const vexa::Int &v : costs) weight += v.to_int64();
    const vexa::Model model = vexa::Model::from(cost + weight * one_hot);

    const vexa::Result r = vexa::ExhaustiveSolver(model).search();
    const vexa::Array<vexa::Int> chosen = vexa::values(r, x);
    const vexa::Array<vexa::Int> job = vexa::onehot_to_int(chosen, 1);  // the job of each worker, -1 if none

    std::cout << "cost matrix:\n";
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) std::cout << " " << c(i, j);
        std::cout << "\n";
    }
    std::cout << "assignment (rows: workers, columns: jobs):\n";
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) std::cout << " " << chosen(i, j);
        std::cout << "   worker " << i << " -> job " << job(i) << "\n";
    }
    const vexa::Int found = r.energy();
    std::cout << "cost " << found << "\n";

    // Brute force over every permutation of jobs.
    std::array<int, n> perm{};
    std::iota(perm.begin(), perm.end(), 0);
    int64_t best = -1;
    do {
        int64_t total = 0;
        for (int i = 0; i < n; ++i) total += c(i, perm[static_cast<std::size_t>(i)]).to_int64();
        if (best < 0 || total < best) best = total;
    } while (std::next_permutation(perm.begin(), perm.end()));

    // The energy must be the cost of the printed assignment, a permutation.
    bool valid = true;
    int64_t printed = 0;
    std::array<bool, n> taken{};
    for (int i = 0; i < n; ++i) {
        const int64_t j = job(i).to_int64();
        valid = valid && j >= 0 && !taken[static_cast<std::size_t>(j)];
        if (!valid) break;
        taken[static_cast<std::size_t>(j)] = true;
        printed += c(i, j).to_int64();
    }
    if (!valid || found != printed || found != best) {
        std::cout << "MISMATCH: brute force over 24 permutations gives " << best << "\n";
        return 1;
    }
    std::cout << "optimum " << found << " equals the brute force over 24 permutations\n";
    return 0;
}
