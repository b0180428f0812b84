// Runs the threads of a binary search: thread 0 on the caller, the others on
// new threads, all sharing one SearchShared record. Even threads run breakout
// local search, odd ones tabu search with path relinking; unconstrained int64
// models with a small gain range use bucketed move selection.
#pragma once

#include <cstdint>

#include "binary_worker.hpp"

namespace vexa::mod {

template <class T>
void run_binary_search(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared,
                       uint32_t threads, uint64_t seed, const SearchSchedule &schedule);

extern template void run_binary_search<int64_t>(const FlipModel<int64_t> &, const coeff_t &,
                                                SearchShared &, uint32_t, uint64_t,
                                                const SearchSchedule &);
extern template void run_binary_search<coeff_t>(const FlipModel<coeff_t> &, const coeff_t &,
                                                SearchShared &, uint32_t, uint64_t,
                                                const SearchSchedule &);

}  // namespace vexa::mod
