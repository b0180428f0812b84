// Constraints through vexa.hpp: each form against the C calls it stands for,
// classic and declared readings, weights, refused bounds, encoded integers,
// reports against an independent count, and solves that reach the brute-force
// optimum with the constraints handed to the solver natively.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "frontend/hpp_util.hpp"

namespace {

using namespace vexa;
using vexa::Model;
using vexa::Sol;
using test::same_expr;

struct Bounds {
    Int lo, hi;
};

// Bounds of a classic constraint value (vexa_exprexpr_get_bounds).
Bounds classic_bounds(const Expr &e) {
    hpp_detail::OutRecord lo, hi;
    EXPECT_EQ(vexa_exprexpr_get_bounds(e.handle(), lo.get(), hi.get()), 1);
    return {lo.take(), hi.take()};
}

// Item i through vexa_cons_item_info: its body, weight and bounds.
struct Item {
    Expr body;
    Int weight, lo, hi;
    int bounded;
};
Item item(const Expr &e, uint64_t i) {
    ExprImpl *body = nullptr;
    hpp_detail::OutRecord w, lo, hi;
    const int bounded = vexa_cons_item_info(e.handle(), i, &body, w.get(), lo.get(), hi.get());
    return Item{Expr::adopt(body), w.take(), lo.take(), hi.take(), bounded};
}

std::vector<AllowedRange> allowed_of(const Expr &e, uint64_t i) {
    const uint64_t n = vexa_cons_item_allowed(e.handle(), i, nullptr, nullptr, 0);
    std::vector<vexa_bigint> lows(n, vexa_bigint{0, 0, nullptr}), highs(n, vexa_bigint{0, 0, nullptr});
    vexa_cons_item_allowed(e.handle(), i, lows.data(), highs.data(), n);
    std::vector<AllowedRange> out;
    for (uint64_t k = 0; k < n; ++k) out.emplace_back(Int::adopt(lows[k]), Int::adopt(highs[k]));
    return out;
}

// The variables of an expression, as its model lists them.
std::vector<Var> vars_of(const Expr &e) {
    const Model m = Model::from(e);
    std::vector<Var> out;
    for (uint64_t i = 0; i < m.var_count(); ++i) out.push_back(m.var(i));
    return out;
}

// For a penalty p over the variables `main` and any helper variables: the
// least value of p over the helpers, for every setting of `main`, with the
// value of `f` there. Brute force over all assignments.
std::vector<std::pair<int64_t, int64_t>> least_penalties(const Expr &p, const Expr &f, const std::vector<Var> &main) {
    std::vector<Var> helpers;
    for (const Var &v : vars_of(p)) {
        bool is_main = false;
        for (const Var &m : main) is_main = is_main || m.code() == v.code();
        if (!is_main) helpers.push_back(v);
    }
    EXPECT_LE(helpers.size(), 12u);
    std::vector<std::pair<int64_t, int64_t>> out;
    for (uint64_t a = 0; a < (uint64_t{1} << main.size()); ++a) {
        std::vector<std::pair<VarBase, Int>> values;
        for (std::size_t k = 0; k < main.size(); ++k) values.emplace_back(main[k], Int((a >> k) & 1));
        const int64_t fv = eval(f, values).to_int64();
        int64_t best = INT64_MAX;
        for (uint64_t h = 0; h < (uint64_t{1} << helpers.size()); ++h) {
            auto all = values;
            for (std::size_t k = 0; k < helpers.size(); ++k) all.emplace_back(helpers[k], Int((h >> k) & 1));
            best = std::min(best, eval(p, all).to_int64());
        }
        out.emplace_back(fv, best);
    }
    return out;
}

bool allowed_value(int64_t v, const std::vector<std::pair<int64_t, int64_t>> &ranges) {
    for (const auto &[lo, hi] : ranges) {
        if (lo <= v && v <= hi) return true;
    }
    return false;
}

// ---------------------------------------------------------------------------

TEST(ConstraintForms, ClassicPenaltiesAreTheCallsTheyStandFor) {
    const Vars x("x", 3);
    const Expr f = 2 * x[0] + x[1] - x[2];

    // f == 3: sqr(f - 3) tagged with the body and the bounds [3, 3].
    const Expr eq = (f == 3);
    Expr ref = Expr::adopt(vexa_exprexprelem_create(sqr(f - 3).handle(), f.handle()));
    EXPECT_TRUE(same_expr(simplify_as_binary(eq).handle(), simplify_as_binary(ref).handle()));
    EXPECT_EQ(classic_bounds(eq).lo, 3);
    EXPECT_EQ(classic_bounds(eq).hi, 3);
    EXPECT_TRUE(same_expr(vexa_exprexprelem_get_body(eq.handle()), f.handle()));
    EXPECT_FALSE(eq.is_declared());

    // A range of width 1 needs no slack: (f - 0)(f - 1), as vexa_between.
    const Expr b01 = between(0, f, 1);
    const Int zero_value = 0, one_value = 1;
    const vexa_bigint zero = zero_value.record(), one = one_value.record();
    const Expr ref01 = Expr::adopt(vexa_between(f.handle(), &zero, &one));
    EXPECT_TRUE(same_expr(simplify_as_binary(b01).handle(), simplify_as_binary(ref01).handle()));
    EXPECT_EQ(classic_bounds(b01).lo, 0);
    EXPECT_EQ(classic_bounds(b01).hi, 1);

    // One-sided bounds take the other end from the reachable range [-1, 3].
    EXPECT_EQ(classic_bounds(f <= 1).lo, -1);
    EXPECT_EQ(classic_bounds(f <= 1).hi, 1);
    EXPECT_EQ(classic_bounds(f >= 1).lo, 1);
    EXPECT_EQ(classic_bounds(f >= 1).hi, 3);
    // A bound beyond the reachable range leaves the single, unreachable value.
    EXPECT_EQ(classic_bounds(f <= -4).lo, -4);
    EXPECT_EQ(classic_bounds(f >= 7).hi, 7);

    // Variables and terms are bodies too.
    EXPECT_TRUE(same_expr(vexa_exprexprelem_get_body(Expr(x[1] == 1).handle()), Expr(x[1]).handle()));
    EXPECT_TRUE(same_expr(vexa_exprexprelem_get_body(Expr(3 * x[1] >= 2).handle()), Expr(3 * x[1]).handle()));

    // Allowed sets record their pairs; bounds span them.
    const Expr set = in(f, {-1, {1, 2}});
    EXPECT_EQ(allowed_of(set, 0), (std::vector<AllowedRange>{{-1, -1}, {1, 2}}));
    EXPECT_EQ(classic_bounds(set).lo, -1);
    EXPECT_EQ(classic_bounds(set).hi, 2);
}

TEST(ConstraintForms, PenaltiesVanishExactlyOnAllowedValues) {
    std::mt19937_64 rng(20261123);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " of seed 20261123");
        const Vars x("x", 3);
        Expr f = Int(static_cast<long long>(rng() % 5) - 2);
        for (const Var &v : x) f += Term(static_cast<long long>(rng() % 7) - 3, v);
        std::vector<std::pair<int64_t, int64_t>> ranges;
        Constraint c = f == 0;
        const int64_t a = static_cast<int64_t>(rng() % 9) - 4, w = static_cast<int64_t>(rng() % 4);
        switch (round % 4) {
            case 0:
                c = f == a;
                ranges = {{a, a}};
                break;
            case 1:
                c = between(a, f, a + w);
                ranges = {{a, a + w}};
                break;
            case 2:
                c = f <= a;
                ranges = {{INT64_MIN, a}};
                break;
            default:
                c = in(f, {a, {a + 2, a + 2 + w}, a + 4 + w});
                ranges = {{a, a}, {a + 2, a + 2 + w}, {a + 4 + w, a + 4 + w}};
                break;
        }
        const Expr p = c;
        for (const auto &[fv, least] : least_penalties(p, f, {x[0], x[1], x[2]})) {
            if (allowed_value(fv, ranges)) {
                EXPECT_EQ(least, 0) << "f = " << fv;
            } else {
                EXPECT_GE(least, 1) << "f = " << fv;
            }
        }
    }
}

