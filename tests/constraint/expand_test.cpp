// Expansion into plain polynomials, checked by exhaustive search: range
// penalties with slack bits, declared values expanded to a pure QUBO, and
// native integers replaced by their bit encodings.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/constraint_util.hpp"
#include "support/model_util.hpp"
#include "support/var_fixture.hpp"
#include "vexa/constraint.h"
#include "vexa/model.h"
#include "vexa/sol.h"
#include "vexa/var.h"

namespace {

using namespace vexa::test;
using vexa::coeff_t;

using Values = std::map<uint32_t, coeff_t>;

coeff_t value_at(const ExprImpl *e, const Values &values) {
    return evaluate(
        e,
        [&](uint32_t code) {
            auto it = values.find(code);
            if (it == values.end()) {
                ADD_FAILURE() << "no value for variable " << code;
                return coeff_t(0);
            }
            return it->second;
        },
        false);
}

// Variable codes of e's terms (without negation bits) not in `known`.
std::vector<uint32_t> new_vars(const ExprImpl *e, const std::vector<uint32_t> &known) {
    std::set<uint32_t> out;
    for (uint64_t i = 0; i < e->term_count(); ++i) {
        const TermImpl &t = e->term(i);
        for (uint32_t k = 0; k < t.vars.degree(); ++k) {
            const uint32_t v = t.vars.slot[k] & 0x7FFFFFFFu;
            if (std::find(known.begin(), known.end(), v) == known.end()) out.insert(v);
        }
    }
    return {out.begin(), out.end()};
}

// The least value of e over all settings of `free`, the rest fixed in `values`.
coeff_t min_over(const ExprImpl *e, Values values, const std::vector<uint32_t> &free) {
    coeff_t best = 0;
    for (uint64_t mask = 0; mask < (uint64_t(1) << free.size()); ++mask) {
        for (size_t i = 0; i < free.size(); ++i) values[free[i]] = (mask >> i) & 1;
        const coeff_t v = value_at(e, values);
        if (mask == 0 || v < best) best = v;
    }
    return best;
}

TEST(BetweenPenalty, ZeroExactlyOnTheRangeAtLeastOneOutside) {
    for (uint64_t seed = 1; seed <= 120; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        vexa_var_reset();
        std::vector<uint32_t> vars;
        for (int i = 0; i < 4; ++i) vars.push_back(vexa_new_var(nullptr));
        ExprPtr f = random_body(rng, vars, true);  // squared, so linear
        const coeff_t lo = static_cast<int>(rng() % 9) - 5;
        const coeff_t hi = lo + static_cast<int>(rng() % 9) - 1;  // from an empty range to a width of 7
        ExprPtr p(vexa_between(f.get(), In(lo).get(), In(hi).get()));
        EXPECT_EQ(vexa_expr_attr(p.get()), vexa::kPlainAttr);
        const std::vector<uint32_t> slack = new_vars(p.get(), vars);
        if (hi - lo < 0) {
            EXPECT_EQ(vexa_expr_term_count(p.get()), 0u);
            EXPECT_EQ(constant_of(p.get()), 0);
            continue;
        }
        if (hi - lo <= 1) {
            EXPECT_TRUE(slack.empty());
        }
        for (int mask = 0; mask < 16; ++mask) {
            Values values;
            for (int i = 0; i < 4; ++i) values[vars[i]] = (mask >> i) & 1;
            const coeff_t b = value_at(f.get(), values);
            const coeff_t least = min_over(p.get(), values, slack);
            if (lo <= b && b <= hi) {
                EXPECT_EQ(least, 0) << "body " << b << " in [" << lo << ", " << hi << "]";
            } else {
                EXPECT_GE(least, 1) << "body " << b << " outside [" << lo << ", " << hi << "]";
            }
        }
    }
}

TEST(BetweenPenalty, SlackBitsAreNamedAndCoefficientsHalveTheRange) {
    vexa_var_reset();
    const uint32_t x = vexa_new_var("x");
    ExprPtr f(vexa_expr_create_var(x));
    // A first use to read the counter; the names that follow count up from it.
    ExprPtr first(vexa_between(f.get(), In(0).get(), In(2).get()));
    const std::vector<uint32_t> s0 = new_vars(first.get(), {x});
    ASSERT_EQ(s0.size(), 1u);
    const std::string name = vexa_var_str(s0[0]);
    ASSERT_EQ(name.substr(0, 2), "{s");
    const int n = std::stoi(name.substr(2));

    // An empty range uses no name.
    ExprPtr empty(vexa_between(f.get(), In(3).get(), In(2).get()));
    ExprPtr square(vexa_between(f.get(), In(5).get(), In(5).get()));
    EXPECT_TRUE(new_vars(square.get(), {x}).empty());
    // d = 4: slack 0 + 2a + 1b, two bits of an array
    ExprPtr wide(vexa_between(f.get(), In(0).get(), In(4).get()));
    const std::vector<uint32_t> s1 = new_vars(wide.get(), {x});
    ASSERT_EQ(s1.size(), 2u);
    EXPECT_EQ(std::string(vexa_var_str(s1[0])), "{s" + std::to_string(n + 1) + "}[0]");
    EXPECT_EQ(std::string(vexa_var_str(s1[1])), "{s" + std::to_string(n + 1) + "}[1]");
    // With S = c0*a + c1*b, (x - S)(x - S - 1) holds S^2 + S, whose linear part
    // on a binary bit of coefficient c is c^2 + c: 6 for c = 2, 2 for c = 1.
    ExprPtr simplified(vexa_expr_simplify_as_binary(wide.get()));
    std::map<uint32_t, coeff_t> linear;
    for (uint64_t i = 0; i < simplified->term_count(); ++i) {
        const TermImpl &t = simplified->term(i);
        if (t.vars.degree() == 1) linear[t.vars.slot[0]] = t.coeff;
    }
    EXPECT_EQ(linear[s1[0]], 6);
    EXPECT_EQ(linear[s1[1]], 2);
}

// A declared model with heavy range and equality constraints, and its
// expansion, have the same minimisers over the original variables.
TEST(ExpandCons, SameMinimisersAsTheConstrainedModel) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        vexa_var_reset();
        std::vector<uint32_t> vars;
        for (int i = 0; i < 5; ++i) vars.push_back(vexa_new_var(nullptr));
        ExprPtr e(vexa_expr_create());
        for (int i = 0; i < 5; ++i) {
            vexa_expr_iadd_raw_term(e.get(), In(static_cast<int>(rng() % 7) - 3).get(), &vars[i], 1);
        }
        // Constraints made feasible by a hidden assignment.
        std::vector<int> hidden(5);
        for (int &b : hidden) b = rng() % 2;
        Values at_hidden;
        for (int i = 0; i < 5; ++i) at_hidden[vars[i]] = hidden[i];
        for (uint32_t c = 0, n = 1 + rng() % 3; c < n; ++c) {
            ExprPtr body = random_body(rng, vars, true);
            const coeff_t b = value_at(body.get(), at_hidden);
            const coeff_t lo = b - static_cast<int>(rng() % 3);
            const coeff_t hi = rng() % 3 == 0 ? lo : coeff_t(b + static_cast<int>(rng() % 4));
            ExprPtr cons(vexa_cons_between(body.get(), In(lo).get(), In(hi).get()));
            vexa_expr_imul_int(cons.get(), In(100).get());  // outweighs any objective gain
            vexa_expr_iadd_expr(e.get(), cons.get());
        }
        if (rng() % 2) {
            ExprPtr free_part(vexa_expr_create_var(vars[rng() % 5]));
            ExprPtr marked(vexa_cons_mark(free_part.get()));
            vexa_expr_iadd_expr(e.get(), marked.get());
        }
        ExprPtr declared(vexa_expr_simplify_as_binary(e.get()));
        ExprPtr expanded_raw(vexa_expr_expand_cons(declared.get()));
        EXPECT_FALSE(vexa_expr_is_declared(expanded_raw.get()));
        ExprPtr expanded(vexa_expr_simplify_as_binary(expanded_raw.get()));
        const std::vector<uint32_t> slack = new_vars(expanded.get(), vars);

