// What a module hands back across the boundary: the out record of the best
// state, the opaque solution list behind sol_list_*, and the info pairs behind
// get_info / free_info.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "solution_list.hpp"
#include "vexa/solver_module.h"

namespace vexa::mod {

// Writes energy (malloc'd limbs), the caller's word_count words of bits, and tts.
void fill_module_solution(ModuleSolution *out, const coeff_t &energy, const uint64_t *bits,
                          size_t words, double tts);

// The list object a search returns; freed by sol_list_destroy.
struct ModuleList {
    std::vector<ListEntry> entries;
};

// Null when the list is inactive.
ModuleList *make_module_list(SolutionList &&list);
uint64_t module_list_count(const void *list);
void module_list_get(const void *list, uint64_t index, ModuleSolution *out);
void module_list_destroy(void *list);

using InfoPairs = std::vector<std::pair<std::string, std::string>>;

// A number of seconds (or a rate) as an info value: printf's "%f".
std::string fixed_text(double v);

// A malloc'd array of malloc'd strings, ended by a null key.
vexa_info_pair *info_to_c(const InfoPairs &pairs);
void info_free(vexa_info_pair *info);

}  // namespace vexa::mod
