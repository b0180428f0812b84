#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>

#include "array_util.hpp"
#include "support/constraint_util.hpp"
#include "support/var_fixture.hpp"
#include "vexa/constraint.h"
#include "vexa/var.h"

using namespace vexa;
using namespace vexa::test;

namespace {

// ---- helpers ----

// Element i of an array as a plain expression, built through the scalar interface.
ExprImpl *body_expr(const vexa_var_array *a, uint64_t i) { return vexa_expr_create_var(vexa_array_var_get(a, i)); }
ExprImpl *body_expr(const vexa_int_array *a, uint64_t i) {
    Out c;
    vexa_array_int_get(a, i, &c);
    return vexa_expr_create_int(In(c.value()).get());
}
ExprImpl *body_expr(const vexa_term_array *a, uint64_t i) {
    TermPtr t(vexa_array_term_get(a, i));
    return vexa_expr_create_term(t.get(), 0);
}
ExprImpl *body_expr(const vexa_expr_array *a, uint64_t i) { return vexa_array_varint_get_expr(a, i); }

coeff_t int_at(const vexa_int_array *a, uint64_t i) {
    Out c;
    vexa_array_int_get(a, i, &c);
    return c.value();
}

std::vector<uint64_t> shape_of(const vexa_expr_array *a) {
    return shape_vec(vexa_array_expr_shape(a), vexa_array_expr_ndim(a));
}

// What element i must be: lower <= body <= upper, an equality when `equal`.
// A bound that is not given is the least or greatest value of the body.
struct Expected {
    bool equal = false;
    std::function<std::optional<coeff_t>(uint64_t)> lower, upper;
};

// Checks every element of a constraint form's result against the scalar
// path: the record's body, its bounds, and the penalty of the same bounds.
template <class H>
void expect_constraints(const vexa_expr_array *r, const H *a, const std::vector<uint64_t> &shape, const Expected &x) {
    ASSERT_EQ(shape_of(r), shape);
    ASSERT_EQ(vexa_array_expr_size(r), element_count(shape));
    for (uint64_t i = 0; i < element_count(shape); ++i) {
        SCOPED_TRACE("element " + std::to_string(i));
        ExprPtr f(body_expr(a, i));
        const ExprImpl *e = vexa_array_expr_ref(r, i);
        ASSERT_TRUE(is_exprexpr(e->attr)) << std::hex << e->attr;

        const ExprImpl *body = vexa_exprexprelem_get_body(e);
        EXPECT_EQ(flat(body), flat(f.get()));
        EXPECT_EQ(constant_of(body), constant_of(f.get()));
        EXPECT_EQ(body->attr, kPlainAttr);

        Out neg, pos;
        vexa_expr_neg_sum(f.get(), &neg);
        vexa_expr_pos_sum(f.get(), &pos);
        const coeff_t lo = x.lower(i).value_or(neg.value());
        const coeff_t hi = x.upper(i).value_or(pos.value());
        Out lo_got, hi_got;
        ASSERT_EQ(vexa_exprexpr_get_bounds(e, &lo_got, &hi_got), 1);
        EXPECT_EQ(lo_got.value(), lo);
        EXPECT_EQ(hi_got.value(), hi);

        ExprPtr want;
        if (x.equal) {
            ExprPtr shifted(vexa_expr_clone_sub_int(f.get(), In(lo).get()));
            want.reset(vexa_expr_sqr(shifted.get()));
        } else {
            want.reset(vexa_between(f.get(), In(lo).get(), In(hi).get()));
        }
        ExprPtr penalty(vexa_array_exprexpr_get_penalty(r, i));
        EXPECT_TRUE(same_penalty(penalty.get(), want.get(), f.get()));
    }
}

// Random operands of every family over one shape, with bounds scalars and arrays.
struct Operands {
    std::vector<uint64_t> shape;
    VarArr arr_var;
    IntArr arr_int;
    TermArr arr_term;
    ExprArr arr_expr;
    coeff_t c, lo, hi;
    IntArr c_arr, lo_arr, hi_arr;
};

IntArr random_ints(std::mt19937_64 &rng, const std::vector<uint64_t> &shape) {
    std::vector<coeff_t> v(element_count(shape));
    for (coeff_t &x : v) x = int(rng() % 9) - 3;
    return int_array(shape, v);
}

Operands random_operands(std::mt19937_64 &rng, const std::vector<uint64_t> &shape, const std::vector<uint32_t> &vars) {
    Operands o;
    o.shape = shape;
    const uint64_t n = element_count(shape);
    std::vector<uint32_t> codes(n);
    for (uint32_t &c : codes) c = vars[rng() % vars.size()] | (rng() % 4 == 0 ? VEXA_NEGATED_BIT : 0);
    o.arr_var.reset(vexa_array_var_create_data(codes.data(), shape.data(), shape.size()));
    o.arr_int = random_ints(rng, shape);
    o.arr_term.reset(vexa_array_term_create(shape.data(), shape.size()));
    o.arr_expr.reset(vexa_array_expr_create(shape.data(), shape.size()));
    for (uint64_t i = 0; i < n; ++i) {
        const uint32_t v = vars[rng() % vars.size()];
        TermPtr t(rng() % 4 == 0 ? vexa_term_create(In(int(rng() % 7) - 3).get())
                                 : vexa_term_create_var(In(int(rng() % 7) - 3).get(), v));
        vexa_array_term_set(o.arr_term.get(), i, t.get());
        ExprPtr e(vexa_expr_create_int(In(int(rng() % 5) - 2).get()));
        // Linear bodies: a penalty squares its body, and terms hold two variables at most.
        for (int k = 0, terms = int(rng() % 4); k < terms; ++k) {
            const uint32_t v = vars[rng() % vars.size()] | (rng() % 4 == 0 ? VEXA_NEGATED_BIT : 0);
            vexa_expr_iadd_raw_term(e.get(), In(int(rng() % 7) - 3).get(), &v, 1);
        }
        vexa_array_expr_set(o.arr_expr.get(), i, e.get());
    }
    o.c = int(rng() % 7) - 3;
    o.lo = int(rng() % 7) - 3;
    o.hi = int(rng() % 9) - 3;  // sometimes below lo
    o.c_arr = random_ints(rng, shape);
    o.lo_arr = random_ints(rng, shape);
    o.hi_arr = random_ints(rng, shape);
    return o;
}

using Bound = std::function<std::optional<coeff_t>(uint64_t)>;
Bound none() {
    return [](uint64_t) { return std::optional<coeff_t>(); };
}
Bound scalar(const coeff_t &c) {
    return [c](uint64_t) { return std::optional<coeff_t>(c); };
}
Bound elements(const vexa_int_array *a) {
    if (a == nullptr) return none();
    return [a](uint64_t i) { return std::optional<coeff_t>(int_at(a, i)); };
}

struct FormCheck {
    std::string name;
    std::function<void(const Operands &)> run;
};

// One check per constraint row of the element-wise table.
std::vector<FormCheck> form_checks() {
    std::vector<FormCheck> checks;
#define VEXA_EW_ARRAY(l, op, r, res)
#define VEXA_EW_SCALAR(l, op, r, res)
#define VEXA_EW_INPLACE_ARRAY(l, op, r)
#define VEXA_EW_INPLACE_SCALAR(l, op, r)
#define VEXA_EW_UNARY(l, op, res)
#define VEXA_EW_CMP(l, op)                                                                                \
    checks.push_back({"vexa_array_" #l "_" #op "_int", [](const Operands &o) {                            \
                          ExprArr r(vexa_array_##l##_##op##_int(o.arr_##l.get(), In(o.c).get()));          \
                          const std::string w = #op;                                                      \
                          expect_constraints(r.get(), o.arr_##l.get(), o.shape,                           \
                                             Expected{w == "eq", w == "le" ? none() : scalar(o.c),        \
                                                      w == "ge" ? none() : scalar(o.c)});                 \
                      }});
#define VEXA_EW_CMP_ARRAY(l, op)                                                                          \
    checks.push_back({"vexa_array_" #l "_" #op "_array_int", [](const Operands &o) {                      \
                          ExprArr r(vexa_array_##l##_##op##_array_int(o.arr_##l.get(), o.c_arr.get()));    \
                          const std::string w = #op;                                                      \
                          const vexa_int_array *c = o.c_arr.get();                                        \
                          expect_constraints(r.get(), o.arr_##l.get(), o.shape,                           \
                                             Expected{w == "eq", w == "le" ? none() : elements(c),        \
                                                      w == "ge" ? none() : elements(c)});                 \
                      }});
#define VEXA_EW_BETWEEN(l)                                                                                \
    checks.push_back({"vexa_array_" #l "_between", [](const Operands &o) {                                \
                          ExprArr r(vexa_array_##l##_between(o.arr_##l.get(), In(o.lo).get(), In(o.hi).get())); \
                          expect_constraints(r.get(), o.arr_##l.get(), o.shape,                           \
                                             Expected{false, scalar(o.lo), scalar(o.hi)});                \
                      }});                                                                                \
    checks.push_back({"vexa_array_" #l "_between_array_int", [](const Operands &o) {                      \
                          const vexa_int_array *lo = o.lo_arr.get(), *hi = o.hi_arr.get();                \
                          for (int absent = 0; absent < 3; ++absent) {                                    \
                              SCOPED_TRACE("absent bound " + std::to_string(absent));                     \
                              const vexa_int_array *lb = absent == 1 ? nullptr : lo;                      \
                              const vexa_int_array *ub = absent == 2 ? nullptr : hi;                      \
                              ExprArr r(vexa_array_##l##_between_array_int(o.arr_##l.get(), lb, ub));     \
                              expect_constraints(r.get(), o.arr_##l.get(), o.shape,                       \
                                                 Expected{false, elements(lb), elements(ub)});            \
                          }                                                                               \
                      }});
#include "vexa/array_elementwise.def"
#undef VEXA_EW_ARRAY
#undef VEXA_EW_SCALAR
#undef VEXA_EW_INPLACE_ARRAY
#undef VEXA_EW_INPLACE_SCALAR
#undef VEXA_EW_UNARY
#undef VEXA_EW_CMP
#undef VEXA_EW_CMP_ARRAY
#undef VEXA_EW_BETWEEN
    return checks;
}

class ArrayConstraint : public ThreeVars {};

// ---- every form against the scalar path ----

TEST_F(ArrayConstraint, EveryFormMatchesTheScalarConstraint) {
    const uint64_t seed = 20261123;
    std::mt19937_64 rng(seed);
    const std::vector<FormCheck> checks = form_checks();
    ASSERT_EQ(checks.size(), 31u);
    const std::vector<std::vector<uint64_t>> fixed = {{}, {3, 0}, {0}};
    for (int round = 0; round < 8; ++round) {
        const std::vector<uint64_t> shape = round < 3 ? fixed[round] : random_shape(rng, 1, 3, 3);
        const Operands o = random_operands(rng, shape, {x, y, z});
        for (const FormCheck &c : checks) {
            SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round) + " " + c.name);
            c.run(o);
            if (HasFatalFailure()) return;
        }
    }
}

