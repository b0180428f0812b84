// The last gate of every search: each state a module hands back is priced
// again from the raw arrays with exact integers, and a difference from the
// energy the search reports is a fatal internal error. Long lists are checked
// on several threads.
#pragma once

#include <string_view>
#include <vector>

#include "model_arrays.hpp"
#include "solution_list.hpp"

namespace vexa::mod {

void check_returned_states(std::string_view tag, const ModelArrays &arrays, const coeff_t &best_energy,
                           const uint64_t *best_bits, const coeff_t *best_ints, const std::vector<ListEntry> &list,
                           uint32_t threads);

}  // namespace vexa::mod
