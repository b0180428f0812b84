// TessixSolver: binary models go to the GPU or the CPU side of the
// accelerated module; models with integer variables run the native integer
// search, with the module's GPU integer engine beside it where there is one,
// or the module's unified engine when VEXA_INT_UNIFIED asks for it. Unlike
// the heuristic driver it forwards progress to a user callback, takes hints
// while a search runs, and can be stopped from another thread.
#include "solver/tessix_driver.hpp"

#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/fatal.hpp"
#include "core/profile_clock.hpp"
#include "solver/capabilities.hpp"
#include "solver/forwarders.hpp"
#include "solver/int_search.hpp"
#include "solver/module_wiring.hpp"
#include "solver/modules.hpp"
#include "solver/params.hpp"
#include "solver/unified.hpp"

using namespace vexa;

struct vexa_tessix_wrapper {
    std::shared_ptr<ModelImpl> model;
    void *handle = nullptr;  // the binary model's module instance
    bool gpu = false;        // the binary model runs on the GPU side
    vexa_search_callback callback = nullptr;
    void *callback_ctx = nullptr;
    std::atomic<uint8_t> stop{0};
    bool int_model = false;
    bool gpu_int = false;  // searches lend the native search the GPU integer engine
    int32_t gpu_mode = 0;
    std::mutex mutex;  // guards the hint and live_handle
    std::vector<uint64_t> hint_bits;
    std::vector<coeff_t> hint_ints;
    std::atomic<bool> hint_pending[2] = {false, false};  // 0: search threads, 1: the GPU thread
    void *live_handle = nullptr;                          // the unified search in progress
    std::optional<FlatPointers> flat;                     // a binary model's arrays, as the module keeps them
    CallbackTarget progress;  // where the running search's progress goes, taken at its start

    const volatile uint8_t *stop_address() const { return reinterpret_cast<const volatile uint8_t *>(&stop); }
};

static_assert(sizeof(std::atomic<uint8_t>) == 1 && std::atomic<uint8_t>::is_always_lock_free,
              "modules read the stop byte as a plain byte");

namespace {

constexpr const char *kName = "TessixSolver";

// The module calls these with the wrapper it was created with.
double forward_binary(void *w, const vexa_bigint *energy, const uint64_t *bits, uint32_t event, double tts) {
    return forward_progress(static_cast<vexa_tessix_wrapper *>(w)->progress, energy, bits, nullptr, 0, event, tts);
}

double forward_integer(void *w, const vexa_bigint *energy, const uint64_t *bits, const void *ints,
                       uint64_t int_count, uint32_t event, double tts) {
    return forward_progress(static_cast<vexa_tessix_wrapper *>(w)->progress, energy, bits, ints, int_count, event,
                            tts);
}

// A search starts: the stop byte is cleared and the callback of the moment
// is the one its progress goes to.
void begin_search(vexa_tessix_wrapper &w) {
    w.stop.store(0, std::memory_order_relaxed);
    w.progress = CallbackTarget{w.model, w.callback, w.callback_ctx};
}

// The integer engines' hint poll: each channel takes a stored hint once.
bool poll_hint(void *ctx, uint32_t channel, std::vector<uint64_t> &bits, std::vector<coeff_t> &ints) {
    auto &w = *static_cast<vexa_tessix_wrapper *>(ctx);
    if (!w.hint_pending[channel].load(std::memory_order_acquire)) return false;
    std::lock_guard<std::mutex> lock(w.mutex);
    if (!w.hint_pending[channel].load(std::memory_order_relaxed)) return false;
    bits = w.hint_bits;
    ints = w.hint_ints;
    w.hint_pending[channel].store(false, std::memory_order_relaxed);
    return true;
}

// VEXA_TESSIX_INT_REPLICAS in base 10; absent, unreadable or 0 gives 2048.
uint32_t int_replicas() {
    const char *env = std::getenv("VEXA_TESSIX_INT_REPLICAS");
    const unsigned long n = env != nullptr ? std::strtoul(env, nullptr, 10) : 0;
    return n != 0 ? static_cast<uint32_t>(n) : 2048u;
}

// The module's integer GPU engine for one search, destroyed with it.
class GpuIntEngine {
public:
    GpuIntEngine(const TessixModuleTable &t, const ModelImpl &m) : t_(t) {
        const FlatPointers flat(m);
        const uint32_t n_bin = static_cast<uint32_t>(m.var_count());
        // A fresh draw per search: the "seed" setting does not reach it.
        const uint32_t seed = std::random_device("default")();
        h_ = t.int_create(n_bin, static_cast<uint32_t>(m.int_count()), m.int_lower.data(), m.int_upper.data(),
                          m.max_degree, &m.constant, flat.term_counts.data(), flat.var_lists.data(),
                          flat.coef_lists.data(), 0, int_replicas(), seed);
        for (const NativeConstraint &c : m.native_constraints) {
            const std::vector<uint32_t> vars = flat_words(c.vars, n_bin);
            const std::vector<uint32_t> quad_vars = flat_words(c.quad_vars, n_bin);
            const AllowedEnds ends(c);
            t.int_add_cons(h_, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), vars.data(),
                           c.coeffs.data(), c.quad_coeffs.size(), c.quad_head.data(), quad_vars.data(),
                           c.quad_coeffs.data(), ends.low.size(), ends.low.data(), ends.high.data());
            if (!plain_shape(c)) t.int_set_cons_shape(h_, c.shape_exponent, c.shape_hinge);
        }
    }
    ~GpuIntEngine() { t_.int_destroy(h_); }
    GpuIntEngine(const GpuIntEngine &) = delete;
    GpuIntEngine &operator=(const GpuIntEngine &) = delete;

