// The element-wise family: one template per shape of call (array with array,
// array with scalar, in place, one operand) over one element rule, combine().
#pragma once

#include <atomic>
#include <type_traits>

#include "array/array.hpp"
#include "array/reduce.hpp"
#include "core/fatal.hpp"
#include "expr/eval.hpp"
#include "expr/simplify.hpp"
#include "expr/spin.hpp"

namespace vexa {

enum class EwOp {
    add,
    sub,
    mul,
    div,
    coeffvec_mul,
    negate,
    invert,
    sqr,
    from_expr,
    simplify,
    simplify_as_binary,
    simplify_as_spin,
    reduce,
};

// The text a shape mismatch names the operator by.
constexpr const char *op_text(EwOp op, bool in_place) {
    switch (op) {
        case EwOp::add: return in_place ? "+=" : "+";
        case EwOp::sub: return in_place ? "-=" : "-";
        default: return in_place ? "*=" : "*";
    }
}

template <class T>
inline constexpr bool is_expr_v = std::is_same_v<T, ExprImpl>;
template <class T>
inline constexpr bool is_int_v = std::is_same_v<T, coeff_t>;

// An element as an expression of its own: 1 * x, a constant, a head term, or
// a copy with the attr word.
inline ExprImpl value_expr(unsigned int v) { return literal_expr(1, v); }
inline ExprImpl value_expr(const coeff_t &c) { return ExprImpl(c); }
inline ExprImpl value_expr(const TermImpl &t) {
    ExprImpl e;
    e.add_term(t);
    return e;
}
inline ExprImpl value_expr(const ExprImpl &e) { return element_copy(e); }

// An element as a term: 1 * x, a constant term, the term itself.
inline TermImpl value_term(unsigned int v) {
    TermImpl t{coeff_t(1), {}};
    t.vars.append(v);
    return t;
}
inline TermImpl value_term(const coeff_t &c) { return TermImpl{c, {}}; }
inline TermImpl value_term(const TermImpl &t) { return t; }

// e -= x on the value; the attr word is not touched. Subtracting an
// expression from itself subtracts a copy taken first.
inline void sub_element(ExprImpl &e, unsigned int v) {
    TermImpl t{coeff_t(-1), {}};
    t.vars.append(v);
    e.add_term(std::move(t));
}
inline void sub_element(ExprImpl &e, const coeff_t &c) { e.constant -= c; }
inline void sub_element(ExprImpl &e, const TermImpl &t) { e.add_term(TermImpl{-t.coeff, t.vars}); }
inline void sub_element(ExprImpl &e, const ExprImpl &o) {
    if (&o == &e) {
        sub_element(e, ExprImpl::plain_copy(o));
        return;
    }
    e.constant -= o.constant;
    for (uint64_t i = 0; i < o.term_count(); ++i) sub_element(e, o.term(i));
}

// The expression product by another element.
inline ExprImpl product_with(const ExprImpl &e, unsigned int v) { return e.mul_var(v); }
inline ExprImpl product_with(const ExprImpl &e, const TermImpl &t) { return e.mul_term(t); }
inline ExprImpl product_with(const ExprImpl &e, const ExprImpl &o) { return e.mul(o); }

// A word copied onto a second value names its constraint sum twice.
inline uint32_t shared_word(uint32_t attr) {
    mark_shared(attr);
    return attr;
}

// The element rule of l op r, for a new element.
template <EwOp op, class L, class R>
auto combine(const L &l, const R &r) {
    if constexpr (op == EwOp::add || op == EwOp::sub) {
        if constexpr (is_int_v<L> && is_int_v<R>) {
            return coeff_t(op == EwOp::add ? coeff_t(l + r) : coeff_t(l - r));
        } else {
            ExprImpl e = value_expr(l);  // an expression keeps its word
            if constexpr (op == EwOp::add) {
                add_element(e, r);
                if constexpr (!is_expr_v<L> && is_expr_v<R>) e.attr = shared_word(r.attr);
            } else {
                sub_element(e, r);
            }
            return e;
        }
    } else if constexpr (op == EwOp::mul || op == EwOp::coeffvec_mul) {
        if constexpr (is_int_v<L> && is_int_v<R>) {
            return coeff_t(l * r);
        } else if constexpr (!is_expr_v<L> && !is_expr_v<R>) {
            return term_product(value_term(l), value_term(r));
        } else if constexpr (is_expr_v<L> && is_int_v<R>) {
            ExprImpl e = ExprImpl::plain_copy(l);
            e.attr = scale_attr(l.attr, r);
            e.imul_int(r);
            return e;
        } else if constexpr (is_int_v<L> && is_expr_v<R>) {
            ExprImpl e = ExprImpl::plain_copy(r);
            e.imul_int(l);
            e.attr = shared_word(r.attr);  // copied, not scaled
            return e;
        } else if constexpr (is_expr_v<L>) {
            ExprImpl e = product_with(l, r);
            e.attr = kPlainAttr;
            return e;
        } else {
            ExprImpl e = product_with(r, l);
            e.attr = kPlainAttr;
            return e;
        }
    } else {
        static_assert(op == EwOp::add, "no element rule for this operation");
    }
}

// A new array of l[i] op r[i]; shapes must be equal.
template <EwOp op, class L, class R>
auto ew_array(const ArrayImpl<L> &a, const ArrayImpl<R> &b) {
    using Res = decltype(combine<op>(a.data[0], b.data[0]));
    check_same_shape(a.shape, b.shape, op_text(op, false));
    return build_array_par<Res>(a.shape, [&](uint64_t i) { return combine<op>(a.data[i], b.data[i]); });
}

// A new array of l[i] op s for one scalar s (converted once by the caller).
template <EwOp op, class L, class S>
auto ew_scalar(const ArrayImpl<L> &a, const S &s) {
    using Res = decltype(combine<op>(a.data[0], s));
    return build_array_par<Res>(a.shape, [&](uint64_t i) { return combine<op>(a.data[i], s); });
}

// a[i] op= r in place; `scalar` tells a scalar right operand from an array's
// element, which multiplying an expression by an integer treats differently.
template <EwOp op, bool scalar, class L, class R>
void update(L &a, const R &r) {
    if constexpr (is_int_v<L>) {
        if constexpr (op == EwOp::add) a += r;
        if constexpr (op == EwOp::sub) a -= r;
        if constexpr (op == EwOp::mul) a *= r;
        if constexpr (op == EwOp::div) a /= r;  // truncates towards zero
    } else if constexpr (std::is_same_v<L, TermImpl>) {
        static_assert(op == EwOp::mul, "terms are divided by div_terms");
        a.coeff *= r;
    } else if constexpr (op == EwOp::add) {
        add_element(a, r);
    } else if constexpr (op == EwOp::sub) {
        sub_element(a, r);
    } else if constexpr (op == EwOp::div) {
        a.idiv_int(r);
    } else if constexpr (is_int_v<R>) {
        if constexpr (scalar) a.attr = scale_attr(a.attr, r);
        a.imul_int(r);
    } else {
        ExprImpl p = product_with(a, r);
        p.attr = kPlainAttr;
        a = std::move(p);
    }
}

template <EwOp op, class L, class R>
void ew_update_array(ArrayImpl<L> &a, const ArrayImpl<R> &b) {
    check_same_shape(a.shape, b.shape, op_text(op, true));
    par_for(a.count(), [&](uint64_t i) { update<op, false>(a.data[i], b.data[i]); });
}

template <EwOp op, class L, class S>
void ew_update_scalar(ArrayImpl<L> &a, const S &s) {
    if constexpr (op == EwOp::div && std::is_same_v<L, TermImpl>) {
        if (s.is_zero()) fatal("Array<Term> /=: division by zero");
        std::atomic<bool> indivisible{false};
        par_for(a.count(), [&](uint64_t i) {
            coeff_t q = a.data[i].coeff / s;
            if (q * s != a.data[i].coeff) {
                indivisible.store(true, std::memory_order_relaxed);
            } else {
                a.data[i].coeff = std::move(q);
            }
        });
        if (indivisible.load()) fatal("Array<Term> /=: indivisible coefficient");
    } else {
        if constexpr (op == EwOp::div && is_expr_v<L>) {
            if (s.is_zero()) fatal("Array<Expr> /=: division by zero");
        }
        par_for(a.count(), [&](uint64_t i) { update<op, true>(a.data[i], s); });
    }
}

// A copy divided by d (terms and expressions only).
template <EwOp op, class L>
ArrayImpl<L> *ew_divided(const ArrayImpl<L> &a, const coeff_t &d) {
    ArrayImpl<L> *copy = build_array_par<L>(a.shape, [&](uint64_t i) { return element_copy(a.data[i]); });
    std::unique_ptr<ArrayImpl<L>> owner(copy);
    ew_update_scalar<EwOp::div>(*copy, d);
    return owner.release();
}

// The element rule of a one-operand form.
template <EwOp op, class T>
auto unary(const T &x) {
    if constexpr (op == EwOp::negate) {
        if constexpr (std::is_same_v<T, unsigned int>) {
            return literal_expr(-1, x);
        } else if constexpr (is_int_v<T>) {
            return ExprImpl(coeff_t(-x));
        } else if constexpr (std::is_same_v<T, TermImpl>) {
            return value_expr(TermImpl{-x.coeff, x.vars});
        } else {
            ExprImpl e = ExprImpl::plain_copy(x);
            e.attr = scale_attr(x.attr, coeff_t(-1));
            e.negate();
            return e;
        }
    } else if constexpr (op == EwOp::invert) {
        return static_cast<unsigned int>(x + 0x80000000u);
    } else if constexpr (op == EwOp::from_expr) {
        return element_copy(x);
    } else {
        ExprImpl e;
        if constexpr (op == EwOp::sqr) e = x.sqr();
        if constexpr (op == EwOp::simplify) e = expr_simplify(x);
        if constexpr (op == EwOp::simplify_as_binary) e = expr_simplify_as_binary(x);
        if constexpr (op == EwOp::simplify_as_spin) e = expr_simplify_as_spin(x);
        if constexpr (op == EwOp::reduce) e = reduce_to_quadratic(x);
        e.attr = kPlainAttr;
        return e;
    }
}

template <EwOp op, class T>
auto ew_unary(const ArrayImpl<T> &a) {
    using Res = decltype(unary<op>(a.data[0]));
    // Reduction registers no variables but runs serially like the forms that do.
    if constexpr (op == EwOp::reduce) {
        return build_array<Res>(a.shape, [&](uint64_t i) { return unary<op>(a.data[i]); });
    } else {
        return build_array_par<Res>(a.shape, [&](uint64_t i) { return unary<op>(a.data[i]); });
    }
}

// Every element with the literals of the map replaced, in place.
inline void ew_replace(ArrayImpl<ExprImpl> &a, const uint32_t *vars, const ExprImpl *const *values, uint64_t n) {
    ReplaceMap map;
    for (uint64_t k = 0; k < n; ++k) map[vars[k]] = values[k];
    par_for(a.count(), [&](uint64_t i) {
        ExprImpl e = replace_plain(a.data[i], map);
        e.attr = kPlainAttr;
        a.data[i] = std::move(e);
    });
}

}  // namespace vexa
