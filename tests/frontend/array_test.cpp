// vexa::Array through vexa.hpp. Bad indices, ranges, axes, shapes and
// subscripts must throw before the library is reached (the library would end
// the process or read out of bounds instead). Element-wise operators, sums,
// slices, concat and einsum are checked on seeded random arrays of all four
// element types against the same computation done element by element with
// expression arithmetic, comparing canonical forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "frontend/hpp_util.hpp"

namespace {

using namespace vexa;
using test::same_expr;
using vexa::Model;
using vexa::Sol;

// ---- random arrays ----------------------------------------------------------

// A few variables that every random element draws from, so that products and
// sums of random elements share variables.
const std::vector<Var> &pool() {
    static const std::vector<Var> vars = [] {
        std::vector<Var> v;
        for (int i = 0; i < 5; ++i) v.emplace_back("p" + std::to_string(i));
        return v;
    }();
    return vars;
}

Var random_literal(std::mt19937_64 &rng) {
    const Var v = pool()[rng() % pool().size()];
    return rng() % 4 == 0 ? ~v : v;
}

// Elements of degree at most 1, so that any product of two stays within the
// degree limit.
template <class T>
T random_elem(std::mt19937_64 &rng) {
    if constexpr (std::same_as<T, Var>) {
        return random_literal(rng);
    } else if constexpr (std::same_as<T, Int>) {
        return test::random_int(rng);
    } else if constexpr (std::same_as<T, Term>) {
        return rng() % 5 == 0 ? Term(test::random_int(rng)) : Term(test::random_int(rng), random_literal(rng));
    } else {
        Expr e(test::random_int(rng));
        const unsigned n = rng() % 4;
        for (unsigned k = 0; k < n; ++k) e += Term(test::random_int(rng), random_literal(rng));
        return e;
    }
}

template <class T>
Array<T> random_array(const Shape &shape, std::mt19937_64 &rng) {
    std::vector<T> data;
    const uint64_t n = std::accumulate(shape.begin(), shape.end(), uint64_t{1}, std::multiplies<>());
    for (uint64_t i = 0; i < n; ++i) data.push_back(random_elem<T>(rng));
    return Array<T>(shape, data);
}

// Canonical binary form of any element, for comparisons by value.
template <class T>
Expr canon(const T &v) {
    return simplify_as_binary(Expr(v));
}

::testing::AssertionResult same_value(const Expr &a, const Expr &b) {
    const Expr ca = simplify_as_binary(a), cb = simplify_as_binary(b);
    ::testing::AssertionResult r = same_expr(ca.handle(), cb.handle());
    if (!r) r << " (" << ca << " vs " << cb << ")";
    return r;
}

template <class F>
void each_type(F f) {
    f(std::type_identity<Var>{});
    f(std::type_identity<Int>{});
    f(std::type_identity<Term>{});
    f(std::type_identity<Expr>{});
}

std::string seed_note(uint64_t seed) { return "seed " + std::to_string(seed); }

// Whether an Array expression is available, so that the dispatch table's
// gaps are seen from the outside.
template <class L, class R>
concept can_add_assign = requires(Array<L> &a, const R &b) { a += b; };
template <class L, class R>
concept can_mul_assign = requires(Array<L> &a, const R &b) { a *= b; };
template <class L, class R>
concept can_div = requires(const Array<L> &a, const R &b) { a / b; };
template <class L>
concept can_invert = requires(const Array<L> &a) { ~a; };
template <class L>
concept can_sqr = requires(const Array<L> &a) { sqr(a); };

// ---- construction, queries, element access, printing ------------------------

TEST(ArrayBasics, ShapesSizesAndDefaults) {
    const Array<Int> r0(Shape{});
    EXPECT_EQ(r0.ndim(), 0u);
    EXPECT_EQ(r0.size(), 1u);
    EXPECT_EQ(r0(), 0);
    EXPECT_EQ(r0.str(), "{}");

    const Array<Int> empty({3, 0, 2});
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_EQ(empty.shape(), (Shape{3, 0, 2}));
    EXPECT_EQ(empty.str(), "{{},{},{}}");

    const Array<Expr> z({2, 3});
    EXPECT_EQ(z.ndim(), 2u);
    EXPECT_EQ(z.extent(-1), 3u);
    EXPECT_EQ(z(1, 2).term_count(), 0u);
    EXPECT_EQ(z(1, 2).constant(), 0);

    const Array<Expr> c = Array<Expr>::constant({2}, Int(-7));
    EXPECT_EQ(c(1).constant(), -7);
    const Var v("ca");
    const Array<Expr> cv = Array<Expr>::constant({2}, v);
    EXPECT_TRUE(same_value(cv(0), Expr(v)));
    const Array<Term> f = Array<Term>::full({2, 2}, Term(3, v));
    EXPECT_EQ(f(1, 1).coeff(), 3);
    EXPECT_EQ(f(1, 1).var_code(0), v.code());
}

TEST(ArrayBasics, NamedVariablesAreFreshAndRowMajor) {
    const Array<Var> x("nx", {2, 3});
    EXPECT_EQ(x(1, 2).name(), "nx[1][2]");
    EXPECT_EQ(x.at(0, 1).name(), "nx[0][1]");
    std::vector<uint32_t> codes;
    for (uint64_t i = 0; i < 2; ++i) {
        for (uint64_t j = 0; j < 3; ++j) codes.push_back(x(i, j).code());
    }
    for (std::size_t k = 1; k < codes.size(); ++k) EXPECT_EQ(codes[k], codes[k - 1] + 1);
    const Array<Var> y("", {2});
    EXPECT_NE(y(0).code(), y(1).code());
    EXPECT_NE(y(0).code(), x(0, 0).code());

    std::ostringstream os;
    os << x;
    EXPECT_EQ(os.str(), "{{nx[0][0],nx[0][1],nx[0][2]},{nx[1][0],nx[1][1],nx[1][2]}}");
}

TEST(ArrayBasics, DataIsRowMajorAndSetWritesOneElement) {
    Array<Int> a({2, 3}, {0, 1, 2, 10, 11, 12});
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 3; ++j) EXPECT_EQ(a(i, j), 10 * i + j);
    }
    a.set(1, 0, -5);
    EXPECT_EQ(a(1, 0), -5);
    EXPECT_EQ(a(0, 0), 0);
    EXPECT_EQ(a(1, 1), 11);

    const Var v("sv");
    Array<Expr> e({2});
    e.set(1, v);
    e.set(0, Term(4, v));
    EXPECT_TRUE(same_value(e(1), Expr(v)));
    EXPECT_TRUE(same_value(e(0), Expr(Term(4, v))));

    // Copies are deep.
    Array<Int> b = a;
    b.set(0, 0, 99);
    EXPECT_EQ(a(0, 0), 0);
    EXPECT_EQ(b(0, 0), 99);
}

