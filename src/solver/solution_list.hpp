// The solution list a search keeps beside its best state, in one of two
// forms:
//   top-k:       distinct states sorted by ascending energy, at most `limit`;
//                among equal energies the state offered first stays first;
//   best-energy: the distinct states of the best energy so far, in the order
//                they were offered; a better state clears the list; at most
//                `limit` states are kept, the first ones.
// E is the energy type, S the element of a state: a packed word (uint64_t)
// in the modules, a variable value (int64_t, __int128 or coeff_t) in the
// library's integer search. Not thread-safe: searches guard it with their
// own mutex.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "core/state_hash.hpp"

namespace vexa {

template <class E, class S>
struct SolutionListEntry {
    E energy;
    std::vector<S> state;
    double tts = 0.0;
    uint64_t hash = 0;
};

template <class E, class S>
struct SolutionList {
    enum class Mode { off, top_k, best_energy };
    using Entry = SolutionListEntry<E, S>;

    Mode mode = Mode::off;
    uint64_t limit = 0;      // k, or the most states of the best energy kept
    bool truncated = false;  // a state of the best energy found the list full
    std::vector<Entry> entries;
    std::unordered_multiset<uint64_t> hashes;

    static SolutionList top_k(uint64_t k) {
        SolutionList l;
        l.mode = Mode::top_k;
        l.limit = k;
        return l;
    }
    // limit 0 keeps every state of the best energy.
    static SolutionList best_energy(uint64_t limit) {
        SolutionList l;
        l.mode = Mode::best_energy;
        l.limit = limit == 0 ? std::numeric_limits<uint64_t>::max() : limit;
        return l;
    }

    bool active() const { return mode != Mode::off; }

    // A top-k list that holds k states: only a lower energy gets in.
    bool full() const { return mode == Mode::top_k && entries.size() >= limit; }

    // Whether offering a state of energy e could change the list.
    bool wants(const E &e) const {
        switch (mode) {
            case Mode::off:
                return false;
            case Mode::top_k:
                return entries.size() < limit || e < entries.back().energy;
            case Mode::best_energy:
                return entries.empty() || e < entries.front().energy ||
                       (e == entries.front().energy && entries.size() < limit);
        }
        return false;
    }

    // Offers a state of n elements; it is copied only if it is kept.
    void offer(const E &e, const S *state, size_t n, double tts) {
        if (!wants(e)) {
            if (mode == Mode::best_energy && !entries.empty() && e == entries.front().energy) truncated = true;
            return;
        }
        const uint64_t hash = hash_state(state, n);
        if (mode == Mode::best_energy) {
            if (!entries.empty() && e < entries.front().energy) {
                entries.clear();
                hashes.clear();
                truncated = false;
            } else if (contains(state, n, hash)) {
                return;
            }
            entries.push_back(Entry{e, std::vector<S>(state, state + n), tts, hash});
            hashes.insert(hash);
            return;
        }
        if (contains(state, n, hash)) return;
        // Behind every entry of equal energy: the first found stays first.
        auto at = std::upper_bound(entries.begin(), entries.end(), e,
                                   [](const E &v, const Entry &x) { return v < x.energy; });
        entries.insert(at, Entry{e, std::vector<S>(state, state + n), tts, hash});
        hashes.insert(hash);
        if (entries.size() > limit) {
            hashes.erase(hashes.find(entries.back().hash));
            entries.pop_back();
        }
    }

private:
    bool contains(const S *state, size_t n, uint64_t hash) const {
        if (hashes.find(hash) == hashes.end()) return false;
        for (const Entry &x : entries) {
            if (x.hash == hash && x.state.size() == n && std::equal(x.state.begin(), x.state.end(), state)) return true;
        }
        return false;
    }
};

}  // namespace vexa
