// Hints offered to a handle from another thread: the last one posted, with a
// generation number. Search threads poll the number without a lock and copy
// the hint when it moved; a search also takes the hint it has not seen at its
// end, so that a hint posted during its last moments still counts.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "core/coeff.hpp"

namespace vexa::mod {

struct HintBox {
    std::mutex mutex;
    std::atomic<uint64_t> generation{0};
    std::vector<uint64_t> bits;
    std::vector<coeff_t> ints;
    // The generation a finished search took last: a new search starts from here.
    uint64_t consumed = 0;

    void post(const uint64_t *words, size_t word_count, const coeff_t *values, size_t int_count) {
        std::lock_guard<std::mutex> lock(mutex);
        bits.assign(words, words + word_count);
        ints.assign(values, values + int_count);
        generation.fetch_add(1);
    }

    // Copies the hint when its generation differs from `seen`, and updates `seen`.
    bool take(uint64_t &seen, std::vector<uint64_t> &words, std::vector<coeff_t> &values) {
        if (generation.load(std::memory_order_relaxed) == seen) return false;
        std::lock_guard<std::mutex> lock(mutex);
        seen = generation.load();
        words = bits;
        values = ints;
        return true;
    }
};

}  // namespace vexa::mod