        ModelPtr m(vexa_model_create(declared.get()));
        coeff_t best_native = 0, best_expanded = 0;
        std::vector<int> argmin_native, argmin_expanded;
        for (int mask = 0; mask < 32; ++mask) {
            SolPtr s(vexa_sol_create(m.get()));
            Values values;
            for (int i = 0; i < 5; ++i) {
                values[vars[i]] = (mask >> i) & 1;
                if (vexa_sol_has(s.get(), vars[i])) vexa_sol_set(s.get(), vars[i], (mask >> i) & 1);
            }
            const coeff_t native = sol_energy(s.get());
            const coeff_t flat = min_over(expanded.get(), values, slack);
            if (mask == 0 || native < best_native) {
                best_native = native;
                argmin_native.clear();
            }
            if (native == best_native) argmin_native.push_back(mask);
            if (mask == 0 || flat < best_expanded) {
                best_expanded = flat;
                argmin_expanded.clear();
            }
            if (flat == best_expanded) argmin_expanded.push_back(mask);
        }
        EXPECT_EQ(best_native, best_expanded);
        EXPECT_EQ(argmin_native, argmin_expanded);
    }
}

class ExpandEdges : public ThreeVars {};

TEST_F(ExpandEdges, WeightsRemainderAndRefusals) {
    ExprPtr fxy(vexa_expr_create_add_var_var(x, y));
    // Equality of weight -2: -2 * (x + y - 1)^2, whatever the sign.
    ExprPtr eq(vexa_cons_between(fxy.get(), In(1).get(), In(1).get()));
    vexa_expr_imul_int(eq.get(), In(-2).get());
    ExprPtr free_part(vexa_expr_create_var(z));
    ExprPtr marked(vexa_cons_mark(free_part.get()));
    vexa_expr_iadd_expr(eq.get(), marked.get());
    vexa_expr_iadd_int(eq.get(), In(10).get());  // objective
    ExprPtr out(vexa_expr_expand_cons(eq.get()));
    EXPECT_EQ(vexa_expr_attr(out.get()), vexa::kPlainAttr);
    for (int mask = 0; mask < 8; ++mask) {
        const int a = mask & 1, b = (mask >> 1) & 1, c = (mask >> 2) & 1;
        const Values v{{x, a}, {y, b}, {z, c}};
        EXPECT_EQ(value_at(out.get(), v), 10 - 2 * (a + b - 1) * (a + b - 1) + c) << mask;
    }

    ExprPtr range(vexa_cons_between(fxy.get(), In(1).get(), In(2).get()));
    vexa_expr_imul_int(range.get(), In(-2).get());
    EXPECT_DEATH(vexa_expr_expand_cons(range.get()),
                 "^vexa: expand_cons: a one-sided/range constraint carries a NEGATIVE weight; its slack-based "
                 "penalty form is only valid for positive weights\\. Keep the expression in cons\\(\\) form and use "
                 "a bundled solver\\.\n$");
    ExprPtr no_bounds(vexa_expr_create());
    no_bounds->attr = vexa::kSumTag |
                      vexa::add_sum({vexa::SumItem{vexa::add_exprexpr(std::make_unique<ExprImpl>(
                                                       ExprImpl::plain_copy(*fxy))),
                                                   1}},
                                    nullptr, true);
    EXPECT_DEATH(vexa_expr_expand_cons(no_bounds.get()), "^vexa: expand_cons: constraint carries no bounds\n$");

    // A classic constraint is its penalty already: only the word goes.
    ExprPtr penalty(vexa_expr_clone(fxy.get()));
    ExprPtr classic(vexa_exprexprelem_create(penalty.get(), fxy.get()));
    ExprPtr plain(vexa_expr_expand_cons(classic.get()));
    EXPECT_EQ(vexa_expr_attr(plain.get()), vexa::kPlainAttr);
    EXPECT_STREQ(vexa_expr_str(plain.get()), vexa_expr_str(fxy.get()));
    // ... which is what binarize needs first.
    EXPECT_DEATH(vexa_expr_binarize(classic.get()), "^vexa: binarize: constraint expressions are not supported");
    ExprPtr bin(vexa_expr_binarize(plain.get()));
    EXPECT_STREQ(vexa_expr_str(bin.get()), vexa_expr_str(fxy.get()));
}

