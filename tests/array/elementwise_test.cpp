#include <gtest/gtest.h>

#include <dlfcn.h>

#include <functional>
#include <random>

#include "array_util.hpp"
#include "support/constraint_util.hpp"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

// ---- every row of the table is an exported symbol ----

TEST(ElementwiseTable, EveryRowIsExportedByTheLibrary) {
    void *lib = dlopen(VEXA_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << dlerror();
    std::vector<std::string> names;
#define VEXA_EW_ARRAY(l, op, r, res) names.push_back("vexa_array_" #l "_" #op "_array_" #r);
#define VEXA_EW_SCALAR(l, op, r, res) names.push_back("vexa_array_" #l "_" #op "_" #r);
#define VEXA_EW_INPLACE_ARRAY(l, op, r) names.push_back("vexa_array_" #l "_" #op "_eq_array_" #r);
#define VEXA_EW_INPLACE_SCALAR(l, op, r) names.push_back("vexa_array_" #l "_" #op "_eq_" #r);
#define VEXA_EW_UNARY(l, op, res) names.push_back("vexa_array_" #l "_" #op);
#define VEXA_EW_CMP(l, op) names.push_back("vexa_array_" #l "_" #op "_int");
#define VEXA_EW_CMP_ARRAY(l, op) names.push_back("vexa_array_" #l "_" #op "_array_int");
#define VEXA_EW_BETWEEN(l) \
    names.push_back("vexa_array_" #l "_between"); \
    names.push_back("vexa_array_" #l "_between_array_int");
#include "vexa/array_elementwise.def"
#undef VEXA_EW_ARRAY
#undef VEXA_EW_SCALAR
#undef VEXA_EW_INPLACE_ARRAY
#undef VEXA_EW_INPLACE_SCALAR
#undef VEXA_EW_UNARY
#undef VEXA_EW_CMP
#undef VEXA_EW_CMP_ARRAY
#undef VEXA_EW_BETWEEN
    EXPECT_EQ(names.size(), 175u);
    for (const std::string &name : names) EXPECT_NE(dlsym(lib, name.c_str()), nullptr) << name;
    EXPECT_NE(dlsym(lib, "vexa_array_expr_replace"), nullptr);
    dlclose(lib);
}

// ---- results against the same arithmetic on single expressions ----

// Random operands of every family over one shape, and one scalar of each.
struct Operands {
    VarArr arr_var;
    IntArr arr_int;
    TermArr arr_term;
    ExprArr arr_expr;
    uint32_t var_s = 0;
    coeff_t int_s;
    In int_rec{0};
    TermPtr term_s;
    ExprPtr expr_s;
};

Operands random_operands(std::mt19937_64 &rng, const std::vector<uint64_t> &shape, uint32_t nvars) {
    Operands o;
    const uint64_t n = element_count(shape);
    std::vector<uint32_t> codes(n);
    for (uint32_t &c : codes) c = uint32_t(rng() % nvars) | (rng() % 4 == 0 ? VEXA_NEGATED_BIT : 0);
    o.arr_var.reset(vexa_array_var_create_data(codes.data(), shape.data(), shape.size()));
    std::vector<coeff_t> values(n);
    for (coeff_t &v : values) v = int(rng() % 9) - 4;
    if (n > 0) values[0] = pow2(70) + 1;
    o.arr_int = int_array(shape, values);
    o.arr_term.reset(vexa_array_term_create(shape.data(), shape.size()));
    o.arr_expr.reset(vexa_array_expr_create(shape.data(), shape.size()));
    for (uint64_t i = 0; i < n; ++i) {
        TermPtr t(rng() % 4 == 0 ? vexa_term_create(In(int(rng() % 7) - 3).get())
                                 : vexa_term_create_var(In(int(rng() % 7) - 3).get(), uint32_t(rng() % nvars)));
        vexa_array_term_set(o.arr_term.get(), i, t.get());
        ExprPtr e(expr_of({{int(rng() % 5) - 2, {uint32_t(rng() % nvars)}}, {1, {uint32_t(rng() % nvars)}}},
                          int(rng() % 5) - 2));
        vexa_array_expr_set(o.arr_expr.get(), i, e.get());
    }
    o.var_s = uint32_t(rng() % nvars);
    o.int_s = int(rng() % 7) - 3;
    o.int_rec = In(o.int_s);
    o.term_s.reset(vexa_term_create_var(In(int(rng() % 5) + 1).get(), uint32_t(rng() % nvars)));
    o.expr_s.reset(expr_of({{2, {uint32_t(rng() % nvars)}}}, -1));
    return o;
}

// Element i of any array, or a scalar, as a fresh expression.
ExprImpl *as_expr(const vexa_var_array *a, uint64_t i) { return vexa_expr_create_var(vexa_array_var_get(a, i)); }
ExprImpl *as_expr(const vexa_int_array *a, uint64_t i) {
    Out v;
    vexa_array_int_get(a, i, &v);
    return vexa_expr_create_int(In(v.value()).get());
}
ExprImpl *as_expr(const vexa_term_array *a, uint64_t i) {
    TermPtr t(vexa_array_term_get(a, i));
    return vexa_expr_create_term(t.get(), 0);
}
ExprImpl *as_expr(const vexa_expr_array *a, uint64_t i) { return vexa_array_varint_get_expr(a, i); }
ExprImpl *scalar_expr(uint32_t v) { return vexa_expr_create_var(v); }
ExprImpl *scalar_expr(const vexa_bigint *c) { return vexa_expr_create_int(c); }
ExprImpl *scalar_expr(const TermImpl *t) { return vexa_expr_create_term(const_cast<TermImpl *>(t), 0); }
ExprImpl *scalar_expr(const ExprImpl *e) { return new ExprImpl(ExprImpl::plain_copy(*e)); }

// The scalar of a family from the operands.
uint32_t pick_var(const Operands &o) { return o.var_s; }
const vexa_bigint *pick_int(const Operands &o) { return o.int_rec.get(); }
const TermImpl *pick_term(const Operands &o) { return o.term_s.get(); }
const ExprImpl *pick_expr(const Operands &o) { return o.expr_s.get(); }

ExprImpl *reference(const std::string &op, const ExprImpl *l, const ExprImpl *r) {
    if (op == "add") return vexa_expr_clone_add_expr(l, r);
    if (op == "sub") return vexa_expr_clone_sub_expr(l, r);
    return vexa_expr_mul_expr(l, r);
}

std::string canonical(const ExprImpl *e) {
    ExprPtr s(vexa_expr_simplify_as_binary(e));
    return vexa_expr_str(s.get());
}

// One generated check per row: the result array has the shape of the left
// operand and the family of the row, and element i is, in binary canonical
// form, the same as l[i] op r[i] done on single expressions.
struct RowCheck {
    std::string name;
    std::function<void(const Operands &, uint64_t n, const std::vector<uint64_t> &shape)> run;
};

template <class H>
void expect_elements(const H *res, const std::vector<uint64_t> &shape, const std::string &name,
                     const std::function<ExprImpl *(uint64_t)> &expect) {
    ASSERT_NE(res, nullptr);
    ASSERT_EQ(raw(res).shape, shape) << name;
    ASSERT_EQ(raw(res).size, element_count(shape)) << name;
    for (uint64_t i = 0; i < element_count(shape); ++i) {
        ExprPtr got(as_expr(res, i));
        ExprPtr want(expect(i));
        ASSERT_EQ(canonical(got.get()), canonical(want.get())) << name << " element " << i;
    }
}

std::vector<RowCheck> row_checks() {
    std::vector<RowCheck> checks;
#define VEXA_EW_ARRAY(l, op, r, res)                                                                         \
    checks.push_back({"vexa_array_" #l "_" #op "_array_" #r, [](const Operands &o, uint64_t, const std::vector<uint64_t> &s) { \
        std::unique_ptr<vexa_##res##_array, ArrayDeleter> out(vexa_array_##l##_##op##_array_##r(o.arr_##l.get(), o.arr_##r.get())); \
        expect_elements(out.get(), s, "array " #op, [&](uint64_t i) {                                        \
            ExprPtr a(as_expr(o.arr_##l.get(), i)), b(as_expr(o.arr_##r.get(), i));                                      \
            return reference(#op, a.get(), b.get());                                                         \
        });                                                                                                  \
    }});
#define VEXA_EW_SCALAR(l, op, r, res)                                                                        \
    if (std::string(#op) != "div") {                                                                         \
        checks.push_back({"vexa_array_" #l "_" #op "_" #r, [](const Operands &o, uint64_t, const std::vector<uint64_t> &s) { \
            std::unique_ptr<vexa_##res##_array, ArrayDeleter> out(vexa_array_##l##_##op##_##r(o.arr_##l.get(), pick_##r(o))); \
            ExprPtr b(scalar_expr(pick_##r(o)));                                                             \
            expect_elements(out.get(), s, "scalar " #op, [&](uint64_t i) {                                   \
                ExprPtr a(as_expr(o.arr_##l.get(), i));                                                            \
                return reference(std::string(#op) == "coeffvec_mul" ? "mul" : #op, a.get(), b.get());       \
            });                                                                                              \
        }});                                                                                                 \
    }
#define VEXA_EW_INPLACE_ARRAY(l, op, r)                                                                      \
    checks.push_back({"vexa_array_" #l "_" #op "_eq_array_" #r, [](const Operands &o, uint64_t, const std::vector<uint64_t> &s) { \
        std::unique_ptr<vexa_##l##_array, ArrayDeleter> acc(vexa_array_##l##_clone(o.arr_##l.get()));               \
        vexa_array_##l##_##op##_eq_array_##r(acc.get(), o.arr_##r.get());                                          \
        expect_elements(acc.get(), s, "in place " #op, [&](uint64_t i) {                                     \
            ExprPtr a(as_expr(o.arr_##l.get(), i)), b(as_expr(o.arr_##r.get(), i));                                      \
            return reference(#op, a.get(), b.get());                                                         \
        });                                                                                                  \
    }});
#define VEXA_EW_INPLACE_SCALAR(l, op, r)                                                                     \
    if (std::string(#op) != "div") {                                                                         \
        checks.push_back({"vexa_array_" #l "_" #op "_eq_" #r, [](const Operands &o, uint64_t, const std::vector<uint64_t> &s) { \
            std::unique_ptr<vexa_##l##_array, ArrayDeleter> acc(vexa_array_##l##_clone(o.arr_##l.get()));           \
            vexa_array_##l##_##op##_eq_##r(acc.get(), pick_##r(o));                                          \
            ExprPtr b(scalar_expr(pick_##r(o)));                                                             \
            expect_elements(acc.get(), s, "in place scalar " #op, [&](uint64_t i) {                          \
                ExprPtr a(as_expr(o.arr_##l.get(), i));                                                            \
                return reference(#op, a.get(), b.get());                                                     \
            });                                                                                              \
        }});                                                                                                 \
    }
#define VEXA_EW_UNARY(l, op, res)
#include "vexa/array_elementwise.def"
#undef VEXA_EW_ARRAY
#undef VEXA_EW_SCALAR
#undef VEXA_EW_INPLACE_ARRAY
#undef VEXA_EW_INPLACE_SCALAR
#undef VEXA_EW_UNARY
    return checks;
}

class Elementwise : public ThreeVars {};

TEST_F(Elementwise, EveryRowMatchesSingleExpressionArithmetic) {
    const uint64_t seed = 31337;
    std::mt19937_64 rng(seed);
    const std::vector<RowCheck> checks = row_checks();
    EXPECT_EQ(checks.size(), 128u);  // every row but the divisions and the one-operand forms
    for (int round = 0; round < 6; ++round) {
        const std::vector<uint64_t> shape = round == 0 ? std::vector<uint64_t>{} : random_shape(rng, 1, 3, 3);
        const Operands o = random_operands(rng, shape, 3);
        for (const RowCheck &c : checks) {
            SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round) + " " + c.name);
            c.run(o, element_count(shape), shape);
            if (HasFatalFailure()) return;
        }
    }
}

TEST_F(Elementwise, ResultFamiliesAndElementRules) {
    const uint32_t xy[] = {x, x};
    const uint64_t two[] = {2};
    VarArr v(vexa_array_var_create_data(xy, two, 1));
    ExprArr sum(vexa_array_var_add_var(v.get(), x));
    EXPECT_EQ(vexa_array_expr_ref(sum.get(), 0)->term_count(), 2u) << "x + x stays two terms";
    IntArr i = int_array({2}, {3, -4});
    IntArr ii(vexa_array_int_add_array_int(i.get(), i.get()));
    EXPECT_STREQ(vexa_array_int_str(ii.get()), "{6,-8}");
    TermArr it(vexa_array_int_mul_array_var(i.get(), v.get()));
    EXPECT_STREQ(vexa_array_term_str(it.get()), "{3*x,-4*x}");
    ExprArr neg(vexa_array_int_negate(i.get()));
    EXPECT_STREQ(vexa_array_expr_str(neg.get()), "{-3,4}");
    VarArr inv(vexa_array_var_invert(v.get()));
    EXPECT_EQ(vexa_array_var_get(inv.get(), 0), x | VEXA_NEGATED_BIT);
    VarArr back(vexa_array_var_invert(inv.get()));
    EXPECT_EQ(vexa_array_var_get(back.get(), 1), x);
    ExprArr vn(vexa_array_var_negate(v.get()));
    EXPECT_STREQ(vexa_array_expr_str(vn.get()), "{-x,-x}");

    // Products of variables and terms stay terms, and two degree-2 terms overflow.
    TermArr sq(vexa_array_var_mul_array_var(v.get(), v.get()));
    EXPECT_STREQ(vexa_array_term_str(sq.get()), "{x*x,x*x}");
    try {
        vexa_array_term_mul_array_term(sq.get(), sq.get());
        ADD_FAILURE() << "degree 4 accepted";
    } catch (const std::runtime_error &e) {
        EXPECT_STREQ(e.what(), "VarArray::append: degree exceeds MAXDEG capacity");
    }
}

TEST_F(Elementwise, AttrWordsFollowTheirOwnRules) {
    ExprPtr body(expr_of({{1, {x}}, {1, {y}}}));
    ExprPtr pen(expr_of({{1, {x}}}));
    ExprPtr tagged(classic(pen.get(), body.get(), 0, 1));
    const ExprImpl *items[] = {tagged.get()};
    const uint64_t one[] = {1};
    ExprArr e(vexa_array_expr_create_data(items, one, 1));
    IntArr k = int_array({1}, {3});
    const uint32_t word = tagged->attr;
    auto word_of = [](const vexa_expr_array *a) { return vexa_array_expr_ref(a, 0)->attr; };
    // Scaling a classic constraint makes a new sum of it with the factor as weight.
    const uint32_t id = word & kIndexMask;
    auto scaled_by = [&](const vexa_expr_array *a, uint32_t item = 0xFFFFFFFFu) {
        const std::vector<std::pair<uint32_t, coeff_t>> items = items_of(vexa_array_expr_ref(a, 0));
        EXPECT_EQ(items.size(), 1u);
        EXPECT_EQ(items.empty() ? 0 : items[0].first, item == 0xFFFFFFFFu ? id : item);
        return items.empty() ? coeff_t(0) : items[0].second;
    };

    EXPECT_EQ(word_of(ExprArr(vexa_array_expr_add_int(e.get(), In(2).get())).get()), word);
    EXPECT_EQ(word_of(ExprArr(vexa_array_expr_sub_array_int(e.get(), k.get())).get()), word);
    EXPECT_EQ(word_of(ExprArr(vexa_array_int_add_array_expr(k.get(), e.get())).get()), word);
    EXPECT_EQ(word_of(ExprArr(vexa_array_var_add_expr(VarArr(vexa_array_var_create(one, 1)).get(), tagged.get())).get()), word);
    EXPECT_EQ(word_of(ExprArr(vexa_array_int_sub_array_expr(k.get(), e.get())).get()), kPlainAttr);
    EXPECT_EQ(word_of(ExprArr(vexa_array_expr_mul_var(e.get(), z)).get()), kPlainAttr);
    EXPECT_EQ(scaled_by(ExprArr(vexa_array_expr_mul_int(e.get(), In(3).get())).get()), 3);
    EXPECT_EQ(scaled_by(ExprArr(vexa_array_expr_mul_array_int(e.get(), k.get())).get()), 3);
    EXPECT_EQ(word_of(ExprArr(vexa_array_int_mul_array_expr(k.get(), e.get())).get()), word);
    EXPECT_EQ(word_of(ExprArr(vexa_array_expr_negate(e.get())).get()), kPlainAttr) << "a negative penalty is none";
    EXPECT_EQ(word_of(ExprArr(vexa_array_expr_sqr(e.get())).get()), kPlainAttr);
    EXPECT_EQ(word_of(ExprArr(vexa_array_expr_from_expr(e.get())).get()), word);
    EXPECT_EQ(word_of(ExprArr(vexa_array_expr_simplify(e.get())).get()), kPlainAttr);

    ExprArr m(vexa_array_expr_clone(e.get()));
    vexa_array_expr_mul_eq_array_int(m.get(), k.get());
    EXPECT_EQ(word_of(m.get()), word) << "*= by an integer array leaves the word";
    vexa_array_expr_mul_eq_int(m.get(), In(2).get());
    const uint32_t doubled = word_of(m.get());
    EXPECT_EQ(scaled_by(m.get()), 2);
    vexa_array_expr_add_eq_var(m.get(), z);
    EXPECT_EQ(word_of(m.get()), doubled);
    vexa_array_expr_mul_eq_var(m.get(), z);
    EXPECT_EQ(word_of(m.get()), kPlainAttr);
    EXPECT_STREQ(vexa_expr_str(ExprPtr(vexa_expr_simplify_as_binary(vexa_array_expr_ref(m.get(), 0))).get()), "z +6*x*z");

    // A declared constraint: negation keeps it with weight -1, and multiplying
    // it by 0 aborts in expr * int but not in int * expr.
    ExprPtr dec(declared(body.get(), 0, 1));
    const uint32_t dec_item = items_of(dec.get())[0].first;
    const ExprImpl *ditems[] = {dec.get()};
    ExprArr d(vexa_array_expr_create_data(ditems, one, 1));
    EXPECT_EQ(scaled_by(ExprArr(vexa_array_expr_negate(d.get())).get(), dec_item), -1);
    IntArr zero = int_array({1}, {0});
    ExprArr kept(vexa_array_int_mul_array_expr(zero.get(), d.get()));
    EXPECT_TRUE(is_live_sum(word_of(kept.get())));
    EXPECT_DEATH(vexa_array_expr_mul_int(d.get(), In(0).get()),
                 exact("vexa::cons: multiplying declared constraints by 0 would silently drop them"));
}

TEST_F(Elementwise, InPlaceOnItselfAndDivision) {
    ExprPtr a0(expr_of({{2, {x}}, {-1, {x, y}}}, 3));
    const ExprImpl *items[] = {a0.get(), a0.get()};
    const uint64_t two[] = {2};
    ExprArr a(vexa_array_expr_create_data(items, two, 1));
    vexa_array_expr_add_eq_array_expr(a.get(), a.get());
    EXPECT_STREQ(vexa_expr_str(ExprPtr(vexa_expr_simplify(vexa_array_expr_ref(a.get(), 1))).get()), "6 +4*x -2*x*y");
    vexa_array_expr_sub_eq_array_expr(a.get(), a.get());
    EXPECT_STREQ(vexa_expr_str(ExprPtr(vexa_expr_simplify(vexa_array_expr_ref(a.get(), 0))).get()), "0");

    IntArr i = int_array({3}, {-7, 7, 6});
    vexa_array_int_div_eq_int(i.get(), In(2).get());
    EXPECT_STREQ(vexa_array_int_str(i.get()), "{-3,3,3}");

    TermPtr t4(vexa_term_create_var(In(4).get(), x));
    TermPtr t6(vexa_term_create_var(In(-6).get(), y));
    const TermImpl *tp[] = {t4.get(), t6.get()};
    TermArr t(vexa_array_term_create_data(tp, two, 1));
    TermArr half(vexa_array_term_div_int(t.get(), In(2).get()));
    EXPECT_STREQ(vexa_array_term_str(half.get()), "{2*x,-3*y}");
    EXPECT_STREQ(vexa_array_term_str(t.get()), "{4*x,-6*y}");
    vexa_array_term_mul_eq_int(t.get(), In(3).get());
    EXPECT_STREQ(vexa_array_term_str(t.get()), "{12*x,-18*y}");

    ExprPtr e6(expr_of({{6, {x}}}, -4));
    const ExprImpl *ep[] = {e6.get()};
    const uint64_t one[] = {1};
    ExprArr ea(vexa_array_expr_create_data(ep, one, 1));
    ExprArr eh(vexa_array_expr_div_int(ea.get(), In(-2).get()));
    EXPECT_STREQ(vexa_array_expr_str(eh.get()), "{2 -3*x}");

    // An empty array passes through every form, but a zero divisor still aborts.
    const uint64_t none[] = {0};
    TermArr te(vexa_array_term_create(none, 1));
    ExprArr ee(vexa_array_expr_create(none, 1));
    EXPECT_EQ(vexa_array_expr_size(ExprArr(vexa_array_term_add_array_term(te.get(), te.get())).get()), 0u);
    EXPECT_DEATH(vexa_array_term_div_eq_int(te.get(), In(0).get()), exact("Array<Term> /=: division by zero"));
    EXPECT_DEATH(vexa_array_expr_div_eq_int(ee.get(), In(0).get()), exact("Array<Expr> /=: division by zero"));
    TermPtr t3(vexa_term_create_var(In(3).get(), x));
    const TermImpl *odd[] = {t4.get(), t3.get()};
    TermArr to(vexa_array_term_create_data(odd, two, 1));
    EXPECT_DEATH(vexa_array_term_div_eq_int(to.get(), In(2).get()), exact("Array<Term> /=: indivisible coefficient"));
}

TEST_F(Elementwise, ShapesMustBeEqual) {
    const uint64_t s3[] = {3}, s31[] = {3, 1};
    IntArr a(vexa_array_int_create(s3, 1));
    VarArr b(vexa_array_var_create(s31, 2));
    ExprArr e(vexa_array_expr_create(s3, 1));
    IntArr r0(vexa_array_int_create(nullptr, 0));
    EXPECT_DEATH(vexa_array_int_add_array_var(a.get(), b.get()), exact("Array +: shape mismatch (3) vs (3,1)"));
    EXPECT_DEATH(vexa_array_int_mul_array_int(a.get(), r0.get()), exact("Array *: shape mismatch (3) vs ()"));
    EXPECT_DEATH(vexa_array_expr_sub_eq_array_var(e.get(), b.get()), exact("Array -=: shape mismatch (3) vs (3,1)"));
    IntArr sum(vexa_array_int_add_array_int(r0.get(), r0.get()));
    EXPECT_EQ(vexa_array_int_ndim(sum.get()), 0u);
}

TEST_F(Elementwise, LargeArraysAreTheSameOnOneThreadAndMany) {
    const uint64_t seed = 2718;
    std::mt19937_64 rng(seed);
    const std::vector<uint64_t> shape = {101, 100};
    const Operands o = random_operands(rng, shape, 3);
    std::string texts[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        ExprArr s(vexa_array_expr_add_array_var(o.arr_expr.get(), o.arr_var.get()));
        ExprArr m(vexa_array_expr_mul_array_term(s.get(), o.arr_term.get()));
        vexa_array_expr_sub_eq_array_int(m.get(), o.arr_int.get());
        ExprArr c(vexa_array_expr_simplify_as_binary(m.get()));
        const uint32_t vars[] = {x};
        ExprPtr one(expr_of({}, 1));
        const ExprImpl *values[] = {one.get()};
        vexa_array_expr_replace(c.get(), vars, values, 1);
        texts[pass] = vexa_array_expr_str(c.get());
    }
    EXPECT_EQ(texts[0], texts[1]) << "seed " << seed;
    EXPECT_EQ(texts[0].find("x +"), std::string::npos) << "x was replaced everywhere";
}

}  // namespace
