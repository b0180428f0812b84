// Vexa for C++: constraints written as comparisons, their two readings
// (classic penalty, declared native constraint), penalty shapes, and the
// report of how a solution fares against them.
//
//   vexa::Vars x("x", 3);
//   vexa::IntVar n("n", 0, 20);
//   vexa::Expr classic = 5 * (x[0] + x[1] + x[2] == 1);     // a penalty polynomial
//   vexa::Expr declared = vexa::cons(vexa::between(2, n - x[0], 9))
//                       + 3 * vexa::cons(vexa::in(n, {1, {4, 6}, 11}));
//   vexa::Model m = vexa::Model::from(n + declared);         // native constraints
//   vexa::Result r = vexa::NimbaSolver(m).search({.time_limit = 1.0});
//   std::cout << vexa::report(declared, r);                  // one line per constraint
#ifndef VEXA_CONSTRAINT_HPP
#define VEXA_CONSTRAINT_HPP

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/constraint.h"
#include "vexa/encoded_int.hpp"
#include "vexa/expr.hpp"
#include "vexa/int.hpp"
#include "vexa/operand.hpp"
#include "vexa/operators.hpp"
#include "vexa/sol.hpp"
#include "vexa/term.hpp"
#include "vexa/var.hpp"

namespace vexa {

// One interval of allowed values, both ends included. In an allowed-value
// list a single integer stands for itself and {lo, hi} for a range:
// vexa::in(f, {1, {4, 6}, 11}).
struct AllowedRange {
    Int low;
    Int high;
    template <hpp_detail::builtin_integer T>
    AllowedRange(T v) : low(v), high(v) {}  // NOLINT: implicit, a value is the range of itself
    AllowedRange(const Int &v) : low(v), high(v) {}  // NOLINT
    AllowedRange(const Int &lo, const Int &hi) : low(lo), high(hi) {}
    friend bool operator==(const AllowedRange &, const AllowedRange &) = default;
};

namespace hpp_detail {

// Exact product of Int, through the constant of an expression (sums are in
// int.hpp).
inline Int int_mul(const Int &a, const Int &b) { return (Expr(a) * b).constant(); }

// What a comparison may constrain: a variable, a term or an expression
// (an encoded IntVar included), but not a constraint.
template <class F>
concept constraint_body = (kind_v<F> == Kind::literal || kind_v<F> == Kind::term || kind_v<F> == Kind::expr) &&
                          !std::same_as<std::remove_cvref_t<F>, Constraint>;

template <class F>
Expr body_of(F &&f) {
    if constexpr (kind_v<F> == Kind::literal) {
        return Expr(f);
    } else {
        return Expr(operand_of(std::forward<F>(f)));
    }
}

// Throws std::invalid_argument for an empty list or an interval whose lower
// end is above its upper end; called before any library call is made.
inline void check_ranges(const std::vector<AllowedRange> &ranges, const char *what) {
    if (ranges.empty()) throw std::invalid_argument(std::string("vexa::") + what + ": the allowed-value set is empty");
    for (const AllowedRange &r : ranges) {
        if (r.low > r.high) {
            throw std::invalid_argument(std::string("vexa::") + what + ": inverted bounds: lower " + r.low.str() +
                                        " is above upper " + r.high.str());
        }
    }
}

// The plain penalty of lo <= f <= hi: sqr(f - lo) when lo == hi, else
// vexa_between (which may add slack bits).
inline Expr range_penalty(const Expr &f, const Int &lo, const Int &hi) {
    if (lo == hi) return sqr(f - lo);
    const vexa_bigint l = lo.record(), h = hi.record();
    return Expr::adopt(vexa_between(f.handle(), &l, &h));
}

}  // namespace hpp_detail

// ---------------------------------------------------------------------------
// Constraint: a body with the values it may take, and a weight. It is lazy:
// nothing is made in the library until it is used.
//   - As an Expr (implicitly, or in arithmetic) it is a CLASSIC constraint:
//     its penalty polynomial, 0 exactly where the constraint holds (after the
//     slack bits of a range are chosen), tagged with the body and the bounds
//     for reports.
//   - vexa::cons(c) makes it a DECLARED constraint, an empty polynomial that a
//     model hands to the solver as a native constraint.
// ---------------------------------------------------------------------------
class Constraint {
public:
    enum class Form { range, allowed };

    // The body must lie in one of `ranges` (already checked); a range form
    // has exactly one.
    Constraint(Expr body, Form form, std::vector<AllowedRange> ranges)
        : body_(std::move(body)), form_(form), ranges_(std::move(ranges)) {
        hpp_detail::check_ranges(ranges_, "Constraint");
        lower_ = ranges_.front().low;
        upper_ = ranges_.front().high;
        for (const AllowedRange &r : ranges_) {
            if (r.low < lower_) lower_ = r.low;
            if (r.high > upper_) upper_ = r.high;
        }
    }

