// xoshiro256** seeded through splitmix64: fast, and good enough for move
// selection. Each search thread owns one.
#pragma once

#include <cstdint>

namespace vexa::mod {

inline uint64_t splitmix64(uint64_t &state) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

struct Rng {
    uint64_t s[4];

    explicit Rng(uint64_t seed) {
        for (uint64_t &w : s) w = splitmix64(seed);
    }

    uint64_t next() {
        const uint64_t result = rotl(s[1] * 5, 7) * 9;
        const uint64_t t = s[1] << 17;
        s[2] ^= s[0];
        s[3] ^= s[1];
        s[1] ^= s[2];
        s[0] ^= s[3];
        s[2] ^= t;
        s[3] = rotl(s[3], 45);
        return result;
    }

    // Uniform in [0, n), n > 0 (multiply-shift; the bias is below 2^-32 for n < 2^32).
    uint64_t below(uint64_t n) {
        return static_cast<uint64_t>((static_cast<unsigned __int128>(next()) * n) >> 64);
    }

    // Uniform in [0, 1).
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

private:
    static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
};

// The seed of thread t of a search with seed `seed`.
inline uint64_t thread_seed(uint64_t seed, uint32_t t) {
    uint64_t s = seed ^ (0xD1B54A32D192ED03ull * (t + 1));
    return splitmix64(s);
}

}  // namespace vexa::mod