// ---- bad input throws before the library is reached -------------------------

template <class E, class F>
void expect_throw_naming(F f, const std::string &needle) {
    try {
        f();
        ADD_FAILURE() << "no exception; expected one naming " << needle;
    } catch (const E &e) {
        EXPECT_NE(std::string(e.what()).find(needle), std::string::npos) << e.what() << " lacks " << needle;
    }
}

TEST(ArrayBadInput, IndicesAreCheckedInCountAndRange) {
    Array<Int> a({2, 3});
    expect_throw_naming<std::out_of_range>([&] { (void)a(2, 0); }, "(2,3)");
    expect_throw_naming<std::out_of_range>([&] { (void)a(0, 3); }, "index 3 on axis 1");
    expect_throw_naming<std::out_of_range>([&] { (void)a(-1, 0); }, "index -1");
    expect_throw_naming<std::out_of_range>([&] { (void)a.at(0); }, "1 indices for shape (2,3)");
    expect_throw_naming<std::out_of_range>([&] { (void)a(0, 0, 0); }, "3 indices");
    expect_throw_naming<std::out_of_range>([&] { a.set(0, 7, 1); }, "(2,3)");
    expect_throw_naming<std::out_of_range>([&] { a.set(1); }, "0 indices");
    const Array<Var> r0(Shape{});
    expect_throw_naming<std::out_of_range>([&] { (void)r0(0); }, "()");
    const Array<Var> none({0});
    expect_throw_naming<std::out_of_range>([&] { (void)none(0); }, "(0)");
}

TEST(ArrayBadInput, SlicesSubarraysAndConcatAreChecked) {
    const Array<Var> x("bx", {4, 3});
    expect_throw_naming<std::out_of_range>([&] { (void)x.slice(range(3, 2)); }, "[3,2)");
    expect_throw_naming<std::out_of_range>([&] { (void)x.slice(range(1, 5)); }, "(4,3)");
    expect_throw_naming<std::out_of_range>([&] { (void)x.slice(range(-1, 2)); }, "[-1,2)");
    expect_throw_naming<std::out_of_range>([&] { (void)x.slice(all, 3); }, "index 3 on axis 1");
    expect_throw_naming<std::out_of_range>([&] { (void)x.slice(0, 0, 0); }, "3 axis arguments");
    expect_throw_naming<std::out_of_range>([&] { (void)x.subarray(4); }, "(4,3)");
    expect_throw_naming<std::out_of_range>([&] { (void)x.subarray(0).subarray(0).subarray(0); }, "rank-0");

    const Array<Var> y("by", {4, 2});
    expect_throw_naming<std::invalid_argument>([&] { (void)concat(x, y, 0); }, "(4,3) vs (4,2)");
    expect_throw_naming<std::out_of_range>([&] { (void)concat(x, y, 2); }, "axis 2");
    expect_throw_naming<std::out_of_range>([&] { (void)concat(x, y, -3); }, "axis -3");
    const Array<Var> z("bz", {4});
    expect_throw_naming<std::invalid_argument>([&] { (void)concat(x, z, 0); }, "(4,3) vs (4)");
    EXPECT_EQ(concat(x, y, 1).shape(), (Shape{4, 5}));
    EXPECT_EQ(concat(x, y, -1).shape(), (Shape{4, 5}));
}