    const Expr &body() const noexcept { return body_; }
    Form form() const noexcept { return form_; }
    const std::vector<AllowedRange> &ranges() const noexcept { return ranges_; }
    // Least and greatest allowed value.
    const Int &lower() const noexcept { return lower_; }
    const Int &upper() const noexcept { return upper_; }
    const Int &weight() const noexcept { return weight_; }

    Constraint &operator*=(const Int &k) {
        weight_ = hpp_detail::int_mul(weight_, k);
        return *this;
    }

    // The classic penalty, times the weight:
    //   range:   sqr(body - c) for lo == hi, else vexa_between(body, lo, hi);
    //            vexa_exprexprelem_create(penalty, body), vexa_exprexpr_set_bounds
    //   allowed: one selector bit per interval (exactly one set) and a slack s
    //            of the width of the widest interval: body = low_k + s with
    //            s <= width_k of the chosen k; vexa_exprexpr_set_allowed
    // then vexa_expr_imul_int by a weight other than 1 (which leaves a plain
    // polynomial for a weight below 1).
    Expr penalty() const {
        Expr p = form_ == Form::range || ranges_.size() == 1 ? hpp_detail::range_penalty(body_, lower_, upper_)
                                                             : set_penalty();
        Expr out = Expr::adopt(vexa_exprexprelem_create(p.handle(), body_.handle()));
        if (form_ == Form::range) {
            const vexa_bigint l = lower_.record(), h = upper_.record();
            vexa_exprexpr_set_bounds(out.handle(), &l, &h);
        } else {
            const auto [lows, highs] = records();
            vexa_exprexpr_set_allowed(out.handle(), lows.data(), highs.data(), lows.size());
        }
        if (weight_ != 1) out *= weight_;
        return out;
    }
    operator Expr() const { return penalty(); }  // NOLINT: implicit, a constraint reads as its penalty

    // The declared constraint (vexa_cons_between for a range, vexa_cons_equal
    // for an allowed set), times the weight; no slack is made.
    Expr declare() const {
        Expr out = [&] {
            if (form_ == Form::range) {
                const vexa_bigint l = lower_.record(), h = upper_.record();
                return Expr::adopt(vexa_cons_between(body_.handle(), &l, &h));
            }
            const auto [lows, highs] = records();
            return Expr::adopt(vexa_cons_equal(body_.handle(), lows.data(), highs.data(), lows.size()));
        }();
        if (weight_ != 1) out *= weight_;
        return out;
    }

private:
    std::pair<std::vector<vexa_bigint>, std::vector<vexa_bigint>> records() const {
        std::vector<vexa_bigint> lows, highs;
        for (const AllowedRange &r : ranges_) {
            lows.push_back(r.low.record());
            highs.push_back(r.high.record());
        }
        return {std::move(lows), std::move(highs)};
    }

    Expr set_penalty() const {
        Expr chosen, low, width;  // sum y_k, sum low_k y_k, sum width_k y_k
        Int widest = 0;
        for (const AllowedRange &r : ranges_) {
            const Var y;
            chosen += y;
            low += Term(r.low, y);
            const Int w = hpp_detail::int_sub(r.high, r.low);
            width += Term(w, y);
            if (w > widest) widest = w;
        }
        Expr slack;
        if (widest != 0) {
            const vexa_bigint zero{0, 0, nullptr}, top = widest.record();
            std::vector<vexa_bigint> coeffs(vexa_comp_coeffs_count(&zero, &top), vexa_bigint{0, 0, nullptr});
            vexa_comp_coeffs(&zero, &top, coeffs.data());
            for (vexa_bigint &c : coeffs) slack += Term(Int::adopt(c), Var());
        }
        Expr p = sqr(chosen - 1) + sqr(body_ - low - slack);
        if (widest != 0) p += hpp_detail::range_penalty(width - slack, 0, widest);
        return p;
    }

