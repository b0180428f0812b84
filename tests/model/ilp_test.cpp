// The linear view of a model: columns, objective, rows and the reasons a
// model is not an ILP, through the exported interface.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/model_util.hpp"
#include "support/var_fixture.hpp"
#include "vexa/constraint.h"
#include "vexa/ilp.h"
#include "vexa/var.h"

using namespace vexa;
using namespace vexa::test;

namespace {

struct IlpDeleter {
    void operator()(IlpImpl *p) const { vexa_ilp_destroy(p); }
};
using IlpPtr = std::unique_ptr<IlpImpl, IlpDeleter>;

ExprPtr var_expr(uint32_t v, int c = 1) {
    ExprPtr e(vexa_expr_create());
    vexa_expr_iadd_raw_term(e.get(), In(c).get(), &v, 1);
    return e;
}

ExprPtr pair_expr(uint32_t a, uint32_t b, int c) {
    ExprPtr e(vexa_expr_create());
    const uint32_t two[2] = {a, b};
    vexa_expr_iadd_raw_term(e.get(), In(c).get(), two, 2);
    return e;
}

// objective + each part (declared values), simplified, as a model.
ModelPtr model_of(const ExprImpl *objective, std::initializer_list<const ExprImpl *> parts) {
    ExprPtr all(vexa_expr_clone(objective));
    for (const ExprImpl *p : parts) vexa_expr_iadd_expr(all.get(), p);
    ExprPtr s(vexa_expr_simplify_as_binary(all.get()));
    return ModelPtr(vexa_model_create(s.get()));
}

ExprPtr between(const ExprImpl *body, int lo, int hi) { return ExprPtr(vexa_cons_between(body, In(lo).get(), In(hi).get())); }

coeff_t obj_of(const IlpImpl *p, uint32_t c) {
    Out o;
    vexa_ilp_obj(p, c, &o);
    return o.value();
}

struct RowView {
    std::vector<uint32_t> cols;
    std::vector<coeff_t> coeffs;
    coeff_t lo, hi;
    uint32_t lower_free = 0, upper_free = 0;
};

RowView row_of(const IlpImpl *p, uint64_t r) {
    RowView v;
    for (uint64_t k = 0; k < vexa_ilp_row_nnz(p, r); ++k) {
        v.cols.push_back(vexa_ilp_row_col(p, r, k));
        Out c;
        vexa_ilp_row_coeff(p, r, k, &c);
        v.coeffs.push_back(c.value());
    }
    Out lo, hi;
    vexa_ilp_row_bounds(p, r, &lo, &hi, &v.lower_free, &v.upper_free);
    v.lo = lo.value();
    v.hi = hi.value();
    return v;
}

class Ilp : public ThreeVars {};

TEST_F(Ilp, LinearObjectiveWithoutConstraintsGivesBinaryColumnsOnly) {
    ExprPtr obj(vexa_expr_create_int(In(4).get()));
    vexa_expr_iadd_expr(obj.get(), var_expr(x, 3).get());
    vexa_expr_iadd_expr(obj.get(), var_expr(z, -2).get());
    ModelPtr m = model_of(obj.get(), {});
    IlpPtr p(vexa_model_ilp_build(m.get()));
    ASSERT_TRUE(p) << vexa_ilp_last_error();
    EXPECT_STREQ(vexa_ilp_last_error(), "");
    ASSERT_EQ(vexa_ilp_ncols(p.get()), 2u);
    EXPECT_EQ(vexa_ilp_nrows(p.get()), 0u);
    for (uint32_t c = 0; c < 2; ++c) {
        EXPECT_EQ(vexa_ilp_col_kind(p.get(), c), 0);
        EXPECT_EQ(vexa_ilp_col_model_var(p.get(), c), c);
        EXPECT_EQ(vexa_ilp_col_nbits(p.get(), c), 0u);
        Out lo, hi;
        vexa_ilp_col_bounds(p.get(), c, &lo, &hi);
        EXPECT_EQ(lo.value(), 0);
        EXPECT_EQ(hi.value(), 1);
    }
    EXPECT_EQ(obj_of(p.get(), 0), 3);
    EXPECT_EQ(obj_of(p.get(), 1), -2);
    Out k;
    vexa_ilp_obj_constant(p.get(), &k);
    EXPECT_EQ(k.value(), 4);
}

TEST_F(Ilp, RemainderTermsBecomeHardRowsAndLeaveTheObjective) {
    // 5xy as a free-form penalty: the row x + y <= 1 forces the product to 0.
    ExprPtr obj = var_expr(x, -1);
    vexa_expr_iadd_expr(obj.get(), var_expr(y, -1).get());
    ExprPtr pen = pair_expr(x, y, 5);
    vexa_expr_iadd_expr(pen.get(), var_expr(z, 2).get());
    ExprPtr rem(vexa_cons_mark(pen.get()));
    ModelPtr m = model_of(obj.get(), {rem.get()});
    IlpPtr p(vexa_model_ilp_build(m.get()));
    ASSERT_TRUE(p) << vexa_ilp_last_error();
    ASSERT_EQ(vexa_ilp_nrows(p.get()), 2u);
    std::vector<RowView> rows = {row_of(p.get(), 0), row_of(p.get(), 1)};
    // The remainder keeps its own term order: z first after simplification.
    for (const RowView &r : rows) {
        EXPECT_EQ(r.lo, 0);
        EXPECT_EQ(r.lower_free, 1u);
        EXPECT_EQ(r.upper_free, 0u);
    }
    const RowView &single = rows[0].cols.size() == 1 ? rows[0] : rows[1];
    const RowView &both = rows[0].cols.size() == 2 ? rows[0] : rows[1];
    EXPECT_EQ(single.cols, (std::vector<uint32_t>{2}));
    EXPECT_EQ(single.hi, 0) << "a single literal x gives x <= 0";
    EXPECT_EQ(both.cols, (std::vector<uint32_t>{0, 1}));
    EXPECT_EQ(both.coeffs, (std::vector<coeff_t>{1, 1}));
    EXPECT_EQ(both.hi, 1);
    // The objective keeps the linear terms, the penalty's 2z included.
    EXPECT_EQ(obj_of(p.get(), 0), -1);
    EXPECT_EQ(obj_of(p.get(), 1), -1);
    EXPECT_EQ(obj_of(p.get(), 2), 2);
}

TEST_F(Ilp, EachReasonANonIlpModelGivesWordForWord) {
    const std::string degree2 =
        "not an ILP: the objective has a degree-2 term (only free-form penalty terms enforced to 0 by their hard rows "
        "are allowed). Keep the objective linear, or solve without the ILP option.";
    const std::string shape =
        "vexa::abs/relu terms are not supported in ILP mode yet; use the QUBO mode (drop the ilp option) or a bundled "
        "heuristic solver.";
    const std::string negative =
        "a cons() constraint carries a NEGATIVE weight; ILP mode enforces constraints as hard rows and ignores "
        "weights, so a negative weight (rewarding violation) cannot be expressed. Use a bundled solver "
        "(NimbaSolver/ExhaustiveSolver/TessixSolver).";
    const std::string constant =
        "not an ILP: the free-form penalty carries a constant term, so 'penalty == 0' cannot be enforced; remove the "
        "constant.";
    const std::string positive =
        "not an ILP: free-form penalty terms must have positive coefficients to be enforced as hard constraints.";

    auto reason = [](const ExprImpl *obj, std::initializer_list<const ExprImpl *> parts) {
        ModelPtr m = model_of(obj, parts);
        IlpPtr p(vexa_model_ilp_build(m.get()));
        EXPECT_FALSE(p);
        return std::string(vexa_ilp_last_error());
    };
    ExprPtr quad = pair_expr(x, y, 3);
    EXPECT_EQ(reason(quad.get(), {}), degree2);

    ExprPtr lin = var_expr(x);
    ExprPtr body = var_expr(y);
    vexa_expr_iadd_expr(body.get(), var_expr(z, -1).get());
    ExprPtr shaped(vexa_abs_term(body.get(), 1));
    EXPECT_EQ(reason(lin.get(), {shaped.get()}), shape);

    ExprPtr neg = between(body.get(), 0, 1);
    vexa_expr_imul_int(neg.get(), In(-2).get());
    EXPECT_EQ(reason(lin.get(), {neg.get()}), negative);

    ExprPtr with_const = pair_expr(x, y, 2);
    vexa_expr_iadd_int(with_const.get(), In(1).get());
    ExprPtr rem_const(vexa_cons_mark(with_const.get()));
    EXPECT_EQ(reason(lin.get(), {rem_const.get()}), constant);

    // A negative remainder term fails only after the constraint rows.
    ExprPtr negative_term = pair_expr(x, z, -4);
    ExprPtr rem_neg(vexa_cons_mark(negative_term.get()));
    ExprPtr row = between(body.get(), 0, 1);
    EXPECT_EQ(reason(lin.get(), {row.get(), rem_neg.get()}), positive);

    // A later successful build empties the reason.
    ModelPtr ok = model_of(lin.get(), {});
    IlpPtr p(vexa_model_ilp_build(ok.get()));
    EXPECT_TRUE(p);
    EXPECT_STREQ(vexa_ilp_last_error(), "");
}

TEST_F(Ilp, FaultsInTheWrittenConstraintsAreFatal) {
    ExprPtr lin = var_expr(x);
    ExprPtr quad_body = pair_expr(x, y, 1);
    ExprPtr quad = between(quad_body.get(), 0, 0);
    ModelPtr mq = model_of(lin.get(), {quad.get()});
    EXPECT_DEATH(vexa_model_ilp_build(mq.get()),
                 "^vexa: MIP/ILP solvers do not support nonlinear \\(degree>=2\\) constraint bodies inside cons\\(\\)\\. "
                 "Call expand_cons\\(\\) on the expression to get the classic penalty form, or use a bundled heuristic "
                 "solver \\(NimbaSolver/ExhaustiveSolver/TessixSolver\\)\\.\n$");
    ExprPtr body = var_expr(y);
    const In lows[2] = {0, 3}, highs[2] = {1, 3};
    const vexa_bigint lo_recs[2] = {*lows[0].get(), *lows[1].get()};
    const vexa_bigint hi_recs[2] = {*highs[0].get(), *highs[1].get()};
    ExprPtr allowed(vexa_cons_equal(body.get(), lo_recs, hi_recs, 2));
    ModelPtr ma = model_of(lin.get(), {allowed.get()});
    EXPECT_DEATH(vexa_model_ilp_build(ma.get()),
                 "^vexa: MIP/ILP solvers do not support allowed-value set constraints \\(equal\\{\\.\\.\\.\\}\\) inside "
                 "cons\\(\\)\\. Use a bundled heuristic solver \\(NimbaSolver/ExhaustiveSolver/TessixSolver\\)\\.\n$");
}

TEST_F(Ilp, NativeIntegerAtomsAreIntegerColumnsAfterTheBinaryOnes) {
    const uint32_t n = vexa_new_int_var("n", In(-3).get(), In(9).get());
    ExprPtr obj = var_expr(n, 7);
    vexa_expr_iadd_expr(obj.get(), var_expr(x, 2).get());
    ExprPtr body = var_expr(n, 2);
    vexa_expr_iadd_expr(body.get(), var_expr(x, -1).get());
    ExprPtr row = between(body.get(), -4, 100);
    ModelPtr m = model_of(obj.get(), {row.get()});
    IlpPtr p(vexa_model_ilp_build(m.get()));
    ASSERT_TRUE(p) << vexa_ilp_last_error();
    ASSERT_EQ(vexa_ilp_ncols(p.get()), 2u);
    EXPECT_EQ(vexa_ilp_col_kind(p.get(), 1), 1);
    EXPECT_EQ(vexa_ilp_col_model_var(p.get(), 1), 0u);
    Out lo, hi;
    vexa_ilp_col_bounds(p.get(), 1, &lo, &hi);
    EXPECT_EQ(lo.value(), -3);
    EXPECT_EQ(hi.value(), 9);
    EXPECT_EQ(obj_of(p.get(), 1), 7);
    const RowView r = row_of(p.get(), 0);
    EXPECT_EQ(r.cols, (std::vector<uint32_t>{0, 1}));
    EXPECT_EQ(r.coeffs, (std::vector<coeff_t>{-1, 2}));
    // 2n - x reaches [-7, 18]: the lower bound -4 binds, the upper 100 cannot.
    EXPECT_EQ(r.lower_free, 0u);
    EXPECT_EQ(r.upper_free, 1u);
    EXPECT_EQ(r.hi, 100) << "a free bound still reports its value";
}

TEST_F(Ilp, EncodedIntegersSeenOnlyAsAWholeBecomeOneColumn) {
    ExprPtr n(vexa_varintelem_create("n", In(2).get(), In(7).get()));  // bits 1, 2, 2
    ExprPtr obj(vexa_expr_clone(n.get()));
    vexa_expr_imul_int(obj.get(), In(3).get());
    ExprPtr body(vexa_expr_clone(n.get()));
    vexa_expr_iadd_expr(body.get(), var_expr(x).get());
    ExprPtr row = between(body.get(), 0, 6);
    ModelPtr m = model_of(obj.get(), {row.get()});
    IlpPtr p(vexa_model_ilp_build(m.get()));
    ASSERT_TRUE(p) << vexa_ilp_last_error();
    ASSERT_EQ(vexa_ilp_ncols(p.get()), 2u) << "x, then n as one column";
    EXPECT_EQ(vexa_ilp_col_kind(p.get(), 1), 1);
    EXPECT_EQ(vexa_ilp_col_model_var(p.get(), 1), 0xFFFFFFFFu);
    ASSERT_EQ(vexa_ilp_col_nbits(p.get(), 1), 3u);
    Out lo, hi, k;
    vexa_ilp_col_bounds(p.get(), 1, &lo, &hi);
    EXPECT_EQ(lo.value(), 2);
    EXPECT_EQ(hi.value(), 7);
    EXPECT_EQ(obj_of(p.get(), 1), 3);
    vexa_ilp_obj_constant(p.get(), &k);
    EXPECT_EQ(k.value(), 0) << "3n = 6 + 3*(bits); the column's offset takes the 6 back";
    const RowView r = row_of(p.get(), 0);
    EXPECT_EQ(r.cols, (std::vector<uint32_t>{0, 1}));
    EXPECT_EQ(r.coeffs, (std::vector<coeff_t>{1, 1}));
    EXPECT_EQ(r.lo, 0);
    EXPECT_EQ(r.hi, 6);

    uint8_t bits[3];
    vexa_ilp_col_decode(p.get(), 1, In(6).get(), bits);  // 6 - 2 = 4 = 2 + 2
    EXPECT_EQ(bits[0] + 2 * bits[1] + 2 * bits[2], 4);
    EXPECT_DEATH(vexa_ilp_col_decode(p.get(), 1, In(1).get(), bits),
                 "^vexa: vexa_ilp_col_decode: integer value out of the encoded range\n$");
}

TEST_F(Ilp, EncodedIntegersStayBitsWhenTheirBitsAreSeenApart) {
    ExprPtr n(vexa_varintelem_create("n", In(0).get(), In(3).get()));  // bits 1, 2
    const uint32_t b0 = vexa_varintelem_var(n.get(), 0), b1 = vexa_varintelem_var(n.get(), 1);
    auto columns_for = [&](const ExprImpl *obj, std::initializer_list<const ExprImpl *> parts) {
        ModelPtr m = model_of(obj, parts);
        IlpPtr p(vexa_model_ilp_build(m.get()));
        EXPECT_TRUE(p) << vexa_ilp_last_error();
        int integer_cols = 0;
        for (uint32_t c = 0; p && c < vexa_ilp_ncols(p.get()); ++c) integer_cols += vexa_ilp_col_kind(p.get(), c);
        return integer_cols;
    };
    EXPECT_EQ(columns_for(n.get(), {}), 1);
    // The objective weighs the bits 1:1, not 1:2.
    ExprPtr apart = var_expr(b0);
    vexa_expr_iadd_expr(apart.get(), var_expr(b1).get());
    EXPECT_EQ(columns_for(apart.get(), {}), 0);
    // A constraint holds one bit only.
    ExprPtr one_bit = var_expr(b1);
    ExprPtr row = between(one_bit.get(), 0, 0);
    EXPECT_EQ(columns_for(n.get(), {row.get()}), 0);
    // A bit in a quadratic free-form penalty.
    ExprPtr pen = pair_expr(b0, x, 1);
    ExprPtr rem(vexa_cons_mark(pen.get()));
    EXPECT_EQ(columns_for(n.get(), {rem.get()}), 0);
    // A second record over the same bits: the first one claims them.
    const In c1(1), c2(2);
    const vexa_bigint cs[2] = {*c1.get(), *c2.get()};
    const uint32_t vs[2] = {b0, b1};
    ExprPtr twin(vexa_varintelem_create_with_vars("twin", In(0).get(), In(3).get(), cs, vs, 2));
    ExprPtr both(vexa_expr_clone(n.get()));
    vexa_expr_iadd_expr(both.get(), twin.get());
    EXPECT_EQ(columns_for(both.get(), {}), 1);
}

// For every assignment of a random model's bits, the view's objective equals
// the model's objective and each row holds exactly when its constraint does.
TEST_F(Ilp, RandomModelsAgreeWithTheViewOnEveryAssignment) {
    int whole = 0, apart = 0;  // encoded integers read as one column, or left as bits
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        std::mt19937_64 rng(seed);
        vexa_var_reset();
        const uint32_t a = vexa_new_var("a"), b = vexa_new_var("b");
        const int lo1 = int(rng() % 4) - 2, lo2 = int(rng() % 3);
        ExprPtr n1(vexa_varintelem_create("n1", In(lo1).get(), In(lo1 + 1 + int(rng() % 6)).get()));
        ExprPtr n2(vexa_varintelem_create("n2", In(lo2).get(), In(lo2 + 1 + int(rng() % 4)).get()));
        auto linear = [&](bool split_bits) {
            ExprPtr e(vexa_expr_create_int(In(int(rng() % 7) - 3).get()));
            const ExprImpl *parts[2] = {n1.get(), n2.get()};
            for (const ExprImpl *part : parts) {
                ExprPtr t(vexa_expr_clone(part));
                vexa_expr_imul_int(t.get(), In(int(rng() % 7) - 3).get());
                vexa_expr_iadd_expr(e.get(), t.get());
            }
            vexa_expr_iadd_expr(e.get(), var_expr(a, int(rng() % 5) - 2).get());
            vexa_expr_iadd_expr(e.get(), var_expr(b, int(rng() % 5) - 2).get());
            if (split_bits) vexa_expr_iadd_expr(e.get(), var_expr(vexa_varintelem_var(n1.get(), 0), 1).get());
            return e;
        };
        ExprPtr obj = linear(rng() % 4 == 0);
        struct Cons {
            ExprPtr body;
            int lo, hi;
        };
        std::vector<Cons> cons;
        std::vector<ExprPtr> declared;
        for (uint64_t k = 0, nc = 1 + rng() % 3; k < nc; ++k) {
            Cons c{linear(rng() % 4 == 0), int(rng() % 9) - 6, 0};
            c.hi = c.lo + int(rng() % 8);
            declared.push_back(between(c.body.get(), c.lo, c.hi));
            cons.push_back(std::move(c));
        }
        ExprPtr all(vexa_expr_clone(obj.get()));
        for (const ExprPtr &d : declared) vexa_expr_iadd_expr(all.get(), d.get());
        ExprPtr s(vexa_expr_simplify_as_binary(all.get()));
        ModelPtr m(vexa_model_create(s.get()));
        IlpPtr p(vexa_model_ilp_build(m.get()));
        ASSERT_TRUE(p) << "seed " << seed << ": " << vexa_ilp_last_error();
        ASSERT_EQ(vexa_ilp_nrows(p.get()), cons.size());

        const uint32_t nv = static_cast<uint32_t>(vexa_model_var_count(m.get()));
        ASSERT_LE(nv, 14u);
        std::vector<coeff_t> objs(vexa_ilp_ncols(p.get()));
        for (uint32_t c = 0; c < objs.size(); ++c) objs[c] = obj_of(p.get(), c);
        // Records of earlier runs outlive the variable reset and may name
        // the same codes, so a column is n1's or n2's only with their bits.
        int integer_cols = 0;
        for (const ExprImpl *v : {n1.get(), n2.get()}) {
            for (uint32_t c = 0; c < objs.size(); ++c) {
                const uint64_t nb = vexa_ilp_col_nbits(p.get(), c);
                bool same = nb == vexa_varintelem_var_count(v);
                for (uint32_t i = 0; same && i < nb; ++i) {
                    same = vexa_model_var(m.get(), vexa_ilp_col_bit_var(p.get(), c, i)) == vexa_varintelem_var(v, i);
                }
                integer_cols += same ? 1 : 0;
            }
        }
        whole += integer_cols;
        apart += 2 - integer_cols;
        Out k;
        vexa_ilp_obj_constant(p.get(), &k);
        std::vector<RowView> rows;
        for (uint64_t r = 0; r < cons.size(); ++r) rows.push_back(row_of(p.get(), r));
        for (uint64_t mask = 0; mask < (uint64_t(1) << nv); ++mask) {
            std::vector<coeff_t> by_code(vexa_used_var_count() + 1, 0);
            for (uint32_t i = 0; i < nv; ++i) by_code[vexa_model_var(m.get(), i)] = (mask >> i) & 1;
            auto value_of = [&](uint32_t code) { return by_code[code]; };
            std::vector<coeff_t> col(objs.size());
            for (uint32_t c = 0; c < col.size(); ++c) {
                if (vexa_ilp_col_kind(p.get(), c) == 0) {
                    col[c] = (mask >> vexa_ilp_col_model_var(p.get(), c)) & 1;
                    continue;
                }
                Out lo;
                Out hi;
                vexa_ilp_col_bounds(p.get(), c, &lo, &hi);
                coeff_t v = lo.value();
                for (uint32_t i = 0; i < vexa_ilp_col_nbits(p.get(), c); ++i) {
                    Out bc;
                    vexa_ilp_col_bit_coeff(p.get(), c, i, &bc);
                    v += bc.value() * coeff_t((mask >> vexa_ilp_col_bit_var(p.get(), c, i)) & 1);
                }
                col[c] = v;
            }
            coeff_t ilp_obj = k.value();
            for (uint32_t c = 0; c < col.size(); ++c) ilp_obj += objs[c] * col[c];
            ASSERT_EQ(ilp_obj, evaluate(obj.get(), value_of, false)) << "seed " << seed << " mask " << mask;
            for (size_t r = 0; r < cons.size(); ++r) {
                coeff_t sum = 0;
                for (size_t j = 0; j < rows[r].cols.size(); ++j) sum += rows[r].coeffs[j] * col[rows[r].cols[j]];
                const coeff_t body = evaluate(cons[r].body.get(), value_of, false);
                const bool holds = body >= cons[r].lo && body <= cons[r].hi;
                ASSERT_EQ(sum >= rows[r].lo && sum <= rows[r].hi, holds) << "seed " << seed << " row " << r;
            }
        }
    }
    EXPECT_GT(whole, 20);
    EXPECT_GT(apart, 5);
}

}  // namespace
