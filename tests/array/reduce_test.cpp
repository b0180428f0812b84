#include <gtest/gtest.h>

#include <random>

#include "array/reduce.hpp"
#include "array_util.hpp"
#include "support/constraint_util.hpp"
#include "support/model_util.hpp"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

class Sums : public ThreeVars {};

TEST_F(Sums, WholeArraySumsKeepEveryElementAsItsOwnTerm) {
    VarArr r0(vexa_array_var_create(nullptr, 0));
    vexa_array_var_set(r0.get(), 0, y);
    ExprPtr s0(vexa_array_var_sum(r0.get()));
    EXPECT_STREQ(vexa_expr_str(s0.get()), "y");
    const uint64_t empty[] = {2, 0};
    ExprPtr se(vexa_array_var_sum(VarArr(vexa_array_var_create(empty, 2)).get()));
    EXPECT_TRUE(se->is_empty_zero());

    const uint32_t codes[] = {x, y, x, z | VEXA_NEGATED_BIT};
    const uint64_t four[] = {4};
    VarArr v(vexa_array_var_create_data(codes, four, 1));
    ExprPtr sv(vexa_array_var_sum(v.get()));
    EXPECT_STREQ(vexa_expr_str(sv.get()), "x +y +x +~z");

    IntArr ints = int_array({2, 2}, {pow2(100), -3, 4, 0});
    ExprPtr si(vexa_array_int_sum(ints.get()));
    EXPECT_EQ(si->term_count(), 0u);
    EXPECT_EQ(constant_of(si.get()), pow2(100) + 1);

    TermPtr t1(vexa_term_create_var(In(2).get(), x));
    TermPtr t0(vexa_term_create_var(In(0).get(), y));
    const TermImpl *tp[] = {t1.get(), t0.get(), t1.get()};
    const uint64_t three[] = {3};
    TermArr ta(vexa_array_term_create_data(tp, three, 1));
    ExprPtr st(vexa_array_term_sum(ta.get()));
    EXPECT_STREQ(vexa_expr_str(st.get()), "2*x +0*y +2*x");
}

TEST_F(Sums, ExpressionSumCarriesTheWordOfItsElements) {
    ExprPtr body(expr_of({{1, {x}}, {1, {y}}}));
    ExprPtr pen(expr_of({{1, {x}}, {1, {y}}}, -1));
    ExprPtr c1(classic(pen.get(), body.get(), 1, 1));
    ExprPtr c2(classic(pen.get(), body.get(), 0, 2));
    const ExprImpl *items[] = {c1.get(), c2.get()};
    const uint64_t two[] = {2};
    ExprArr a(vexa_array_expr_create_data(items, two, 1));
    ExprPtr s(vexa_array_expr_sum(a.get()));
    EXPECT_EQ(items_of(s.get()).size(), 2u);
    for (const auto &[id, weight] : items_of(s.get())) EXPECT_EQ(weight, 1);
    EXPECT_STREQ(vexa_expr_str(s.get()), "-2 +x +y +x +y");

    ExprPtr plain_sum(vexa_array_sum(items, 2));
    EXPECT_EQ(plain_sum->attr, kPlainAttr);
    EXPECT_EQ(flat(plain_sum.get()), flat(s.get()));

    const uint64_t none[] = {0};
    ExprPtr empty(vexa_array_expr_sum(ExprArr(vexa_array_expr_create(none, 1)).get()));
    EXPECT_EQ(empty->attr, kPlainAttr);

    ExprPtr dec(declared(body.get(), 0, 1));
    ExprPtr plain(expr_of({{3, {z}}}));
    const ExprImpl *ok[] = {dec.get(), plain.get()};
    ExprArr b(vexa_array_expr_create_data(ok, two, 1));
    ExprPtr sb(vexa_array_expr_sum(b.get()));
    EXPECT_TRUE(is_live_sum(sb->attr));
    EXPECT_STREQ(vexa_expr_str(sb.get()), "3*z");
}

TEST_F(Sums, DeclaredAndClassicElementsDoNotSum) {
    ExprPtr body(expr_of({{1, {x}}}));
    ExprPtr c(classic(body.get(), body.get(), 0, 0));
    ExprPtr d(declared(body.get(), 0, 0));
    const ExprImpl *items[] = {c.get(), d.get()};
    const uint64_t two[] = {2};
    ExprArr a(vexa_array_expr_create_data(items, two, 1));
    EXPECT_DEATH(vexa_array_expr_sum(a.get()),
                 exact("vexa::cons: cannot sum declared and classic penalty-style constraints in one array"));
}