// ---- equality forms are the same on one thread and many ----

// Everything an element shows: penalty terms and constant, body, bounds.
struct ElementFace {
    std::vector<FlatTerm> penalty, body;
    coeff_t constant, lower, upper;
    bool operator==(const ElementFace &o) const {
        return penalty == o.penalty && body == o.body && constant == o.constant && lower == o.lower &&
               upper == o.upper;
    }
};

std::vector<ElementFace> faces(const vexa_expr_array *r) {
    std::vector<ElementFace> out;
    for (uint64_t i = 0; i < vexa_array_expr_size(r); ++i) {
        const ExprImpl *e = vexa_array_expr_ref(r, i);
        Out lo, hi;
        EXPECT_EQ(vexa_exprexpr_get_bounds(e, &lo, &hi), 1);
        out.push_back({flat(e), flat(vexa_exprexprelem_get_body(e)), constant_of(e), lo.value(), hi.value()});
    }
    return out;
}

TEST_F(ArrayConstraint, EqualityFormsAgreeOnOneThreadAndMany) {
    std::mt19937_64 rng(77);
    const std::vector<uint64_t> shape = {101, 102};  // above the serial limit of par_for
    const Operands o = random_operands(rng, shape, {x, y, z});
    std::vector<ElementFace> scalar_form[2], array_form[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        ExprArr s(vexa_array_expr_eq_int(o.arr_expr.get(), In(2).get()));
        ExprArr a(vexa_array_term_eq_array_int(o.arr_term.get(), o.c_arr.get()));
        scalar_form[pass] = faces(s.get());
        array_form[pass] = faces(a.get());
    }
    ASSERT_EQ(scalar_form[0].size(), 101u * 102);
    EXPECT_TRUE(scalar_form[0] == scalar_form[1]);
    EXPECT_TRUE(array_form[0] == array_form[1]);
}

