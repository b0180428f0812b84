#include <gtest/gtest.h>

#include <random>

#include "array_util.hpp"
#include "support/constraint_util.hpp"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

class Arrays : public ThreeVars {};

TEST_F(Arrays, RankZeroHoldsOneElementAndPrintsAsEmptyBraces) {
    IntArr a(vexa_array_int_create(nullptr, 0));
    EXPECT_EQ(vexa_array_int_ndim(a.get()), 0u);
    EXPECT_EQ(vexa_array_int_size(a.get()), 1u);
    EXPECT_EQ(raw(a.get()).size, 1u);
    Out v;
    vexa_array_int_get(a.get(), 0, &v);
    EXPECT_EQ(v.value(), 0);
    EXPECT_STREQ(vexa_array_int_str(a.get()), "{}");
    IntArr z(vexa_array_int_create_zero(nullptr, 0));
    EXPECT_EQ(vexa_array_int_size(z.get()), 1u);
    ExprArr e(vexa_array_expr_create_zero(nullptr, 0));
    EXPECT_EQ(vexa_array_expr_size(e.get()), 1u);
    EXPECT_TRUE(vexa_array_expr_ref(e.get(), 0)->is_empty_zero());
    EXPECT_EQ(vexa_array_expr_ref(e.get(), 0)->attr, kPlainAttr);
}

TEST_F(Arrays, StridesAndZeroExtents) {
    const uint64_t s[] = {2, 3, 4};
    TermArr t(vexa_array_term_create(s, 3));
    EXPECT_EQ(raw(t.get()).strides, (std::vector<uint64_t>{12, 4, 1}));
    EXPECT_EQ(vexa_array_term_size(t.get()), 24u);
    EXPECT_EQ(raw(t.get()).capacity, 24u);
    EXPECT_EQ(vexa_array_term_shape_at(t.get(), 1), 3u);
    EXPECT_EQ(shape_vec(vexa_array_term_shape(t.get()), 3), (std::vector<uint64_t>{2, 3, 4}));
    const TermImpl &d = raw(t.get()).data[23];
    EXPECT_EQ(d.coeff, 0);
    EXPECT_EQ(d.vars.degree(), 0u);

    const uint64_t z[] = {3, 0, 2};
    IntArr a(vexa_array_int_create(z, 3));
    EXPECT_EQ(vexa_array_int_size(a.get()), 0u);
    EXPECT_EQ(raw(a.get()).strides, (std::vector<uint64_t>{0, 2, 1}));
    EXPECT_STREQ(vexa_array_int_str(a.get()), "{{},{},{}}");
}

TEST_F(Arrays, NamedArraysTakeOneGroupOfFreshVariables) {
    const uint64_t s[] = {2, 2};
    VarArr a(vexa_array_var_create_named("q", s, 2));
    const uint32_t first = vexa_array_var_get(a.get(), 0);
    EXPECT_EQ(first, z + 1);
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(vexa_array_var_data(a.get())[i], first + i);
    EXPECT_STREQ(vexa_array_var_str(a.get()), "{{q[0][0],q[0][1]},{q[1][0],q[1][1]}}");
    VarArr b(vexa_array_var_create_unnamed(s, 2));
    EXPECT_EQ(vexa_array_var_get(b.get(), 0), first + 4);
    VarArr c(vexa_array_var_create(s, 2));
    EXPECT_EQ(vexa_array_var_get(c.get(), 3), 0u);
    vexa_array_var_set(c.get(), 3, y | VEXA_NEGATED_BIT);
    EXPECT_STREQ(vexa_array_var_str(c.get()), "{{x,x},{x,~y}}");
}

TEST_F(Arrays, IntegersRoundTripExactly) {
    const std::vector<coeff_t> values = {pow2(200) + 3, -pow2(70), 0, -1, 5, 7};
    IntArr a = int_array({2, 3}, values);
    EXPECT_EQ(std::string(vexa_array_int_str(a.get())),
              "{{" + coeff_text(values[0]) + "," + coeff_text(values[1]) + ",0},{-1,5,7}}");
    vexa_array_int_set(a.get(), 4, In(-pow2(65)).get());
    Out v;
    vexa_array_int_get(a.get(), 4, &v);
    EXPECT_EQ(v.value(), -pow2(65));
    vexa_array_int_get(a.get(), 0, &v);
    EXPECT_EQ(v.value(), values[0]);
}

