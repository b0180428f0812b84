// Makes constraint-table records directly, for tests of the attr word.
#pragma once

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "constraint/attr.hpp"
#include "support/expr_util.hpp"

namespace vexa::test {

// A classic constraint lo <= body <= hi: the value is `penalty`, tagged with
// a fresh record holding a copy of `body`.
inline ExprImpl *classic(const ExprImpl *penalty, const ExprImpl *body, const coeff_t &lo, const coeff_t &hi) {
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    set_bounds(id, lo, hi);
    ExprImpl *e = vexa_expr_clone(penalty);
    e->attr = kExprExprTag | id;
    return e;
}

// A declared constraint lo <= body <= hi: an empty value tagged with a fresh
// declared sum of one item of weight 1.
inline ExprImpl *declared(const ExprImpl *body, const coeff_t &lo, const coeff_t &hi) {
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    set_bounds(id, lo, hi);
    ExprImpl *e = vexa_expr_create();
    e->attr = kSumTag | add_sum({SumItem{id, 1}}, nullptr, true);
    return e;
}

// A declared penalty shape |body|^k.
inline ExprImpl *shape(const ExprImpl *body, uint8_t k) {
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    set_bounds(id, 0, 0);
    set_penalty_shape(id, k);
    ExprImpl *e = vexa_expr_create();
    e->attr = kSumTag | add_sum({SumItem{id, 1}}, nullptr, true);
    return e;
}

inline const ConstraintSumEntry &sum_of(const ExprImpl *e) {
    EXPECT_TRUE(is_sum(e->attr)) << std::hex << e->attr;
    return sum_entry(e->attr & kIndexMask);
}

inline std::vector<std::pair<uint32_t, coeff_t>> items_of(const ExprImpl *e) {
    std::vector<std::pair<uint32_t, coeff_t>> out;
    for (const SumItem &item : sum_of(e).items) out.emplace_back(item.id, item.weight);
    return out;
}

// A random body over the variables: canonical, no negated literals, linear
// when `linear`.
inline ExprPtr random_body(std::mt19937_64 &rng, const std::vector<uint32_t> &vars, bool linear) {
    ExprPtr e(vexa_expr_create_int(In(static_cast<int>(rng() % 7) - 3).get()));
    for (uint32_t t = 0, n = 1 + rng() % 4; t < n; ++t) {
        const uint32_t a = vars[rng() % vars.size()];
        const uint32_t b = vars[rng() % vars.size()];
        const In c(static_cast<int>(rng() % 7) - 3);
        if (linear || a == b || rng() % 2) {
            vexa_expr_iadd_raw_term(e.get(), c.get(), &a, 1);
        } else {
            const uint32_t two[2] = {std::min(a, b), std::max(a, b)};
            vexa_expr_iadd_raw_term(e.get(), c.get(), two, 2);
        }
    }
    return ExprPtr(vexa_expr_simplify_as_binary(e.get()));
}

// Variable codes of an expression's terms, negation bit cleared.
inline std::set<uint32_t> codes_of(const ExprImpl *e) {
    std::set<uint32_t> out;
    for (uint64_t i = 0; i < e->term_count(); ++i) {
        const TermImpl &t = e->term(i);
        for (uint32_t k = 0; k < t.vars.degree(); ++k) out.insert(t.vars.slot[k] & 0x7FFFFFFFu);
    }
    return out;
}

// Both penalties equal after simplifying, once the slack bits of `got` (the
// codes that are not in the body) are renamed to those of `want`, in order.
inline ::testing::AssertionResult same_penalty(const ExprImpl *got, const ExprImpl *want, const ExprImpl *body) {
    const std::set<uint32_t> body_codes = codes_of(body);
    std::vector<uint32_t> slack_got, slack_want;
    for (uint32_t c : codes_of(got)) {
        if (!body_codes.count(c)) slack_got.push_back(c);
    }
    for (uint32_t c : codes_of(want)) {
        if (!body_codes.count(c)) slack_want.push_back(c);
    }
    if (slack_got.size() != slack_want.size()) {
        return ::testing::AssertionFailure() << slack_got.size() << " slack bits, expected " << slack_want.size();
    }
    std::vector<ExprPtr> owned;
    std::vector<const ExprImpl *> values;
    for (uint32_t c : slack_want) {
        owned.emplace_back(vexa_expr_create_var(c));
        values.push_back(owned.back().get());
    }
    ExprPtr renamed(vexa_expr_replace(got, slack_got.data(), values.data(), slack_got.size()));
    ExprPtr a(vexa_expr_simplify(renamed.get()));
    ExprPtr b(vexa_expr_simplify(want));
    if (flat(a.get()) == flat(b.get()) && constant_of(a.get()) == constant_of(b.get())) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << vexa_expr_str(a.get()) << " vs " << vexa_expr_str(b.get());
}

}  // namespace vexa::test