// ---- slack bits follow element order ----

TEST_F(ArrayConstraint, RangeFormsNumberSlackInElementOrder) {
    const uint64_t n = 10500;
    std::vector<uint32_t> codes(n);
    for (uint64_t i = 0; i < n; ++i) codes[i] = i % 3 == 0 ? x : i % 3 == 1 ? y : z;
    VarArr v(vexa_array_var_create_data(codes.data(), &n, 1));
    IntArr los = int_array({n}, std::vector<coeff_t>(n, coeff_t(-1)));
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        // A range of width 4 has two slack bits, "{sN}[0]" and "{sN}[1]".
        const uint64_t first = vexa_var_count();
        ExprArr r(vexa_array_var_ge_array_int(v.get(), los.get()));
        ExprArr s(vexa_array_var_between(v.get(), In(-1).get(), In(3).get()));
        ASSERT_EQ(vexa_var_count(), first + 3 * n) << "one bit per element for [-1, 1], two for [-1, 3]";
        const std::string name0 = vexa_var_str(uint32_t(first));
        ASSERT_EQ(name0.rfind("{s", 0), 0u) << name0;
        const uint64_t base = std::stoull(name0.substr(2));
        for (uint64_t i = 0; i < n; ++i) {
            const uint32_t slack = uint32_t(first + i);
            ASSERT_EQ(vexa_var_str(slack), "{s" + std::to_string(base + i) + "}") << "element " << i;
            ASSERT_TRUE(codes_of(vexa_array_expr_ref(r.get(), i)).count(slack)) << "element " << i;
            const uint32_t pair = uint32_t(first + n + 2 * i);
            const std::string name = "{s" + std::to_string(base + n + i) + "}";
            ASSERT_EQ(vexa_var_str(pair), name + "[0]") << "element " << i;
            ASSERT_EQ(vexa_var_str(pair + 1), name + "[1]") << "element " << i;
            const std::set<uint32_t> used = codes_of(vexa_array_expr_ref(s.get(), i));
            ASSERT_TRUE(used.count(pair) && used.count(pair + 1)) << "element " << i;
        }
    }
}