TEST(ArrayBadInput, ShapeMismatchNamesBothShapes) {
    const Array<Var> x("mx", {2, 3});
    const Array<Var> xt("mt", {3, 2});
    Array<Expr> e({2, 3});
    const Array<Int> i32({3, 2});
    const std::string both = "(2,3) vs (3,2)";
    expect_throw_naming<std::invalid_argument>([&] { (void)(x + xt); }, "Array +: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { (void)(x - xt); }, "Array -: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { (void)(x * i32); }, "Array *: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { e += xt; }, "Array +=: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { e -= i32; }, "Array -=: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { e *= xt; }, "Array *=: shape mismatch " + both);
    Array<Int> a({2, 3});
    expect_throw_naming<std::invalid_argument>([&] { a += i32; }, both);
    // Nothing broadcasts: a lower rank or an extent 1 is a mismatch too.
    const Array<Int> v3({3}), c31({3, 1});
    expect_throw_naming<std::invalid_argument>([&] { (void)(v3 + c31); }, "(3) vs (3,1)");
    const Array<Int> r0(Shape{});
    expect_throw_naming<std::invalid_argument>([&] { (void)(r0 * v3); }, "() vs (3)");
    // Data of the wrong length.
    expect_throw_naming<std::invalid_argument>([] { Array<Int>({2, 2}, {1, 2, 3}); }, "(2,2)");
}

TEST(ArrayBadInput, AxesOfSumsAndDecodingAreChecked) {
    const Array<Var> x("ax", {2, 3});
    expect_throw_naming<std::out_of_range>([&] { (void)x.sum(2); }, "axis 2 out of range for shape (2,3)");
    expect_throw_naming<std::out_of_range>([&] { (void)x.sum(-3); }, "axis -3");
    const Array<Int> r0(Shape{});
    expect_throw_naming<std::out_of_range>([&] { (void)r0.sum(0); }, "()");
    expect_throw_naming<std::out_of_range>([&] { (void)onehot_to_int(r0); }, "()");
    expect_throw_naming<std::out_of_range>([&] { (void)onehot_to_int(Array<Int>({2, 2}), 2); }, "(2,2)");
}

TEST(ArrayBadInput, DivisionByZeroThrows) {
    Array<Int> a({2}, {4, 6});
    Array<Term> t({2});
    Array<Expr> e({2});
    expect_throw_naming<std::domain_error>([&] { a /= 0; }, "division by zero");
    expect_throw_naming<std::domain_error>([&] { t /= Int(0); }, "division by zero");
    expect_throw_naming<std::domain_error>([&] { (void)(e / 0); }, "division by zero");
    a /= 2;
    EXPECT_EQ(a(1), 3);
}

TEST(ArrayBadInput, EinsumSubscriptsAreCheckedAgainstTheArrays) {
    const Array<Int> q({2, 3});
    const Array<Var> x("ex", {3});
    const Array<Var> y("ey", {2});
    // Rank against labels, in either direction.
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<1>("i,j->i", q, x); }, "(2,3)");
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<1>("ij,jk->i", q, x); }, "input 1 of shape (3)");
    // A label bound to two extents.
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<1>("ij,i->j", q, x); },
                                               "label 'i' has extent 2 and 3");
    // An output label no input has.
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<1>("ij,j->k", q, x); }, "output label 'k'");
    // Too few input subscripts, and "->" before the last one.
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<1>("ij->i", q, x); }, "separated by ','");
    // The declared rank.
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<0>("ij,j->i", q, x); }, "einsum<0>");
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<2>("ij,j", q, x); }, "gives 1 output");
    // A trace needs a square array.
    expect_throw_naming<std::invalid_argument>([&] { (void)einsum<0>("ii", q); }, "label 'i'");
    // Accepted forms of the same call.
    EXPECT_EQ(einsum<1>(" i j , j -> i ", q, x).shape(), (Shape{2}));
    EXPECT_EQ(einsum<1>("ij,j", q, x).shape(), (Shape{2}));
    EXPECT_EQ(einsum<1>("ij,j,->i", q, x).shape(), (Shape{2}));  // output implicit after a ','
    EXPECT_EQ(einsum<2>("i,j->ij", y, x).shape(), (Shape{2, 3}));
}

// ---- element-wise operators against element arithmetic ----------------------

// The expected elements of an element-wise operation on 2-d arrays.
template <class A, class F>
void expect_elementwise(const A &result, const Shape &shape, F expected, const char *what) {
    ASSERT_EQ(result.shape(), shape) << what;
    for (uint64_t i = 0; i < shape[0]; ++i) {
        for (uint64_t j = 0; j < shape[1]; ++j) {
            EXPECT_TRUE(same_value(Expr(result(i, j)), expected(i, j))) << what << " at (" << i << "," << j << ")";
        }
    }
}

template <class L, class R>
void check_pair(std::mt19937_64 &rng) {
    const Shape shape{1 + rng() % 3, 1 + rng() % 3};
    const Array<L> a = random_array<L>(shape, rng);
    const Array<R> b = random_array<R>(shape, rng);
    const R s = random_elem<R>(rng);
    auto A = [&](uint64_t i, uint64_t j) { return Expr(a(i, j)); };
    auto B = [&](uint64_t i, uint64_t j) { return Expr(b(i, j)); };
    const Expr S(s);

    // Result types follow the table: Int with Int stays Int, products without
    // an expression are terms, the rest expressions.
    constexpr bool both_int = std::same_as<L, Int> && std::same_as<R, Int>;
    constexpr bool any_expr = std::same_as<L, Expr> || std::same_as<R, Expr>;
    using Sum = std::conditional_t<both_int, Int, Expr>;
    using Prod = std::conditional_t<both_int, Int, std::conditional_t<any_expr, Expr, Term>>;
    static_assert(std::same_as<decltype(a + b), Array<Sum>>);
    static_assert(std::same_as<decltype(a - b), Array<Sum>>);
    static_assert(std::same_as<decltype(a * b), Array<Prod>>);
    static_assert(std::same_as<decltype(a * s), Array<Prod>>);

    expect_elementwise(a + b, shape, [&](auto i, auto j) { return A(i, j) + B(i, j); }, "a + b");
    expect_elementwise(a - b, shape, [&](auto i, auto j) { return A(i, j) - B(i, j); }, "a - b");
    expect_elementwise(a * b, shape, [&](auto i, auto j) { return A(i, j) * B(i, j); }, "a * b");
    expect_elementwise(a + s, shape, [&](auto i, auto j) { return A(i, j) + S; }, "a + s");
    expect_elementwise(a - s, shape, [&](auto i, auto j) { return A(i, j) - S; }, "a - s");
    expect_elementwise(a * s, shape, [&](auto i, auto j) { return A(i, j) * S; }, "a * s");
    // A single value on the left.
    const L s_left = random_elem<L>(rng);
    const Expr SL(s_left);
    expect_elementwise(s_left + b, shape, [&](auto i, auto j) { return SL + B(i, j); }, "s + b");
    expect_elementwise(s_left - b, shape, [&](auto i, auto j) { return SL - B(i, j); }, "s - b");
    expect_elementwise(s_left * b, shape, [&](auto i, auto j) { return SL * B(i, j); }, "s * b");

    // In place where the library has the form: Expr arrays take everything,
    // Int arrays Int operands.
    if constexpr (std::same_as<L, Expr> || both_int) {
        Array<L> c = a;
        c += b;
        expect_elementwise(c, shape, [&](auto i, auto j) { return A(i, j) + B(i, j); }, "c += b");
        c = a;
        c -= b;
        expect_elementwise(c, shape, [&](auto i, auto j) { return A(i, j) - B(i, j); }, "c -= b");
        c = a;
        c *= b;
        expect_elementwise(c, shape, [&](auto i, auto j) { return A(i, j) * B(i, j); }, "c *= b");
        c = a;
        c += s;
        c -= s;
        c -= s;
        expect_elementwise(c, shape, [&](auto i, auto j) { return A(i, j) - S; }, "c += s; c -= s twice");
        c = a;
        c *= s;
        expect_elementwise(c, shape, [&](auto i, auto j) { return A(i, j) * S; }, "c *= s");
    } else {
        static_assert(!can_add_assign<L, Array<R>> && !can_add_assign<L, R>);
    }
}

