// Drives a solver module through its C contract, as the library's drivers
// do: dlopen, register a silent callback, create, search, read the info
// pairs, destroy. The accelerated family returns its info pairs in the out
// record.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "flat_model.hpp"
#include "vexa/solver_module.h"

namespace bench {

using TextPairs = std::vector<std::pair<std::string, std::string>>;

struct ModuleRun {
    vexa::coeff_t energy = 0;
    std::vector<uint64_t> bits;
    double tts = 0.0;
    double wall = 0.0;  // seconds around the search call
    TextPairs info;
};

// accelerated: the CPU family of tessix_cppint.so.
enum class Family { heuristic, exhaustive, accelerated };

class ModuleClient {
public:
    ModuleClient() = default;  // unusable: for runs that go through the library
    // Exits with a message if the file or a symbol is missing.
    ModuleClient(const std::string &path, Family family);

    ModuleRun solve(const FlatModel &model, const TextPairs &params) const;

private:
    ModuleRun solve_accelerated(const FlatModel &model, const TextPairs &params) const;

    Family family_ = Family::heuristic;
    void *create_ = nullptr, *search_ = nullptr;
    vexa_module_destroy_fn destroy_ = nullptr;
    vexa_get_info_fn get_info_ = nullptr;
    vexa_free_info_fn free_info_ = nullptr;
    vexa_sol_list_destroy_fn list_destroy_ = nullptr;
};

}  // namespace bench
