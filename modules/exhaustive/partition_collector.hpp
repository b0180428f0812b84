// What one partition of the enumeration keeps: its best state (the first of
// the least energy in enumeration order), its part of the solution list, and
// its counters. States are single words (the module enumerates at most 48
// variables). Energies arrive in the search's number type, relative to the
// model constant; the cheap `wants` test keeps the list's exact bookkeeping
// out of the inner loops.
#pragma once

#include <cstdint>

#include "core/number_type.hpp"
#include "solution_list.hpp"
#include "stopwatch.hpp"

namespace vexa::mod {

template <class T>
struct PartitionCollector {
    const coeff_t *c0 = nullptr;
    const Stopwatch *clock = nullptr;
    bool have_best = false;
    T best = 0;
    uint64_t best_state = 0;
    double best_tts = 0.0;
    SolutionList list;
    uint64_t states = 0;
    bool complete = false;
    mutable bool skipped_equal = false;  // a state of the best energy found the best-energy list full

    // Whether a state of relative energy e would change anything.
    bool wants(const T &e) const {
        if (!have_best || e < best) return true;
        switch (list.mode) {
            case SolutionList::Mode::off:
                return false;
            case SolutionList::Mode::best_energy:
                if (!(e == best)) return false;
                if (list.entries.size() < list.limit) return true;
                skipped_equal = true;
                return false;
            case SolutionList::Mode::top_k:
                return list.entries.size() < list.limit || e < cut_;
        }
        return false;
    }

    void offer(const T &e, uint64_t state) {
        const double tts = clock->seconds();
        if (!have_best || e < best) {
            have_best = true;
            best = e;
            best_state = state;
            best_tts = tts;
        }
        if (list.active()) {
            const coeff_t absolute = *c0 + to_coeff(e);
            list.offer(absolute, &state, 1, tts);
            if (list.full()) {
                cut_ = from_coeff<T>(list.entries.back().energy - *c0);
            }
        }
    }

private:
    T cut_ = 0;  // top-k: the energy of the last entry of a full list
};

}  // namespace vexa::mod
