// Vexa for C++: the solvers. Each keeps the model it searches alive.
#ifndef VEXA_SOLVER_HPP
#define VEXA_SOLVER_HPP

#include <stdexcept>
#include <utility>

#include "vexa/common.h"
#include "vexa/handle.hpp"
#include "vexa/model.hpp"
#include "vexa/result.hpp"
#include "vexa/sol.hpp"
#include "vexa/solver.h"

namespace vexa {

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
        return Result::adopt(vexa_nimba_solver_wrapper_search_int(h_, list.data(), vexa_sol_bits(hint.handle()),
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

}  // namespace vexa

#endif
