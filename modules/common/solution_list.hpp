// The solution list a search returns beside its best state, in one of two
// forms:
//   top-k:       distinct states sorted by ascending energy, at most k; among
//                equal energies the state offered first stays first;
//   best-energy: the distinct states of the best energy so far, in the order
//                they were offered; a better state clears the list; an
//                optional cap keeps the first ones.
// Not thread-safe: searches guard it with their own mutex.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "core/coeff.hpp"
#include "search_params.hpp"

namespace vexa::mod {

struct ListEntry {
    coeff_t energy;
    std::vector<uint64_t> bits;
    double tts = 0.0;
    uint64_t hash = 0;
};

// A best-energy list without a cap still stops growing here, so that a model
// with a huge plateau of optimal states cannot exhaust memory.
inline constexpr uint64_t kBestEnergyListLimit = uint64_t(1) << 16;

struct SolutionList {
    enum class Mode { off, top_k, best_energy };
    Mode mode = Mode::off;
    uint64_t limit = 0;  // k, or the cap (0: kBestEnergyListLimit)
    bool truncated = false;
    std::vector<ListEntry> entries;
    std::unordered_multiset<uint64_t> hashes;

    // best_energy_sols wins when both keys are given.
    static SolutionList for_params(const SearchParams &p);

    bool active() const { return mode != Mode::off; }

    // Whether offering a state of energy e could change the list.
    bool wants(const coeff_t &e) const;

    // Offers a state; `bits` is copied only if it is kept.
    void offer(const coeff_t &e, const uint64_t *bits, size_t words, double tts);

private:
    bool contains(const uint64_t *bits, size_t words, uint64_t hash) const;
};

}  // namespace vexa::mod
