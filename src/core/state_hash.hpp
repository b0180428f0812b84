// The hash of a search state, an array of packed words or of variable
// values: equal states hash alike whatever the element type.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/number_type.hpp"

namespace vexa {

// One element of a state folded into a 64-bit word for hashing; equal
// values give equal words.
inline uint64_t state_hash_word(uint64_t v) { return v; }
inline uint64_t state_hash_word(int64_t v) { return static_cast<uint64_t>(v); }
inline uint64_t state_hash_word(int128 v) {
    return static_cast<uint64_t>(v) ^ (static_cast<uint64_t>(static_cast<unsigned __int128>(v) >> 64) * 0x9E3779B97F4A7C15ull);
}
inline uint64_t state_hash_word(const coeff_t &v) {
    const auto &b = v.backend();
    uint64_t h = b.sign() ? 0xD6E8FEB86659FD93ull : 0;
    for (unsigned i = 0; i < b.size(); ++i) h = (h ^ static_cast<uint64_t>(b.limbs()[i])) * 0xFF51AFD7ED558CCDull;
    return h;
}

template <class S>
uint64_t hash_state(const S *state, size_t n) {
    uint64_t h = 0x243F6A8885A308D3ull ^ n;
    for (size_t i = 0; i < n; ++i) {
        h ^= state_hash_word(state[i]) + 0x9E3779B97F4A7C15ull + (h << 6) + (h >> 2);
        h *= 0xFF51AFD7ED558CCDull;
        h ^= h >> 33;
    }
    return h;
}

}  // namespace vexa
