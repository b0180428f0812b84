// The inner kernel of the block enumeration in 64-bit words: given the
// energies q[y] of the low block alone and the linear fields l[b] that the
// rest of the state puts on the low variables, fill s[y] = sum of l[b] over
// the bits b of y (by doubling) and return min over y of q[y] + s[y].
// Compiled for AVX2 and for the baseline instruction set.
#pragma once

#include <cstdint>

namespace vexa::mod {

int64_t block_minimum(const int64_t *q, int64_t *s, const int64_t *l, uint32_t low_bits);

}  // namespace vexa::mod
