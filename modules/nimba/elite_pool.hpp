// A small pool of good, distinct states, one per tabu search thread: the raw
// material of path relinking. Full, it replaces its worst entry by a better
// newcomer.
#pragma once

#include <cstdint>
#include <vector>

#include "packed_bits.hpp"
#include "rng.hpp"

namespace vexa::mod {

template <class T>
struct EliteEntry {
    std::vector<uint8_t> x;
    T energy;
    uint64_t hash;
};

template <class T>
class ElitePool {
public:
    explicit ElitePool(size_t capacity) : capacity_(capacity) {}

    // True if the state entered the pool.
    bool insert(const std::vector<uint8_t> &x, const T &energy) {
        const uint64_t h = hash_state(x);
        for (const EliteEntry<T> &e : entries_) {
            if (e.hash == h && e.x == x) return false;
        }
        if (entries_.size() < capacity_) {
            entries_.push_back({x, energy, h});
            return true;
        }
        size_t worst = 0;
        for (size_t k = 1; k < entries_.size(); ++k) {
            if (entries_[worst].energy < entries_[k].energy) worst = k;
        }
        if (!(energy < entries_[worst].energy)) return false;
        entries_[worst] = {x, energy, h};
        return true;
    }

    void clear() { entries_.clear(); }

    size_t size() const { return entries_.size(); }

    // Copies two distinct entries chosen at random; false with fewer than two.
    bool pick_two(Rng &rng, std::vector<uint8_t> &a, std::vector<uint8_t> &b) const {
        if (entries_.size() < 2) return false;
        const size_t i = rng.below(entries_.size());
        size_t j = rng.below(entries_.size() - 1);
        if (j >= i) ++j;
        a = entries_[i].x;
        b = entries_[j].x;
        return true;
    }

private:
    static uint64_t hash_state(const std::vector<uint8_t> &x) {
        const std::vector<uint64_t> w = packed(x.data(), static_cast<uint32_t>(x.size()));
        return hash_words(w.data(), w.size());
    }

    size_t capacity_;
    std::vector<EliteEntry<T>> entries_;
};

}  // namespace vexa::mod
