// Graph colouring with one-hot rows: c[v][k] = 1 when vertex v takes colour
// k. Every vertex takes exactly one colour (sum_k c[v][k] == 1) and the ends
// of an edge never share one (c[u][k] + c[v][k] <= 1), all as declared
// constraints. The graph holds a 5-cycle, which two colours cannot colour, so
// the objective, the number of vertices with the third colour, is at least 1.
#include <iostream>
#include <utility>
#include <vector>

#include "vexa/vexa.hpp"

int main() {
    const uint64_t vertices = 6, colours = 3;
    const std::vector<std::pair<uint64_t, uint64_t>> edges{{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 0}, {5, 0}, {5, 2}};
    const vexa::Vars c("c", {vertices, colours});

    const long long weight = 10;
    vexa::Expr constraints;
    for (uint64_t v = 0; v < vertices; ++v) {
        vexa::Expr row;
        for (uint64_t k = 0; k < colours; ++k) row += c(v, k);
        constraints += weight * vexa::cons(row == 1);
    }
    for (const auto &[u, v] : edges) {
        for (uint64_t k = 0; k < colours; ++k) constraints += weight * vexa::cons(c(u, k) + c(v, k) <= 1);
    }
    vexa::Expr third;
    for (uint64_t v = 0; v < vertices; ++v) third += c(v, colours - 1);
    const vexa::Model model = vexa::Model::from(third + constraints);
    std::cout << "graph colouring: " << vertices << " vertices, " << edges.size() << " edges, " << colours
              << " colours, " << model.native_constraint_count() << " native constraints\n";

    const vexa::Result exact = vexa::ExhaustiveSolver(model).search();
    const vexa::Result heuristic =
        vexa::NimbaSolver(model).search({.time_limit = 2.0, .seed = 2, .threads = 2, .target_energy = exact.energy()});
    std::cout << "exhaustive energy " << exact.energy() << ", heuristic energy " << heuristic.energy() << "\n";
    std::cout << "colours:";
    for (uint64_t v = 0; v < vertices; ++v) {
        for (uint64_t k = 0; k < colours; ++k) {
            if (heuristic(c(v, k)) != 0) std::cout << " " << v << "=" << k;
        }
    }
    std::cout << "\nconstraint report:\n" << vexa::report(constraints, heuristic);
    const uint64_t broken = vexa::violations(constraints, heuristic);
    std::cout << "violated constraints: " << broken << "\n";
    return heuristic.energy() == exact.energy() && broken == 0 ? 0 : 1;
}
