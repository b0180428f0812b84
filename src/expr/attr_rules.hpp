// What each exported expression function does to the attr word of the value
// it changes or makes. The table below names one rule per function; the
// wrappers ask the table through attr_after<op>() instead of deciding on
// their own. Functions that make a fresh value (vexa_expr_create*) give a
// plain word, and reading functions leave the word alone: neither is listed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "constraint/attr.hpp"
#include "core/coeff.hpp"
#include "expr/expr.hpp"

namespace vexa {

enum class AttrRule : uint8_t {
    // A declared sum keeps its word; any other word is cleared.
    keep_if_live,
    // One term added in place: a declared sum keeps its word, another
    // constraint word merges the term in (into its remainder), a plain or
    // encoded-integer word is cleared.
    add_term,
    // One term added to a copy: a constraint word merges the term in as a new
    // entry, anything else is cleared.
    clone_add_term,
    // An integer added to a copy: a declared sum keeps its word, and so does
    // any constraint word when the integer is exactly 0; else cleared.
    clone_add_int,
    // Two values added, in place (a lone holder of a sum may grow it, a zero
    // value adopts the other's word) or into a copy (always a new entry).
    add_expr,
    clone_add_expr,
    // A value subtracted: a declared subtrahend is scaled by -1 and merged;
    // otherwise a declared minuend keeps its word and anything else is cleared.
    sub_expr,
    clone_sub_expr,
    // Scaled by the integer factor (refuses 0 on declared constraints).
    scale,
    // A declared sum is scaled by -1; anything else is cleared.
    negate,
    // Refused on a declared operand (the right factor of a product is named
    // "* expr"); the result is plain.
    refuse_declared,
    // Canonical forms: every constraint body is put in the same form; plain
    // and encoded-integer words are kept.
    simplified,
    // Substitution: a declared sum is rebuilt with the substitution applied to
    // each body and stays declared; anything else is cleared.
    replaced,
};

// X(function without the vexa_expr_ prefix, rule, operation named in a refusal)
#define VEXA_EXPR_ATTR_TABLE(X)                                                                        \
    X(clone_add_int, clone_add_int, "")                                                                \
    X(clone_sub_int, keep_if_live, "")                                                                 \
    X(clone_add_var, keep_if_live, "")                                                                 \
    X(clone_sub_var, keep_if_live, "")                                                                 \
    X(clone_add_term, clone_add_term, "")                                                              \
    X(clone_sub_term, keep_if_live, "")                                                                \
    X(clone_add_expr, clone_add_expr, "")                                                              \
    X(clone_sub_expr, clone_sub_expr, "")                                                              \
    X(clone_mul_int, scale, "")                                                                        \
    X(iadd_int, keep_if_live, "")                                                                      \
    X(isub_int, keep_if_live, "")                                                                      \
    X(iadd_var, add_term, "")                                                                          \
    X(isub_var, keep_if_live, "")                                                                      \
    X(iadd_term, add_term, "")                                                                         \
    X(isub_term, keep_if_live, "")                                                                     \
    X(iadd_term_move, add_term, "")                                                                    \
    X(iadd_raw_term, add_term, "")                                                                     \
    X(isub_raw_term, keep_if_live, "")                                                                 \
    X(iadd_move_term, keep_if_live, "")                                                                \
    X(isub_move_term, keep_if_live, "")                                                                \
    X(iadd_terms_bulk, keep_if_live, "")                                                               \
    X(iadd_expr, add_expr, "")                                                                         \
    X(isub_expr, sub_expr, "")                                                                         \
    X(imul_int, scale, "")                                                                             \
    X(idiv_int, refuse_declared, "/=")                                                                 \
    X(imul_var, refuse_declared, "*= var")                                                             \
    X(imul_term_direct, refuse_declared, "*= term")                                                    \
    X(imul_expr, refuse_declared, "*= expr")                                                           \
    X(negate, negate, "")                                                                              \
    X(mul_expr, refuse_declared, "* expr")                                                             \
    X(sqr, refuse_declared, "sqr")                                                                     \
    X(simplify, simplified, "")                                                                        \
    X(simplify_as_binary, simplified, "")                                                              \
    X(simplify_as_spin, simplified, "")                                                                \
    X(binary_to_spin, refuse_declared, "binary_to_spin")                                               \
    X(spin_to_binary, refuse_declared, "spin_to_binary")                                               \
    X(reduce, refuse_declared,                                                                         \
      "reduce (declared constraints would be dropped; reduce the objective before adding vexa::cons " \
      "parts)")                                                                                        \
    X(eval_map, refuse_declared, "eval with a variable map (evaluate against a Sol instead)")          \
    X(replace, replaced, "")

enum class ExprOp : uint8_t {
#define VEXA_EXPR_OP_NAME(name, rule, operation) name,
    VEXA_EXPR_ATTR_TABLE(VEXA_EXPR_OP_NAME)
#undef VEXA_EXPR_OP_NAME
};

struct AttrTableEntry {
    AttrRule rule;
    const char *operation;
};

inline constexpr AttrTableEntry kExprAttrTable[] = {
#define VEXA_EXPR_OP_ENTRY(name, rule, operation) {AttrRule::rule, operation},
    VEXA_EXPR_ATTR_TABLE(VEXA_EXPR_OP_ENTRY)
#undef VEXA_EXPR_OP_ENTRY
};

constexpr AttrRule rule_of(ExprOp op) { return kExprAttrTable[static_cast<size_t>(op)].rule; }
constexpr const char *operation_of(ExprOp op) { return kExprAttrTable[static_cast<size_t>(op)].operation; }

// The operands a rule may look at. `self` is the value whose word is being
// replaced, as it was before the operation; `other` the right operand, `term`
// an added term, `factor` an integer operand.
struct AttrArgs {
    const ExprImpl &self;
    const ExprImpl *other = nullptr;
    const TermImpl *term = nullptr;
    const coeff_t *factor = nullptr;
};

// The rules that need more than a test of the word.
uint32_t attr_after_add_term(uint32_t attr, const TermImpl &t, bool in_place);
uint32_t attr_after_add_expr(const ExprImpl &e, const ExprImpl &o, bool in_place);
uint32_t attr_after_sub_expr(const ExprImpl &e, const ExprImpl &o, bool in_place);
// Ends the process when `e` is declared: "vexa::cons: '<operation>' is not
// allowed on an expression with declared constraints".
void refuse_if_declared(const ExprImpl &e, const char *operation);

// The word of the result of `op`, by the rule the table names for it.
template <ExprOp op>
uint32_t attr_after(const AttrArgs &a) {
    constexpr AttrRule rule = rule_of(op);
    const uint32_t attr = a.self.attr;
    if constexpr (rule == AttrRule::keep_if_live) {
        return is_live_sum(attr) ? attr : kPlainAttr;
    } else if constexpr (rule == AttrRule::add_term) {
        return attr_after_add_term(attr, *a.term, true);
    } else if constexpr (rule == AttrRule::clone_add_term) {
        return attr_after_add_term(attr, *a.term, false);
    } else if constexpr (rule == AttrRule::clone_add_int) {
        const bool kept = is_live_sum(attr) || (a.factor->is_zero() && is_constraint(attr));
        return kept ? attr : kPlainAttr;
    } else if constexpr (rule == AttrRule::add_expr || rule == AttrRule::clone_add_expr) {
        return attr_after_add_expr(a.self, *a.other, rule == AttrRule::add_expr);
    } else if constexpr (rule == AttrRule::sub_expr || rule == AttrRule::clone_sub_expr) {
        return attr_after_sub_expr(a.self, *a.other, rule == AttrRule::sub_expr);
    } else if constexpr (rule == AttrRule::scale) {
        return scale_attr(attr, *a.factor);
    } else if constexpr (rule == AttrRule::negate) {
        return is_live_sum(attr) ? scale_attr(attr, -1) : kPlainAttr;
    } else if constexpr (rule == AttrRule::refuse_declared) {
        refuse_if_declared(a.self, operation_of(op));
        if (a.other != nullptr) refuse_if_declared(*a.other, "* expr");
        return kPlainAttr;
    } else {
        static_assert(rule != AttrRule::simplified && rule != AttrRule::replaced,
                      "this rule rebuilds constraint records: use rebuilt_attr");
    }
}

// The refusal of a refuse_declared operation that yields no expression.
template <ExprOp op>
void refuse_declared(const ExprImpl &e) {
    static_assert(rule_of(op) == AttrRule::refuse_declared);
    refuse_if_declared(e, operation_of(op));
}

// The word of a value that `transform` made from `self`'s value, for the
// rules that rebuild constraint records with the same transform.
template <ExprOp op, class Transform>
uint32_t rebuilt_attr(const ExprImpl &self, Transform &&transform) {
    constexpr AttrRule rule = rule_of(op);
    static_assert(rule == AttrRule::simplified || rule == AttrRule::replaced);
    const uint32_t attr = self.attr;
    if constexpr (rule == AttrRule::simplified) {
        return is_constraint(attr) ? rebuild_attr(attr, transform) : attr;
    } else {
        return is_live_sum(attr) ? rebuild_attr(attr, transform, true) : kPlainAttr;
    }
}

}  // namespace vexa