// ---- edge cases ----

TEST_F(ArrayConstraint, EmptyRangeKeepsTagAndPassedBounds) {
    const uint32_t xyz[] = {x, y, z};
    const uint64_t three = 3;
    VarArr v(vexa_array_var_create_data(xyz, &three, 1));
    const uint64_t before = vexa_var_count();
    ExprArr r(vexa_array_var_between(v.get(), In(3).get(), In(1).get()));
    // x <= -1 is below anything a binary reaches: the range [0, -1] is empty too.
    ExprArr le(vexa_array_var_le_int(v.get(), In(-1).get()));
    EXPECT_EQ(vexa_var_count(), before) << "an empty range makes no slack";
    for (uint64_t i = 0; i < 3; ++i) {
        for (const auto &[arr, lo, hi] : {std::tuple{r.get(), 3, 1}, std::tuple{le.get(), 0, -1}}) {
            const ExprImpl *e = vexa_array_expr_ref(arr, i);
            EXPECT_TRUE(is_exprexpr(e->attr));
            EXPECT_EQ(e->term_count(), 0u);
            EXPECT_EQ(constant_of(e), 0);
            Out l, h;
            ASSERT_EQ(vexa_exprexpr_get_bounds(e, &l, &h), 1);
            EXPECT_EQ(l.value(), lo);
            EXPECT_EQ(h.value(), hi);
        }
    }
}

TEST_F(ArrayConstraint, DeclaredElementsLoseTheirWordInTheBody) {
    // The forms take an element's polynomial as the body, whatever its word says.
    ExprPtr body(vexa_expr_create_var(x));
    vexa_expr_iadd_var(body.get(), y);
    ExprPtr cons(vexa_cons_between(body.get(), In(0).get(), In(1).get()));
    vexa_expr_iadd_var(cons.get(), z);  // objective part of a declared value
    const uint64_t one = 1;
    ExprArr a(vexa_array_expr_create(&one, 1));
    vexa_array_expr_set(a.get(), 0, cons.get());
    ExprArr r(vexa_array_expr_eq_int(a.get(), In(1).get()));
    const ExprImpl *b = vexa_exprexprelem_get_body(vexa_array_expr_ref(r.get(), 0));
    EXPECT_EQ(b->attr, kPlainAttr);
    EXPECT_STREQ(vexa_expr_str(b), "z");
}

using ArrayConstraintDeath = ArrayConstraint;

TEST_F(ArrayConstraintDeath, ShapeMismatchesEndTheProcess) {
    VarArr v = index_array({2, 3});
    IntArr same = int_array({2, 3}, std::vector<coeff_t>(6, coeff_t(1)));
    IntArr other = int_array({3, 2}, std::vector<coeff_t>(6, coeff_t(1)));
    EXPECT_DEATH(vexa_array_var_eq_array_int(v.get(), other.get()), exact("Array == Array<int>: shape mismatch"));
    EXPECT_DEATH(vexa_array_var_between_array_int(v.get(), other.get(), other.get()),
                 exact("Array range constraint: lower-bound array shape mismatch"));
    EXPECT_DEATH(vexa_array_var_between_array_int(v.get(), same.get(), other.get()),
                 exact("Array range constraint: upper-bound array shape mismatch"));
    EXPECT_DEATH(vexa_array_var_between_array_int(v.get(), nullptr, other.get()),
                 exact("Array range constraint: upper-bound array shape mismatch"));
    EXPECT_DEATH(vexa_array_var_ge_array_int(v.get(), other.get()),
                 exact("Array range constraint: lower-bound array shape mismatch"));
    EXPECT_DEATH(vexa_array_var_le_array_int(v.get(), other.get()),
                 exact("Array range constraint: upper-bound array shape mismatch"));
}

}  // namespace
