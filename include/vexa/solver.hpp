// Vexa for C++: the solvers. Each keeps the model it searches alive.
#ifndef VEXA_SOLVER_HPP
#define VEXA_SOLVER_HPP

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "vexa/common.h"
#include "vexa/handle.hpp"
#include "vexa/model.hpp"
#include "vexa/result.hpp"
#include "vexa/sol.hpp"
#include "vexa/solver.h"

namespace vexa {

namespace hpp_detail {
// The bit words of a hint. A model without binary variables has none, and the
// solvers read a null pointer as "no hint", so such a hint points at a zero
// word instead.
inline const uint64_t *hint_bits(const Sol &hint) {
    static const uint64_t no_bits = 0;
    const uint64_t *bits = vexa_sol_bits(hint.handle());
    return bits != nullptr ? bits : &no_bits;
}
}  // namespace hpp_detail

// The heuristic solver: a binary model goes to the solver module, a model with
// integer variables to the native integer search.
class NimbaSolver : private hpp_detail::Handle<vexa_nimba_solver_wrapper, vexa_nimba_solver_wrapper_destroy> {
    using Base = hpp_detail::Handle<vexa_nimba_solver_wrapper, vexa_nimba_solver_wrapper_destroy>;

public:
    explicit NimbaSolver(const Model &m) : Base(vexa_nimba_solver_wrapper_create(m.handle())), model_(m) {}

    const Model &model() const noexcept { return model_; }

    Result search(const SearchOptions &options = {}) const {
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        return Result::adopt(vexa_nimba_solver_wrapper_search(h_, list.data(), nullptr), model_);
    }
    // Starts from `hint`, a solution of this model. Only models with integer
    // variables take a hint; on a binary model it throws std::invalid_argument.
    Result search(const SearchOptions &options, const Sol &hint) const {
        if (model_.int_var_count() == 0) {
            throw std::invalid_argument("vexa::NimbaSolver: a hint needs a model with integer variables");
        }
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        return Result::adopt(vexa_nimba_solver_wrapper_search_int(h_, list.data(), hpp_detail::hint_bits(hint),
                                                                  vexa_sol_int_vals(hint.handle()),
                                                                  vexa_sol_int_count(hint.handle())),
                             model_);
    }

    // Asks the running search, or else the next one, to stop and return its
    // best so far. Safe from another thread and from a signal handler.
    void terminate() const noexcept { vexa_nimba_solver_wrapper_terminate(h_); }

private:
    Model model_;
};

// The exhaustive solver: visits every assignment. Integer models take only
// best_energy_sols; binary models pass every setting to the solver module.
class ExhaustiveSolver : private hpp_detail::Handle<vexa_exhaustive_wrapper, vexa_exhaustive_wrapper_destroy> {
    using Base = hpp_detail::Handle<vexa_exhaustive_wrapper, vexa_exhaustive_wrapper_destroy>;

public:
    explicit ExhaustiveSolver(const Model &m) : Base(vexa_exhaustive_wrapper_create(m.handle())), model_(m) {}

    const Model &model() const noexcept { return model_; }

    Result search(const SearchOptions &options = {}) const {
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        return Result::adopt(vexa_exhaustive_wrapper_search(h_, list.data()), model_);
    }

    // Asks the running search, or else the next one, to stop and return its
    // best so far. Safe from another thread and from a signal handler.
    void terminate() const noexcept { vexa_exhaustive_wrapper_terminate(h_); }

private:
    Model model_;
};


// The accelerated solver. A binary model runs in the accelerated module (its
// GPU side when gpu_mode is positive); a model with integer variables runs the
// native integer search, with the module's GPU integer engine beside it where
// there is one. Unlike the other solvers it can be watched and steered while
// it runs: on_progress sets a callable that receives each improvement,
// hint() offers a solution to the running search, and terminate() stops it.
//
// gpu_mode: positive demands the GPU (the process ends with a message on a
// machine without one), 0 runs on the CPU, negative uses the GPU integer
// engine where there is one and the CPU otherwise.
//
// The object can be moved but not copied; the callable lives on the heap and
// keeps its address across moves.
class TessixSolver : private hpp_detail::Handle<vexa_tessix_wrapper, vexa_tessix_wrapper_destroy> {
    using Base = hpp_detail::Handle<vexa_tessix_wrapper, vexa_tessix_wrapper_destroy>;

public:
    explicit TessixSolver(const Model &m, int gpu_mode = 0)
        : Base(vexa_tessix_wrapper_create(m.handle(), static_cast<int32_t>(gpu_mode))), model_(m) {}
    TessixSolver(TessixSolver &&) noexcept = default;
    TessixSolver &operator=(TessixSolver &&) noexcept = default;

