// Assignments as packed words: bit i of word i/64 is variable i.
#pragma once

#include <cstdint>
#include <vector>

#include "core/state_hash.hpp"

namespace vexa::mod {

inline uint32_t word_count_for(uint32_t n) { return (n + 63) / 64; }

inline void pack_bits(const uint8_t *x, uint32_t n, uint64_t *words) {
    const uint32_t wc = word_count_for(n);
    for (uint32_t w = 0; w < wc; ++w) words[w] = 0;
    for (uint32_t i = 0; i < n; ++i) {
        if (x[i]) words[i / 64] |= uint64_t(1) << (i % 64);
    }
}

inline std::vector<uint64_t> packed(const uint8_t *x, uint32_t n) {
    std::vector<uint64_t> words(word_count_for(n));
    pack_bits(x, n, words.data());
    return words;
}

inline void unpack_bits(const uint64_t *words, uint32_t n, uint8_t *x) {
    for (uint32_t i = 0; i < n; ++i) x[i] = (words[i / 64] >> (i % 64)) & 1u;
}

inline uint64_t hash_words(const uint64_t *words, size_t count) { return vexa::hash_state(words, count); }

}  // namespace vexa::mod
