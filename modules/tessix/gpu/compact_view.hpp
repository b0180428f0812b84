// The compact model as the replica code reads it: raw pointers into the
// arrays of a CompactModel on the host or into their copies on the device.
// Nothing here needs more than the C++ standard headers, so the CUDA compiler
// sees only this and the replica code.
#pragma once

#include <cstdint>

namespace vexa::tessix {

struct CompactView {
    uint32_t n = 0, n_bin = 0;
    const int64_t *lower = nullptr, *upper = nullptr;  // per variable (binary: 0, 1)
    const int64_t *h = nullptr, *sq = nullptr;
    const uint64_t *adj_start = nullptr;  // n + 1
    const uint32_t *adj_var = nullptr;
    const int64_t *adj_w = nullptr;
    uint32_t n_cons = 0;
    const int64_t *c_weight = nullptr, *c_lower = nullptr, *c_upper = nullptr, *c_b0 = nullptr;
    const uint8_t *c_exponent = nullptr;
    const uint32_t *c_allowed_start = nullptr;  // n_cons + 1; empty range: plain [lower, upper]
    const int64_t *allowed_lo = nullptr, *allowed_hi = nullptr;
    const uint32_t *occ_start = nullptr;  // n + 1: the constraint occurrences of each variable
    const uint32_t *occ_cons = nullptr;
    const int64_t *occ_a = nullptr;
};

}  // namespace vexa::tessix
