// Selection of the best admissible one-flip move over a gain array. A move is
// admissible when its variable is not tabu (tabu_until <= iter) or when its
// gain is below the aspiration threshold. The machine-word form runs as two
// branch-light passes (minimum, then the ties), compiled for AVX2 and for the
// baseline instruction set.
#pragma once

#include <cstdint>

namespace vexa::mod {

inline constexpr uint32_t kTieSlots = 64;

// Returns the number of ties written to `ties` (at most kTieSlots, collected
// from index `start` on, wrapping around, so that no index range is
// favoured), 0 when no move is admissible; `best_gain` receives their gain.
uint32_t scan_best_moves(const int64_t *gain, const int64_t *tabu_until, uint32_t n, int64_t iter,
                         int64_t aspiration, uint32_t start, uint32_t *ties, int64_t &best_gain);

// The moves of the smallest negative gain (improving moves only); 0 when none.
uint32_t scan_improving_moves(const int64_t *gain, uint32_t n, uint32_t start, uint32_t *ties,
                              int64_t &best_gain);

}  // namespace vexa::mod