TEST(ArrayElementwise, EveryPairOfElementTypesMatchesElementArithmetic) {
    for (uint64_t seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed_note(seed));
        std::mt19937_64 rng(seed);
        each_type([&](auto l) {
            each_type([&](auto r) {
                using L = typename decltype(l)::type;
                using R = typename decltype(r)::type;
                check_pair<L, R>(rng);
            });
        });
    }
}

TEST(ArrayElementwise, BuiltinIntegersAndIntegerFormsMatch) {
    std::mt19937_64 rng(77);
    const Shape shape{2, 3};
    const Array<Var> x = random_array<Var>(shape, rng);
    const Array<Int> k = random_array<Int>(shape, rng);
    auto X = [&](uint64_t i, uint64_t j) { return Expr(x(i, j)); };
    auto K = [&](uint64_t i, uint64_t j) { return Expr(k(i, j)); };
    expect_elementwise(x + 1, shape, [&](auto i, auto j) { return X(i, j) + 1; }, "x + 1");
    expect_elementwise(3 - x, shape, [&](auto i, auto j) { return 3 - X(i, j); }, "3 - x");
    expect_elementwise(-2 * x, shape, [&](auto i, auto j) { return X(i, j) * -2; }, "-2 * x");
    expect_elementwise(k * 5, shape, [&](auto i, auto j) { return K(i, j) * 5; }, "k * 5");
    static_assert(std::same_as<decltype(k * 5), Array<Int>>);
    static_assert(std::same_as<decltype(x * 5), Array<Term>>);

    // Exact division of terms and expressions; truncating division of integers.
    const Array<Term> t = x * 6;
    expect_elementwise(t / 3, shape, [&](auto i, auto j) { return X(i, j) * 2; }, "t / 3");
    Array<Expr> e = (x + 2) * 4;
    e /= -2;
    expect_elementwise(e, shape, [&](auto i, auto j) { return (X(i, j) + 2) * -2; }, "e /= -2");
    Array<Int> q({2}, {7, -7});
    q /= 2;
    EXPECT_EQ(q(0), 3);
    EXPECT_EQ(q(1), -3);
    Array<Term> tt = x * 2;
    tt *= 3;
    expect_elementwise(tt, shape, [&](auto i, auto j) { return X(i, j) * 6; }, "tt *= 3");

    static_assert(!can_div<Int, int>, "the library has no out-of-place integer division");
    static_assert(!can_mul_assign<Var, int> && !can_add_assign<Term, Int>);
    static_assert(can_invert<Var> && !can_invert<Expr>);
    static_assert(can_sqr<Expr> && !can_sqr<Var>);
}

TEST(ArrayElementwise, UnaryFormsMatchElementArithmetic) {
    std::mt19937_64 rng(5);
    const Shape shape{3, 2};
    const Array<Var> x = random_array<Var>(shape, rng);
    const Array<Int> k = random_array<Int>(shape, rng);
    const Array<Term> t = random_array<Term>(shape, rng);
    const Array<Expr> e = random_array<Expr>(shape, rng);
    auto neg = [](auto &&v) { return Expr(0) - Expr(v); };
    expect_elementwise(-x, shape, [&](auto i, auto j) { return neg(x(i, j)); }, "-x");
    expect_elementwise(-k, shape, [&](auto i, auto j) { return neg(k(i, j)); }, "-k");
    expect_elementwise(-t, shape, [&](auto i, auto j) { return neg(t(i, j)); }, "-t");
    expect_elementwise(-e, shape, [&](auto i, auto j) { return neg(e(i, j)); }, "-e");
    static_assert(std::same_as<decltype(-k), Array<Expr>>);

    const Array<Var> nx = ~x;
    for (uint64_t i = 0; i < 3; ++i) {
        for (uint64_t j = 0; j < 2; ++j) EXPECT_EQ(nx(i, j), ~x(i, j));
    }
    const Array<Var> back = ~nx;
    EXPECT_EQ(back(2, 1), x(2, 1));

    expect_elementwise(sqr(e), shape, [&](auto i, auto j) { return e(i, j) * e(i, j); }, "sqr(e)");
    const Array<Expr> sb = simplify_as_binary(e + x);
    for (uint64_t i = 0; i < 3; ++i) {
        for (uint64_t j = 0; j < 2; ++j) {
            EXPECT_TRUE(same_expr(sb(i, j).handle(), simplify_as_binary(e(i, j) + x(i, j)).handle()));
        }
    }
    const Array<Expr> sp = simplify(e + e);
    EXPECT_TRUE(same_expr(sp(0, 0).handle(), simplify(e(0, 0) * 2).handle()));
}

