// A small model over native integer variables, searched as integers (no bit
// encoding): choose a, b, c with
//   a + 2b + 3c close to 20,  a close to b,  c small,
// as the sum of squares (a + 2b + 3c - 20)^2 + (a - b)^2 + c^2.
// The native integer search and the exhaustive enumeration agree on the best.
#include <iostream>

#include "vexa/vexa.hpp"

int main() {
    const vexa::NativeIntVar a("a", 0, 10), b("b", -5, 5), c("c", 0, 6);
    const vexa::Expr cost = vexa::sqr(a + 2 * b + 3 * c - 20) + vexa::sqr(a - b) + c * c;
    const vexa::Model model = vexa::Model::from(cost);
    std::cout << "cost: " << vexa::simplify_as_binary(cost) << "\n";

    const vexa::Result heuristic = vexa::NimbaSolver(model).search({.time_limit = 1.0, .seed = 3, .threads = 2});
    std::cout << "native integer search: energy " << heuristic.energy() << "  a=" << heuristic(a)
              << " b=" << heuristic(b) << " c=" << heuristic(c) << "\n";

    const vexa::Result exact = vexa::ExhaustiveSolver(model).search({.best_energy_sols = 0});
    std::cout << "exhaustive:            energy " << exact.energy() << "  a=" << exact(a) << " b=" << exact(b)
              << " c=" << exact(c) << "  (" << exact.topk().size() << " optimal assignments, "
              << exact.info("states").value_or("?") << " states)\n";
    return heuristic.energy() == exact.energy() ? 0 : 1;
}
