// Read-only tables of one native integer search: the move sets of the
// integer variables and, for every variable, the terms and constraints a
// move of it touches.
#pragma once

#include <cmath>
#include <cstdint>
#include <map>
#include <vector>

#include "solver/flat_problem.hpp"

namespace vexa {

// One objective term as seen from one of its variables v:
//  - kLinear: a degree-1 term; `coeff` is signed so that the term changes by
//    coeff * (new - old) when v moves;
//  - kPair: a degree-2 term with another variable; it changes by
//    coeff * value(other) * (new - old);
//  - kSquare: a degree-2 term whose two literals are both v; `other` is the
//    term's index, and it is priced in full.
enum : uint8_t { kLinear = 0, kPair = 1, kSquare = 2 };

template <class T>
struct TermOcc {
    T coeff;
    uint32_t other;
    uint8_t kind;
};

// A constraint whose body holds the variable: a linear body changes by
// coeff * (new - old); a nonlinear one is computed again.
template <class T>
struct ConsOcc {
    uint32_t cons;
    T coeff;
    bool nonlinear;
};

template <class T>
struct IntSearchTables {
    FlatProblem<T> p;
    // per integer variable
    std::vector<T> range;             // upper - lower
    std::vector<uint64_t> range_u64;  // the same, where it is below 2^64
    std::vector<uint8_t> dense;       // range below 16: values are drawn directly
    std::vector<uint8_t> huge;        // range + 1 at or above 2^64: a start is lower + any 64-bit draw
    std::vector<uint8_t> geo_on;
    std::vector<double> geo_log_q;
    std::vector<uint32_t> step_start;  // steps of variable k: [step_start[k], step_start[k+1])
    std::vector<T> steps;
    uint64_t neighbourhood_size = 0;
    // per flat index
    std::vector<uint64_t> term_start;
    std::vector<TermOcc<T>> term_occ;
    std::vector<uint64_t> cons_start;
    std::vector<ConsOcc<T>> cons_occ;

    explicit IntSearchTables(const ModelImpl &m) : p(m) {
        const uint32_t n_int = p.n_int;
        range.resize(n_int);
        range_u64.assign(n_int, 0);
        dense.assign(n_int, 0);
        huge.assign(n_int, 0);
        geo_on.assign(n_int, 0);
        geo_log_q.assign(n_int, 0.0);
        step_start.assign(n_int + 1, 0);
        neighbourhood_size = p.n_bin;
        for (uint32_t k = 0; k < n_int; ++k) {
            const coeff_t r = m.int_upper[k] - m.int_lower[k];
            range[k] = from_coeff<T>(r);
            const double rd = r.convert_to<double>();
            // Decided on the exact range: lower + a full 64-bit draw stays
            // within the bounds only when range + 1 does not fit 64 bits.
            huge[k] = !fits<uint64_t>(coeff_t(r + 1));
            if (fits<uint64_t>(r)) range_u64[k] = static_cast<uint64_t>(r);
            if (r < 16) {
                dense[k] = 1;
                neighbourhood_size += range_u64[k];
            } else {
                // 1, 2, 4, ... up to the first power of two above r / 2
                const coeff_t half = r / 2;
                coeff_t s = 1;
                uint32_t count = 0;
                for (;;) {
                    steps.push_back(from_coeff<T>(s));
                    ++count;
                    if (s > half) break;
                    s *= 2;
                }
                neighbourhood_size += 2ull * count;
                if (rd < 1.8e19) {
                    const double x = rd * 0.03125;
                    const double q = x > 1.0 ? x / (1.0 + x) : 0.5;
                    geo_log_q[k] = std::log(q);
                    geo_on[k] = 1;
                }
            }
            step_start[k + 1] = static_cast<uint32_t>(steps.size());
        }

        // Terms, once under each distinct variable they hold.
        std::vector<std::vector<TermOcc<T>>> by_var(p.total);
        for (uint32_t t = 0; t < p.terms.size(); ++t) {
            const FlatTerm<T> &term = p.terms[t];
            const uint32_t a = literal_var_index(term.lit[0]);
            const T ca = literal_negated(term.lit[0]) ? T(-term.coeff) : term.coeff;
            if (term.lit[1] == kEmptyLiteral) {
                by_var[a].push_back(TermOcc<T>{ca, 0, kLinear});
                continue;
            }
            const uint32_t b = literal_var_index(term.lit[1]);
            if (a == b) {
                by_var[a].push_back(TermOcc<T>{term.coeff, t, kSquare});
                continue;
            }
            const T cb = literal_negated(term.lit[1]) ? T(-term.coeff) : term.coeff;
            by_var[a].push_back(TermOcc<T>{ca, term.lit[1], kPair});
            by_var[b].push_back(TermOcc<T>{cb, term.lit[0], kPair});
        }
        term_start.assign(p.total + 1, 0);
        for (uint32_t v = 0; v < p.total; ++v) {
            term_start[v + 1] = term_start[v] + by_var[v].size();
            for (TermOcc<T> &o : by_var[v]) term_occ.push_back(std::move(o));
        }

        // Constraints, once under each variable of their bodies, by
        // ascending flat index within a constraint.
        std::vector<std::vector<ConsOcc<T>>> cons_by_var(p.total);
        for (uint32_t c = 0; c < p.cons.size(); ++c) {
            const FlatCons<T> &fc = p.cons[c];
            std::map<uint32_t, std::pair<T, bool>> gathered;
            for (size_t i = 0; i < fc.vars.size(); ++i) {
                auto &slot = gathered.try_emplace(literal_var_index(fc.vars[i]), T(0), false).first->second;
                if (literal_negated(fc.vars[i])) {
                    slot.first -= fc.coeffs[i];
                } else {
                    slot.first += fc.coeffs[i];
                }
            }
            for (uint32_t lit : fc.quad_vars) {
                gathered.try_emplace(literal_var_index(lit), T(0), false).first->second.second = true;
            }
            for (auto &[v, entry] : gathered) cons_by_var[v].push_back(ConsOcc<T>{c, entry.first, entry.second});
        }
        cons_start.assign(p.total + 1, 0);
        for (uint32_t v = 0; v < p.total; ++v) {
            cons_start[v + 1] = cons_start[v] + cons_by_var[v].size();
            for (ConsOcc<T> &o : cons_by_var[v]) cons_occ.push_back(std::move(o));
        }
    }
};

}  // namespace vexa