    void lend(IntSearchOpts &opts) const {
        opts.gpu_handle = h_;
        opts.gpu_round = t_.int_round2;
        opts.gpu_hint = t_.int_hint;
    }

private:
    const TessixModuleTable &t_;
    void *h_ = nullptr;
};

// The module's own engine on an integer model.
nimba_solver_result *unified_search(vexa_tessix_wrapper &w, const vexa_param *params) {
    const ModelImpl &m = *w.model;
    const TessixModuleTable &t = tessix_module();
    check_capabilities(m, t, kTessixUnifiedEngineNeeds);
    register_tessix_int_callback_once(t, &forward_integer);
    const FlatPointers flat(m);
    const uint32_t n_bin = static_cast<uint32_t>(m.var_count());
    const uint32_t n_int = static_cast<uint32_t>(m.int_count());
    const int32_t mode = w.gpu_mode > 0 ? w.gpu_mode : (w.gpu_mode < 0 ? -1 : 0);
    void *h = t.cpu_solver_create_int(&w, n_bin, n_int, m.int_lower.data(), m.int_upper.data(), m.max_degree,
                                      &m.constant, flat.term_counts.data(), flat.var_lists.data(),
                                      flat.coef_lists.data(), mode);
    if (t.cpu_solver_set_external_stop != nullptr) t.cpu_solver_set_external_stop(h, w.stop_address());
    check_capabilities(m, t, kTessixUnifiedConstraintNeeds);
    hand_unified_constraints(t.cpu_add_constraint, t.cpu_add_constraint_set, t.cpu_set_cons_shape, h, m);
    const ModuleParams list = ModuleParams::copy(params);
    TessixSolutionBox best(n_bin);
    std::vector<coeff_t> ints(n_int, coeff_t(0));
    {
        std::lock_guard<std::mutex> lock(w.mutex);
        w.live_handle = h;
    }
    const double start = monotonic_seconds();
    void *sols = t.cpu_solver_search_int(h, best.get(), n_bin, list.data(), ints.data());
    const double run_time = monotonic_seconds() - start;
    {
        std::lock_guard<std::mutex> lock(w.mutex);
        w.live_handle = nullptr;
    }
    if (sols != nullptr) t.cpu_sol_list_destroy(sols);
    nimba_solver_result *r =
        unified_result(UnifiedOutcome{best.energy(), best.tts(), m.scale, best.bits(), std::move(ints), run_time},
                       [&best](nimba_solver_result &out) { best.append_info(out); });
    t.cpu_solver_destroy(h);
    return r;
}

nimba_solver_result *search_integer(vexa_tessix_wrapper &w, const vexa_param *params, const uint64_t *hint_bits,
                                    const coeff_t *hint_ints, uint64_t hint_int_count) {
    const ModelImpl &m = *w.model;
    if (hint_bits == nullptr && unified_requested() && unified_applicable(params, m, std::string())) {
        return unified_search(w, params);
    }
    IntSearchOpts opts;
    opts.solver_name = kName;
    opts.external_stop = w.stop_address();
    opts.callback = w.callback;
    opts.callback_ctx = w.callback_ctx;
    opts.model = w.model;
    opts.hint_poll = &poll_hint;
    opts.hint_poll_ctx = &w;
    std::optional<GpuIntEngine> gpu;
    if (w.gpu_int) {
        gpu.emplace(tessix_module(), m);
        gpu->lend(opts);
    }
    return nimba_int_search(m, opts, params, hint_bits, hint_ints, hint_int_count);
}