// Above the fan-out the chunked sums give the terms a single thread gives,
// in the same order.
TEST_F(Sums, LargeSumsAreTheSameOnOneThreadAndMany) {
    const uint64_t seed = 4242;
    std::mt19937_64 rng(seed);
    const uint64_t n = 12007;
    std::vector<ExprPtr> owned;
    std::vector<const ExprImpl *> items;
    for (uint64_t i = 0; i < n; ++i) {
        const int k = int(rng() % 4);
        if (k == 0) {
            owned.emplace_back(expr_of({}, int(rng() % 9) - 4));
        } else if (k == 1) {
            owned.emplace_back(expr_of({{int(rng() % 5) - 2, {uint32_t(rng() % 3)}}}));
        } else {
            owned.emplace_back(expr_of({{1, {x}}, {int(rng() % 7), {y, z}}, {-1, {z}}}, 1));
        }
        items.push_back(owned.back().get());
    }
    const uint64_t shape[] = {n};
    ExprArr a(vexa_array_expr_create_data(items.data(), shape, 1));
    std::vector<FlatTerm> terms[2], array_terms[2];
    coeff_t constants[2], array_constants[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        ExprPtr s(vexa_array_sum(items.data(), n));
        ExprPtr e(vexa_array_expr_sum(a.get()));
        terms[pass] = flat(s.get());
        constants[pass] = constant_of(s.get());
        array_terms[pass] = flat(e.get());
        array_constants[pass] = constant_of(e.get());
    }
    EXPECT_EQ(terms[0], terms[1]) << "seed " << seed;
    EXPECT_EQ(constants[0], constants[1]);
    EXPECT_EQ(array_terms[0], array_terms[1]);
    EXPECT_EQ(array_constants[0], array_constants[1]);
    EXPECT_EQ(terms[0], array_terms[0]);
    uint64_t expected_terms = 0;
    for (const ExprImpl *e : items) expected_terms += e->term_count();
    EXPECT_EQ(terms[0].size(), expected_terms);
}

// Sum along an axis against a hand-written loop over multi-indices.
template <class Arr, class Make>
void check_vector_sums(std::mt19937_64 &rng, uint64_t seed, Make &&make) {
    for (int round = 0; round < 150; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
        const std::vector<uint64_t> shape = random_shape(rng, 1, 4, 3);
        const uint64_t axis = rng() % shape.size();
        Arr a = make(shape);
        const auto &in = raw(a.get());
        ExprArr s;
        if constexpr (std::is_same_v<Arr, VarArr>) s.reset(vexa_array_var_vector_sum(a.get(), int(axis)));
        if constexpr (std::is_same_v<Arr, IntArr>) s.reset(vexa_array_int_vector_sum(a.get(), int(axis)));
        if constexpr (std::is_same_v<Arr, TermArr>) s.reset(vexa_array_term_vector_sum(a.get(), int(axis)));
        if constexpr (std::is_same_v<Arr, ExprArr>) s.reset(vexa_array_expr_vector_sum(a.get(), int(axis)));
        std::vector<uint64_t> out_shape = shape;
        out_shape.erase(out_shape.begin() + axis);
        ASSERT_EQ(shape_vec(vexa_array_expr_shape(s.get()), vexa_array_expr_ndim(s.get())), out_shape);
        for (uint64_t o = 0; o < element_count(out_shape); ++o) {
            std::vector<uint64_t> idx = unflatten(o, out_shape);
            idx.insert(idx.begin() + axis, 0);
            ExprImpl expect;
            for (uint64_t j = 0; j < shape[axis]; ++j) {
                idx[axis] = j;
                add_element(expect, in.data[flatten(idx, shape)]);
            }
            const ExprImpl *got = vexa_array_expr_ref(s.get(), o);
            ASSERT_EQ(flat(got), flat(&expect)) << "output " << o;
            ASSERT_EQ(got->constant, expect.constant);
        }
    }
}