    Expr body_;
    Form form_;
    std::vector<AllowedRange> ranges_;
    Int lower_, upper_;
    Int weight_ = 1;
};

// ---------------------------------------------------------------------------
// Comparisons with an integer: f == c, f <= c, f >= c. A one-sided bound
// takes the other end from the least (greatest) value the body can reach;
// when c lies beyond it, the range shrinks to c alone, which the body cannot
// reach, and the constraint is reported violated by every assignment.
// ---------------------------------------------------------------------------
template <class F, class C>
    requires hpp_detail::constraint_body<F> && (hpp_detail::kind_v<C> == hpp_detail::Kind::integer)
Constraint operator==(F &&f, const C &c) {
    const Int v = hpp_detail::to_int(c);
    return Constraint(hpp_detail::body_of(std::forward<F>(f)), Constraint::Form::range, {AllowedRange(v)});
}
template <class F, class C>
    requires hpp_detail::constraint_body<F> && (hpp_detail::kind_v<C> == hpp_detail::Kind::integer)
Constraint operator<=(F &&f, const C &c) {
    const Int hi = hpp_detail::to_int(c);
    Expr body = hpp_detail::body_of(std::forward<F>(f));
    const Int lo = std::min(body.lower_bound(), hi);
    return Constraint(std::move(body), Constraint::Form::range, {AllowedRange(lo, hi)});
}
template <class F, class C>
    requires hpp_detail::constraint_body<F> && (hpp_detail::kind_v<C> == hpp_detail::Kind::integer)
Constraint operator>=(F &&f, const C &c) {
    const Int lo = hpp_detail::to_int(c);
    Expr body = hpp_detail::body_of(std::forward<F>(f));
    const Int hi = std::max(body.upper_bound(), lo);
    return Constraint(std::move(body), Constraint::Form::range, {AllowedRange(lo, hi)});
}

// lo <= f <= hi. Throws std::invalid_argument when lo > hi.
template <class F>
    requires hpp_detail::constraint_body<F>
Constraint between(const Int &lo, F &&f, const Int &hi) {
    hpp_detail::check_ranges({AllowedRange(lo, hi)}, "between");
    return Constraint(hpp_detail::body_of(std::forward<F>(f)), Constraint::Form::range, {AllowedRange(lo, hi)});
}

// f takes one of the listed values or lies in one of the listed ranges.
// Throws std::invalid_argument for an empty list or an inverted range.
template <class F>
    requires hpp_detail::constraint_body<F>
Constraint in(F &&f, std::vector<AllowedRange> values) {
    hpp_detail::check_ranges(values, "in");
    return Constraint(hpp_detail::body_of(std::forward<F>(f)), Constraint::Form::allowed, std::move(values));
}
template <class F>
    requires hpp_detail::constraint_body<F>
Constraint in(F &&f, std::initializer_list<AllowedRange> values) {
    return in(std::forward<F>(f), std::vector<AllowedRange>(values));
}

// Weights: 3 * (f == 1) multiplies the penalty, or the declared weight.
template <class K>
    requires(hpp_detail::kind_v<K> == hpp_detail::Kind::integer)
Constraint operator*(const K &k, Constraint c) {
    c *= hpp_detail::to_int(k);
    return c;
}
template <class K>
    requires(hpp_detail::kind_v<K> == hpp_detail::Kind::integer)
Constraint operator*(Constraint c, const K &k) {
    c *= hpp_detail::to_int(k);
    return c;
}

// Declared constraints. cons(constraint) as Constraint::declare();
// cons(e) declares e as a free-form penalty (vexa_cons_mark): its value is the
// cost, and it counts as violated wherever it is not 0.
inline Expr cons(const Constraint &c) { return c.declare(); }
inline Expr cons(const Expr &e) { return Expr::adopt(vexa_cons_mark(e.handle())); }

// Soft costs, declared: |f|^k (vexa_abs_term) and max(0, f)^k
// (vexa_relu_term), k 1 or 2; std::invalid_argument for any other k. They are
// part of the objective and never count as violated.
inline Expr abs(const Expr &f, uint32_t k = 1) {
    if (k != 1 && k != 2) throw std::invalid_argument("vexa::abs: the exponent k must be 1 or 2 (got " + std::to_string(k) + ")");
    return Expr::adopt(vexa_abs_term(f.handle(), k));
}
inline Expr relu(const Expr &f, uint32_t k = 1) {
    if (k != 1 && k != 2) throw std::invalid_argument("vexa::relu: the exponent k must be 1 or 2 (got " + std::to_string(k) + ")");
    return Expr::adopt(vexa_relu_term(f.handle(), k));
}

// ---------------------------------------------------------------------------
// Reports: how a solution fares against each constraint of an expression.
// ---------------------------------------------------------------------------
struct ConstraintRow {
    enum class Kind {
        range,      // lower <= body <= upper
        allowed,    // body in one of `allowed`
        shape,      // a soft cost weight * distance^exponent; never violated
        free_form,  // a penalty expression: its value is the distance
    };
    Kind kind = Kind::free_form;
    std::string body;
    Int value;
    Int lower, upper;
    std::vector<AllowedRange> allowed;
    Int weight = 1;
    Int distance;
    uint32_t exponent = 2;
    bool violated = false;
};

namespace hpp_detail {

inline std::string bounds_text(const ConstraintRow &row) {
    switch (row.kind) {
        case ConstraintRow::Kind::range:
            if (row.lower == row.upper) return "== " + row.lower.str();
            return "in [" + row.lower.str() + ", " + row.upper.str() + "]";
        case ConstraintRow::Kind::allowed: {
            std::string s = "in {";
            for (std::size_t i = 0; i < row.allowed.size(); ++i) {
                if (i > 0) s += ", ";
                const AllowedRange &r = row.allowed[i];
                s += r.low == r.high ? r.low.str() : r.low.str() + ".." + r.high.str();
            }
            return s + "}";
        }
        case ConstraintRow::Kind::shape:
            return "soft, distance from [" + row.lower.str() + ", " + row.upper.str() + "]^" +
                   std::to_string(row.exponent);
        case ConstraintRow::Kind::free_form:
            break;
    }
    return "== 0 (penalty)";
}

}  // namespace hpp_detail

// One line: status, body, what is allowed, then value, distance and weight.
inline std::ostream &operator<<(std::ostream &os, const ConstraintRow &row) {
    const char *status = row.kind == ConstraintRow::Kind::shape ? "soft    " : row.violated ? "VIOLATED" : "ok      ";
    return os << status << "  " << row.body << "  " << hpp_detail::bounds_text(row) << "  value " << row.value
              << "  distance " << row.distance << "  weight " << row.weight;
}
inline std::ostream &operator<<(std::ostream &os, const std::vector<ConstraintRow> &rows) {
    for (const ConstraintRow &row : rows) os << row << "\n";
    return os;
}

// One row per item of e (vexa_cons_item_count): each constraint of a
// classic or declared value in order, then its free-form part if any. A plain
// expression is one free-form row. Bounds, weight and allowed sets come from
// vexa_cons_item_info / _allowed / _shape, value and distance from
// vexa_cons_item_eval on `sol` (free-form rows: vexa_sol_eval_expr of their
// expression). `sol` may be any solution of the model, a Result included.
inline std::vector<ConstraintRow> report(const Expr &e, const Sol &sol) {
    std::vector<ConstraintRow> rows;
    const uint64_t n = vexa_cons_item_count(e.handle());
    rows.reserve(n);
    for (uint64_t i = 0; i < n; ++i) {
        ConstraintRow row;
        ExprImpl *body = nullptr;
        hpp_detail::OutRecord weight, lo, hi;
        const int bounded = vexa_cons_item_info(e.handle(), i, &body, weight.get(), lo.get(), hi.get());
        const Expr body_expr = Expr::adopt(body);
        row.body = body_expr.str();
        if (bounded == 0) {
            row.value = hpp_detail::read_int([&](vexa_bigint *out) { vexa_sol_eval_expr(sol.handle(), body, out); });
            row.distance = row.value;
            row.violated = !row.value.is_zero();
            rows.push_back(std::move(row));
            continue;
        }
        hpp_detail::OutRecord value, elo, ehi, distance, eweight;
        vexa_cons_item_eval(e.handle(), i, sol.handle(), value.get(), elo.get(), ehi.get(), distance.get(),
                            eweight.get());
        row.value = value.take();
        row.lower = elo.take();
        row.upper = ehi.take();
        row.distance = distance.take();
        row.weight = eweight.take();
        uint32_t exponent = 2, hinge = 0;
        vexa_cons_item_shape(e.handle(), i, &exponent, &hinge);
        row.exponent = exponent;
        const uint64_t pairs = vexa_cons_item_allowed(e.handle(), i, nullptr, nullptr, 0);
        if (pairs > 0) {
            std::vector<vexa_bigint> lows(pairs, vexa_bigint{0, 0, nullptr}), highs(pairs, vexa_bigint{0, 0, nullptr});
            vexa_cons_item_allowed(e.handle(), i, lows.data(), highs.data(), pairs);
            for (uint64_t k = 0; k < pairs; ++k) row.allowed.emplace_back(Int::adopt(lows[k]), Int::adopt(highs[k]));
        }
        row.kind = hinge != 0 ? ConstraintRow::Kind::shape
                   : pairs > 0 ? ConstraintRow::Kind::allowed
                               : ConstraintRow::Kind::range;
        row.violated = hinge == 0 && !row.distance.is_zero();
        rows.push_back(std::move(row));
    }
    return rows;
}

// The number of violated constraints (vexa_cons_violation_count): shapes never
// count, a free-form part counts once when it is not 0. Throws
// std::invalid_argument when e carries no constraint at all.
inline uint64_t violations(const Expr &e, const Sol &sol) {
    if (!e.is_declared() && vexa_expr_has_body(e.handle()) == 0 && vexa_cons_item_count(e.handle()) == 1) {
        ExprImpl *body = nullptr;
        hpp_detail::OutRecord weight, lo, hi;
        const int bounded = vexa_cons_item_info(e.handle(), 0, &body, weight.get(), lo.get(), hi.get());
        vexa_expr_destroy(body);
        if (bounded == 0) throw std::invalid_argument("vexa::violations: the expression carries no constraints");
    }
    return vexa_cons_violation_count(e.handle(), sol.handle());
}

}  // namespace vexa

#endif
