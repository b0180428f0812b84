// Exported functions that put an expression in another form: the three
// canonical forms, the change between the 0/1 and the +-1 reading, and
// quadratic reduction. Each returns a new expression, except the in-place
// form of simplify_as_binary.
#include <memory>
#include <utility>

#include "expr/attr_rules.hpp"
#include "expr/expr.hpp"
#include "expr/simplify.hpp"
#include "expr/spin.hpp"
#include "vexa/expr.h"

using namespace vexa;

namespace {

// The canonical form of the value, with every constraint body it carries
// simplified the same way.
template <ExprOp op, ExprImpl (*Simplifier)(const ExprImpl &)>
ExprImpl *simplified(const ExprImpl *e) {
    auto result = std::make_unique<ExprImpl>(Simplifier(*e));
    result->attr = rebuilt_attr<op>(*e, [](const ExprImpl &body) { return Simplifier(body); });
    return result.release();
}

// The value in another form, after the rule of `op` checked the operand.
template <ExprOp op, ExprImpl (*Transform)(const ExprImpl &)>
ExprImpl *transformed(const ExprImpl *e) {
    const uint32_t word = attr_after<op>({*e});
    auto result = std::make_unique<ExprImpl>(Transform(*e));
    result->attr = word;
    return result.release();
}

}  // namespace

extern "C" {

ExprImpl *vexa_expr_simplify(const ExprImpl *e) { return simplified<ExprOp::simplify, expr_simplify>(e); }

ExprImpl *vexa_expr_simplify_as_binary(const ExprImpl *e) {
    return simplified<ExprOp::simplify_as_binary, expr_simplify_as_binary>(e);
}

void vexa_expr_simplify_as_binary_in_place(ExprImpl *e) {
    const uint32_t attr = rebuilt_attr<ExprOp::simplify_as_binary>(
        *e, [](const ExprImpl &body) { return expr_simplify_as_binary(body); });
    ExprImpl result = expr_simplify_as_binary(std::move(*e));
    result.attr = attr;
    *e = std::move(result);
}

ExprImpl *vexa_expr_simplify_as_spin(const ExprImpl *e) {
    return simplified<ExprOp::simplify_as_spin, expr_simplify_as_spin>(e);
}

ExprImpl *vexa_expr_binary_to_spin(const ExprImpl *e) {
    return transformed<ExprOp::binary_to_spin, binary_to_spin>(e);
}

ExprImpl *vexa_expr_spin_to_binary(const ExprImpl *e) {
    return transformed<ExprOp::spin_to_binary, spin_to_binary>(e);
}

ExprImpl *vexa_expr_reduce(const ExprImpl *e) { return transformed<ExprOp::reduce, reduce_to_quadratic>(e); }

}  // extern "C"
