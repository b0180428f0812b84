#include "move_scan.hpp"

#include <limits>

namespace vexa::mod {

namespace {

// Branch-free so that it vectorises: the sign bits of (tabu_until - iter - 1)
// and of (gain - aspiration) say "not tabu" and "aspirates". The search keeps
// all these values far inside the int64 range.
__attribute__((target_clones("avx2", "default"))) int64_t admissible_minimum(const int64_t *gain,
                                                                             const int64_t *tabu_until,
                                                                             uint32_t n, int64_t iter,
                                                                             int64_t aspiration) {
    constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
    int64_t m = kMax;
    for (uint32_t i = 0; i < n; ++i) {
        const int64_t g = gain[i];
        const int64_t ok = ((tabu_until[i] - iter - 1) | (g - aspiration)) >> 63;  // -1 or 0
        const int64_t key = (g & ok) | (kMax & ~ok);
        m = key < m ? key : m;
    }
    return m;
}

__attribute__((target_clones("avx2", "default"))) int64_t plain_minimum(const int64_t *gain, uint32_t n) {
    int64_t m = std::numeric_limits<int64_t>::max();
    for (uint32_t i = 0; i < n; ++i) m = gain[i] < m ? gain[i] : m;
    return m;
}

uint32_t collect_ties(const int64_t *gain, uint32_t n, uint32_t start, int64_t m, uint32_t *ties) {
    uint32_t count = 0;
    for (uint32_t i = start; i < n; ++i) {
        if (gain[i] == m) {
            ties[count++] = i;
            if (count == kTieSlots) return count;
        }
    }
    for (uint32_t i = 0; i < start; ++i) {
        if (gain[i] == m) {
            ties[count++] = i;
            if (count == kTieSlots) return count;
        }
    }
    return count;
}

}  // namespace

uint32_t scan_improving_moves(const int64_t *gain, uint32_t n, uint32_t start, uint32_t *ties,
                              int64_t &best_gain) {
    const int64_t m = plain_minimum(gain, n);
    best_gain = m;
    if (m >= 0) return 0;
    return collect_ties(gain, n, start, m, ties);
}

uint32_t scan_best_moves(const int64_t *gain, const int64_t *tabu_until, uint32_t n, int64_t iter,
                         int64_t aspiration, uint32_t start, uint32_t *ties, int64_t &best_gain) {
    const int64_t m = admissible_minimum(gain, tabu_until, n, iter, aspiration);
    best_gain = m;
    if (m == std::numeric_limits<int64_t>::max()) return 0;  // no gain reaches this bound
    uint32_t count = 0;
    for (uint32_t i = start; i < n; ++i) {
        if (gain[i] == m && (tabu_until[i] <= iter || gain[i] < aspiration)) {
            ties[count++] = i;
            if (count == kTieSlots) return count;
        }
    }
    for (uint32_t i = 0; i < start; ++i) {
        if (gain[i] == m && (tabu_until[i] <= iter || gain[i] < aspiration)) {
            ties[count++] = i;
            if (count == kTieSlots) return count;
        }
    }
    return count;
}

}  // namespace vexa::mod
