// A reader of CPLEX LP files: a linear objective with an optional quadratic
// part, linear rows, bounds and the integrality of the variables. Every
// number must be an exact integer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "readers/problem.hpp"
#include "readers/text.hpp"

namespace vexa::cli {

enum class LpKind { continuous, binary, integer };

struct LpVariable {
    std::string name;
    uint64_t line = 0;  // where the name first appears
    LpKind kind = LpKind::continuous;
    Int lower = 0;
    Int upper;
    bool lower_infinite = false;
    bool upper_infinite = true;
};

// c * vars[a], or c * vars[a] * vars[b] (a <= b, a == b for a square).
struct LpTerm {
    uint32_t a;
    uint32_t b;
    Int c;
};

// lower <= sum of terms <= upper; an infinite side does not bind. A side that
// the bounds of the variables keep the sum from crossing is read as infinite,
// and a row with two such sides is left out.
struct LpRow {
    std::string name;  // empty when the file gives none
    uint64_t line = 0;
    std::vector<LpTerm> terms;  // linear, a variable at most once, sorted by variable
    Int lower, upper;
    bool lower_infinite = false;
    bool upper_infinite = false;
};

struct LpProblem {
    bool maximize = false;
    std::vector<LpVariable> vars;  // in order of first appearance
    Int constant;
    std::vector<LpTerm> linear;     // objective, one per variable, sorted
    std::vector<LpTerm> quadratic;  // objective, one per pair, sorted, halves already taken
    std::vector<LpRow> rows;
};

// Reads an LP file; throws ReadError ("FILE:LINE: message") on the first
// fault, and on features beyond the subset above (continuous variables, SOS,
// semi-continuous variables, piecewise-linear terms, quadratic rows), naming
// the feature.
LpProblem read_lp(LineScanner &s);
LpProblem read_lp(std::string_view text, const std::string &file);
LpProblem read_lp(Input &in, const std::string &file);

// Whether a file looks like an LP file: its name ends in ".lp", or its first
// word (after comments) is Minimize or Maximize in one of their spellings.
bool looks_like_lp(std::string_view head, const std::string &path);

}  // namespace vexa::cli