TEST(ConstraintForms, DeclaredConstraintsAreTheirCallsWithoutSlack) {
    const Vars x("x", 4);
    const Expr f = x[0] + x[1] + x[2] + x[3];
    const uint64_t vars_before = vexa_var_count();

    const Expr d = cons(between(1, f, 3));
    EXPECT_TRUE(d.is_declared());
    EXPECT_EQ(d.term_count(), 0u);
    EXPECT_EQ(vexa_cons_item_count(d.handle()), 1u);
    const Item i0 = item(d, 0);
    EXPECT_EQ(i0.bounded, 1);
    EXPECT_TRUE(same_expr(i0.body.handle(), f.handle()));
    EXPECT_EQ(i0.lo, 1);
    EXPECT_EQ(i0.hi, 3);
    EXPECT_EQ(i0.weight, 1);

    const Expr s = cons(in(f, {0, {2, 3}}));
    EXPECT_EQ(allowed_of(s, 0), (std::vector<AllowedRange>{{0, 0}, {2, 3}}));
    EXPECT_EQ(item(s, 0).lo, 0);
    EXPECT_EQ(item(s, 0).hi, 3);
    EXPECT_EQ(vexa_var_count(), vars_before) << "a declared constraint makes no slack";

    // cons(e) marks a free-form penalty.
    const Expr m = cons(x[0] * x[1]);
    EXPECT_TRUE(m.is_declared());
    EXPECT_EQ(item(m, 0).bounded, 0);

    // The same constraints as one declared sum, and in a model as native rows.
    const Expr all = d + s + m;
    EXPECT_EQ(vexa_cons_item_count(all.handle()), 3u);
    EXPECT_EQ(Model::from(x[0] + all).native_constraint_count(), 2u);
}

