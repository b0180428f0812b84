// Ownership in vexa.hpp: deep copies, cheap moves, temporaries consumed in
// place, nothing leaked or freed twice (the sanitizer build checks the last).
//
// This program defines the library's copying functions itself and forwards
// them to the library, counting the calls: every call from the header (and
// from inside the library) lands here first.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <type_traits>

#include "frontend/hpp_util.hpp"

namespace {
std::atomic<int> copies{0};

template <class F>
F next_symbol(const char *name) {
    void *p = dlsym(RTLD_NEXT, name);
    if (p == nullptr) std::abort();
    return reinterpret_cast<F>(p);
}
}  // namespace

#define VEXA_COUNTED(ret, name, params, args)                                      \
    extern "C" ret name params {                                                   \
        static const auto real = next_symbol<ret(*) params>(#name);                \
        copies.fetch_add(1);                                                       \
        return real args;                                                          \
    }

VEXA_COUNTED(ExprImpl *, vexa_expr_clone, (const ExprImpl *e), (e))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_add_int, (const ExprImpl *e, const vexa_bigint *c), (e, c))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_sub_int, (const ExprImpl *e, const vexa_bigint *c), (e, c))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_add_var, (const ExprImpl *e, uint32_t v), (e, v))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_sub_var, (const ExprImpl *e, uint32_t v), (e, v))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_add_term, (const ExprImpl *e, const TermImpl *t), (e, t))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_sub_term, (const ExprImpl *e, const TermImpl *t), (e, t))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_add_expr, (const ExprImpl *a, const ExprImpl *b), (a, b))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_sub_expr, (const ExprImpl *a, const ExprImpl *b), (a, b))
VEXA_COUNTED(ExprImpl *, vexa_expr_clone_mul_int, (const ExprImpl *e, const vexa_bigint *k), (e, k))
VEXA_COUNTED(TermImpl *, vexa_term_clone, (const TermImpl *t), (t))
VEXA_COUNTED(ExprImpl *, vexa_expr_create_add_term_term, (const TermImpl *a, const TermImpl *b), (a, b))
VEXA_COUNTED(ExprImpl *, vexa_expr_create_sub_term_term, (const TermImpl *a, const TermImpl *b), (a, b))