TEST_F(Arrays, TermsAndExpressionsAreDeepCopies) {
    TermPtr t(vexa_term_create_var(In(3).get(), x));
    const TermImpl *tp[] = {t.get(), t.get()};
    const uint64_t two[] = {2};
    TermArr ta(vexa_array_term_create_data(tp, two, 1));
    vexa_term_destroy(t.release());
    EXPECT_STREQ(vexa_array_term_str(ta.get()), "{3*x,3*x}");
    TermPtr got(vexa_array_term_get(ta.get(), 1));
    TermPtr other(vexa_term_create_var(In(-2).get(), y));
    vexa_array_term_set(ta.get(), 1, other.get());
    EXPECT_STREQ(vexa_array_term_str(ta.get()), "{3*x,-2*y}");
    EXPECT_EQ(got->coeff, 3);

    ExprPtr plain(expr_of({{2, {x}}, {1, {x, y}}}, 4));
    ExprPtr body(expr_of({{1, {x}}, {1, {y}}}));
    ExprPtr tagged(classic(plain.get(), body.get(), 0, 1));
    const ExprImpl *ep[] = {plain.get(), tagged.get()};
    ExprArr ea(vexa_array_expr_create_data(ep, two, 1));
    EXPECT_EQ(vexa_array_expr_ref(ea.get(), 1)->attr, tagged->attr);
    EXPECT_STREQ(vexa_array_expr_str(ea.get()), "{4 +2*x +x*y,4 +2*x +x*y}");

    // get keeps the word, the varint and exprexpr reads clear it and differ in nothing else.
    ExprPtr g(vexa_array_expr_get(ea.get(), 1));
    ExprPtr v(vexa_array_varint_get_expr(ea.get(), 1));
    ExprPtr p(vexa_array_exprexpr_get_penalty(ea.get(), 1));
    EXPECT_EQ(g->attr, tagged->attr);
    EXPECT_EQ(v->attr, kPlainAttr);
    EXPECT_EQ(p->attr, kPlainAttr);
    EXPECT_EQ(flat(g.get()), flat(v.get()));
    EXPECT_EQ(flat(g.get()), flat(p.get()));
    EXPECT_EQ(constant_of(v.get()), 4);

    vexa_array_expr_set(ea.get(), 0, body.get());
    EXPECT_STREQ(vexa_array_expr_str(ea.get()), "{x +y,4 +2*x +x*y}");
    EXPECT_EQ(vexa_array_expr_ref(ea.get(), 0)->attr, kPlainAttr);
}

TEST_F(Arrays, ConstantFillsMatchOnBothThreadPaths) {
    const uint64_t big[] = {101, 100};
    for (uint32_t threads : {1u, 4u}) {
        ThreadScope scope(threads);
        ExprArr c(vexa_array_expr_create_constant_int(big, 2, In(-pow2(80)).get()));
        ExprArr v(vexa_array_expr_create_constant_var(big, 2, y));
        ASSERT_EQ(vexa_array_expr_size(c.get()), 10100u);
        for (uint64_t i = 0; i < 10100; i += 1009) {
            EXPECT_EQ(constant_of(vexa_array_expr_ref(c.get(), i)), -pow2(80));
            EXPECT_EQ(vexa_array_expr_ref(c.get(), i)->term_count(), 0u);
            EXPECT_STREQ(vexa_expr_str(vexa_array_expr_ref(v.get(), i)), "y");
        }
    }
}

TEST_F(Arrays, SubarrayAndCloneSubview) {
    VarArr r1 = index_array({5});
    EXPECT_EQ(vexa_array_var_subarray(VarArr(vexa_array_var_create(nullptr, 0)).get(), 0), nullptr);
    VarArr s(vexa_array_var_subarray(r1.get(), 2));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(vexa_array_var_ndim(s.get()), 0u);
    EXPECT_EQ(vexa_array_var_get(s.get(), 0), 2u);

    VarArr r3 = index_array({3, 2, 4});
    VarArr s3(vexa_array_var_subarray(r3.get(), 1));
    EXPECT_EQ(shape_vec(vexa_array_var_shape(s3.get()), 2), (std::vector<uint64_t>{2, 4}));
    EXPECT_EQ(raw(s3.get()).strides, (std::vector<uint64_t>{4, 1}));
    for (uint32_t j = 0; j < 8; ++j) EXPECT_EQ(vexa_array_var_get(s3.get(), j), 8 + j);

    IntArr ints = int_array({2, 3}, {1, 2, 3, 4, 5, 6});
    IntArr row(vexa_array_int_clone_subview(ints.get(), 3, 1));
    EXPECT_STREQ(vexa_array_int_str(row.get()), "{4,5,6}");
    IntArr one(vexa_array_int_clone_subview(ints.get(), 4, 0));
    EXPECT_EQ(vexa_array_int_ndim(one.get()), 0u);
    Out v;
    vexa_array_int_get(one.get(), 0, &v);
    EXPECT_EQ(v.value(), 5);
}

