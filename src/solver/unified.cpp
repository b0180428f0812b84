#include "solver/unified.hpp"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "solver/capabilities.hpp"
#include "solver/module_wiring.hpp"
#include "solver/modules.hpp"
#include "solver/params.hpp"

namespace vexa {

bool unified_requested() {
    const char *env = std::getenv("VEXA_INT_UNIFIED");
    return env != nullptr && env[0] == '1';
}

bool unified_applicable(const vexa_param *params, const ModelImpl &m, const std::string &variant) {
    for (size_t i = 0, n = param_count(params); i < n; ++i) {
        if (std::strcmp(params[i].key, "topk_sols") == 0 || std::strcmp(params[i].key, "best_energy_sols") == 0) {
            return false;
        }
    }
    if (m.has_remainder || any_nonlinear(m)) return false;
    return variant.empty() || variant == "cppint";
}

nimba_solver_result *nimba_unified_search(const ModelImpl &m, const std::string &variant,
                                          const vexa_param *params, const volatile uint8_t *stop) {
    const std::string word = variant.empty() ? "cppint" : variant;
    const std::string file = "nimbasolver_" + word + ".so";
    NimbaModuleTable &t = nimba_module(word.c_str());
    check_capabilities(m, t, kNimbaUnifiedEngineNeeds, file);
    register_nimba_callback_once(word, t);
    const FlatPointers flat(m);
    const uint32_t n_bin = static_cast<uint32_t>(m.var_count());
    const uint32_t n_int = static_cast<uint32_t>(m.int_count());
    void *h = t.create_int(nullptr, n_bin, n_int, m.int_lower.data(), m.int_upper.data(), m.max_degree, &m.constant,
                           flat.term_counts.data(), flat.var_lists.data(), flat.coef_lists.data());
    check_capabilities(m, t, kNimbaUnifiedConstraintNeeds, file);
    hand_unified_constraints(t.add_constraint, t.add_constraint_set, t.set_cons_shape, h, m);
    if (t.set_external_stop != nullptr && stop != nullptr) t.set_external_stop(h, stop);
    const ModuleParams list = ModuleParams::with_time_limit(params, true);
    ModuleSolutionBox best(n_bin);
    std::vector<coeff_t> ints(n_int, coeff_t(0));
    const double start = monotonic_seconds();
    void *sols = t.search_int(h, best.get(), list.data(), ints.data());
    const double run_time = monotonic_seconds() - start;
    if (sols != nullptr) t.sol_list_destroy(sols);
    nimba_solver_result *r =
        unified_result(UnifiedOutcome{best.energy(), best.tts(), 1.0, best.bits(), std::move(ints), run_time},
                       [&](nimba_solver_result &out) { take_module_info(out, t, h); });
    t.destroy(h);
    return r;
}

}  // namespace vexa
