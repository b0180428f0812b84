// Runs the threads of a binary search: thread 0 on the caller, the others on
// new threads, all sharing one SearchShared record. Threads take the three
// strategies in turn: breakout local search, parallel tempering, then tabu
// search with path relinking. A lone thread alternates tempering and
// breakout local search from the best state. Unconstrained int64 models with
// a small gain range use bucketed move selection in the local searches.
#pragma once

#include <cstdint>

#include "binary_worker.hpp"
#include "tempering.hpp"

namespace vexa::mod {

// `tempering` receives the counts of the tempering threads.
template <class T>
void run_binary_search(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared,
                       uint32_t threads, uint64_t seed, const SearchSchedule &schedule,
                       TemperingStats &tempering);

extern template void run_binary_search<int64_t>(const FlipModel<int64_t> &, const coeff_t &,
                                                SearchShared &, uint32_t, uint64_t,
                                                const SearchSchedule &, TemperingStats &);
extern template void run_binary_search<coeff_t>(const FlipModel<coeff_t> &, const coeff_t &,
                                                SearchShared &, uint32_t, uint64_t,
                                                const SearchSchedule &, TemperingStats &);

}  // namespace vexa::mod
