// Constraints over arrays, element by element: each element of the result is
// a classic constraint value whose polynomial is the penalty and whose record
// holds the element's body and bounds.
#pragma once

#include <memory>
#include <utility>

#include "array/array.hpp"
#include "array/elementwise.hpp"
#include "constraint/attr.hpp"
#include "constraint/expand.hpp"
#include "core/fatal.hpp"
#include "expr/eval.hpp"

namespace vexa {

enum class CmpOp { eq, le, ge };

// The element as a plain expression: 1 * x, a constant, a head term, or a
// copy without the attr word.
template <class T>
ExprImpl constraint_body(const T &x) {
    if constexpr (is_expr_v<T>) {
        return ExprImpl::plain_copy(x);
    } else {
        return value_expr(x);
    }
}

// `penalty` tagged as the constraint lo <= body <= hi, with body in a new record.
inline ExprImpl constraint_element(ExprImpl body, ExprImpl penalty, const coeff_t &lo, const coeff_t &hi) {
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(std::move(body)));
    set_bounds(id, lo, hi);
    penalty.attr = kExprExprTag | id;
    return penalty;
}

// body == c: the square of body - c, bounds c and c.
template <class T>
ExprImpl equal_element(const T &x, const coeff_t &c) {
    ExprImpl body = constraint_body(x);
    ExprImpl penalty = between_penalty(body, c, c);
    return constraint_element(std::move(body), std::move(penalty), c, c);
}

// One bound of a range form: a scalar, an element of an integer array, or,
// with neither, the least or greatest value the body reaches.
struct RangeBound {
    const coeff_t *scalar = nullptr;
    const ArrayImpl<coeff_t> *array = nullptr;

    const coeff_t *at(uint64_t i) const { return scalar != nullptr ? scalar : array != nullptr ? &array->data[i] : nullptr; }
};

// The range forms run on the calling thread whatever the count: an element
// may register slack bits, and their numbering must follow element order.
template <class T>
ArrayImpl<ExprImpl> *ew_range(const ArrayImpl<T> &a, RangeBound lo, RangeBound hi) {
    if (lo.array != nullptr && lo.array->shape != a.shape) {
        fatal("Array range constraint: lower-bound array shape mismatch");
    }
    if (hi.array != nullptr && hi.array->shape != a.shape) {
        fatal("Array range constraint: upper-bound array shape mismatch");
    }
    return build_array<ExprImpl>(a.shape, [&](uint64_t i) {
        ExprImpl body = constraint_body(a.data[i]);
        const coeff_t *l = lo.at(i);
        const coeff_t *h = hi.at(i);
        std::pair<coeff_t, coeff_t> reach;
        if (l == nullptr || h == nullptr) reach = reachable_bounds(body);
        const coeff_t &lower = l != nullptr ? *l : reach.first;
        const coeff_t &upper = h != nullptr ? *h : reach.second;
        ExprImpl penalty = between_penalty(body, lower, upper);
        return constraint_element(std::move(body), std::move(penalty), lower, upper);
    });
}

// a == c, a <= c or a >= c with one integer for every element.
template <CmpOp op, class T>
ArrayImpl<ExprImpl> *ew_compare(const ArrayImpl<T> &a, const coeff_t &c) {
    if constexpr (op == CmpOp::eq) {
        return build_array_par<ExprImpl>(a.shape, [&](uint64_t i) { return equal_element(a.data[i], c); });
    } else if constexpr (op == CmpOp::le) {
        return ew_range(a, RangeBound{}, RangeBound{&c, nullptr});
    } else {
        return ew_range(a, RangeBound{&c, nullptr}, RangeBound{});
    }
}

// The same with the integer of the same position in c.
template <CmpOp op, class T>
ArrayImpl<ExprImpl> *ew_compare_array(const ArrayImpl<T> &a, const ArrayImpl<coeff_t> &c) {
    if constexpr (op == CmpOp::eq) {
        if (c.shape != a.shape) fatal("Array == Array<int>: shape mismatch");
        return build_array_par<ExprImpl>(a.shape, [&](uint64_t i) { return equal_element(a.data[i], c.data[i]); });
    } else if constexpr (op == CmpOp::le) {
        return ew_range(a, RangeBound{}, RangeBound{nullptr, &c});
    } else {
        return ew_range(a, RangeBound{nullptr, &c}, RangeBound{});
    }
}

}  // namespace vexa
