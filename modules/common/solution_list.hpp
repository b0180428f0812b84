// The modules' solution list: the shared list over packed states, made from
// the search parameters.
#pragma once

#include <cstdint>

#include "core/coeff.hpp"
#include "search_params.hpp"
#include "solver/solution_list.hpp"

namespace vexa::mod {

using SolutionList = vexa::SolutionList<coeff_t, uint64_t>;
using ListEntry = SolutionList::Entry;

// A best-energy list without a cap still stops growing here, so that a model
// with a huge plateau of optimal states cannot exhaust memory.
inline constexpr uint64_t kBestEnergyListLimit = uint64_t(1) << 16;

// The list the parameters ask for; best_energy_sols wins when both keys are
// given.
SolutionList list_for_params(const SearchParams &p);

}  // namespace vexa::mod
