// ExhaustiveSolver: binary models go to "exhaustive_cppint.so"; models with
// integer variables are enumerated here.
#include "solver/exhaustive_driver.hpp"

#include <memory>
#include <vector>

#include "model/model.hpp"
#include "solver/capabilities.hpp"
#include "solver/int_enumeration.hpp"
#include "solver/module_wiring.hpp"
#include "solver/modules.hpp"
#include "solver/params.hpp"
#include "solver/result.hpp"
#include "solver/stop_request.hpp"

using namespace vexa;

struct vexa_exhaustive_wrapper {
    std::shared_ptr<ModelImpl> model;
    void *handle = nullptr;
    std::vector<uint64_t> term_counts;
    std::vector<const uint32_t *> var_lists;
    std::vector<const void *> coef_lists;
    bool integer_mode = false;
    mutable StopRequest stop;
};

namespace vexa {

vexa_exhaustive_wrapper *exhaustive_wrapper_create(std::shared_ptr<ModelImpl> model_ref) {
    auto w = std::make_unique<vexa_exhaustive_wrapper>();
    w->model = std::move(model_ref);
    const ModelImpl &model = *w->model;
    if (!model.int_atoms.empty()) {
        check_no_int_remainder(model, "ExhaustiveSolver");
        check_enumeration_size(model);
        w->integer_mode = true;
        return w.release();
    }
    FlatPointers flat(model);
    w->term_counts = std::move(flat.term_counts);
    w->var_lists = std::move(flat.var_lists);
    w->coef_lists = std::move(flat.coef_lists);
    const ExhaustiveModuleTable &t = exhaustive_module();
    check_capabilities(model, t, kExhaustiveNeeds);
    register_exhaustive_callback_once(t);
    w->handle = t.create(nullptr, static_cast<uint32_t>(model.var_count()), model.max_degree, &model.constant,
                         w->term_counts.data(), w->var_lists.data(), w->coef_lists.data(), -1);
    for (const NativeConstraint &c : model.native_constraints) hand_constraint(t, w->handle, c);
    if (model.has_remainder) call_set_remainder(t.set_remainder, w->handle, model);
    if (t.set_external_stop != nullptr) t.set_external_stop(w->handle, w->stop.address());
    return w.release();
}

void exhaustive_wrapper_destroy(vexa_exhaustive_wrapper *w) {
    if (w->handle != nullptr) exhaustive_module().destroy(w->handle);
    delete w;
}

nimba_solver_result *exhaustive_wrapper_search(const vexa_exhaustive_wrapper &w, const vexa_param *params) {
    const StopRequest::Scope scope(w.stop);
    const ModelImpl &model = *w.model;
    if (w.integer_mode) return enumerate_integer_model(model, params, w.stop.address());
    const ExhaustiveModuleTable &t = exhaustive_module();
    const ModuleParams list = ModuleParams::copy(params);
    const uint32_t bin_count = static_cast<uint32_t>(model.var_count());
    ModuleSolutionBox best(bin_count);
    const double start = monotonic_seconds();
    void *sols = t.search(w.handle, best.get(), list.data());
    const double run_time = monotonic_seconds() - start;
    return module_search_result(t, w.handle, best, sols, run_time, model.scale, bin_count);
}

void exhaustive_wrapper_terminate(const vexa_exhaustive_wrapper &w) { w.stop.request(); }

}  // namespace vexa
