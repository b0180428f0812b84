#include "solution_list.hpp"

#include <algorithm>

namespace vexa::mod {

SolutionList list_for_params(const SearchParams &p) {
    if (p.best_energy) {
        return SolutionList::best_energy(p.best_energy_cap == 0 ? kBestEnergyListLimit
                                                                : std::min(p.best_energy_cap, kBestEnergyListLimit));
    }
    if (p.topk > 0) return SolutionList::top_k(p.topk);
    return SolutionList{};
}

}  // namespace vexa::mod
