#include "constraint/declare.hpp"

#include <memory>
#include <string>

#include "constraint/attr.hpp"
#include "core/fatal.hpp"
#include "expr/attr_rules.hpp"
#include "expr/eval.hpp"

namespace vexa {

namespace {

std::unique_ptr<ExprImpl> plain_body(const ExprImpl &body) {
    return std::make_unique<ExprImpl>(ExprImpl::plain_copy(body));
}

// A fresh empty value holding a declared sum of the single record `id`.
ExprImpl declared_single(uint32_t id) {
    ExprImpl out;
    out.attr = kSumTag | add_sum({SumItem{id, 1}}, nullptr, true);
    return out;
}

ExprImpl make_shape_term(const ExprImpl &body, const coeff_t &lower, const coeff_t &upper, uint32_t k,
                         const char *word) {
    refuse_if_declared(body, "abs/relu body carrying declared constraints");
    if (k != 1 && k != 2) {
        fatal(std::string("vexa::") + word + ": the exponent k must be 1 or 2 (got " + std::to_string(k) + ")");
    }
    const uint32_t id = add_exprexpr(plain_body(body));
    set_bounds(id, lower, upper);
    set_penalty_shape(id, static_cast<uint8_t>(k));
    return declared_single(id);
}

}  // namespace

ExprImpl make_exprexpr(const ExprImpl &penalty, const ExprImpl &body) {
    const char *operation = "== / <= (comparing declared constraints)";
    refuse_if_declared(penalty, operation);
    refuse_if_declared(body, operation);
    ExprImpl out = ExprImpl::plain_copy(penalty);
    out.attr = kExprExprTag | add_exprexpr(plain_body(body));
    return out;
}

ExprImpl cons_mark(const ExprImpl &e) {
    ExprImpl out;
    if (is_live_sum(e.attr)) {
        // The declared parts move over; the objective polynomial stays behind.
        out.attr = e.attr;
        return out;
    }
    std::vector<SumItem> items;
    std::unique_ptr<ExprImpl> remainder;
    if (is_constraint(e.attr)) {
        // A classic record is enforced from the record; its penalty polynomial is dropped.
        collect_items(items, e.attr, 1);
        if (is_sum(e.attr)) {
            const ExprImpl *r = sum_entry(e.attr & kIndexMask).remainder.get();
            if (r != nullptr) remainder = plain_body(*r);
        }
    } else {
        remainder = plain_body(e);
    }
    out.attr = kSumTag | add_sum(std::move(items), std::move(remainder), true);
    return out;
}

ExprImpl cons_between(const ExprImpl &body, const coeff_t &lo, const coeff_t &hi) {
    refuse_if_declared(body, "cons(body, ...) on declared constraints");
    const uint32_t id = add_exprexpr(plain_body(body));
    set_bounds(id, lo, hi);
    return declared_single(id);
}

ExprImpl cons_equal(const ExprImpl &body, AllowedList allowed) {
    refuse_if_declared(body, "cons(body, equal=...) on declared constraints");
    if (allowed.empty()) fatal("vexa_cons_equal: empty allowed-value set");
    const uint32_t id = add_exprexpr(plain_body(body));
    set_allowed(id, std::move(allowed));
    return declared_single(id);
}

const ExprImpl &constraint_body_of(const ExprImpl &e) {
    const uint32_t attr = e.attr;
    if (is_exprexpr(attr)) {
        if ((attr & kIndexMask) >= ExprExprSet::instance().entries.size()) {
            fatal("ExprExpr body access on a value that is no longer an ExprExpr (e.g. after ee += 1, ee.sqr()).");
        }
        return *exprexpr_entry(attr & kIndexMask).body;
    }
    if (is_sum(attr)) {
        const ConstraintSumEntry &entry = sum_entry(attr & kIndexMask);
        if (entry.items.size() == 1 && !entry.remainder) return *exprexpr_entry(entry.items[0].id).body;
        std::string message = "body() requires exactly one constraint, but this value holds " +
                              std::to_string(entry.items.size()) + " constraint(s)";
        if (entry.remainder) message += " and a free-form penalty";
        message += "; use violations(sol) instead.";
        fatal_no_newline(message);
    }
    fatal("ExprExpr body access on a value that is not an ExprExpr (plain Expr, VarInt or constraint sum).");
}

ExprImpl abs_term(const ExprImpl &body, uint32_t k) { return make_shape_term(body, 0, 0, k, "abs"); }

ExprImpl relu_term(const ExprImpl &body, uint32_t k) {
    // The bounds come first, so an unknown integer atom is reported before a bad k.
    const coeff_t least = reachable_bounds(body).first;
    return make_shape_term(body, least > 0 ? coeff_t(0) : least, 0, k, "relu");
}

}  // namespace vexa