TEST(ConstraintForms, WeightsScalePenaltiesAndDeclaredItems) {
    const Vars x("x", 2);
    const Expr f = x[0] + x[1];
    const Expr plain = f == 1;
    const Expr weighted = 3 * (f == 1);
    EXPECT_TRUE(same_expr(simplify_as_binary(weighted).handle(), simplify_as_binary(3 * plain).handle()));
    EXPECT_EQ(item(weighted, 0).weight, 3);
    EXPECT_EQ(item((f == 1) * 5, 0).weight, 5);

    EXPECT_EQ(item(3 * cons(f == 1), 0).weight, 3);
    EXPECT_EQ(item(cons(3 * (f == 1)), 0).weight, 3);
    EXPECT_EQ(item(cons(-2 * (2 * between(0, f, 1))), 0).weight, -4);
    // Classic constraints add up to a classic sum of their items.
    const Expr both = 2 * (f == 1) + (x[0] <= 0);
    EXPECT_EQ(vexa_cons_item_count(both.handle()), 2u);
    EXPECT_EQ(item(both, 0).weight, 2);
    EXPECT_EQ(item(both, 1).weight, 1);
    EXPECT_FALSE(both.is_declared());
}

TEST(ConstraintForms, ShapesCarryTheirExponentAndBounds) {
    const Vars x("x", 2);
    const Expr a = vexa::abs(x[0] - x[1], 2);
    uint32_t k = 0, hinge = 0;
    EXPECT_EQ(vexa_cons_item_shape(a.handle(), 0, &k, &hinge), 1);
    EXPECT_EQ(k, 2u);
    EXPECT_EQ(hinge, 1u);
    EXPECT_EQ(item(a, 0).lo, 0);
    EXPECT_EQ(item(a, 0).hi, 0);
    const Expr r = 4 * relu(x[0] - 3);
    EXPECT_EQ(vexa_cons_item_shape(r.handle(), 0, &k, &hinge), 1);
    EXPECT_EQ(k, 1u);
    EXPECT_EQ(item(r, 0).lo, -3);
    EXPECT_EQ(item(r, 0).weight, 4);
    EXPECT_EQ(vexa_expr_all_objective_only((a + r).handle()), 1);
}

// Every refused argument throws before the library sees it: the body here is
// a declared value, on which each of the C calls concerned would end the
// process.
TEST(ConstraintForms, InvertedBoundsAndBadExponentsThrowBeforeTheLibrary) {
    const Var x("x");
    const Expr declared = cons(x == 1);
    EXPECT_THROW(cons(between(3, declared, 1)), std::invalid_argument);
    EXPECT_THROW(Expr(between(3, declared, 1)), std::invalid_argument);
    EXPECT_THROW(cons(in(declared, {{5, 2}})), std::invalid_argument);
    EXPECT_THROW(Expr(in(declared, {0, {4, 3}, 9})), std::invalid_argument);
    EXPECT_THROW(cons(in(declared, std::vector<AllowedRange>{})), std::invalid_argument);
    EXPECT_THROW(vexa::abs(declared, 3), std::invalid_argument);
    EXPECT_THROW(relu(declared, 0), std::invalid_argument);
    const uint64_t vars_before = vexa_var_count();
    EXPECT_THROW(IntVar("n", 5, 2), std::invalid_argument);
    EXPECT_EQ(vexa_var_count(), vars_before);
    try {
        (void)between(4, x, -4);
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument &e) {
        EXPECT_NE(std::string(e.what()).find("lower 4 is above upper -4"), std::string::npos) << e.what();
    }
}

