// Loading the built solver modules and driving them through their C
// functions the way the library's drivers do: create, constraints in model
// order (set_cons_shape after a non-plain one), remainder, search, the list,
// the info pairs, destroy.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "solver/modules.hpp"
#include "test_model.hpp"

namespace vexa::test {

using Params = std::vector<std::pair<std::string, std::string>>;

// The built modules, opened once per process from the build's output
// directory with every function of their family's list (a missing one aborts
// the test program).
const NimbaModuleTable &built_nimba_module();
const ExhaustiveModuleTable &built_exhaustive_module();

struct ListItem {
    coeff_t energy;
    std::vector<uint64_t> bits;
    double tts = 0.0;
};

struct Outcome {
    coeff_t energy;
    std::vector<uint64_t> bits;
    double tts = 0.0;
    bool has_list = false;
    std::vector<ListItem> list;
    std::map<std::string, std::string> info;
    std::vector<coeff_t> ints;  // integer handles
    double wall = 0.0;          // seconds around the search call
};

// A handle for a binary model (create) or, with `integer`, for a mixed model
// (the heuristic module's create_int; constraint words must then be flat
// indices). Table is NimbaModuleTable or ExhaustiveModuleTable.
template <class Table>
void *create_handle(const Table &f, const TestModel &m, bool integer = false);
template <class Table>
Outcome search_handle(const Table &f, void *h, const TestModel &m, const Params &p, bool integer = false);
template <class Table>
Outcome solve(const Table &f, const TestModel &m, const Params &p);
Outcome solve_int(const TestModel &m, const Params &p);

}  // namespace vexa::test
