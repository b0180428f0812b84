// Minimise (x + y - 1)^2 over two binary variables: build, expand, simplify,
// freeze into a model, look at every assignment, and let both solvers search.
#include <iostream>

#include "vexa/vexa.hpp"

int main() {
    const vexa::Var x("x"), y("y");

    // Operators build terms and expressions; nothing is merged on the way.
    const vexa::Expr e = vexa::sqr(x + y - 1);
    std::cout << "expanded:        " << e << "\n";

    // Under the 0/1 reading x*x = x; the canonical form has each monomial once.
    const vexa::Expr q = vexa::simplify_as_binary(e);
    std::cout << "binary form:     " << q << "\n";

    const vexa::Model model(q);
    std::cout << "model:           " << model.var_count() << " variables, constant " << model.constant() << "\n";

    // A solution is an assignment with its exact energy.
    vexa::Sol sol(model);
    for (int a = 0; a < 2; ++a) {
        for (int b = 0; b < 2; ++b) {
            sol.set(x, a);
            sol.set(y, b);
            std::cout << "  x=" << a << " y=" << b << "  energy " << sol.comp_energy() << "\n";
        }
    }

    // The heuristic solver and the exhaustive one agree on energy 0.
    const vexa::Result best = vexa::NimbaSolver(model).search({.time_limit = 0.5, .seed = 1});
    std::cout << "NimbaSolver:     energy " << best.energy() << ", x=" << best(x) << " y=" << best(y) << "\n";
    const vexa::Result all = vexa::ExhaustiveSolver(model).search();
    std::cout << "ExhaustiveSolver: energy " << all.energy() << ", " << all << "\n";
    for (const auto &[key, value] : all.info()) std::cout << "  " << key << " = " << value << "\n";
    return best.energy() == 0 && all.energy() == 0 ? 0 : 1;
}
