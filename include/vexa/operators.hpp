// Vexa for C++: the arithmetic operators over integers, variables, terms and
// expressions, squares, canonical forms and evaluation.
#ifndef VEXA_OPERATORS_HPP
#define VEXA_OPERATORS_HPP

#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/expr.h"
#include "vexa/expr.hpp"
#include "vexa/int.hpp"
#include "vexa/operand.hpp"
#include "vexa/term.h"
#include "vexa/term.hpp"
#include "vexa/var.hpp"

namespace vexa {

// ---------------------------------------------------------------------------
// The C calls behind each operator. `a` and `b` are the operands; a temporary
// operand (non-const rvalue) is consumed where a C form allows it.
// ---------------------------------------------------------------------------
namespace hpp_detail {

// Copy of e with x added or subtracted: vexa_expr_clone_add_* / _sub_*.
template <class X>
Expr clone_add(const Expr &e, const X &x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        return Expr::adopt(vexa_expr_clone_add_int(e.handle(), r.get()));
    } else if constexpr (k == Kind::literal) {
        return Expr::adopt(vexa_expr_clone_add_var(e.handle(), x.code()));
    } else if constexpr (k == Kind::term) {
        return Expr::adopt(vexa_expr_clone_add_term(e.handle(), x.handle()));
    } else {
        return Expr::adopt(vexa_expr_clone_add_expr(e.handle(), x.handle()));
    }
}

template <class X>
Expr clone_sub(const Expr &e, const X &x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        return Expr::adopt(vexa_expr_clone_sub_int(e.handle(), r.get()));
    } else if constexpr (k == Kind::literal) {
        return Expr::adopt(vexa_expr_clone_sub_var(e.handle(), x.code()));
    } else if constexpr (k == Kind::term) {
        return Expr::adopt(vexa_expr_clone_sub_term(e.handle(), x.handle()));
    } else {
        return Expr::adopt(vexa_expr_clone_sub_expr(e.handle(), x.handle()));
    }
}

template <class L, class R>
Expr add(L &&a, R &&b) {
    constexpr Kind ka = kind_v<L>, kb = kind_v<R>;
    if constexpr (ka == Kind::expr) {
        if constexpr (movable<L>) {  // iadd_* on a
            iadd(a, std::forward<R>(b));
            return std::move(a);
        } else {  // clone_add_*(a, b)
            return clone_add(a, b);
        }
    } else if constexpr (ka == Kind::integer) {
        return add(std::forward<R>(b), a);  // b + a: only the constant differs, and it is a sum
    } else if constexpr (kb == Kind::expr) {  // expression of a, then iadd_expr(b)
        Expr e = expr_of(std::forward<L>(a));
        vexa_expr_iadd_expr(e.handle(), b.handle());
        return e;
    } else if constexpr (ka == Kind::literal && kb == Kind::literal) {
        return Expr::adopt(vexa_expr_create_add_var_var(a.code(), b.code()));
    } else if constexpr (ka == Kind::literal && kb == Kind::integer) {
        const Rec r(b);
        return Expr::adopt(vexa_expr_create_add_var_int(a.code(), r.get()));
    } else if constexpr (ka == Kind::literal) {  // + term: create_var(a), iadd_term(b) (_move for a temporary)
        Expr e = expr_of(a);
        iadd(e, std::forward<R>(b));
        return e;
    } else if constexpr (kb == Kind::literal) {  // term + variable
        if constexpr (movable<L>) {  // create_term(a, steal), iadd_var(b)
            Expr e = expr_of(std::forward<L>(a));
            vexa_expr_iadd_var(e.handle(), b.code());
            return e;
        } else {
            return Expr::adopt(vexa_expr_create_add_term_var(a.handle(), b.code()));
        }
    } else if constexpr (kb == Kind::integer) {  // term + integer
        const Rec r(b);
        if constexpr (movable<L>) {  // create_term(a, steal), iadd_int(b)
            Expr e = expr_of(std::forward<L>(a));
            vexa_expr_iadd_int(e.handle(), r.get());
            return e;
        } else {
            return Expr::adopt(vexa_expr_create_add_term_int(a.handle(), r.get()));
        }
    } else {  // term + term: create_add_term_term, _mm (both temporaries), _ml (a temporary)
        if constexpr (movable<L>) {
            if constexpr (movable<R>) {
                if (&a != &b) {
                    TermImpl *x = a.release();
                    TermImpl *y = b.release();
                    return Expr::adopt(vexa_expr_create_add_term_term_mm(x, y));
                }
            }
            if (&a != &b) return Expr::adopt(vexa_expr_create_add_term_term_ml(a.release(), b.handle()));
        }
        return Expr::adopt(vexa_expr_create_add_term_term(a.handle(), b.handle()));
    }
}

