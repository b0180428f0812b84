#include "block_kernel.hpp"

#include <limits>

namespace vexa::mod {

__attribute__((target_clones("avx2", "default"))) int64_t block_minimum(const int64_t *q, int64_t *s,
                                                                        const int64_t *l, uint32_t low_bits) {
    s[0] = 0;
    for (uint32_t b = 0; b < low_bits; ++b) {
        const uint64_t half = uint64_t(1) << b;
        const int64_t lb = l[b];
        int64_t *hi = s + half;
        for (uint64_t y = 0; y < half; ++y) hi[y] = s[y] + lb;
    }
    const uint64_t size = uint64_t(1) << low_bits;
    int64_t m = std::numeric_limits<int64_t>::max();
    for (uint64_t y = 0; y < size; ++y) {
        const int64_t e = q[y] + s[y];
        m = e < m ? e : m;
    }
    return m;
}

}  // namespace vexa::mod