// view and concat against the same index arithmetic done by hand, on random
// shapes, ranges and dropped axes, for every element family.
TEST_F(Arrays, ViewMatchesBruteForceIndexing) {
    const uint64_t seed = 20261123;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
        std::vector<uint64_t> shape = random_shape(rng, 0, 4, 4);
        const uint64_t naxes = shape.empty() ? 0 : rng() % (shape.size() + 1);
        // Axes past naxes are read at index 0, so they must not be empty.
        for (uint64_t k = naxes; k < shape.size(); ++k) shape[k] = std::max<uint64_t>(shape[k], 1);
        VarArr a = index_array(shape);
        std::vector<uint64_t> begin(naxes), end(naxes);
        std::vector<uint8_t> drop(naxes);
        std::vector<uint64_t> out_shape;
        for (uint64_t k = 0; k < naxes; ++k) {
            drop[k] = shape[k] > 0 && rng() % 3 == 0;
            if (drop[k]) {
                begin[k] = rng() % shape[k];
                end[k] = 12345;  // not read for a dropped axis
            } else {
                begin[k] = rng() % (shape[k] + 1);
                end[k] = begin[k] + rng() % (shape[k] - begin[k] + 1);
                out_shape.push_back(end[k] - begin[k]);
            }
        }
        VarArr v(vexa_array_var_view(a.get(), begin.data(), end.data(), drop.data(), naxes));
        ASSERT_EQ(shape_vec(vexa_array_var_shape(v.get()), vexa_array_var_ndim(v.get())), out_shape);
        ASSERT_EQ(vexa_array_var_size(v.get()), element_count(out_shape));
        for (uint64_t i = 0; i < element_count(out_shape); ++i) {
            const std::vector<uint64_t> oi = unflatten(i, out_shape);
            std::vector<uint64_t> src(naxes);
            uint64_t j = 0;
            for (uint64_t k = 0; k < naxes; ++k) src[k] = drop[k] ? begin[k] : begin[k] + oi[j++];
            uint64_t flat_src = 0;
            for (uint64_t k = 0; k < naxes; ++k) flat_src += src[k] * raw(a.get()).strides[k];
            ASSERT_EQ(vexa_array_var_get(v.get(), i), flat_src) << "element " << i;
        }
    }
}

TEST_F(Arrays, ViewDropsEveryAxisOrCopiesAndKeepsAttrWords) {
    IntArr a = int_array({2, 3}, {1, 2, 3, 4, 5, 6});
    const uint64_t b0[] = {1, 2}, e0[] = {0, 0};
    const uint8_t all[] = {1, 1}, none[] = {0, 0};
    IntArr one(vexa_array_int_view(a.get(), b0, e0, all, 2));
    EXPECT_EQ(vexa_array_int_ndim(one.get()), 0u);
    Out v;
    vexa_array_int_get(one.get(), 0, &v);
    EXPECT_EQ(v.value(), 6);
    const uint64_t zero[] = {0, 0}, full[] = {2, 3};
    IntArr copy(vexa_array_int_view(a.get(), zero, full, none, 2));
    EXPECT_STREQ(vexa_array_int_str(copy.get()), vexa_array_int_str(a.get()));

    ExprPtr pen(expr_of({{1, {x}}}));
    ExprPtr tagged(classic(pen.get(), pen.get(), 0, 0));
    const uint64_t s[] = {3};
    ExprArr ea(vexa_array_expr_create(s, 1));
    vexa_array_expr_set(ea.get(), 2, tagged.get());
    const uint64_t b1[] = {1}, e1[] = {3};
    const uint8_t keep[] = {0};
    ExprArr ev(vexa_array_expr_view(ea.get(), b1, e1, keep, 1));
    EXPECT_EQ(vexa_array_expr_ref(ev.get(), 1)->attr, tagged->attr);
    EXPECT_EQ(vexa_array_expr_ref(ev.get(), 0)->attr, kPlainAttr);
    ExprArr ec(vexa_array_expr_clone(ea.get()));
    EXPECT_EQ(vexa_array_expr_ref(ec.get(), 2)->attr, tagged->attr);
    EXPECT_STREQ(vexa_array_expr_str(ec.get()), "{0,0,x}");
}