TEST(ArrayElementwise, SelfOperandsAndRankZero) {
    std::mt19937_64 rng(9);
    const Array<Expr> e0 = random_array<Expr>({2, 2}, rng);
    Array<Expr> e = e0;
    e += e;
    expect_elementwise(e, {2, 2}, [&](auto i, auto j) { return e0(i, j) * 2; }, "e += e");
    e = e0;
    e *= e;
    expect_elementwise(e, {2, 2}, [&](auto i, auto j) { return e0(i, j) * e0(i, j); }, "e *= e");
    e = e0;
    e -= e;
    expect_elementwise(e, {2, 2}, [&](auto, auto) { return Expr(0); }, "e -= e");

    const Array<Var> a = random_array<Var>(Shape{}, rng);
    const Array<Int> b = random_array<Int>(Shape{}, rng);
    const Array<Expr> r = a + b;
    EXPECT_EQ(r.ndim(), 0u);
    EXPECT_TRUE(same_value(r(), Expr(a()) + b()));
}

// Above the library's serial limit the element loop runs on several threads
// (unless VEXA_NUM_THREADS=1): the elements are the same either way.
TEST(ArrayElementwise, LargeArraysMatchElementArithmetic) {
    std::mt19937_64 rng(21);
    const Shape shape{120, 100};
    const Array<Var> x = random_array<Var>(shape, rng);
    const Array<Expr> e = random_array<Expr>(shape, rng);
    const Array<Expr> p = x * e + 3;
    for (int probe = 0; probe < 200; ++probe) {
        const uint64_t i = rng() % 120, j = rng() % 100;
        EXPECT_TRUE(same_value(p(i, j), x(i, j) * e(i, j) + 3)) << i << "," << j;
    }
}

// ---- sums, slices, subarrays, concat -----------------------------------------

template <class T>
void check_sums(std::mt19937_64 &rng) {
    const Shape shape{1 + rng() % 3, rng() % 3, 1 + rng() % 3};  // the middle extent may be 0
    const Array<T> a = random_array<T>(shape, rng);
    Expr all_sum;
    for (uint64_t i = 0; i < shape[0]; ++i) {
        for (uint64_t j = 0; j < shape[1]; ++j) {
            for (uint64_t k = 0; k < shape[2]; ++k) all_sum += Expr(a(i, j, k));
        }
    }
    EXPECT_TRUE(same_value(a.sum(), all_sum));
    for (int axis : {0, 1, 2, -1, -3}) {
        SCOPED_TRACE("axis " + std::to_string(axis));
        const std::size_t k = static_cast<std::size_t>(axis < 0 ? axis + 3 : axis);
        const Array<Expr> s = a.sum(axis);
        Shape expected_shape = shape;
        expected_shape.erase(expected_shape.begin() + static_cast<std::ptrdiff_t>(k));
        ASSERT_EQ(s.shape(), expected_shape);
        for (uint64_t u = 0; u < expected_shape[0]; ++u) {
            for (uint64_t v = 0; v < expected_shape[1]; ++v) {
                Expr expected;
                for (uint64_t w = 0; w < shape[k]; ++w) {
                    uint64_t idx[3];
                    uint64_t rest[2] = {u, v};
                    for (std::size_t d = 0, r = 0; d < 3; ++d) idx[d] = d == k ? w : rest[r++];
                    expected += Expr(a(idx[0], idx[1], idx[2]));
                }
                EXPECT_TRUE(same_value(s(u, v), expected)) << "(" << u << "," << v << ")";
            }
        }
    }
}

TEST(ArraySums, SumAndSumAlongAxisMatchLoops) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed_note(seed));
        std::mt19937_64 rng(seed);
        each_type([&](auto t) { check_sums<typename decltype(t)::type>(rng); });
    }
    // A rank-1 array sums along its axis to rank 0.
    const Array<Int> v({3}, {1, 2, 3});
    const Array<Expr> s = v.sum(0);
    EXPECT_EQ(s.ndim(), 0u);
    EXPECT_EQ(s().constant(), 6);
}

