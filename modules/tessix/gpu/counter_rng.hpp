// A counter-based random stream: draw k of replica r is a pure function of
// (seed, r, k), so a replica's moves do not depend on how many replicas share
// a launch, on the block shape, or on the host or device that runs it.
#pragma once

#include <cstdint>

#include "hd.hpp"

namespace vexa::tessix {

VEXA_HD uint64_t mix64(uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// The key of one replica's stream within a batch.
VEXA_HD uint64_t stream_key(uint64_t seed, uint64_t batch, uint64_t replica) {
    return mix64(mix64(seed ^ 0x6A09E667F3BCC909ull) + mix64(batch * 0x9E3779B97F4A7C15ull + 0xBB67AE8584CAA73Bull)
                 + replica * 0xD1B54A32D192ED03ull);
}

struct CounterRng {
    uint64_t key = 0;
    uint64_t counter = 0;

    // Draw number `counter` of the stream, then the counter moves on.
    VEXA_HD uint64_t next() { return mix64(key + (counter++ + 1) * 0x9E3779B97F4A7C15ull); }

    // Uniform in [0, n), n > 0.
    VEXA_HD uint64_t below(uint64_t n) {
        const uint64_t d = next();
        // The high half of the 128-bit product, without __int128 on the device.
        const uint64_t a = d >> 32, b = d & 0xFFFFFFFFull, c = n >> 32, e = n & 0xFFFFFFFFull;
        const uint64_t ae = a * e, bc = b * c, be = b * e;
        const uint64_t mid = (be >> 32) + (ae & 0xFFFFFFFFull) + (bc & 0xFFFFFFFFull);
        return a * c + (ae >> 32) + (bc >> 32) + (mid >> 32);
    }

    // Uniform in [0, 1).
    VEXA_HD double unit() { return static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0); }
};

}  // namespace vexa::tessix
