// The unified integer engine: a module's own search of a model with integer
// variables, chosen by VEXA_INT_UNIFIED. The heuristic driver's run is here;
// the accelerated driver's (tessix_driver.cpp) shares the constraint hand-over
// and the result.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "model/model.hpp"
#include "solver/module_wiring.hpp"
#include "solver/result.hpp"
#include "vexa/common.h"

namespace vexa {

// VEXA_INT_UNIFIED begins with "1".
bool unified_requested();

// The list keeps no solution lists, the model has no remainder and no
// quadratic constraint body, and the variant word is empty or "cppint".
bool unified_applicable(const vexa_param *params, const ModelImpl &m, const std::string &variant);

// Hands every constraint of an integer model to a unified engine: flat
// indices in place of the dense words, add_set for a constraint with an
// allowed set and add otherwise, then its penalty shape when not plain. The
// caller has checked the functions the model needs.
template <class Add, class AddSet, class Shape>
void hand_unified_constraints(Add add, AddSet add_set, Shape set_shape, void *h, const ModelImpl &m) {
    const uint32_t n_bin = static_cast<uint32_t>(m.var_count());
    for (const NativeConstraint &c : m.native_constraints) {
        const std::vector<uint32_t> vars = flat_words(c.vars, n_bin);
        if (!c.allowed.empty()) {
            call_add_constraint_set(add_set, h, c, vars.data());
        } else {
            call_add_constraint(add, h, c, vars.data());
        }
        if (!plain_shape(c)) set_shape(h, c.shape_exponent, c.shape_hinge);
    }
}

// What a unified search left: its best state and its timing.
struct UnifiedOutcome {
    coeff_t energy;
    double tts = 0.0;
    double scale = 1.0;
    std::vector<uint64_t> bits;
    std::vector<coeff_t> ints;
    double run_time = 0.0;
};

// The result of a unified search: the best state, then "run_time", the
// module's own pairs (added by module_info), "engine" "integer-unified" and
// the machine pairs.
template <class ModuleInfo>
nimba_solver_result *unified_result(UnifiedOutcome &&o, ModuleInfo &&module_info) {
    auto r = std::make_unique<nimba_solver_result>();
    r->energy = std::move(o.energy);
    r->tts = o.tts;
    r->scale = o.scale;
    r->bits = std::move(o.bits);
    r->int_vals = std::move(o.ints);
    r->info.emplace_back("run_time", seconds_text(o.run_time));
    module_info(*r);
    r->info.emplace_back("engine", "integer-unified");
    add_machine_pairs(*r);
    return r.release();
}

// The heuristic module's create_int / search_int on the model. `stop` (may
// be null) is the caller's stop byte, handed to the module when it takes one.
nimba_solver_result *nimba_unified_search(const ModelImpl &m, const std::string &variant,
                                          const vexa_param *params, const volatile uint8_t *stop);

}  // namespace vexa