void create_binary(vexa_tessix_wrapper &w, ProfileClock &clock) {
    const ModelImpl &m = *w.model;
    const TessixModuleTable &t = tessix_module();
    clock.report("tessix_dispatch()");
    const bool has_gpu = t.gpu_device_count() > 0 && t.solver_create != nullptr;
    clock.report("gpu_count + has_gpu (CUDA init)");
    if (!has_gpu && w.gpu_mode > 0) fatal(kTessixNoGpuRefusal);
    w.gpu = has_gpu && w.gpu_mode > 0;
    if (w.gpu_mode > 0) {
        if (any_nonlinear(m)) fatal(kTessixGpuNonlinearRefusal);
        if (any_allowed(m)) fatal(kTessixGpuAllowedRefusal);
    } else {
        check_capabilities(m, t, kTessixCpuBodyNeeds);
    }
    const FlatPointers &flat = w.flat.emplace(m);
    clock.report("set tv_ptrs + ca_ptrs (no copy)");
    const uint32_t n = static_cast<uint32_t>(m.var_count());
    if (w.gpu) {
        register_tessix_gpu_callback_once(t, &forward_binary);
        w.handle = t.solver_create(&w, n, m.max_degree, &m.constant, flat.term_counts.data(), flat.var_lists.data(),
                                   flat.coef_lists.data(), w.gpu_mode);
        check_capabilities(m, t, kTessixGpuBinaryNeeds);
        for (const NativeConstraint &c : m.native_constraints) hand_constraint(t, w.handle, c);
        if (m.has_remainder) call_set_remainder(t.set_remainder, w.handle, m);
        if (t.solver_set_external_stop != nullptr) t.solver_set_external_stop(w.handle, w.stop_address());
    } else {
        register_tessix_cpu_callback_once(t, &forward_binary);
        w.handle = t.cpu_solver_create(&w, n, m.max_degree, &m.constant, flat.term_counts.data(),
                                       flat.var_lists.data(), flat.coef_lists.data());
        if (t.cpu_solver_set_external_stop != nullptr) t.cpu_solver_set_external_stop(w.handle, w.stop_address());
        check_capabilities(m, t, kTessixCpuBinaryNeeds);
        for (const NativeConstraint &c : m.native_constraints) {
            hand_constraint_with(t.cpu_add_constraint, t.cpu_add_constraint_nl, t.cpu_add_constraint_set,
                                 t.cpu_set_cons_shape, w.handle, c);
        }
        if (m.has_remainder) call_set_remainder(t.cpu_set_remainder, w.handle, m);
    }
    clock.report("gpu/cpu_create (DeltaModel + DeviceDeltaModel)");
}

// An integer model: whether the GPU integer engine serves it. The module
// stays unloaded for a gpu_mode of 0.
void create_integer(vexa_tessix_wrapper &w) {
    const ModelImpl &m = *w.model;
    check_no_int_remainder(m, kName);
    w.int_model = true;
    if (w.gpu_mode == 0) return;
    const TessixModuleTable &t = tessix_module();
    const bool engine = t.int_create != nullptr;
    if (engine && any_shaped(m) && t.int_set_cons_shape == nullptr) {
        if (w.gpu_mode > 0) check_capabilities(m, t, kTessixIntGpuShapeNeeds);
        return;
    }
    if (engine && t.gpu_device_count() > 0) {
        w.gpu_int = true;
        return;
    }
    if (w.gpu_mode > 0) fatal(kTessixNoIntGpuRefusal);
}

}  // namespace