TEST_F(Arrays, ConcatJoinsAlongAnAxisAndTakesTheFirstShape) {
    IntArr a = int_array({2, 3}, {1, 2, 3, 4, 5, 6});
    IntArr b = int_array({2, 4}, {7, 8, 9, 10, 11, 12, 13, 14});
    IntArr c(vexa_array_int_concat(a.get(), b.get(), 1));
    EXPECT_STREQ(vexa_array_int_str(c.get()), "{{1,2,3,7,8,9,10},{4,5,6,11,12,13,14}}");
    IntArr d = int_array({5, 3}, std::vector<coeff_t>(15, 9));
    IntArr e(vexa_array_int_concat(a.get(), d.get(), 1));
    EXPECT_EQ(shape_vec(vexa_array_int_shape(e.get()), 2), (std::vector<uint64_t>{2, 6}));
    IntArr f(vexa_array_int_concat(a.get(), a.get(), 0));
    EXPECT_STREQ(vexa_array_int_str(f.get()), "{{1,2,3},{4,5,6},{1,2,3},{4,5,6}}");
    const uint64_t empty_shape[] = {0, 3};
    IntArr g(vexa_array_int_create(empty_shape, 2));
    IntArr h(vexa_array_int_concat(g.get(), g.get(), 1));
    EXPECT_EQ(vexa_array_int_size(h.get()), 0u);

    const uint64_t seed = 77;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
        std::vector<uint64_t> sa = random_shape(rng, 1, 4, 3);
        const uint64_t axis = rng() % sa.size();
        std::vector<uint64_t> sb = sa;
        sb[axis] = rng() % 4;
        VarArr va = index_array(sa);
        std::vector<uint32_t> codes(element_count(sb));
        for (uint64_t i = 0; i < codes.size(); ++i) codes[i] = 1000 + uint32_t(i);
        VarArr vb(vexa_array_var_create_data(codes.data(), sb.data(), sb.size()));
        VarArr vc(vexa_array_var_concat(va.get(), vb.get(), int(axis)));
        std::vector<uint64_t> sc = sa;
        sc[axis] += sb[axis];
        ASSERT_EQ(shape_vec(vexa_array_var_shape(vc.get()), sc.size()), sc);
        for (uint64_t i = 0; i < element_count(sc); ++i) {
            std::vector<uint64_t> idx = unflatten(i, sc);
            uint32_t expect;
            if (idx[axis] < sa[axis]) {
                expect = uint32_t(flatten(idx, sa));
            } else {
                idx[axis] -= sa[axis];
                expect = 1000 + uint32_t(flatten(idx, sb));
            }
            ASSERT_EQ(vexa_array_var_get(vc.get(), i), expect) << "element " << i;
        }
    }
}

TEST_F(Arrays, LargeViewsAndConcatsAreTheSameOnOneThreadAndMany) {
    const std::vector<uint64_t> shape = {120, 130};
    ExprArr e(vexa_array_expr_create_constant_var(shape.data(), 2, x));
    for (uint64_t i = 0; i < 120 * 130; i += 7) vexa_array_expr_set(e.get(), i, ExprPtr(expr_of({{int(i % 11), {y}}}, int(i))).get());
    const uint64_t b[] = {3, 1}, en[] = {118, 129};
    const uint8_t keep[] = {0, 0};
    std::string texts[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        ExprArr v(vexa_array_expr_view(e.get(), b, en, keep, 2));
        ExprArr c(vexa_array_expr_concat(v.get(), e.get(), 0));
        EXPECT_EQ(vexa_array_expr_size(c.get()), 115u * 128 + 120 * 128);
        texts[pass] = vexa_array_expr_str(c.get());
    }
    EXPECT_EQ(texts[0], texts[1]);
}

TEST(ArrayShapeCheck, MismatchNamesBothShapes) {
    check_same_shape({2, 3}, {2, 3}, "+");
    EXPECT_DEATH(check_same_shape({2, 3}, {3, 2}, "+"), exact("Array +: shape mismatch (2,3) vs (3,2)"));
    EXPECT_DEATH(check_same_shape({3}, {3, 1}, "*="), exact("Array *=: shape mismatch (3) vs (3,1)"));
    EXPECT_DEATH(check_same_shape({}, {1}, "-"), exact("Array -: shape mismatch () vs (1)"));
}

}  // namespace