template <class L, class R>
Expr sub(L &&a, R &&b) {
    constexpr Kind ka = kind_v<L>, kb = kind_v<R>;
    if constexpr (ka == Kind::expr) {
        if constexpr (movable<L>) {  // isub_* on a
            isub(a, std::forward<R>(b));
            return std::move(a);
        } else {  // clone_sub_*(a, b)
            return clone_sub(a, b);
        }
    } else if constexpr (kb == Kind::expr) {  // expression of a (create_int for an integer), isub_expr(b)
        Expr e = [&] {
            if constexpr (ka == Kind::integer) {
                return Expr(to_int(a));
            } else {
                return expr_of(std::forward<L>(a));
            }
        }();
        vexa_expr_isub_expr(e.handle(), b.handle());
        return e;
    } else if constexpr (ka == Kind::integer && kb == Kind::literal) {
        const Rec r(a);
        return Expr::adopt(vexa_expr_create_sub_int_var(r.get(), b.code()));
    } else if constexpr (ka == Kind::integer) {  // integer - term
        const Rec r(a);
        return Expr::adopt(vexa_expr_create_sub_int_term(r.get(), b.handle()));
    } else if constexpr (ka == Kind::literal && kb == Kind::integer) {  // create_add_var_int(a, -b)
        const Rec r(-to_int(b));
        return Expr::adopt(vexa_expr_create_add_var_int(a.code(), r.get()));
    } else if constexpr (ka == Kind::literal) {  // create_var(a), isub_var(b) or isub_term(b)
        Expr e = expr_of(a);
        isub(e, b);
        return e;
    } else if constexpr (kb == Kind::literal) {  // create_term(a, steal if temporary), isub_var(b)
        Expr e = expr_of(std::forward<L>(a));
        vexa_expr_isub_var(e.handle(), b.code());
        return e;
    } else if constexpr (kb == Kind::integer) {  // term - integer
        if constexpr (movable<L>) {  // create_term(a, steal), isub_int(b)
            Expr e = expr_of(std::forward<L>(a));
            const Rec r(b);
            vexa_expr_isub_int(e.handle(), r.get());
            return e;
        } else {  // create_add_term_int(a, -b)
            const Rec r(-to_int(b));
            return Expr::adopt(vexa_expr_create_add_term_int(a.handle(), r.get()));
        }
    } else {  // term - term
        if constexpr (movable<L> && movable<R>) {  // negate b, create_add_term_term_mm(a, b)
            if (&a != &b) {
                vexa_term_negate(b.handle());
                TermImpl *x = a.release();
                TermImpl *y = b.release();
                return Expr::adopt(vexa_expr_create_add_term_term_mm(x, y));
            }
        }
        return Expr::adopt(vexa_expr_create_sub_term_term(a.handle(), b.handle()));
    }
}

template <class L, class R>
auto mul(L &&a, R &&b) {
    constexpr Kind ka = kind_v<L>, kb = kind_v<R>;
    if constexpr (ka == Kind::expr) {
        if constexpr (movable<L>) {  // imul_* on a
            imul(a, std::forward<R>(b));
            return std::move(a);
        } else if constexpr (kb == Kind::integer) {
            const Rec r(b);
            return Expr::adopt(vexa_expr_clone_mul_int(a.handle(), r.get()));
        } else if constexpr (kb == Kind::expr) {
            return Expr::adopt(vexa_expr_mul_expr(a.handle(), b.handle()));
        } else {  // mul_expr(a, expression of b)
            const Expr eb = expr_of(std::forward<R>(b));
            return Expr::adopt(vexa_expr_mul_expr(a.handle(), eb.handle()));
        }
    } else if constexpr (ka == Kind::integer) {
        return mul(std::forward<R>(b), a);  // b * a: integer scaling gives the same terms
    } else if constexpr (kb == Kind::expr) {  // expression of a, imul_expr(b)
        Expr e = expr_of(std::forward<L>(a));
        vexa_expr_imul_expr(e.handle(), b.handle());
        return e;
    } else if constexpr (ka == Kind::literal && kb == Kind::integer) {
        const Rec r(b);
        return Term::adopt(vexa_term_create_var(r.get(), a.code()));
    } else if constexpr (ka == Kind::literal && kb == Kind::literal) {
        const Rec one(1);
        return Term::adopt(vexa_term_create_var_var(one.get(), a.code(), b.code()));
    } else if constexpr (ka == Kind::literal) {  // term_create_var(1, a), term_mul_term_move(that, b)
        const Rec one(1);
        Term t = Term::adopt(vexa_term_create_var(one.get(), a.code()));
        vexa_term_mul_term_move(t.handle(), b.handle());
        return t;
    } else if constexpr (movable<L>) {  // term_mul_coeff, term_mul_var, term_mul_term_move on a
        if constexpr (kb == Kind::integer) {
            const Rec r(b);
            vexa_term_mul_coeff(a.handle(), r.get());
        } else if constexpr (kb == Kind::literal) {
            vexa_term_mul_var(a.handle(), b.code());
        } else {
            vexa_term_mul_term_move(a.handle(), b.handle());
        }
        return std::move(a);
    } else if constexpr (kb == Kind::term) {
        return Term::adopt(vexa_term_mul_term(a.handle(), b.handle()));
    } else {  // the same on a clone of a
        return mul(Term(a), std::forward<R>(b));
    }
}

}  // namespace hpp_detail

