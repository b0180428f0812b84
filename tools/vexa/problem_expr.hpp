// From the entries of a problem file to the energy the solvers minimise.
#pragma once

#include <cstdint>
#include <vector>

#include "readers/problem.hpp"
#include "vexa/vexa.hpp"

namespace vexa::cli {

// The energy of a problem: -f for qubo and matrix files, -cut for edge lists,
// so that the file's own objective is always -energy. Only indices that some
// entry names get a variable: vars[k] stands for file index used[k].
struct ProblemEnergy {
    std::vector<uint32_t> used;
    Vars vars;
    Expr energy;  // simplified as binary
};

ProblemEnergy build_energy(const Problem &p);
// The same, letting go of the entries (p is left without them) as soon as
// they are no longer needed, which lowers the peak memory of large files.
ProblemEnergy build_energy(Problem &&p);

// The value of every file variable, 0-based, in a solution of the energy's
// model; a variable that no entry (or no surviving term) names reads 0.
std::vector<int> file_assignment(const ProblemEnergy &pe, uint64_t n, const Sol &sol);

// What the objective is called in the file's own sense.
const char *objective_name(Format f);

}  // namespace vexa::cli
