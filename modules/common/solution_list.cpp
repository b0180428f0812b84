#include "solution_list.hpp"

#include <algorithm>
#include <cstring>

#include "packed_bits.hpp"

namespace vexa::mod {

SolutionList SolutionList::for_params(const SearchParams &p) {
    SolutionList l;
    if (p.best_energy) {
        l.mode = Mode::best_energy;
        l.limit = p.best_energy_cap == 0 ? kBestEnergyListLimit : std::min(p.best_energy_cap, kBestEnergyListLimit);
    } else if (p.topk > 0) {
        l.mode = Mode::top_k;
        l.limit = p.topk;
    }
    return l;
}

bool SolutionList::wants(const coeff_t &e) const {
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

bool SolutionList::contains(const uint64_t *bits, size_t words, uint64_t hash) const {
    if (hashes.find(hash) == hashes.end()) return false;
    for (const ListEntry &x : entries) {
        if (x.hash == hash && x.bits.size() == words &&
            (words == 0 || std::memcmp(x.bits.data(), bits, words * sizeof(uint64_t)) == 0)) {
            return true;
        }
    }
    return false;
}

void SolutionList::offer(const coeff_t &e, const uint64_t *bits, size_t words, double tts) {
    if (!wants(e)) {
        if (mode == Mode::best_energy && !entries.empty() && e == entries.front().energy) truncated = true;
        return;
    }
    const uint64_t hash = hash_words(bits, words);
    if (mode == Mode::best_energy) {
        if (!entries.empty() && e < entries.front().energy) {
            entries.clear();
            hashes.clear();
            truncated = false;
        } else if (contains(bits, words, hash)) {
            return;
        }
        entries.push_back({e, std::vector<uint64_t>(bits, bits + words), tts, hash});
        hashes.insert(hash);
        return;
    }
    if (contains(bits, words, hash)) return;
    // Behind every entry of equal energy: the first found stays first.
    auto at = std::upper_bound(entries.begin(), entries.end(), e,
                               [](const coeff_t &v, const ListEntry &x) { return v < x.energy; });
    entries.insert(at, ListEntry{e, std::vector<uint64_t>(bits, bits + words), tts, hash});
    hashes.insert(hash);
    if (entries.size() > limit) {
        hashes.erase(hashes.find(entries.back().hash));
        entries.pop_back();
    }
}

}  // namespace vexa::mod
