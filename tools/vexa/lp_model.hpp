// From an LP file to the energy the solvers minimise: binary variables become
// Var, general integers NativeIntVar, rows declared constraints.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "readers/lp.hpp"
#include "vexa/vexa.hpp"

namespace vexa::cli {

// One variable of the file. A variable whose bounds leave one value is that
// constant in the energy, and has no variable of its own.
struct LpColumn {
    std::string name;
    LpKind kind = LpKind::binary;
    std::optional<Var> bit;
    std::optional<NativeIntVar> integer;
    std::optional<Int> fixed;
};

struct LpEnergy {
    bool maximize = false;
    std::vector<LpColumn> columns;
    uint64_t rows = 0;
    // The objective for Minimize, its negation for Maximize, plus one
    // declared constraint per row, weighted so that no gain in the objective
    // pays for a violated row.
    Expr energy;
};

LpEnergy build_lp_energy(const LpProblem &p);

// The value of each column in a solution of the energy's model; a variable
// that the model does not hold reads its lower bound.
std::vector<Int> lp_values(const LpEnergy &e, const Sol &sol);

}  // namespace vexa::cli
