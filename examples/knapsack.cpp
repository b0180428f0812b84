// 0/1 knapsack: choose items of greatest total value whose total weight stays
// within the capacity,
//   maximise sum v_i x_i  subject to  sum w_i x_i <= capacity,
// with the capacity as a declared constraint, which the model hands to the
// solver as a native row (no slack bits). Both solvers must find the same
// best value, and the report shows the capacity row of the answer.
#include <iostream>
#include <vector>

#include "vexa/vexa.hpp"

int main() {
    const std::vector<long long> value{15, 10, 9, 5, 12, 8, 7, 11, 6, 4, 13, 3};
    const std::vector<long long> weight{7, 4, 3, 2, 6, 4, 3, 5, 3, 2, 7, 1};
    const long long capacity = 20;
    const vexa::Vars x("x", value.size());

    vexa::Expr gain, load;
    long long total = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        gain += vexa::Term(value[i], x[i]);
        load += vexa::Term(weight[i], x[i]);
        total += value[i];
    }
    // Overloading by any amount must cost more than every item is worth.
    const vexa::Expr constraints = (total + 1) * vexa::cons(load <= capacity);
    const vexa::Model model = vexa::Model::from(-gain + constraints);
    std::cout << "knapsack: " << value.size() << " items, capacity " << capacity << ", "
              << model.native_constraint_count() << " native constraint, " << model.var_count() << " variables\n";

    const vexa::Result exact = vexa::ExhaustiveSolver(model).search();
    const vexa::Result heuristic =
        vexa::NimbaSolver(model).search({.time_limit = 2.0, .seed = 1, .threads = 2, .target_energy = exact.energy()});
    std::cout << "exhaustive energy " << exact.energy() << ", heuristic energy " << heuristic.energy() << "\n";

    std::cout << "chosen:";
    long long packed = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (heuristic(x[i]) != 0) {
            std::cout << " x[" << i << "]";
            packed += weight[i];
        }
    }
    std::cout << "  (weight " << packed << ")\n";
    std::cout << "constraint report:\n" << vexa::report(constraints, heuristic);
    const uint64_t broken = vexa::violations(constraints, heuristic);
    std::cout << "violated constraints: " << broken << "\n";
    return heuristic.energy() == exact.energy() && broken == 0 ? 0 : 1;
}