TEST(Binarize, EncodedIntegersTakeExactlyTheirRange) {
    vexa_var_reset();
    const uint32_t n = vexa_new_int_var("n", In(1).get(), In(6).get());
    ExprPtr three_n(vexa_expr_create_var(n));
    vexa_expr_imul_int(three_n.get(), In(3).get());
    ExprPtr b(vexa_expr_binarize(three_n.get()));
    EXPECT_FALSE(vexa_expr_has_int_atom(b.get()));
    EXPECT_EQ(constant_of(b.get()), 3);
    ASSERT_EQ(vexa_expr_term_count(b.get()), 3u);
    const coeff_t want[3] = {3, 6, 6};
    for (uint64_t i = 0; i < 3; ++i) {
        const TermImpl &t = b->term(i);
        EXPECT_EQ(t.coeff, want[i]);
        EXPECT_EQ(std::string(vexa_var_str(t.vars.slot[0])), "n#" + std::to_string(i));
    }
    // The same integer gets the same bits every time.
    ExprPtr again(vexa_expr_binarize(three_n.get()));
    EXPECT_EQ(again->term(2).vars.slot[0], b->term(2).vars.slot[0]);

    // Every range width: the subset sums are exactly lo..hi, each bit pattern
    // one value of the range and every value reached.
    for (int lo = -3; lo <= 0; ++lo) {
        for (int width = 1; width <= 12; ++width) {
            const uint32_t v = vexa_new_int_var(nullptr, In(lo).get(), In(lo + width).get());
            ExprPtr e(vexa_expr_create_var(v));
            vexa_expr_iadd_int(e.get(), In(0).get());
            ExprPtr bits(vexa_expr_binarize(e.get()));
            const std::vector<uint32_t> fresh = new_vars(bits.get(), {});
            std::set<coeff_t> reached;
            for (uint64_t mask = 0; mask < (uint64_t(1) << fresh.size()); ++mask) {
                Values values;
                for (size_t i = 0; i < fresh.size(); ++i) values[fresh[i]] = (mask >> i) & 1;
                const coeff_t value = value_at(bits.get(), values);
                EXPECT_GE(value, lo);
                EXPECT_LE(value, lo + width);
                reached.insert(value);
            }
            EXPECT_EQ(reached.size(), static_cast<size_t>(width + 1)) << "lo " << lo << " width " << width;
        }
    }

    // Two atoms and a binary variable in one term multiply out.
    const uint32_t m = vexa_new_int_var("m", In(-1).get(), In(1).get());
    const uint32_t x = vexa_new_var("x");
    const uint32_t nm[2] = {n, m};
    ExprPtr prod(vexa_expr_create_raw_term(In(2).get(), nm, 2, In(0).get()));
    vexa_expr_iadd_raw_term(prod.get(), In(5).get(), &x, 1);
    const uint32_t xn[2] = {x | 0x80000000u, n};
    vexa_expr_iadd_raw_term(prod.get(), In(1).get(), xn, 2);
    ExprPtr flat(vexa_expr_binarize(prod.get()));
    const std::vector<uint32_t> bits = new_vars(flat.get(), {x});
    ASSERT_EQ(bits.size(), 5u);  // three for n, two for m
    std::set<std::pair<int, int>> seen;
    for (uint64_t mask = 0; mask < 64; ++mask) {
        Values values{{x, coeff_t(mask >> 5)}};
        for (size_t i = 0; i < 5; ++i) values[bits[i]] = (mask >> i) & 1;
        // Decode n and m from their own parts of the encoding.
        Values nv = values, mv = values;
        ExprPtr n_alone(vexa_expr_create_var(n));
        ExprPtr m_alone(vexa_expr_create_var(m));
        ExprPtr nb(vexa_expr_binarize(n_alone.get()));
        ExprPtr mb(vexa_expr_binarize(m_alone.get()));
        const coeff_t nval = value_at(nb.get(), nv);
        const coeff_t mval = value_at(mb.get(), mv);
        const coeff_t xval = mask >> 5;
        EXPECT_EQ(value_at(flat.get(), values), 2 * nval * mval + 5 * xval + (1 - xval) * nval);
        seen.emplace(static_cast<int>(nval), static_cast<int>(mval));
    }
    EXPECT_EQ(seen.size(), 18u);  // 6 values of n times 3 of m

    ExprPtr unknown(vexa_expr_create_var(0x40000000u | 4000u));
    EXPECT_DEATH(vexa_expr_binarize(unknown.get()), "^vexa: binarize: unknown integer variable\n$");
}

}  // namespace

