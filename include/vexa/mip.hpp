// Vexa for C++: MipSolver, an exact solver for models that are ILPs, through
// COIN-OR CBC. It lives in the companion library vexa_mip (link it beside
// the main library), which is built only where CBC's C interface is found.
//
//   vexa::MipSolver solver(model);                 // throws when the model is no ILP
//   vexa::MipResult r = solver.solve({.time_limit = 10.0, .threads = 4});
//   if (r.status == vexa::MipStatus::optimal) std::cout << r.sol->energy() << "\n";
//
// The solver loads the linear view (vexa/ilp.hpp) into CBC, with every
// constraint a hard row, and maps the columns back to the model: a binary
// column to its variable, an integer read from bits to those bits, a native
// integer column to its integer variable. The solution's energy is computed
// again by the library, exactly; on a solution that meets every row it
// equals the objective CBC reports (`objective`). Numbers reach CBC as
// doubles, under the rule of the LP and MPS writers: a value that a double
// does not hold exactly is refused with std::range_error.
#ifndef VEXA_MIP_HPP
#define VEXA_MIP_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vexa/ilp.hpp"
#include "vexa/int.hpp"
#include "vexa/model.hpp"
#include "vexa/sol.hpp"

namespace vexa {

// optimal: proven optimal. feasible: a solution, but the search stopped (time
// limit) before proving it optimal. infeasible: proven to have no solution.
// time_limit: the time limit came before any solution.
enum class MipStatus { optimal, feasible, infeasible, time_limit };

inline std::string_view to_string(MipStatus s) {
    switch (s) {
        case MipStatus::optimal: return "optimal";
        case MipStatus::feasible: return "feasible";
        case MipStatus::infeasible: return "infeasible";
        case MipStatus::time_limit: return "time limit";
    }
    return "?";
}

struct MipOptions {
    std::optional<double> time_limit = std::nullopt;  // seconds
    std::optional<uint32_t> threads = std::nullopt;    // CBC's own choice when unset
    bool log = false;                                  // CBC's progress lines on standard output
};

struct MipResult {
    MipStatus status = MipStatus::time_limit;
    // The best solution found, its energy computed by the library; empty when
    // none was found.
    std::optional<Sol> sol;
    // CBC's objective of that solution, the objective constant included.
    double objective = 0.0;
    // The proven lower bound on the energy: an integer, since every column and
    // coefficient is one; equal to the energy when optimal. Empty when CBC
    // proved nothing (infeasible, or stopped before its first bound).
    std::optional<Int> bound;
    // (energy - bound) / max(1, |energy|); 0 when optimal, empty without a
    // solution or a bound.
    std::optional<double> gap;
    double run_time = 0.0;  // seconds
};

class MipSolver {
public:
    // Builds the linear view; throws std::invalid_argument with the reason
    // when the model is no ILP.
    explicit MipSolver(const Model &m);

    const Model &model() const noexcept { return ilp_.model(); }
    const Ilp &ilp() const noexcept { return ilp_; }

    // Throws std::range_error for a number CBC cannot take exactly, and
    // std::runtime_error when CBC gives up on the problem.
    MipResult solve(const MipOptions &options = {}) const;

private:
    Ilp ilp_;
};

}  // namespace vexa

#endif