namespace vexa {

int32_t tessix_device_count() { return tessix_module().gpu_device_count(); }

vexa_tessix_wrapper *tessix_wrapper_create(std::shared_ptr<ModelImpl> model, int32_t gpu_mode) {
    ProfileClock clock("  [Wrap] ");
    auto w = std::make_unique<vexa_tessix_wrapper>();
    w->model = std::move(model);
    w->gpu_mode = gpu_mode;
    clock.report("enter (after model copy)");
    if (!w->model->int_atoms.empty()) {
        create_integer(*w);
    } else {
        create_binary(*w, clock);
    }
    return w.release();
}

void tessix_wrapper_destroy(vexa_tessix_wrapper *w) {
    if (w->handle != nullptr) {
        const TessixModuleTable &t = tessix_module();
        if (w->gpu) {
            t.solver_destroy(w->handle);
        } else {
            t.cpu_solver_destroy(w->handle);
        }
    }
    delete w;
}

nimba_solver_result *tessix_wrapper_search(vexa_tessix_wrapper &w, const vexa_param *params, void *hint) {
    begin_search(w);
    if (w.int_model) {
        if (hint != nullptr) {
            fatal("TessixSolver: hint on a native integer model requires the int-aware search path (update the vexa "
                  "header).");
        }
        return search_integer(w, params, nullptr, nullptr, 0);
    }
    const ModelImpl &m = *w.model;
    const TessixModuleTable &t = tessix_module();
    const ModuleParams list = ModuleParams::copy(params);
    const auto search = w.gpu ? t.solver_search : t.cpu_solver_search;
    const auto list_count = w.gpu ? t.sol_list_count : t.cpu_sol_list_count;
    const auto list_get = w.gpu ? t.sol_list_get : t.cpu_sol_list_get;
    const auto list_destroy = w.gpu ? t.sol_list_destroy : t.cpu_sol_list_destroy;
    const uint32_t bin_count = static_cast<uint32_t>(m.var_count());
    TessixSolutionBox best(bin_count);
    const double start = monotonic_seconds();
    void *sols = search(w.handle, best.get(), bin_count, list.data(), hint);
    const double run_time = monotonic_seconds() - start;
    auto r = std::make_unique<nimba_solver_result>();
    r->energy = best.energy();
    r->scale = m.scale;
    r->tts = best.tts();
    r->bits = best.bits();
    if (sols != nullptr) {
        const uint64_t count = list_count(sols);
        for (uint64_t i = 0; i < count; ++i) {
            TessixSolutionBox entry(bin_count);
            list_get(sols, i, entry.get(), bin_count);
            r->topk.push_back(nimba_solver_result_entry{entry.energy(), entry.tts(), entry.bits(), {}});
        }
        list_destroy(sols);
    }
    r->info.emplace_back("run_time", seconds_text(run_time));
    best.append_info(*r);
    add_machine_pairs(*r);
    return r.release();
}

nimba_solver_result *tessix_wrapper_search_int(vexa_tessix_wrapper &w, const vexa_param *params,
                                               const uint64_t *hint_bits, const coeff_t *hint_ints,
                                               uint64_t hint_int_count) {
    if (!w.int_model) fatal("TessixSolver: search_int called on a binary model.");
    begin_search(w);
    return search_integer(w, params, hint_bits, hint_ints, hint_int_count);
}

void tessix_wrapper_hint(vexa_tessix_wrapper &w, const Sol *sol) {
    if (sol == nullptr) return;
    const ModelImpl &m = *w.model;
    const uint32_t words = word_count(m.var_count());
    if (sol->bits.size() < words) return;
    if (!w.int_model) {
        const TessixModuleTable &t = tessix_module();
        const vexa_tessix_hint_solution_fn hint = w.gpu ? t.hint_solution : t.cpu_hint_solution;
        if (hint != nullptr) hint(w.handle, sol->bits.data());
        return;
    }
    const uint64_t n_int = m.int_count();
    if (sol->int_vals.size() < n_int) return;
    for (uint64_t k = 0; k < n_int; ++k) {
        if (sol->int_vals[k] < m.int_lower[k] || sol->int_vals[k] > m.int_upper[k]) return;
    }
    std::lock_guard<std::mutex> lock(w.mutex);
    w.hint_bits.assign(sol->bits.begin(), sol->bits.begin() + words);
    w.hint_ints.assign(sol->int_vals.begin(), sol->int_vals.begin() + static_cast<std::ptrdiff_t>(n_int));
    w.hint_pending[0].store(true, std::memory_order_release);
    w.hint_pending[1].store(true, std::memory_order_release);
    if (w.live_handle != nullptr) {
        // Only a unified search sets live_handle, so the module is open.
        const TessixModuleTable &t = tessix_module();
        if (t.cpu_hint_iv != nullptr) t.cpu_hint_iv(w.live_handle, w.hint_bits.data(), w.hint_ints.data(), n_int);
    }
}

void tessix_wrapper_set_callback(vexa_tessix_wrapper &w, vexa_search_callback callback, void *ctx) {
    w.callback = callback;
    w.callback_ctx = ctx;
}

void tessix_wrapper_terminate(vexa_tessix_wrapper &w) noexcept { w.stop.store(1, std::memory_order_relaxed); }

}  // namespace vexa
