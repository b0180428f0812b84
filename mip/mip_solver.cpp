// MipSolver: the linear view of a model solved by CBC through its C interface.
#include "vexa/mip.hpp"

#include <Cbc_C_Interface.h>

#include <cfloat>
#include <chrono>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "vexa/model.h"
#include "vexa/sol.h"

namespace vexa {

namespace {

struct CbcDeleter {
    void operator()(Cbc_Model *m) const { Cbc_deleteModel(m); }
};
using CbcPtr = std::unique_ptr<Cbc_Model, CbcDeleter>;

// v as a double, or std::range_error when a double does not hold it exactly.
double exact(const Int &v, const std::string &what) {
    hpp_detail::exact_digits(v, what);
    return v.to_double();
}

// The integer nearest to a column value CBC reports (within its tolerance of one).
Int nearest_int(double v) {
    const double r = std::nearbyint(v);
    if (std::fabs(r) < 9.2e18) return Int(static_cast<int64_t>(r));
    // Beyond 64 bits: the double's mantissa shifted into place.
    int exp = 0;
    const double frac = std::frexp(std::fabs(r), &exp);  // |r| = frac * 2^exp, frac in [0.5, 1)
    const uint64_t mant = static_cast<uint64_t>(std::ldexp(frac, 64));
    const uint32_t shift = static_cast<uint32_t>(exp - 64);
    std::vector<uint64_t> limbs(shift / 64 + 2, 0);
    limbs[shift / 64] = mant << (shift % 64);
    if (shift % 64 != 0) limbs[shift / 64 + 1] = mant >> (64 - shift % 64);
    const vexa_bigint rec{r < 0 ? -1 : 1, static_cast<uint32_t>(limbs.size()), limbs.data()};
    return Int::from_record(rec);
}

// The least integer at or above CBC's bound, with room for its rounding.
Int bound_above(double b) {
    const double tol = 1e-6 * std::max(1.0, std::fabs(b));
    return nearest_int(std::ceil(b - tol));
}

}  // namespace

MipSolver::MipSolver(const Model &m) : ilp_(Ilp::build(m)) {}

MipResult MipSolver::solve(const MipOptions &options) const {
    const auto t0 = std::chrono::steady_clock::now();
    MipResult out;
    const Model &m = model();
    const uint64_t ncols = ilp_.col_count();
    const Int constant = ilp_.obj_constant();
    const std::vector<std::string> names = ilp_.col_names();

    std::vector<double> col_lo(ncols), col_hi(ncols), obj(ncols);
    for (uint64_t c = 0; c < ncols; ++c) {
        const uint32_t col = static_cast<uint32_t>(c);
        const auto [lo, hi] = ilp_.col_bounds(col);
        col_lo[c] = exact(lo, "the lower bound of column " + names[c]);
        col_hi[c] = exact(hi, "the upper bound of column " + names[c]);
        obj[c] = exact(ilp_.obj(col), "the objective coefficient of column " + names[c]);
    }
    const double constant_d = exact(constant, "the objective constant");

    // The rows by column, as CBC loads them.
    const uint64_t nrows = ilp_.row_count();
    std::vector<double> row_lo(nrows), row_hi(nrows);
    std::vector<std::vector<std::pair<int, double>>> by_col(ncols);
    for (uint64_t r = 0; r < nrows; ++r) {
        const Ilp::Row row = ilp_.row(r);
        const std::string name = "r" + std::to_string(r);
        row_lo[r] = row.lower_free ? -DBL_MAX : exact(row.lower, "the lower bound of row " + name);
        row_hi[r] = row.upper_free ? DBL_MAX : exact(row.upper, "the upper bound of row " + name);
        for (size_t k = 0; k < row.cols.size(); ++k) {
            by_col[row.cols[k]].emplace_back(
                static_cast<int>(r),
                exact(row.coeffs[k], "the coefficient of column " + names[row.cols[k]] + " in row " + name));
        }
    }
    std::vector<CoinBigIndex> start(ncols + 1, 0);
    std::vector<int> index;
    std::vector<double> value;
    for (uint64_t c = 0; c < ncols; ++c) {
        for (const auto &[r, v] : by_col[c]) {
            index.push_back(r);
            value.push_back(v);
        }
        start[c + 1] = static_cast<CoinBigIndex>(index.size());
    }

    std::vector<double> x(ncols, 0.0);
    bool have_solution = false;
    if (ncols == 0) {
        // Nothing to search: the constant alone, or an infeasible empty row.
        have_solution = true;
        for (uint64_t r = 0; r < nrows; ++r) {
            if (row_lo[r] > 0 || row_hi[r] < 0) have_solution = false;
        }
        out.status = have_solution ? MipStatus::optimal : MipStatus::infeasible;
        out.objective = constant_d;
        if (have_solution) out.bound = constant;
    } else {
        CbcPtr cbc(Cbc_newModel());
        Cbc_loadProblem(cbc.get(), static_cast<int>(ncols), static_cast<int>(nrows), start.data(), index.data(),
                        value.data(), col_lo.data(), col_hi.data(), obj.data(), row_lo.data(), row_hi.data());
        for (uint64_t c = 0; c < ncols; ++c) Cbc_setInteger(cbc.get(), static_cast<int>(c));
        Cbc_setLogLevel(cbc.get(), options.log ? 1 : 0);
        if (!options.log) Cbc_setParameter(cbc.get(), "log", "0");
        if (options.time_limit) Cbc_setMaximumSeconds(cbc.get(), *options.time_limit);
        if (options.threads) Cbc_setParameter(cbc.get(), "threads", std::to_string(*options.threads).c_str());
        Cbc_solve(cbc.get());

        const double *best = Cbc_bestSolution(cbc.get());
        have_solution = best != nullptr;
        if (have_solution) x.assign(best, best + ncols);
        if (Cbc_isProvenOptimal(cbc.get()) && have_solution) {
            out.status = MipStatus::optimal;
        } else if (Cbc_isProvenInfeasible(cbc.get())) {
            out.status = MipStatus::infeasible;
            have_solution = false;
        } else if (have_solution) {
            out.status = MipStatus::feasible;
        } else if (Cbc_isSecondsLimitReached(cbc.get())) {
            out.status = MipStatus::time_limit;
        } else {
            throw std::runtime_error("vexa::MipSolver: CBC stopped without a solution and without a proof (status " +
                                     std::to_string(Cbc_status(cbc.get())) + ")");
        }
        if (have_solution) out.objective = Cbc_getObjValue(cbc.get()) + constant_d;
        if (out.status != MipStatus::infeasible) {
            const double b = Cbc_getBestPossibleObjValue(cbc.get());
            if (std::isfinite(b) && std::fabs(b) < 1e300) out.bound = bound_above(b + constant_d);
        }
    }

    if (have_solution) {
        Sol s(m);
        ::Model *mh = m.handle();
        for (uint64_t c = 0; c < ncols; ++c) {
            const uint32_t col = static_cast<uint32_t>(c);
            const uint32_t mv = ilp_.col_model_var(col);
            Int v = nearest_int(x[c]);
            const auto [lo, hi] = ilp_.col_bounds(col);
            if (v < lo) v = lo;
            if (v > hi) v = hi;
            if (ilp_.col_is_binary(col)) {
                vexa_sol_set(s.handle(), vexa_model_var(mh, mv), v.is_zero() ? 0 : 1);
            } else if (mv == UINT32_MAX) {
                const std::vector<uint8_t> bits = ilp_.col_decode(col, v);
                for (uint32_t i = 0; i < bits.size(); ++i) {
                    vexa_sol_set(s.handle(), vexa_model_var(mh, ilp_.col_bit_var(col, i)), bits[i]);
                }
            } else {
                const vexa_bigint r = v.record();
                vexa_sol_set_int(s.handle(), vexa_model_int_var_orig(mh, mv), &r);
            }
        }
        const Int energy = s.comp_energy();
        if (out.status == MipStatus::optimal) out.bound = energy;
        if (out.bound) {
            if (*out.bound > energy) out.bound = energy;  // a bound cannot pass a solution
            const Int diff = hpp_detail::int_sub(energy, *out.bound);
            out.gap = diff.to_double() / std::max(1.0, std::fabs(energy.to_double()));
        }
        out.sol = std::move(s);
    }
    out.run_time = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    return out;
}

}  // namespace vexa
