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
#include "vexa/array_elementwise.def"
#undef VEXA_EW_ARRAY
#undef VEXA_EW_SCALAR
#undef VEXA_EW_INPLACE_ARRAY
#undef VEXA_EW_INPLACE_SCALAR
#undef VEXA_EW_UNARY
    EXPECT_EQ(names.size(), 144u);
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

}  // namespace
