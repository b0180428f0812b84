// The reference energy of an assignment, computed from the arrays exactly as
// the library prices a solution: constant, every term in array order, then the
// penalty of each native constraint on its freshly computed body. Every
// energy a module returns is checked against this.
#pragma once

#include <cstdint>
#include <vector>

#include "model_arrays.hpp"

namespace vexa::mod {

// `bits`: bit i of word i/64 is binary variable i. `ints`: int_count values
// (may be null when there are none).
// Big models are summed by up to `threads` threads, each over its own share
// of the terms; integer sums do not depend on the order, so the result is the
// same for every thread count.
coeff_t exact_energy(const ModelArrays &arrays, const uint64_t *bits, const coeff_t *ints, uint32_t threads = 1);

// The body of constraint c for the same assignment.
coeff_t exact_body(const ModelArrays &arrays, const ConstraintRecord &c, const uint64_t *bits,
                   const coeff_t *ints);

// The penalty of a constraint at a body value.
coeff_t exact_penalty(const ConstraintRecord &c, const coeff_t &body);

}  // namespace vexa::mod