// slice() against index arithmetic: elements are their own flat positions,
// so each element of a slice says where it came from.
TEST(ArraySlicing, SlicesMatchIndexArithmetic) {
    for (uint64_t seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE(seed_note(seed));
        std::mt19937_64 rng(seed);
        const Shape s{1 + rng() % 4, 1 + rng() % 4, 1 + rng() % 4};
        std::vector<Int> data;
        for (uint64_t f = 0; f < s[0] * s[1] * s[2]; ++f) data.emplace_back(f);
        const Array<Int> a(s, data);
        auto at = [&](uint64_t i, uint64_t j, uint64_t k) { return Int((i * s[1] + j) * s[2] + k); };
        auto pick_range = [&](uint64_t n) {
            const int64_t b = static_cast<int64_t>(rng() % (n + 1));
            const int64_t e = b + static_cast<int64_t>(rng() % (n - static_cast<uint64_t>(b) + 1));
            return range(b, e);
        };
        const Range r0 = pick_range(s[0]), r2 = pick_range(s[2]);
        const int64_t fixed = static_cast<int64_t>(rng() % s[1]);

        // range, index, all: rank 2
        const Array<Int> v = a.slice(r0, fixed, all);
        ASSERT_EQ(v.shape(), (Shape{static_cast<uint64_t>(r0.end - r0.begin), s[2]}));
        for (int64_t i = r0.begin; i < r0.end; ++i) {
            for (uint64_t k = 0; k < s[2]; ++k) {
                EXPECT_EQ(v(i - r0.begin, k), at(i, fixed, k));
            }
        }
        // index, all, range: rank 2
        const Array<Int> w = a.slice(fixed % static_cast<int64_t>(s[0]), all, r2);
        ASSERT_EQ(w.shape(), (Shape{s[1], static_cast<uint64_t>(r2.end - r2.begin)}));
        for (uint64_t j = 0; j < s[1]; ++j) {
            for (int64_t k = r2.begin; k < r2.end; ++k) {
                EXPECT_EQ(w(j, k - r2.begin), at(fixed % s[0], j, k));
            }
        }
        // a leading range only: the other axes stay whole
        const Array<Int> u = a.slice(r0);
        ASSERT_EQ(u.shape(), (Shape{static_cast<uint64_t>(r0.end - r0.begin), s[1], s[2]}));
        if (u.size() > 0) {
            EXPECT_EQ(u(0, s[1] - 1, s[2] - 1), at(r0.begin, s[1] - 1, s[2] - 1));
        }
        // every axis fixed: rank 0
        const Array<Int> one = a.slice(s[0] - 1, fixed, 0);
        EXPECT_EQ(one.ndim(), 0u);
        EXPECT_EQ(one(), at(s[0] - 1, fixed, 0));
        // subarray(i) is slice(i)
        const Array<Int> sub = a.subarray(static_cast<int64_t>(s[0] - 1));
        ASSERT_EQ(sub.shape(), (Shape{s[1], s[2]}));
        EXPECT_EQ(sub(fixed, s[2] - 1), at(s[0] - 1, fixed, s[2] - 1));
    }
}

TEST(ArraySlicing, SlicesKeepExpressionsAndConcatJoinsAlongAnAxis) {
    std::mt19937_64 rng(3);
    const Array<Expr> e = random_array<Expr>({3, 4}, rng);
    const Array<Expr> col = e.slice(all, 2);
    ASSERT_EQ(col.shape(), (Shape{3}));
    for (uint64_t i = 0; i < 3; ++i) EXPECT_TRUE(same_expr(col(i).handle(), e(i, 2).handle()));

    for (int axis : {0, 1}) {
        SCOPED_TRACE("axis " + std::to_string(axis));
        const Shape sb = axis == 0 ? Shape{2, 4} : Shape{3, 1};
        const Array<Expr> b = random_array<Expr>(sb, rng);
        const Array<Expr> c = concat(e, b, axis);
        const Shape sc = c.shape();
        ASSERT_EQ(sc, axis == 0 ? (Shape{5, 4}) : (Shape{3, 5}));
        for (uint64_t i = 0; i < sc[0]; ++i) {
            for (uint64_t j = 0; j < sc[1]; ++j) {
                const bool from_a = axis == 0 ? i < 3 : j < 4;
                const Expr expected = from_a ? e(i, j) : (axis == 0 ? b(i - 3, j) : b(i, j - 4));
                EXPECT_TRUE(same_expr(c(i, j).handle(), expected.handle())) << i << "," << j;
            }
        }
    }
}

// ---- einsum against brute-force contractions --------------------------------

// "ij,j->i" and "ij,jk->ik" for every pair of element types, the transpose
// "ji->ij" for each type, against loops of expression arithmetic.
template <class P, class Q>
void check_einsum_pair(std::mt19937_64 &rng) {
    const uint64_t I = 1 + rng() % 3, J = rng() % 4, K = 1 + rng() % 3;  // J may be 0: empty sums
    const Array<P> a = random_array<P>({I, J}, rng);
    const Array<Q> v = random_array<Q>({J}, rng);
    const Array<Q> m = random_array<Q>({J, K}, rng);

    const Array<Expr> av = einsum<1>("ij,j->i", a, v);
    ASSERT_EQ(av.shape(), (Shape{I}));
    for (uint64_t i = 0; i < I; ++i) {
        Expr expected;
        for (uint64_t j = 0; j < J; ++j) expected += Expr(a(i, j)) * Expr(v(j));
        EXPECT_TRUE(same_value(av(i), expected)) << "ij,j->i at " << i;
    }
    const Array<Expr> am = einsum<2>("ij,jk->ik", a, m);
    ASSERT_EQ(am.shape(), (Shape{I, K}));
    for (uint64_t i = 0; i < I; ++i) {
        for (uint64_t k = 0; k < K; ++k) {
            Expr expected;
            for (uint64_t j = 0; j < J; ++j) expected += Expr(a(i, j)) * Expr(m(j, k));
            EXPECT_TRUE(same_value(am(i, k), expected)) << "ij,jk->ik at " << i << "," << k;
        }
    }
    const Array<Expr> t = einsum<2>("ji->ij", a);  // "ba" with implicit output is the same transpose
    const Array<Expr> t2 = einsum<2>("ba", a);
    ASSERT_EQ(t.shape(), (Shape{J, I}));
    for (uint64_t j = 0; j < J; ++j) {
        for (uint64_t i = 0; i < I; ++i) {
            EXPECT_TRUE(same_value(t(j, i), Expr(a(i, j))));
            EXPECT_TRUE(same_value(t2(j, i), Expr(a(i, j))));
        }
    }
}

TEST(ArrayEinsum, TwoInputContractionsMatchLoopsForEveryTypePair) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed_note(seed));
        std::mt19937_64 rng(seed);
        each_type([&](auto p) {
            each_type([&](auto q) { check_einsum_pair<typename decltype(p)::type, typename decltype(q)::type>(rng); });
        });
    }
}