// Comparisons with an integer make constraints; between variables they stay
// the comparison of codes.
TEST(ConstraintForms, ComparisonsOfVariablesStayBoolean) {
    const Var x("x"), y("y");
    const NativeIntVar k("k", 0, 3);
    static_assert(std::is_same_v<decltype(x == y), bool>);
    static_assert(std::is_same_v<decltype(k == k), bool>);
    static_assert(std::is_same_v<decltype(x == 1), Constraint>);
    static_assert(std::is_same_v<decltype(k <= 2), Constraint>);
    static_assert(std::is_same_v<decltype(3 * (x + y >= 1)), Constraint>);
    EXPECT_TRUE(x == x);
    EXPECT_FALSE(x == y);
    EXPECT_EQ(classic_bounds(k <= 2).lo, 0);
}

// The checks the front end leaves to the library still end the process with
// the library's message.
TEST(ConstraintFormsDeathTest, DeclaredBodiesAreRefusedByTheLibrary) {
    const Var x("x");
    const Expr declared = cons(x == 1);
    EXPECT_DEATH(cons(between(0, declared, 1)),
                 "^vexa: vexa::cons: 'cons\\(body, \\.\\.\\.\\) on declared constraints' is not allowed on an "
                 "expression with declared constraints\n");
    EXPECT_DEATH(cons(in(declared, {0, 2})),
                 "^vexa: vexa::cons: 'cons\\(body, equal=\\.\\.\\.\\) on declared constraints' is not allowed");
    // The penalty of an equality squares its body first.
    EXPECT_DEATH(Expr(declared == 1),
                 "^vexa: vexa::cons: 'sqr' is not allowed on an expression with declared constraints\n");
}

// ---------------------------------------------------------------------------

TEST(EncodedInt, TakesExactlyEveryValueOfItsRange) {
    std::mt19937_64 rng(77);
    for (int round = 0; round < 10; ++round) {
        const int64_t lo = static_cast<int64_t>(rng() % 41) - 20;
        const int64_t hi = lo + static_cast<int64_t>(rng() % 40) + (round == 0 ? 0 : 1);
        SCOPED_TRACE("[" + std::to_string(lo) + ", " + std::to_string(hi) + "], seed 77");
        const IntVar n("n", lo, hi);
        EXPECT_EQ(n.lower(), lo);
        EXPECT_EQ(n.upper(), hi);
        const std::vector<Var> bits = n.bits();
        const std::vector<Int> coeffs = n.coeffs();
        ASSERT_EQ(bits.size(), coeffs.size());
        const Int lo_value = lo, hi_value = hi;
        const vexa_bigint l = lo_value.record(), h = hi_value.record();
        EXPECT_EQ(bits.size(), vexa_comp_coeffs_count(&l, &h));
        ASSERT_LE(bits.size(), 7u);

        // Every bit pattern, through the polynomial and through a solution.
        const Model m = Model::from(n + 0);
        Sol s(m);
        std::set<int64_t> seen;
        for (uint64_t a = 0; a < (uint64_t{1} << bits.size()); ++a) {
            std::vector<std::pair<VarBase, Int>> values;
            for (std::size_t k = 0; k < bits.size(); ++k) {
                values.emplace_back(bits[k], Int((a >> k) & 1));
                s.set(bits[k], static_cast<int>((a >> k) & 1));
            }
            const Int v = bits.empty() ? n.constant() : eval(n, values);
            EXPECT_EQ(s(n), v);
            EXPECT_EQ(s.comp_energy(), v);
            seen.insert(v.to_int64());
        }
        std::set<int64_t> range;
        for (int64_t v = lo; v <= hi; ++v) range.insert(v);
        EXPECT_EQ(seen, range);

        // Arithmetic reads n and leaves it an encoded integer.
        const Expr e = 2 * n - n + (n == lo) + -n / 1;
        EXPECT_EQ(n.lower(), lo);
        EXPECT_EQ(n.upper(), hi);
        (void)e;
    }
}