namespace {

// ---- penalties over raw element lists ----

// Each element's penalty is the one vexa_between gives the same element, up
// to the names of the slack bits, for every kind of element list.
TEST_F(ExpandEdges, BetweenOverElementListsMatchesOneByOne) {
    std::mt19937_64 rng(4242);
    const std::vector<uint32_t> vars = {x, y, z};
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE("seed 4242 round " + std::to_string(round));
        const uint64_t n = rng() % 5;
        const coeff_t lo = static_cast<int>(rng() % 7) - 3;
        const coeff_t hi = lo + static_cast<int>(rng() % 7) - 1;
        std::vector<ExprPtr> bodies;
        std::vector<const ExprImpl *> expr_list;
        std::vector<uint32_t> code_list;
        std::vector<TermImpl> term_list;
        for (uint64_t i = 0; i < n; ++i) {
            bodies.push_back(random_body(rng, vars, true));
            expr_list.push_back(bodies.back().get());
            code_list.push_back(vars[rng() % 3] | (rng() % 3 == 0 ? VEXA_NEGATED_BIT : 0));
            TermPtr t(vexa_term_create_var(In(static_cast<int>(rng() % 5) - 2).get(), vars[rng() % 3]));
            term_list.push_back(*t);
        }
        for (uint32_t kind : {VEXA_BETWEEN_KIND_EXPR, VEXA_BETWEEN_KIND_VAR, VEXA_BETWEEN_KIND_TERM}) {
            SCOPED_TRACE("kind " + std::to_string(kind));
            const void *elements = kind == VEXA_BETWEEN_KIND_EXPR  ? static_cast<const void *>(expr_list.data())
                                   : kind == VEXA_BETWEEN_KIND_VAR ? static_cast<const void *>(code_list.data())
                                                                   : static_cast<const void *>(term_list.data());
            std::vector<ExprImpl *> out(n + 1, nullptr);
            vexa_array_between(elements, kind, In(lo).get(), In(hi).get(), out.data(), n);
            EXPECT_EQ(out[n], nullptr) << "nothing written past n";
            for (uint64_t i = 0; i < n; ++i) {
                ExprPtr got(out[i]);
                ExprPtr body(kind == VEXA_BETWEEN_KIND_EXPR  ? vexa_expr_clone(expr_list[i])
                             : kind == VEXA_BETWEEN_KIND_VAR ? vexa_expr_create_var(code_list[i])
                                                             : vexa_expr_create_term(&term_list[i], 0));
                ExprPtr want(vexa_between(body.get(), In(lo).get(), In(hi).get()));
                EXPECT_EQ(got->attr, vexa::kPlainAttr);
                EXPECT_TRUE(same_penalty(got.get(), want.get(), body.get())) << "element " << i;
            }
        }
    }
}

