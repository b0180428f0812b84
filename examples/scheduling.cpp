// A small schedule with encoded integers: four jobs with start times s_j in
// [0, 7] (each an IntVar of three bits) and durations d_j,
//   precedences    A before B, A before C, B before D, C before D:
//                  s_B - s_A >= d_A, ...
//   one machine    B and C do not overlap: an order bit o chooses
//                  B first (s_C - s_B >= d_B - M o) or C first
//                  (s_B - s_C >= d_C - M (1 - o)), M large enough
//   makespan       an IntVar T in [0, 12] with T - s_j >= d_j for every job
// minimising T. All constraints are declared, so the model keeps them as
// native rows over the bits of the integers.
#include <iostream>
#include <string>
#include <vector>

#include "vexa/vexa.hpp"

int main() {
    const std::vector<std::string> names{"A", "B", "C", "D"};
    const std::vector<long long> duration{2, 3, 2, 2};
    std::vector<vexa::IntVar> start;
    for (const std::string &n : names) start.emplace_back("s" + n, 0, 7);
    const vexa::IntVar makespan("T", 0, 12);
    const vexa::Var order("o");  // 1: C runs before B
    const long long big = 10, weight = 20;

    vexa::Expr constraints;
    const std::vector<std::pair<int, int>> before{{0, 1}, {0, 2}, {1, 3}, {2, 3}};
    for (const auto &[a, b] : before) constraints += weight * vexa::cons(start[b] - start[a] >= duration[a]);
    constraints += weight * vexa::cons(start[2] - start[1] + big * order >= duration[1]);
    constraints += weight * vexa::cons(start[1] - start[2] - big * order >= duration[2] - big);
    for (std::size_t j = 0; j < start.size(); ++j) constraints += weight * vexa::cons(makespan - start[j] >= duration[j]);

    const vexa::Model model = vexa::Model::from(makespan + constraints);
    std::cout << "scheduling: " << names.size() << " jobs, " << model.native_constraint_count()
              << " native constraints, " << model.var_count() << " bits\n";

    const vexa::Result exact = vexa::ExhaustiveSolver(model).search();
    const vexa::Result heuristic =
        vexa::NimbaSolver(model).search({.time_limit = 2.0, .seed = 3, .threads = 2, .target_energy = exact.energy()});
    std::cout << "exhaustive energy " << exact.energy() << ", heuristic energy " << heuristic.energy() << "\n";
    std::cout << "schedule:";
    for (std::size_t j = 0; j < start.size(); ++j) {
        std::cout << " " << names[j] << "@" << heuristic(start[j]) << "-" << heuristic(start[j]).to_int64() + duration[j];
    }
    std::cout << "  makespan " << heuristic(makespan) << "\n";
    std::cout << "constraint report:\n" << vexa::report(constraints, heuristic);
    const uint64_t broken = vexa::violations(constraints, heuristic);
    std::cout << "violated constraints: " << broken << "\n";
    return heuristic.energy() == exact.energy() && broken == 0 ? 0 : 1;
}