    const Model &model() const noexcept { return model_; }

    // The GPUs a positive gpu_mode can use; 0 where there are none.
    static int device_count() { return vexa_tessix_device_count(); }

    // One search of a binary or an integer model. If the progress callable
    // threw, the search was stopped and the exception is rethrown here.
    Result search(const SearchOptions &options = {}) const {
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        Result r = Result::adopt(vexa_tessix_wrapper_search(h_, list.data(), nullptr), model_);
        rethrow_progress_error();
        return r;
    }
    // An integer model's search starting from `hint`, a solution of this
    // model; on a binary model it throws std::invalid_argument.
    Result search(const SearchOptions &options, const Sol &hint) const {
        if (model_.int_var_count() == 0) {
            throw std::invalid_argument("vexa::TessixSolver: a hint needs a model with integer variables");
        }
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        Result r = Result::adopt(vexa_tessix_wrapper_search_int(h_, list.data(), hpp_detail::hint_bits(hint),
                                                                vexa_sol_int_vals(hint.handle()),
                                                                vexa_sol_int_count(hint.handle())),
                                 model_);
        rethrow_progress_error();
        return r;
    }

    // The callable of the next searches: f(const Sol &, uint32_t event) with
    // event 0 (the start state), 1 (a new best) or 2 (the timer). It may
    // return a double: positive seconds set the timer, 0 turns it off, a
    // negative value leaves it; a callable returning void leaves it. It may
    // be called from the search's threads, one call at a time for each new
    // best. An exception thrown by it stops the search and is rethrown by
    // search(). Set it between searches, not during one.
    template <class F>
    void on_progress(F f) {
        auto slot = std::make_unique<ProgressSlot>();
        slot->solver = h_;
        if constexpr (std::is_void_v<std::invoke_result_t<F &, const Sol &, uint32_t>>) {
            slot->fn = [g = std::move(f)](const Sol &s, uint32_t event) mutable {
                g(s, event);
                return -1.0;
            };
        } else {
            slot->fn = [g = std::move(f)](const Sol &s, uint32_t event) mutable {
                return static_cast<double>(g(s, event));
            };
        }
        vexa_tessix_wrapper_set_callback(h_, &ProgressSlot::call, slot.get());
        progress_ = std::move(slot);
    }

    // Offers a solution of this model to the running search, or else to the
    // next one; one that does not fit the model is dropped. Safe from another
    // thread while a search runs.
    void hint(const Sol &s) const { vexa_tessix_wrapper_hint(h_, s.handle()); }

    // Stops the running search, which returns its best so far. A search that
    // starts later is not affected. Safe from another thread and from a
    // signal handler.
    void terminate() const noexcept { vexa_tessix_wrapper_terminate(h_); }

private:
    struct ProgressSlot {
        std::function<double(const Sol &, uint32_t)> fn;
        vexa_tessix_wrapper *solver = nullptr;
        std::mutex mutex;  // guards error: callbacks may come from several threads
        std::exception_ptr error;

        // Nothing may leave through the C interface: an exception is kept,
        // the search is stopped, and later calls are answered without the
        // callable.
        static double call(void *ctx, ::Sol *sol, uint32_t event) {
            auto &slot = *static_cast<ProgressSlot *>(ctx);
            Sol s = Sol::adopt(sol);
            {
                std::lock_guard<std::mutex> lock(slot.mutex);
                if (slot.error) return -1.0;
            }
            try {
                return slot.fn(s, event);
            } catch (...) {
                std::lock_guard<std::mutex> lock(slot.mutex);
                if (!slot.error) slot.error = std::current_exception();
                vexa_tessix_wrapper_terminate(slot.solver);
                return -1.0;
            }
        }
    };

    void rethrow_progress_error() const {
        if (!progress_) return;
        std::exception_ptr e;
        {
            std::lock_guard<std::mutex> lock(progress_->mutex);
            e = std::exchange(progress_->error, nullptr);
        }
        if (e) std::rethrow_exception(e);
    }

    Model model_;
    std::unique_ptr<ProgressSlot> progress_;
};

}  // namespace vexa

#endif