TEST_F(ExpandEdges, BetweenOverElementListsNumbersSlackInOrder) {
    const uint64_t n = 50;
    std::vector<uint32_t> codes(n, x);
    std::vector<ExprImpl *> out(n);
    const uint64_t first = vexa_var_count();
    vexa_array_between(codes.data(), VEXA_BETWEEN_KIND_VAR, In(0).get(), In(3).get(), out.data(), n);
    ASSERT_EQ(vexa_var_count(), first + n);  // a range of width 3 has one slack bit
    const std::string name0 = vexa_var_str(uint32_t(first));
    const uint64_t base = std::stoull(name0.substr(2));
    for (uint64_t i = 0; i < n; ++i) {
        ExprPtr p(out[i]);
        EXPECT_EQ(std::string(vexa_var_str(uint32_t(first + i))), "{s" + std::to_string(base + i) + "}");
        EXPECT_TRUE(codes_of(p.get()).count(uint32_t(first + i))) << "element " << i;
    }

    // An unknown kind gives zero expressions and makes no slack.
    std::vector<ExprImpl *> zeros(3, nullptr);
    vexa_array_between(codes.data(), 7, In(0).get(), In(5).get(), zeros.data(), 3);
    EXPECT_EQ(vexa_var_count(), first + n);
    for (ExprImpl *z0 : zeros) {
        ExprPtr p(z0);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->term_count(), 0u);
        EXPECT_EQ(constant_of(p.get()), 0);
        EXPECT_EQ(p->attr, vexa::kPlainAttr);
    }
}

}  // namespace