namespace {

using namespace vexa;

// Counts the copying calls made while f runs.
template <class F>
int copies_during(F &&f) {
    const int before = copies.load();
    f();
    return copies.load() - before;
}

class Ownership : public ::testing::Test {
protected:
    Var x{"x"}, y{"y"}, z{"z"};
};

TEST_F(Ownership, ChainsOfTemporariesCopyNothing) {
    const Expr kept = x + 2 * y;
    EXPECT_EQ(copies_during([&] {
                  Expr e = (x + y) + (3 * x) * y - 5 + z;
                  e = std::move(e) * 2 - x + Term(7, y) - (x * z) + kept;
                  e += 4 * x * y;
                  e -= Term(2, z);
                  e *= 3;
                  Expr f = 2 * x + 3 * y;  // term + term, both temporaries: _mm
                  Expr g = (2 * x) - (3 * y);
                  Expr h = Term(5, x) + kept * 0 + x;
                  Term t = (2 * x) * 3 * y;
                  EXPECT_EQ(e.term_count() + f.term_count() + g.term_count() + h.term_count() > 0, true);
                  EXPECT_EQ(t.degree(), 2u);
              }),
              1)  // kept * 0: the one operand that is kept is copied once
        << "a temporary operand was copied";
}

TEST_F(Ownership, KeptOperandsAreCopiedOnceAndLeftAsTheyWere) {
    const Expr a = x + 1, b = y - 2;
    const Term t(3, x);
    EXPECT_EQ(copies_during([&] { const Expr s = a + b; }), 1);
    EXPECT_EQ(copies_during([&] { const Expr s = a - t; }), 1);
    EXPECT_EQ(copies_during([&] { const Term u = t * y; }), 1);
    EXPECT_EQ(copies_during([&] { const Expr s = t + t; }), 1);
    EXPECT_EQ(a.str(), "1 +x");
    EXPECT_EQ(b.str(), "-2 +y");
    EXPECT_EQ(t.str(), "3*x");
}

TEST_F(Ownership, CopiesAreDeep) {
    Expr a = x + y;
    Expr b = a;
    b += z;
    b *= 5;
    EXPECT_EQ(a.str(), "x +y");
    EXPECT_EQ(b.str(), "5*x +5*y +5*z");
    Term t(2, x);
    Term u = t;
    u *= y;
    EXPECT_EQ(t.str(), "2*x");
    EXPECT_EQ(u.str(), "2*x*y");
    a = b;
    b.negate();
    EXPECT_EQ(a.str(), "5*x +5*y +5*z");
}

TEST_F(Ownership, MovesHandOverAndLeaveTheSourceEmpty) {
    Expr a = x + y;
    ExprImpl *handle = a.handle();
    Expr b = std::move(a);
    EXPECT_EQ(b.handle(), handle);
    EXPECT_EQ(a.handle(), nullptr);  // NOLINT: moved-from state is part of the contract
    a = std::move(b);
    EXPECT_EQ(a.handle(), handle);
    a = Expr(z);  // the old object is released
    EXPECT_EQ(a.str(), "z");
    Term t(4, x);
    Term u = std::move(t);
    EXPECT_EQ(t.handle(), nullptr);  // NOLINT
    EXPECT_EQ(u.str(), "4*x");
}

// Solvers hold a search wrapper that must be released exactly once: they move
// but never copy. Values copy deeply and move without a library call.
static_assert(!std::is_copy_constructible_v<NimbaSolver> && !std::is_copy_assignable_v<NimbaSolver>);
static_assert(!std::is_copy_constructible_v<ExhaustiveSolver> && !std::is_copy_assignable_v<ExhaustiveSolver>);
static_assert(std::is_nothrow_move_constructible_v<NimbaSolver> && std::is_nothrow_move_assignable_v<NimbaSolver>);
static_assert(std::is_nothrow_move_constructible_v<ExhaustiveSolver> &&
              std::is_nothrow_move_assignable_v<ExhaustiveSolver>);
static_assert(std::is_nothrow_move_constructible_v<Expr> && std::is_nothrow_move_constructible_v<Term> &&
              std::is_nothrow_move_constructible_v<vexa::Model> && std::is_nothrow_move_constructible_v<vexa::Sol> &&
              std::is_nothrow_move_constructible_v<Result>);

TEST_F(Ownership, ModelsSolutionsAndSolversHandOverTheirHandles) {
    vexa::Model m = vexa::Model::from(x + y - 2 * x * y);
    vexa::Model shared = m;  // a second handle on the same immutable model
    EXPECT_NE(shared.handle(), m.handle());
    EXPECT_EQ(shared.var_count(), 2u);
    ::Model *model_handle = m.handle();
    vexa::Model moved = std::move(m);
    EXPECT_EQ(moved.handle(), model_handle);
    EXPECT_EQ(m.handle(), nullptr);  // NOLINT: moved-from state is part of the contract
    m = shared;                      // a moved-from value takes a new one
    EXPECT_EQ(m.var_count(), 2u);

    vexa::Sol s(moved);
    vexa::Sol copy = s;  // deep: changing the copy leaves s alone
    copy.flip(x);
    EXPECT_EQ(copy.comp_energy(), 1);
    EXPECT_EQ(s.get(x), 0);
    EXPECT_EQ(s.energy(), 0);
    ::Sol *sol_handle = copy.handle();
    vexa::Sol taken = std::move(copy);
    EXPECT_EQ(taken.handle(), sol_handle);
    EXPECT_EQ(copy.handle(), nullptr);  // NOLINT
    s = taken;
    EXPECT_EQ(s.get(x), 1);
    EXPECT_NE(s.handle(), taken.handle());

    ExhaustiveSolver first(moved);
    ExhaustiveSolver second = std::move(first);  // the wrapper goes along and still searches
    EXPECT_EQ(second.search().energy(), 0);
    ExhaustiveSolver other(shared);
    other = std::move(second);  // the old wrapper is released, the new one kept
    const Result r = other.search();
    EXPECT_EQ(r.energy(), 0);
    EXPECT_EQ(r.get(x), r.get(y));
}

TEST_F(Ownership, AnOperandMayMeetItself) {
    Expr e = x + 1;
    e += e;
    EXPECT_EQ(e.str(), "2 +x +x");
    e -= e;
    EXPECT_EQ(simplify_as_binary(e).str(), "0");
    Expr f = x + 1;
    f *= f;
    EXPECT_EQ(simplify_as_binary(f).str(), "1 +3*x");
    Term t(3, x);
    t *= t;
    EXPECT_EQ(t.str(), "9*x*x");
    Expr g = y + 2;
    Expr h = std::move(g) + g;  // the temporary is the same object as the kept operand
    EXPECT_EQ(h.str(), "4 +y +y");
    Term s(2, z);
    Expr k = std::move(s) + std::move(s);
    EXPECT_EQ(k.str(), "2*z +2*z");
    Term r(5, z);
    Expr m = std::move(r) - std::move(r);
    EXPECT_EQ(m.str(), "5*z -5*z");
    Expr self = x;
    self = self;  // NOLINT: self-assignment keeps the value
    EXPECT_EQ(self.str(), "x");
}

TEST_F(Ownership, AThrowingProductLeaksNothing) {
    Term xy = x * y;
    EXPECT_THROW(std::move(xy) * z, std::runtime_error);
    Expr e = x * y + 1;
    EXPECT_THROW(std::move(e) * (z + 1), std::runtime_error);
    EXPECT_THROW(Expr(x * y) *= Term(2, z), std::runtime_error);
}

TEST_F(Ownership, HandlesCanBeAdoptedAndReleased) {
    Expr e = Expr::adopt(vexa_expr_create_var(x.code()));
    ExprImpl *raw = e.release();
    EXPECT_EQ(e.handle(), nullptr);
    vexa_expr_iadd_var(raw, y.code());
    Expr back = Expr::adopt(raw);
    EXPECT_EQ(back.str(), "x +y");
    const Int three_value = 3;
    const vexa_bigint three = three_value.record();
    Term t = Term::adopt(vexa_term_create_var_var(&three, x.code(), y.code()));
    EXPECT_EQ(t.str(), "3*x*y");
    TermImpl *traw = t.release();
    EXPECT_EQ(t.handle(), nullptr);
    vexa_term_destroy(traw);
}

}  // namespace