// Sums and differences are expressions; products of variables, terms and
// integers are terms, any product with an expression is an expression.
template <class L, class R>
    requires hpp_detail::algebra_pair<L, R>
Expr operator+(L &&a, R &&b) {
    return hpp_detail::add(hpp_detail::operand_of(std::forward<L>(a)), hpp_detail::operand_of(std::forward<R>(b)));
}
template <class L, class R>
    requires hpp_detail::algebra_pair<L, R>
Expr operator-(L &&a, R &&b) {
    return hpp_detail::sub(hpp_detail::operand_of(std::forward<L>(a)), hpp_detail::operand_of(std::forward<R>(b)));
}
template <class L, class R>
    requires hpp_detail::algebra_pair<L, R> && (!hpp_detail::constraint_weight<L, R>)
auto operator*(L &&a, R &&b) {
    return hpp_detail::mul(hpp_detail::operand_of(std::forward<L>(a)), hpp_detail::operand_of(std::forward<R>(b)));
}
// Exact division of a term or an expression by an integer.
template <class L, class R>
    requires(hpp_detail::kind_v<L> == hpp_detail::Kind::term || hpp_detail::kind_v<L> == hpp_detail::Kind::expr) &&
            (hpp_detail::kind_v<R> == hpp_detail::Kind::integer)
hpp_detail::value_of<std::remove_cvref_t<L>> operator/(L &&a, const R &d) {
    hpp_detail::value_of<std::remove_cvref_t<L>> r(hpp_detail::operand_of(std::forward<L>(a)));
    r /= d;
    return r;
}
// Negation: -v is the term -1*v; a term or an expression is negated in place
// (on its clone unless it is a temporary).
template <class T>
    requires(hpp_detail::kind_v<T> == hpp_detail::Kind::literal)
Term operator-(const T &v) {
    return Term(-1, v);
}
template <class T>
    requires(hpp_detail::kind_v<T> == hpp_detail::Kind::term || hpp_detail::kind_v<T> == hpp_detail::Kind::expr)
hpp_detail::value_of<std::remove_cvref_t<T>> operator-(T &&a) {
    hpp_detail::value_of<std::remove_cvref_t<T>> r(hpp_detail::operand_of(std::forward<T>(a)));
    r.negate();
    return r;
}

// Square: vexa_expr_sqr for an expression (upper triangle, doubled cross
// terms), the product a * a for a variable or a term.
inline Expr sqr(const Expr &e) { return Expr::adopt(vexa_expr_sqr(e.handle())); }
template <class T>
    requires(hpp_detail::kind_v<T> == hpp_detail::Kind::literal || hpp_detail::kind_v<T> == hpp_detail::Kind::term)
Term sqr(const T &a) {
    return a * a;
}

// Canonical forms (new expressions): variables as symbols, as 0/1 values
// (x*x = x, ~x = 1 - x), or as +-1 values (s*s = 1, ~s = -s).
inline Expr simplify(const Expr &e) { return Expr::adopt(vexa_expr_simplify(e.handle())); }
inline Expr simplify_as_binary(const Expr &e) { return Expr::adopt(vexa_expr_simplify_as_binary(e.handle())); }
// An expression that is going away is simplified in place, without a copy
// of its terms.
inline Expr simplify_as_binary(Expr &&e) {
    vexa_expr_simplify_as_binary_in_place(e.handle());
    return std::move(e);
}
inline Expr simplify_as_spin(const Expr &e) { return Expr::adopt(vexa_expr_simplify_as_spin(e.handle())); }
// x = (s + 1) / 2; the result is 2^D times the input, D its maximal degree.
inline Expr binary_to_spin(const Expr &e) { return Expr::adopt(vexa_expr_binary_to_spin(e.handle())); }
inline Expr spin_to_binary(const Expr &e) { return Expr::adopt(vexa_expr_spin_to_binary(e.handle())); }

// Value of e with the given variable values (vexa_expr_eval_map). No binary
// reading is assumed: ~x counts as 1 - value(x). A variable of e without a
// value is fatal.
template <class Range>
Int eval(const Expr &e, const Range &values) {
    std::vector<uint32_t> codes;
    std::vector<Int> ints;
    for (const auto &[var, value] : values) {
        codes.push_back(var.code());
        ints.emplace_back(value);
    }
    std::vector<vexa_bigint> recs;
    recs.reserve(ints.size());
    for (const Int &v : ints) recs.push_back(v.record());
    std::vector<const vexa_bigint *> ptrs;
    ptrs.reserve(recs.size());
    for (const vexa_bigint &r : recs) ptrs.push_back(&r);
    return hpp_detail::read_int(
        [&](vexa_bigint *out) { vexa_expr_eval_map(e.handle(), codes.data(), ptrs.data(), codes.size(), out); });
}
inline Int eval(const Expr &e, std::initializer_list<std::pair<VarBase, Int>> values) {
    return eval<std::initializer_list<std::pair<VarBase, Int>>>(e, values);
}

}  // namespace vexa

#endif
