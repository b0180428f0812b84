// NimbaSolver: binary models go to the heuristic module of their variant
// word; models with integer variables are searched in the library, or by the
// module's unified engine when VEXA_INT_UNIFIED asks for it.
#include "solver/nimba_driver.hpp"

#include <memory>
#include <string>
#include <vector>

#include "core/fatal.hpp"
#include "model/model.hpp"
#include "solver/capabilities.hpp"
#include "solver/int_search.hpp"
#include "solver/module_wiring.hpp"
#include "solver/modules.hpp"
#include "solver/params.hpp"
#include "solver/result.hpp"
#include "solver/stop_request.hpp"
#include "solver/unified.hpp"
#include "solver/variant.hpp"

using namespace vexa;

struct vexa_nimba_solver_wrapper {
    std::shared_ptr<ModelImpl> model;
    std::string variant;
    std::vector<uint64_t> term_counts;
    std::vector<const uint32_t *> var_lists;
    std::vector<std::vector<uint8_t>> coef_bufs;
    std::vector<const void *> coef_lists;
    std::vector<uint8_t> constant_buf;
    bool int_model = false;
    void *handle = nullptr;
    mutable StopRequest stop;
};

namespace {

// The variant word of a model, from the magnitudes of its coefficients.
std::string model_variant(const ModelImpl &m) {
    CoeffMagnitudes mag;
    mag.add(m.constant);
    for (uint32_t d = 1; d <= m.max_degree; ++d) {
        for (const coeff_t &c : m.term_coeffs[d - 1]) mag.add(c);
    }
    mag.finish();
    return variant_for(mag);
}

// The constant a module receives: the model's own for "cppint", else the
// converted copy.
const void *module_constant(const vexa_nimba_solver_wrapper &w) {
    return w.constant_buf.empty() ? static_cast<const void *>(&w.model->constant) : w.constant_buf.data();
}

nimba_solver_result *search_integer(const vexa_nimba_solver_wrapper &w, const vexa_param *params,
                                    const uint64_t *hint_bits, const coeff_t *hint_ints, uint64_t hint_int_count) {
    const ModelImpl &m = *w.model;
    if (hint_bits == nullptr && unified_requested() && unified_applicable(params, m, w.variant)) {
        return nimba_unified_search(m, w.variant, params, w.stop.address());
    }
    IntSearchOpts opts;
    opts.solver_name = "NimbaSolver";
    opts.model = w.model;
    opts.external_stop = w.stop.address();
    return nimba_int_search(m, opts, params, hint_bits, hint_ints, hint_int_count);
}

}  // namespace

namespace vexa {

vexa_nimba_solver_wrapper *nimba_wrapper_create(std::shared_ptr<ModelImpl> model) {
    auto w = std::make_unique<vexa_nimba_solver_wrapper>();
    w->model = std::move(model);
    const ModelImpl &m = *w->model;
    if (!m.int_atoms.empty()) {
        check_no_int_remainder(m, "NimbaSolver");
        w->int_model = true;
        return w.release();
    }
    w->variant = model_variant(m);
    const VariantWidths widths = variant_widths(w->variant).value_or(VariantWidths{0, 0});
    for (uint32_t d = 1; d <= m.max_degree; ++d) {
        w->term_counts.push_back(m.term_counts[d - 1]);
        w->var_lists.push_back(m.term_vars[d - 1].data());
        if (widths.coeff_bytes == 0) {
            w->coef_lists.push_back(m.term_coeffs[d - 1].data());
            continue;
        }
        std::vector<uint8_t> &buf = w->coef_bufs.emplace_back(m.term_counts[d - 1] * widths.coeff_bytes);
        for (uint64_t i = 0; i < m.term_counts[d - 1]; ++i) {
            store_narrow(m.term_coeffs[d - 1][i], widths.coeff_bytes, buf.data() + i * widths.coeff_bytes);
        }
        w->coef_lists.push_back(buf.data());
    }
    if (widths.energy_bytes != 0) {
        w->constant_buf.resize(widths.energy_bytes);
        store_narrow(m.constant, widths.energy_bytes, w->constant_buf.data());
    }
    NimbaModuleTable &t = nimba_module(w->variant.c_str());
    register_nimba_callback_once(w->variant, t);
    w->handle = t.create(nullptr, static_cast<uint32_t>(m.var_count()), m.max_degree, module_constant(*w),
                         w->term_counts.data(), w->var_lists.data(), w->coef_lists.data());
    check_capabilities(m, t, kNimbaBinaryNeeds, "nimbasolver_" + w->variant + ".so");
    for (const NativeConstraint &c : m.native_constraints) hand_constraint(t, w->handle, c);
    if (m.has_remainder) call_set_remainder(t.set_remainder, w->handle, m);
    if (t.set_external_stop != nullptr) t.set_external_stop(w->handle, w->stop.address());
    return w.release();
}

void nimba_wrapper_destroy(vexa_nimba_solver_wrapper *w) {
    if (w->handle != nullptr) nimba_module(w->variant.c_str()).destroy(w->handle);
    delete w;
}

nimba_solver_result *nimba_wrapper_search(const vexa_nimba_solver_wrapper &w, const vexa_param *params, void *hint) {
    const StopRequest::Scope scope(w.stop);
    if (w.int_model) {
        if (hint != nullptr) {
            fatal("NimbaSolver: hint on a native integer model requires the int-aware search path (update the vexa "
                  "header).");
        }
        return search_integer(w, params, nullptr, nullptr, 0);
    }
    const ModelImpl &m = *w.model;
    const NimbaModuleTable &t = nimba_module(w.variant.c_str());
    const uint32_t bin_count = static_cast<uint32_t>(m.var_count());
    const ModuleParams list = ModuleParams::with_time_limit(params, false);
    ModuleSolutionBox best(bin_count);
    const double start = monotonic_seconds();
    void *sols = t.search(w.handle, best.get(), list.data(), hint);
    const double run_time = monotonic_seconds() - start;
    return module_search_result(t, w.handle, best, sols, run_time, m.scale, bin_count);
}

nimba_solver_result *nimba_wrapper_search_int(const vexa_nimba_solver_wrapper &w, const vexa_param *params,
                                              const uint64_t *hint_bits, const coeff_t *hint_ints,
                                              uint64_t hint_int_count) {
    if (!w.int_model) fatal("NimbaSolver: search_int called on a binary model.");
    const StopRequest::Scope scope(w.stop);
    return search_integer(w, params, hint_bits, hint_ints, hint_int_count);
}

void nimba_wrapper_terminate(const vexa_nimba_solver_wrapper &w) { w.stop.request(); }

}  // namespace vexa
