// Contraction of arrays of mixed element type under an index subscript.
#pragma once

#include <cstdint>

namespace vexa {

// An ArrayImpl<ExprImpl> (expr_output nonzero) or ArrayImpl<coeff_t> holding
// the contraction; inputs are ArrayImpl pointers with type tags 0..3.
void *einsum(const char *subscript, int n_inputs, const uint32_t *tags, const void *const *arrays,
             uint32_t expr_output, uint64_t out_dim);

}  // namespace vexa