TEST_F(Sums, VectorSumsMatchALoopOverTheAxisInEveryFamily) {
    const uint64_t seed = 99;
    std::mt19937_64 rng(seed);
    check_vector_sums<VarArr>(rng, seed, [](const std::vector<uint64_t> &s) { return index_array(s); });
    check_vector_sums<IntArr>(rng, seed, [&](const std::vector<uint64_t> &s) {
        std::vector<coeff_t> v(element_count(s));
        for (coeff_t &c : v) c = int(rng() % 19) - 9;
        return int_array(s, v);
    });
    check_vector_sums<TermArr>(rng, seed, [&](const std::vector<uint64_t> &s) {
        TermArr t(vexa_array_term_create(s.data(), s.size()));
        for (uint64_t i = 0; i < element_count(s); ++i) {
            TermPtr term(vexa_term_create_var(In(int(rng() % 5) + 1).get(), uint32_t(rng() % 3)));
            vexa_array_term_set(t.get(), i, term.get());
        }
        return t;
    });
    check_vector_sums<ExprArr>(rng, seed, [&](const std::vector<uint64_t> &s) {
        ExprArr e(vexa_array_expr_create(s.data(), s.size()));
        for (uint64_t i = 0; i < element_count(s); ++i) {
            ExprPtr v(expr_of({{int(rng() % 5), {uint32_t(rng() % 3)}}, {1, {x, y}}}, int(rng() % 3)));
            vexa_array_expr_set(e.get(), i, v.get());
        }
        return e;
    });
}

TEST_F(Sums, VectorSumShapesAndTheRawForm) {
    VarArr a = index_array({2, 3});
    ExprArr rows(vexa_array_var_vector_sum(a.get(), 1));
    EXPECT_STREQ(vexa_expr_str(vexa_array_expr_ref(rows.get(), 0)), "x +y +z");
    EXPECT_EQ(flat(vexa_array_expr_ref(rows.get(), 1)),
              (std::vector<FlatTerm>{{1, 3, kEmptyVar}, {1, 4, kEmptyVar}, {1, 5, kEmptyVar}}));
    ExprArr cols(vexa_array_var_vector_sum(a.get(), 0));
    EXPECT_EQ(vexa_array_expr_size(cols.get()), 3u);
    EXPECT_EQ(vexa_array_expr_ref(cols.get(), 2)->term_count(), 2u);
    VarArr r1 = index_array({4});
    ExprArr scalar(vexa_array_var_vector_sum(r1.get(), 0));
    EXPECT_EQ(vexa_array_expr_ndim(scalar.get()), 0u);
    EXPECT_EQ(vexa_array_expr_ref(scalar.get(), 0)->term_count(), 4u);

    // The raw form over codes, terms and expression pointers agrees with the
    // typed form, on a shape large enough to take the threaded path.
    const std::vector<uint64_t> shape = {3, 40, 101};
    VarArr big = index_array(shape);
    const auto &codes = raw(big.get());
    std::vector<TermImpl> terms;
    std::vector<ExprPtr> exprs;
    std::vector<const ExprImpl *> ptrs;
    for (uint64_t i = 0; i < codes.count(); ++i) {
        terms.push_back(TermImpl{coeff_t(1), {}});
        terms.back().vars.append(codes.data[i]);
        exprs.emplace_back(expr_of({{1, {codes.data[i]}}}));
        ptrs.push_back(exprs.back().get());
    }
    for (int axis = 0; axis < 3; ++axis) {
        for (uint32_t threads : {1u, 4u}) {
            ThreadScope scope(threads);
            ExprArr typed(vexa_array_var_vector_sum(big.get(), axis));
            const uint64_t n = vexa_array_expr_size(typed.get());
            for (uint32_t kind = 0; kind < 3; ++kind) {
                const void *elements = kind == 0 ? static_cast<const void *>(ptrs.data())
                                                 : kind == 1 ? static_cast<const void *>(codes.data)
                                                             : static_cast<const void *>(terms.data());
                std::vector<ExprImpl *> out(n, nullptr);
                vexa_array_vector_sum(elements, kind, shape.data(), 3, axis, out.data());
                for (uint64_t o = 0; o < n; ++o) {
                    ASSERT_EQ(flat(out[o]), flat(vexa_array_expr_ref(typed.get(), o)))
                        << "axis " << axis << " kind " << kind << " output " << o;
                }
                for (ExprImpl *e : out) vexa_expr_destroy(e);
            }
        }
    }
}

