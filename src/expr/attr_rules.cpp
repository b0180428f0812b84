#include "expr/attr_rules.hpp"

#include <string>

#include "core/fatal.hpp"

namespace vexa {

uint32_t attr_after_add_term(uint32_t attr, const TermImpl &t, bool in_place) {
    if (!is_constraint(attr)) return kPlainAttr;
    // A declared sum takes objective terms into its polynomial alone.
    if (in_place && is_live_sum(attr)) return attr;
    ExprImpl term_expr;
    term_expr.add_term(t);
    return merge_attr(attr, nullptr, kPlainAttr, &term_expr, in_place);
}

uint32_t attr_after_add_expr(const ExprImpl &e, const ExprImpl &o, bool in_place) {
    const uint32_t a = e.attr;
    const uint32_t b = o.attr;
    if (!in_place) return merge_attr(a, &e, b, &o, false);
    const bool a_set = is_constraint(a);
    const bool b_set = is_constraint(b);
    if (a_set && b_set) return merge_attr(a, nullptr, b, nullptr, true);
    if (a_set) return merge_attr(a, nullptr, b, &o, true);
    if (!b_set) return kPlainAttr;
    // A plain zero that a constraint is added to becomes a second holder of it.
    if (is_plain(a) && e.is_empty_zero()) {
        mark_shared(b);
        return b;
    }
    return merge_attr(a, &e, b, nullptr, false);
}

uint32_t attr_after_sub_expr(const ExprImpl &e, const ExprImpl &o, bool in_place) {
    if (is_live_sum(o.attr)) {
        const uint32_t negated_b = scale_attr(o.attr, -1);
        return merge_attr(e.attr, nullptr, negated_b, nullptr, in_place);
    }
    return is_live_sum(e.attr) ? e.attr : kPlainAttr;
}

void refuse_if_declared(const ExprImpl &e, const char *operation) {
    if (is_live_sum(e.attr)) {
        fatal(std::string("vexa::cons: '") + operation + "' is not allowed on an expression with declared constraints");
    }
}

}  // namespace vexa