// x^T Q x over three inputs, with the quadratic form's factors of degree 1.
template <class X, class Q, class Y>
void check_quadratic_form(std::mt19937_64 &rng) {
    const uint64_t n = 1 + rng() % 4;
    const Array<X> x = random_array<X>({n}, rng);
    const Array<Q> q = random_array<Q>({n, n}, rng);
    const Array<Y> y = random_array<Y>({n}, rng);
    const Array<Expr> r = einsum<0>("i,ij,j->", x, q, y);
    ASSERT_EQ(r.ndim(), 0u);
    Expr expected;
    for (uint64_t i = 0; i < n; ++i) {
        for (uint64_t j = 0; j < n; ++j) expected += Expr(x(i)) * Expr(q(i, j)) * Expr(y(j));
    }
    EXPECT_TRUE(same_value(r(), expected));
    // The trace of q: a label repeated inside one input.
    const Array<Expr> tr = einsum<0>("ii", q);
    Expr trace;
    for (uint64_t i = 0; i < n; ++i) trace += Expr(q(i, i));
    EXPECT_TRUE(same_value(tr(), trace));
}

TEST(ArrayEinsum, QuadraticFormsAndTracesMatchLoops) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
        SCOPED_TRACE(seed_note(seed));
        std::mt19937_64 rng(seed);
        check_quadratic_form<Var, Int, Var>(rng);
        check_quadratic_form<Var, Int, Expr>(rng);
        check_quadratic_form<Expr, Int, Var>(rng);
        check_quadratic_form<Term, Int, Var>(rng);
        check_quadratic_form<Int, Var, Int>(rng);
        check_quadratic_form<Int, Expr, Int>(rng);
    }
}

TEST(ArrayEinsum, IntegerOutputMatchesLoops) {
    std::mt19937_64 rng(11);
    const Array<Int> q = random_array<Int>({3, 4}, rng);
    const Array<Int> v = random_array<Int>({4}, rng);
    const Array<Int> r = einsum<1, Int>("ij,j->i", q, v);
    ASSERT_EQ(r.shape(), (Shape{3}));
    for (uint64_t i = 0; i < 3; ++i) {
        Expr expected;
        for (uint64_t j = 0; j < 4; ++j) expected += Expr(q(i, j)) * v(j);
        EXPECT_EQ(r(i), expected.constant()) << i;
    }
    const Array<Int> whole = einsum<0, Int>("ij,ij->", q, q);
    Expr squares;
    for (uint64_t i = 0; i < 3; ++i) {
        for (uint64_t j = 0; j < 4; ++j) squares += Expr(q(i, j)) * q(i, j);
    }
    EXPECT_EQ(whole(), squares.constant());
}

// ---- read-out of a solution ---------------------------------------------------

TEST(ArrayReadout, ValuesAndOneHotDecodingAfterASolve) {
    // A 3x3 assignment: each row and column holds one 1, and the cost makes
    // the anti-diagonal the only optimum.
    const Array<Var> x("rx", {3, 3});
    const Array<Int> cost({3, 3}, {5, 5, 0, 5, 0, 5, 0, 5, 5});
    const Expr penalty = sqr(x.sum(1) - 1).sum() + sqr(x.sum(0) - 1).sum();
    const Expr objective = einsum<0>("ij,ij->", cost, x)() + penalty * 20;
    const Model m = Model::from(objective);
    const Result r = ExhaustiveSolver(m).search();
    EXPECT_EQ(r.energy(), 0);

    const Array<Int> v = values(r, x);
    ASSERT_EQ(v.shape(), (Shape{3, 3}));
    for (uint64_t i = 0; i < 3; ++i) {
        for (uint64_t j = 0; j < 3; ++j) {
            EXPECT_EQ(v(i, j), r(x(i, j))) << i << "," << j;
            EXPECT_EQ(v(i, j), i + j == 2 ? 1 : 0) << i << "," << j;
        }
    }
    const Array<Int> col_of_row = onehot_to_int(v, 1);
    const Array<Int> row_of_col = onehot_to_int(v, -2);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(col_of_row(i), 2 - i);
        EXPECT_EQ(row_of_col(i), 2 - i);
    }
    // Negated literals read inverted; a variable outside the model reads 0.
    const Var outside("r_outside");
    const Array<Var> mixed({3}, {~x(0, 0), x(0, 2), outside});
    const Array<Int> mv = values(r, mixed);
    EXPECT_EQ(mv(0), 1);
    EXPECT_EQ(mv(1), 1);
    EXPECT_EQ(mv(2), 0);
}

TEST(ArrayReadout, OneHotDecodingRefusesLinesThatAreNotOneHot) {
    const Array<Int> rows({4, 3}, {0, 1, 0, 0, 1, 1, 0, 2, 0, 0, 0, 0});
    const Array<Int> d = onehot_to_int(rows);
    ASSERT_EQ(d.shape(), (Shape{4}));
    EXPECT_EQ(d(0), 1);
    EXPECT_EQ(d(1), -1);
    EXPECT_EQ(d(2), -1);
    EXPECT_EQ(d(3), -1);
    const Array<Int> line = onehot_to_int(Array<Int>({3}, {0, 0, 1}));
    ASSERT_EQ(line.shape(), (Shape{1}));
    EXPECT_EQ(line(0), 2);
}

// ---- constraints on every element ---------------------------------------------