TEST(OneHot, RowsOfTheLastAxis) {
    const int32_t values[] = {0, 1, 0, 1, 1, -1, 0, 1, 1, 0, 0, 0, 0, 2, 0};
    const uint64_t shape[] = {5, 3};
    int32_t out[5] = {9, 9, 9, 9, 9};
    vexa_onehot_to_int(values, shape, 2, out);
    EXPECT_EQ(std::vector<int32_t>(out, out + 5), (std::vector<int32_t>{1, 1, -1, -1, -1}));
    const uint64_t no_width[] = {2, 0};
    vexa_onehot_to_int(values, no_width, 2, out);
    EXPECT_EQ(out[0], -1);
    EXPECT_EQ(out[1], -1);
    out[0] = 9;
    vexa_onehot_to_int(values, shape, 0, out);
    EXPECT_EQ(out[0], 9);
}

TEST(OneHot, ArrayFormIsStrictAndNormalisesTheAxis) {
    IntArr a = int_array({3, 3}, {0, 1, 0, 0, 1, 1, 0, 2, 0});
    IntArr rows(vexa_array_int_onehot_to_int(a.get(), 1));
    EXPECT_STREQ(vexa_array_int_str(rows.get()), "{1,-1,-1}");
    IntArr last(vexa_array_int_onehot_to_int(a.get(), -1));
    EXPECT_STREQ(vexa_array_int_str(last.get()), "{1,-1,-1}");
    IntArr cols(vexa_array_int_onehot_to_int(a.get(), 0));
    EXPECT_STREQ(vexa_array_int_str(cols.get()), "{-1,-1,1}");
    EXPECT_EQ(vexa_array_int_onehot_to_int(a.get(), 2), nullptr);
    EXPECT_EQ(vexa_array_int_onehot_to_int(a.get(), -3), nullptr);
    EXPECT_EQ(vexa_array_int_onehot_to_int(IntArr(vexa_array_int_create(nullptr, 0)).get(), 0), nullptr);

    IntArr r1 = int_array({4}, {0, 0, 0, 1});
    IntArr one(vexa_array_int_onehot_to_int(r1.get(), 0));
    EXPECT_EQ(shape_vec(vexa_array_int_shape(one.get()), vexa_array_int_ndim(one.get())), (std::vector<uint64_t>{1}));
    EXPECT_STREQ(vexa_array_int_str(one.get()), "{3}");

    // Middle axis of a (2,2,2) block: lines run across the stride of 2.
    IntArr cube = int_array({2, 2, 2}, {1, 0, 0, 1, 0, 0, 1, 0});
    IntArr mid(vexa_array_int_onehot_to_int(cube.get(), 1));
    EXPECT_STREQ(vexa_array_int_str(mid.get()), "{{0,1},{1,-1}}");
    const uint64_t no_width[] = {2, 0};
    IntArr w0(vexa_array_int_onehot_to_int(IntArr(vexa_array_int_create(no_width, 2)).get(), 1));
    EXPECT_STREQ(vexa_array_int_str(w0.get()), "{-1,-1}");
}

TEST(ReadOuts, IntegersSaturateToInt32) {
    IntArr a = int_array({5}, {pow2(40), -pow2(40), 2147483647, -2147483648LL, -7});
    int32_t out[5];
    vexa_array_int_to_ints(a.get(), out);
    EXPECT_EQ(std::vector<int32_t>(out, out + 5),
              (std::vector<int32_t>{2147483647, -2147483647 - 1, 2147483647, -2147483647 - 1, -7}));
}

TEST_F(Sums, SolutionBitsReadIntoAnIntegerArray) {
    ExprPtr e(expr_of({{1, {x}}, {-1, {y}}}));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    vexa_sol_set(s.get(), x, 1);
    const uint32_t codes[] = {x, x | VEXA_NEGATED_BIT, y, y | VEXA_NEGATED_BIT, z, z | VEXA_NEGATED_BIT};
    const uint64_t shape[] = {3, 2};
    VarArr vars(vexa_array_var_create_data(codes, shape, 2));
    IntArr bits(vexa_array_int_from_sol(s.get(), vars.get()));
    EXPECT_STREQ(vexa_array_int_str(bits.get()), "{{1,0},{0,1},{0,1}}");
}

}  // namespace