TEST(EncodedInt, ReadOutNeedsOneOfItsBits) {
    const IntVar n("n", 3, 9), other("other", 0, 4);
    const Model m = Model::from(n - 3);
    const Sol s(m);
    EXPECT_EQ(s(n), 3);
    EXPECT_TRUE(s.has(n));
    EXPECT_FALSE(s.has(other));
    EXPECT_THROW(s.get(other), std::out_of_range);
}

// ---------------------------------------------------------------------------

// Random linear constraints over binary variables, kept both as Constraint
// values and as plain data for an independent evaluation.
struct RandomConstraint {
    std::vector<int64_t> coeffs;  // per variable
    int64_t constant;
    std::vector<std::pair<int64_t, int64_t>> ranges;
    int64_t weight;
};

struct RandomSystem {
    Vars x;
    std::vector<RandomConstraint> data;
    std::vector<Constraint> forms;

    RandomSystem(std::mt19937_64 &rng, std::size_t nvars, std::size_t ncons) : x("x", nvars) {
        for (std::size_t c = 0; c < ncons; ++c) {
            RandomConstraint rc;
            rc.constant = static_cast<int64_t>(rng() % 5) - 2;
            Expr body = Int(rc.constant);
            int64_t lo = rc.constant, hi = rc.constant;
            for (std::size_t i = 0; i < nvars; ++i) {
                const int64_t k = rng() % 3 == 0 ? static_cast<int64_t>(rng() % 7) - 3 : 0;
                rc.coeffs.push_back(k);
                if (k != 0) body += Term(k, x[i]);
                (k < 0 ? lo : hi) += k;
            }
            const int64_t a = lo + static_cast<int64_t>(rng() % static_cast<uint64_t>(hi - lo + 1));
            const int64_t w = static_cast<int64_t>(rng() % 3);
            rc.weight = 1 + static_cast<int64_t>(rng() % 3);
            Constraint form = body == a;
            switch (rng() % 5) {
                case 0:
                    form = body == a;
                    rc.ranges = {{a, a}};
                    break;
                case 1:
                    form = body <= a;
                    rc.ranges = {{std::min(lo, a), a}};
                    break;
                case 2:
                    form = body >= a;
                    rc.ranges = {{a, std::max(hi, a)}};
                    break;
                case 3:
                    form = between(a, body, a + w);
                    rc.ranges = {{a, a + w}};
                    break;
                default:
                    form = in(body, {a, {a + 2, a + 2 + w}});
                    rc.ranges = {{a, a}, {a + 2, a + 2 + w}};
                    break;
            }
            forms.push_back(rc.weight * form);
            data.push_back(std::move(rc));
        }
    }

    static int64_t body_value(const RandomConstraint &rc, uint64_t bits) {
        int64_t v = rc.constant;
        for (std::size_t i = 0; i < rc.coeffs.size(); ++i) v += rc.coeffs[i] * static_cast<int64_t>((bits >> i) & 1);
        return v;
    }
    static int64_t distance(const RandomConstraint &rc, int64_t v) {
        int64_t best = INT64_MAX;
        for (const auto &[lo, hi] : rc.ranges) best = std::min(best, v < lo ? lo - v : v > hi ? v - hi : 0);
        return best;
    }
};

