// Loading the built solver modules and driving them through their C
// functions the way the library's drivers do: create, constraints in model
// order (set_cons_shape after a non-plain one), remainder, search, the list,
// the info pairs, destroy.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "test_model.hpp"
#include "vexa/solver_module.h"

namespace vexa::test {

using Params = std::vector<std::pair<std::string, std::string>>;

struct ModuleFunctions {
    bool exhaustive = false;
    void *create = nullptr;
    vexa_nimba_create_int_fn create_int = nullptr;
    vexa_module_destroy_fn destroy = nullptr;
    void *search = nullptr;
    vexa_nimba_search_int_fn search_int = nullptr;
    vexa_sol_list_count_fn list_count = nullptr;
    vexa_sol_list_get_fn list_get = nullptr;
    vexa_sol_list_destroy_fn list_destroy = nullptr;
    vexa_register_callback_fn register_callback = nullptr;
    vexa_get_info_fn get_info = nullptr;
    vexa_free_info_fn free_info = nullptr;
    vexa_add_constraint_fn add_constraint = nullptr;
    vexa_add_constraint_nl_fn add_constraint_nl = nullptr;
    vexa_add_constraint_set_fn add_constraint_set = nullptr;
    vexa_set_cons_shape_fn set_cons_shape = nullptr;
    vexa_set_remainder_fn set_remainder = nullptr;
};

// Opened once per process from the build's output directory.
const ModuleFunctions &nimba_module();
const ModuleFunctions &exhaustive_module();

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
// (create_int; constraint words must then be flat indices).
void *create_handle(const ModuleFunctions &f, const TestModel &m, bool integer = false);
Outcome search_handle(const ModuleFunctions &f, void *h, const TestModel &m, const Params &p, bool integer = false);
Outcome solve(const ModuleFunctions &f, const TestModel &m, const Params &p);
Outcome solve_int(const TestModel &m, const Params &p);

}  // namespace vexa::test