namespace cons {

struct Bounds {
    Int lo, hi;
};

// The bounds that element i of a constraint array records.
Bounds bounds_at(const Array<Expr> &r, uint64_t i) {
    const Expr e = r(i);
    hpp_detail::OutRecord lo, hi;
    EXPECT_EQ(vexa_exprexpr_get_bounds(e.handle(), lo.get(), hi.get()), 1) << "element " << i << " is no constraint";
    return Bounds{lo.take(), hi.take()};
}
Expr body_at(const Array<Expr> &r, uint64_t i) {
    const Expr e = r(i);
    return Expr::adopt(vexa_expr_clone(vexa_exprexprelem_get_body(e.handle())));
}
Expr penalty_at(const Array<Expr> &r, uint64_t i) {
    return Expr::adopt(vexa_array_exprexpr_get_penalty(r.handle(), i));
}

template <class L>
void check_forms(std::mt19937_64 &rng) {
    const uint64_t n = 1 + rng() % 4;
    const Array<L> a = random_array<L>({n}, rng);
    const Int c = static_cast<long long>(rng() % 7) - 3;
    std::vector<Int> cv;
    for (uint64_t i = 0; i < n; ++i) cv.emplace_back(static_cast<long long>(rng() % 7) - 3);
    const Array<Int> ca({n}, cv);

    const Array<Expr> le = a <= c, ge = a >= c, le_arr = a <= ca, ge_arr = a >= ca;
    const Array<Expr> mirrored = c <= a;  // the same as a >= c
    const Int c2 = c.to_int64() + 2;
    const Array<Expr> range = between(c, a, c2);
    const Array<Expr> range_arr = between(ca, a, ca);
    for (uint64_t i = 0; i < n; ++i) {
        SCOPED_TRACE("element " + std::to_string(i));
        const Expr f(a(i));
        const Int lowest = f.lower_bound(), highest = f.upper_bound();
        auto expect = [&](const Array<Expr> &r, const Int &lo, const Int &hi, const char *what) {
            ASSERT_EQ(r.shape(), (Shape{n})) << what;
            const Bounds b = bounds_at(r, i);
            EXPECT_EQ(b.lo, lo) << what;
            EXPECT_EQ(b.hi, hi) << what;
            EXPECT_TRUE(same_value(body_at(r, i), f)) << what;
        };
        expect(le, lowest, c, "a <= c");
        expect(ge, c, highest, "a >= c");
        expect(le_arr, lowest, cv[i], "a <= c[i]");
        expect(ge_arr, cv[i], highest, "a >= c[i]");
        expect(mirrored, c, highest, "c <= a");
        expect(range, c, c2, "between(c, a, c + 2)");
        expect(range_arr, cv[i], cv[i], "between(c[i], a, c[i])");
        if constexpr (!std::same_as<L, Int>) {
            const Array<Expr> eq = a == c, eq_arr = a == ca;
            expect(eq, c, c, "a == c");
            expect(eq_arr, cv[i], cv[i], "a == c[i]");
            EXPECT_TRUE(same_value(penalty_at(eq, i), sqr(f - c)));
            EXPECT_TRUE(same_value(penalty_at(eq_arr, i), sqr(f - cv[i])));
        } else {
            const Array<Expr> eq = a == c;
            expect(eq, c, c, "a == c");
            EXPECT_TRUE(same_value(penalty_at(eq, i), sqr(f - c)));
        }
    }
}

template <class L, class R>
concept can_equal = requires(const Array<L> &a, const R &b) { a == b; };

}  // namespace cons

TEST(ArrayConstraints, FormsRecordBodyAndBoundsOfEveryElement) {
    for (uint64_t seed = 1; seed <= 5; ++seed) {
        SCOPED_TRACE(seed_note(seed));
        std::mt19937_64 rng(seed);
        each_type([&](auto t) { cons::check_forms<typename decltype(t)::type>(rng); });
    }
    // The library has no == between two Int arrays, nor with other arrays.
    static_assert(cons::can_equal<Var, Array<Int>> && !cons::can_equal<Int, Array<Int>>);
    static_assert(!cons::can_equal<Var, Array<Var>> && cons::can_equal<Int, int>);
}

TEST(ArrayConstraints, BoundArraysOfAnotherShapeThrow) {
    const Array<Var> x("cx", {2, 3});
    const Array<Int> wrong({3, 2}), right({2, 3});
    const std::string both = "(2,3) vs (3,2)";
    expect_throw_naming<std::invalid_argument>([&] { (void)(x == wrong); }, "Array ==: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { (void)(x <= wrong); }, "Array <=: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { (void)(x >= wrong); }, "Array >=: shape mismatch " + both);
    expect_throw_naming<std::invalid_argument>([&] { (void)between(wrong, x, right); }, "(3,2) and (2,3)");
    expect_throw_naming<std::invalid_argument>([&] { (void)between(right, x, wrong); }, "shape (2,3)");
}

// Constraint arrays in a model: one-hot rows as equalities, column counts as
// ranges. Every optimum of the penalties satisfies them all.
TEST(ArrayConstraints, PenaltiesHoldAtTheOptimum) {
    const Array<Var> x("kx", {2, 3});
    const Expr rows = (1 == x.sum(1)).sum();
    const Expr cols = between(0, x.sum(0), 1).sum();
    const Expr want = (x.sum(0).slice(0) >= 1).sum();  // column 0 is used
    const Result r = ExhaustiveSolver(Model::from(rows + cols + want)).search();
    EXPECT_EQ(r.energy(), 0);
    const Array<Int> v = values(r, x);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(v.slice(i).sum().constant(), 1) << "row " << i;
    for (int j = 0; j < 3; ++j) EXPECT_LE(v.slice(all, j).sum().constant(), 1) << "column " << j;
    EXPECT_EQ(v.slice(all, 0).sum().constant(), 1);
}

}  // namespace