TEST(ConstraintReport, RowsAgreeWithAnIndependentCount) {
    const uint64_t seed = 4242;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 6; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(seed));
        const std::size_t nvars = 6;
        RandomSystem sys(rng, nvars, 5);
        std::vector<int64_t> gains;
        Expr objective;
        for (std::size_t i = 0; i < nvars; ++i) {
            gains.push_back(static_cast<int64_t>(rng() % 5) - 2);
            objective += Term(gains.back(), sys.x[i]);
        }
        Expr declared;
        for (const Constraint &c : sys.forms) declared += cons(c);
        declared += cons(sys.x[0] * sys.x[1]) + vexa::abs(sys.x[2] - sys.x[3]);
        const Model m = Model::from(objective + declared);
        EXPECT_EQ(m.native_constraint_count(), sys.forms.size() + 1);
        Sol s(m);

        for (int trial = 0; trial < 16; ++trial) {
            const uint64_t bits = rng() % (uint64_t{1} << nvars);
            for (std::size_t i = 0; i < nvars; ++i) {
                if (s.has(sys.x[i])) s.set(sys.x[i], static_cast<int>((bits >> i) & 1));
            }
            const std::vector<ConstraintRow> rows = report(declared, s);
            ASSERT_EQ(rows.size(), sys.forms.size() + 2);
            uint64_t violated = 0;
            int64_t energy = 0;
            for (std::size_t i = 0; i < nvars; ++i) energy += gains[i] * static_cast<int64_t>((bits >> i) & 1);
            for (std::size_t c = 0; c < sys.data.size(); ++c) {
                const RandomConstraint &rc = sys.data[c];
                const int64_t v = RandomSystem::body_value(rc, bits);
                const int64_t d = RandomSystem::distance(rc, v);
                EXPECT_EQ(rows[c].value, v) << rows[c];
                EXPECT_EQ(rows[c].distance, d) << rows[c];
                EXPECT_EQ(rows[c].weight, rc.weight) << rows[c];
                EXPECT_EQ(rows[c].violated, d != 0) << rows[c];
                EXPECT_EQ(rows[c].kind, rc.ranges.size() > 1 ? ConstraintRow::Kind::allowed : ConstraintRow::Kind::range);
                violated += d != 0;
                energy += rc.weight * d * d;
            }
            const int64_t product = static_cast<int64_t>((bits & 3) == 3);
            const int64_t gap = std::abs(static_cast<int64_t>((bits >> 2) & 1) - static_cast<int64_t>((bits >> 3) & 1));
            EXPECT_EQ(rows[sys.forms.size()].kind, ConstraintRow::Kind::shape);
            EXPECT_FALSE(rows[sys.forms.size()].violated);
            EXPECT_EQ(rows[sys.forms.size()].distance, gap);
            EXPECT_EQ(rows.back().kind, ConstraintRow::Kind::free_form);
            EXPECT_EQ(rows.back().value, product);
            EXPECT_EQ(rows.back().violated, product != 0);
            violated += product != 0;
            energy += product + gap;

            uint64_t counted = 0;
            for (const ConstraintRow &r : rows) counted += r.violated;
            EXPECT_EQ(counted, violated);
            EXPECT_EQ(violations(declared, s), violated);
            EXPECT_EQ(s.comp_energy(), energy);

            // The classic reading of the same constraints reports the same rows.
            Expr classic;
            for (const Constraint &c : sys.forms) classic += c;
            const std::vector<ConstraintRow> crows = report(classic, s);
            ASSERT_EQ(crows.size(), sys.forms.size());
            for (std::size_t c = 0; c < crows.size(); ++c) {
                EXPECT_EQ(crows[c].value, rows[c].value);
                EXPECT_EQ(crows[c].distance, rows[c].distance);
                EXPECT_EQ(crows[c].violated, rows[c].violated);
            }
            EXPECT_EQ(violations(classic, s), violated - (product != 0));
        }
    }
}

