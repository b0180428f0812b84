// The binary model rewritten as a multilinear polynomial in the plain
// variables: f(x) = c0 + sum h_i x_i + sum_{i<j} J_ij x_i x_j, and each
// constraint body likewise. Negated literals are expanded (1 - x), squares of
// a binary variable become the variable, and duplicate monomials are merged,
// so for every binary assignment the value is exactly that of the arrays.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "model_arrays.hpp"

namespace vexa::mod {

struct Pair {
    uint32_t i, j;  // i < j
    coeff_t w;
};

struct CanonicalConstraint {
    coeff_t weight, lower, upper;
    coeff_t b0;  // body constant after expansion
    std::vector<std::pair<uint32_t, coeff_t>> lin;  // ascending variable, nonzero
    std::vector<Pair> pairs;                        // ascending (i, j), nonzero
    std::vector<std::pair<coeff_t, coeff_t>> allowed;
    uint8_t exponent = 2;  // shape_hinge plays no part in pricing
};

struct CanonicalModel {
    uint32_t n = 0;
    coeff_t c0;
    std::vector<coeff_t> h;   // n entries
    std::vector<Pair> pairs;  // ascending (i, j), nonzero
    std::vector<CanonicalConstraint> constraints;
};

// Fatal with `tag` on a term of more than two distinct variables or on an
// integer atom (this form is for binary handles only).
CanonicalModel canonicalize(std::string_view tag, const ModelArrays &arrays);

// Sum of |h| and |J|: a bound on |f - c0| and on every one-flip change of f.
coeff_t objective_magnitude(const CanonicalModel &m);

}  // namespace vexa::mod