TEST(ConstraintReport, PrintsOneLinePerConstraint) {
    const Vars x("x", 3);
    const IntVar n("n", 0, 7);
    const Expr declared = cons(x[0] + x[1] + x[2] == 1) + cons(in(n, {2, {5, 6}})) + 2 * cons(n - x[0] <= 3) +
                          relu(n - 4, 2);
    const Model m = Model::from(declared);
    Sol s(m);
    for (const Var &b : n.bits()) s.set(b, 1);  // n = 7
    s.set(x[0], 1);
    std::ostringstream out;
    out << report(declared, s);
    const std::string text = out.str();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4) << text;
    EXPECT_NE(text.find("ok        x[0] +x[1] +x[2]  == 1  value 1  distance 0  weight 1\n"), std::string::npos) << text;
    EXPECT_NE(text.find("VIOLATED  n[0] +2*n[1] +4*n[2]  in {2, 5..6}  value 7  distance 1  weight 1\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("in [-1, 3]  value 6  distance 3  weight 2\n"), std::string::npos) << text;
    EXPECT_NE(text.find("soft      "), std::string::npos) << text;
    EXPECT_EQ(violations(declared, s), 2u);
    EXPECT_THROW(violations(x[0] + x[1], s), std::invalid_argument);
    // A plain expression is one free-form row.
    const auto plain = report(x[0] + x[1], s);
    ASSERT_EQ(plain.size(), 1u);
    EXPECT_EQ(plain[0].value, 1);
    EXPECT_TRUE(plain[0].violated);
}

// ---------------------------------------------------------------------------

// A small model with every kind of declared constraint: choose items x[0..7]
// of value v and size s, one of the first three, a capacity, an even count
// among x[3..6], an encoded integer n tied to the choice, a soft wish that x[0]
// equals x[7] and a soft cost on choosing both x[5] and x[6].
struct MixedModel {
    Vars x{"x", 8};
    IntVar n{"n", 0, 6};
    std::vector<int64_t> value{5, 4, 3, 7, 2, 6, 1, 4};
    std::vector<int64_t> size{3, 2, 2, 4, 1, 3, 2, 3};
    int64_t capacity = 11;
    Expr objective;
    Expr declared;

    MixedModel() {
        Expr load;
        for (std::size_t i = 0; i < 8; ++i) {
            objective -= Term(value[i], x[i]);
            load += Term(size[i], x[i]);
        }
        declared = 50 * cons(x[0] + x[1] + x[2] == 1) + 50 * cons(load <= capacity) +
                   50 * cons(in(x[3] + x[4] + x[5] + x[6], {0, 2})) + 50 * cons(between(1, n - x[3] - x[7], 2)) +
                   3 * vexa::abs(x[0] - x[7]) + 2 * relu(x[5] + x[6] - 1, 2);
    }
    Expr whole() const { return objective + declared; }

    // The least energy over all assignments, computed from the definitions:
    // objective, soft costs and 50 times the squared distance of each
    // constraint. The least one must be feasible.
    int64_t brute_force_optimum() const {
        const std::vector<Int> cs = n.coeffs();
        int64_t best = INT64_MAX;
        bool best_feasible = false;
        for (uint64_t a = 0; a < (uint64_t{1} << (8 + cs.size())); ++a) {
            auto bit = [&](std::size_t i) { return static_cast<int64_t>((a >> i) & 1); };
            int64_t nv = 0, obj = 0, load = 0;
            for (std::size_t k = 0; k < cs.size(); ++k) nv += cs[k].to_int64() * bit(8 + k);
            for (std::size_t i = 0; i < 8; ++i) {
                obj -= value[i] * bit(i);
                load += size[i] * bit(i);
            }
            const int64_t even = bit(3) + bit(4) + bit(5) + bit(6);
            const int64_t tie = nv - bit(3) - bit(7);
            const int64_t d[4] = {std::abs(bit(0) + bit(1) + bit(2) - 1), std::max<int64_t>(0, load - capacity),
                                  even == 4 ? 2 : even % 2, tie < 1 ? 1 - tie : std::max<int64_t>(0, tie - 2)};
            const int64_t hinge = std::max<int64_t>(0, bit(5) + bit(6) - 1);
            int64_t energy = obj + 3 * std::abs(bit(0) - bit(7)) + 2 * hinge * hinge;
            for (int64_t di : d) energy += 50 * di * di;
            if (energy < best) {
                best = energy;
                best_feasible = d[0] + d[1] + d[2] + d[3] == 0;
            }
        }
        EXPECT_TRUE(best_feasible);
        return best;
    }
};

void expect_true_energies(const Result &r, const Expr &declared) {
    Sol copy = r;
    const Var first = copy.vars().begin().operator*().var;
    copy.set(first, copy(first));  // marks the energy stale
    EXPECT_EQ(copy.comp_energy(), r.energy());
    EXPECT_EQ(violations(declared, r), 0u) << report(declared, r);
    for (const Sol &t : r.topk()) {
        Sol c = t;
        c.set(first, c(first));
        EXPECT_EQ(c.comp_energy(), t.energy());
    }
}

TEST(ConstrainedSolve, ExhaustiveAndHeuristicReachTheBruteForceOptimum) {
    const MixedModel mm;
    const int64_t optimum = mm.brute_force_optimum();
    const Model m = Model::from(mm.whole());
    EXPECT_EQ(m.native_constraint_count(), 6u) << "the constraints reach the model natively";
    EXPECT_EQ(m.var_count(), 8u + mm.n.bit_count()) << "no slack bits";

    const Result exact = ExhaustiveSolver(m).search({.topk = 3});
    EXPECT_EQ(exact.energy(), optimum);
    expect_true_energies(exact, mm.declared);

    const Result heuristic = NimbaSolver(m).search({.time_limit = 5.0, .seed = 11, .threads = 2,
                                                    .target_energy = Int(optimum), .topk = 3});
    EXPECT_EQ(heuristic.energy(), optimum);
    expect_true_energies(heuristic, mm.declared);
    const Int n_value = heuristic(mm.n);
    EXPECT_GE(n_value, 0);
    EXPECT_LE(n_value, 6);
}

}  // namespace
