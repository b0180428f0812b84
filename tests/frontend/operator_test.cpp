// The operators of vexa.hpp against the C calls they stand for: random
// expression trees are built twice, once with the header's operators (with
// operands passed as copies or as temporaries at random) and once with plain
// C calls, and every node is compared term by term.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <variant>

#include "frontend/hpp_util.hpp"

namespace {

using namespace vexa;
using test::same_expr;
using test::same_term;

// ---- the C side -----------------------------------------------------------

enum class K { integer, literal, term, expr };

// A value built with C calls only.
struct CVal {
    K kind = K::integer;
    Int i;
    uint32_t code = 0;
    std::unique_ptr<TermImpl, void (*)(TermImpl *)> t{nullptr, vexa_term_destroy};
    std::unique_ptr<ExprImpl, void (*)(ExprImpl *)> e{nullptr, vexa_expr_destroy};

    static CVal of_int(Int v) {
        CVal c;
        c.i = std::move(v);
        return c;
    }
    static CVal of_code(uint32_t code) {
        CVal c;
        c.kind = K::literal;
        c.code = code;
        return c;
    }
    static CVal of_term(TermImpl *t) {
        CVal c;
        c.kind = K::term;
        c.t.reset(t);
        return c;
    }
    static CVal of_expr(ExprImpl *e) {
        CVal c;
        c.kind = K::expr;
        c.e.reset(e);
        return c;
    }
};

struct Rec {
    explicit Rec(const Int &v) : value(v), rec(value.record()) {}
    Int value;
    vexa_bigint rec;
    const vexa_bigint *get() const { return &rec; }
};

// The expression of one operand: create_var or create_term (copy).
ExprImpl *c_expr_of(const CVal &v) {
    return v.kind == K::literal ? vexa_expr_create_var(v.code) : vexa_expr_create_term(v.t.get(), 0);
}

CVal c_add(const CVal &a, const CVal &b) {
    if (a.kind == K::integer) return c_add(b, a);
    if (a.kind == K::expr) {
        switch (b.kind) {
            case K::integer: return CVal::of_expr(vexa_expr_clone_add_int(a.e.get(), Rec(b.i).get()));
            case K::literal: return CVal::of_expr(vexa_expr_clone_add_var(a.e.get(), b.code));
            case K::term: return CVal::of_expr(vexa_expr_clone_add_term(a.e.get(), b.t.get()));
            case K::expr: return CVal::of_expr(vexa_expr_clone_add_expr(a.e.get(), b.e.get()));
        }
    }
    if (b.kind == K::expr) {
        ExprImpl *e = c_expr_of(a);
        vexa_expr_iadd_expr(e, b.e.get());
        return CVal::of_expr(e);
    }
    if (a.kind == K::literal) {
        if (b.kind == K::literal) return CVal::of_expr(vexa_expr_create_add_var_var(a.code, b.code));
        if (b.kind == K::integer) return CVal::of_expr(vexa_expr_create_add_var_int(a.code, Rec(b.i).get()));
        ExprImpl *e = vexa_expr_create_var(a.code);
        vexa_expr_iadd_term(e, b.t.get());
        return CVal::of_expr(e);
    }
    if (b.kind == K::literal) return CVal::of_expr(vexa_expr_create_add_term_var(a.t.get(), b.code));
    if (b.kind == K::integer) return CVal::of_expr(vexa_expr_create_add_term_int(a.t.get(), Rec(b.i).get()));
    return CVal::of_expr(vexa_expr_create_add_term_term(a.t.get(), b.t.get()));
}

CVal c_sub(const CVal &a, const CVal &b) {
    if (a.kind == K::expr) {
        switch (b.kind) {
            case K::integer: return CVal::of_expr(vexa_expr_clone_sub_int(a.e.get(), Rec(b.i).get()));
            case K::literal: return CVal::of_expr(vexa_expr_clone_sub_var(a.e.get(), b.code));
            case K::term: return CVal::of_expr(vexa_expr_clone_sub_term(a.e.get(), b.t.get()));
            case K::expr: return CVal::of_expr(vexa_expr_clone_sub_expr(a.e.get(), b.e.get()));
        }
    }
    if (b.kind == K::expr) {
        ExprImpl *e = a.kind == K::integer ? vexa_expr_create_int(Rec(a.i).get()) : c_expr_of(a);
        vexa_expr_isub_expr(e, b.e.get());
        return CVal::of_expr(e);
    }
    if (a.kind == K::integer) {
        if (b.kind == K::literal) return CVal::of_expr(vexa_expr_create_sub_int_var(Rec(a.i).get(), b.code));
        return CVal::of_expr(vexa_expr_create_sub_int_term(Rec(a.i).get(), b.t.get()));
    }
    if (b.kind == K::integer) {
        const Rec neg(-b.i);
        if (a.kind == K::literal) return CVal::of_expr(vexa_expr_create_add_var_int(a.code, neg.get()));
        return CVal::of_expr(vexa_expr_create_add_term_int(a.t.get(), neg.get()));
    }
    if (a.kind == K::term && b.kind == K::term) {
        return CVal::of_expr(vexa_expr_create_sub_term_term(a.t.get(), b.t.get()));
    }
    ExprImpl *e = c_expr_of(a);
    if (b.kind == K::literal) {
        vexa_expr_isub_var(e, b.code);
    } else {
        vexa_expr_isub_term(e, b.t.get());
    }
    return CVal::of_expr(e);
}

CVal c_mul(const CVal &a, const CVal &b) {
    if (a.kind == K::integer) return c_mul(b, a);
    const Rec one(1);
    if (a.kind == K::expr) {
        if (b.kind == K::integer) return CVal::of_expr(vexa_expr_clone_mul_int(a.e.get(), Rec(b.i).get()));
        if (b.kind == K::expr) return CVal::of_expr(vexa_expr_mul_expr(a.e.get(), b.e.get()));
        ExprImpl *eb = c_expr_of(b);
        ExprImpl *r = vexa_expr_mul_expr(a.e.get(), eb);
        vexa_expr_destroy(eb);
        return CVal::of_expr(r);
    }
    if (b.kind == K::expr) {
        ExprImpl *e = c_expr_of(a);
        vexa_expr_imul_expr(e, b.e.get());
        return CVal::of_expr(e);
    }
    if (a.kind == K::literal) {
        if (b.kind == K::integer) return CVal::of_term(vexa_term_create_var(Rec(b.i).get(), a.code));
        if (b.kind == K::literal) return CVal::of_term(vexa_term_create_var_var(one.get(), a.code, b.code));
        TermImpl *t = vexa_term_create_var(one.get(), a.code);
        return CVal::of_term(vexa_term_mul_term_move(t, b.t.get()));
    }
    if (b.kind == K::term) return CVal::of_term(vexa_term_mul_term(a.t.get(), b.t.get()));
    TermImpl *t = vexa_term_clone(a.t.get());
    if (b.kind == K::integer) {
        vexa_term_mul_coeff(t, Rec(b.i).get());
    } else {
        vexa_term_mul_var(t, b.code);
    }
    return CVal::of_term(t);
}

CVal c_neg(const CVal &a) {
    if (a.kind == K::literal) return CVal::of_term(vexa_term_create_var(Rec(-1).get(), a.code));
    if (a.kind == K::term) {
        TermImpl *t = vexa_term_clone(a.t.get());
        vexa_term_negate(t);
        return CVal::of_term(t);
    }
    ExprImpl *e = vexa_expr_clone(a.e.get());
    vexa_expr_negate(e);
    return CVal::of_expr(e);
}

// e op= b in place: iadd_*, isub_*, imul_int / imul_var / imul_expr.
void c_compound(char op, CVal &a, const CVal &b) {
    ExprImpl *e = a.e.get();
    if (op == '+') {
        switch (b.kind) {
            case K::integer: vexa_expr_iadd_int(e, Rec(b.i).get()); break;
            case K::literal: vexa_expr_iadd_var(e, b.code); break;
            case K::term: vexa_expr_iadd_term(e, b.t.get()); break;
            case K::expr: vexa_expr_iadd_expr(e, b.e.get()); break;
        }
    } else if (op == '-') {
        switch (b.kind) {
            case K::integer: vexa_expr_isub_int(e, Rec(b.i).get()); break;
            case K::literal: vexa_expr_isub_var(e, b.code); break;
            case K::term: vexa_expr_isub_term(e, b.t.get()); break;
            case K::expr: vexa_expr_isub_expr(e, b.e.get()); break;
        }
    } else {
        switch (b.kind) {
            case K::integer: vexa_expr_imul_int(e, Rec(b.i).get()); break;
            case K::literal: vexa_expr_imul_var(e, b.code); break;
            case K::term: {
                ExprImpl *eb = c_expr_of(b);
                vexa_expr_imul_expr(e, eb);
                vexa_expr_destroy(eb);
                break;
            }
            case K::expr: vexa_expr_imul_expr(e, b.e.get()); break;
        }
    }
}

// ---- the header side ------------------------------------------------------

using HVal = std::variant<long long, Int, Var, NativeIntVar, Term, Expr>;

K kind_of(const HVal &h) {
    switch (h.index()) {
        case 0:
        case 1: return K::integer;
        case 2:
        case 3: return K::literal;
        case 4: return K::term;
        default: return K::expr;
    }
}

template <class T>
constexpr bool is_integer = std::is_same_v<std::remove_cvref_t<T>, long long> || std::is_same_v<std::remove_cvref_t<T>, Int>;

// Applies f to the operand as a const lvalue, or as a temporary it may consume.
template <class T, class F>
auto pass(T &v, bool as_temporary, F &&f) {
    if (as_temporary) return f(std::move(v));
    return f(static_cast<const T &>(v));
}

HVal h_binary(char op, HVal &a, HVal &b, bool move_a, bool move_b) {
    return std::visit(
        [&](auto &x, auto &y) -> HVal {
            if constexpr (is_integer<decltype(x)> && is_integer<decltype(y)>) {
                ADD_FAILURE() << "two integers";
                return 0LL;
            } else {
                return pass(x, move_a, [&](auto &&xx) {
                    return pass(y, move_b, [&](auto &&yy) -> HVal {
                        using XX = decltype(xx);
                        using YY = decltype(yy);
                        if (op == '+') return std::forward<XX>(xx) + std::forward<YY>(yy);
                        if (op == '-') return std::forward<XX>(xx) - std::forward<YY>(yy);
                        return std::forward<XX>(xx) * std::forward<YY>(yy);
                    });
                });
            }
        },
        a, b);
}

HVal h_neg(HVal &a, bool move_a) {
    return std::visit(
        [&](auto &x) -> HVal {
            if constexpr (is_integer<decltype(x)>) {
                ADD_FAILURE() << "negated integer";
                return 0LL;
            } else {
                return pass(x, move_a, [](auto &&xx) -> HVal { return -std::forward<decltype(xx)>(xx); });
            }
        },
        a);
}

void h_compound(char op, Expr &e, HVal &b, bool move_b) {
    std::visit(
        [&](auto &y) {
            pass(y, move_b, [&](auto &&yy) {
                using YY = decltype(yy);
                if (op == '+') {
                    e += std::forward<YY>(yy);
                } else if (op == '-') {
                    e -= std::forward<YY>(yy);
                } else {
                    e *= std::forward<YY>(yy);
                }
                return 0;
            });
        },
        b);
}

::testing::AssertionResult same(const HVal &h, const CVal &c) {
    if (kind_of(h) != c.kind) return ::testing::AssertionFailure() << "kinds differ";
    switch (h.index()) {
        case 0: return std::get<0>(h) == c.i ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
        case 1: return std::get<1>(h) == c.i ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
        case 2: return std::get<2>(h).code() == c.code ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
        case 3: return std::get<3>(h).code() == c.code ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
        case 4: return same_term(std::get<4>(h).handle(), c.t.get());
        default: return same_expr(std::get<5>(h).handle(), c.e.get());
    }
}

// ---- random trees ---------------------------------------------------------

struct Node {
    HVal h;
    CVal c;
    uint32_t degree;
};

class TreeBuilder {
public:
    explicit TreeBuilder(uint64_t seed) : rng_(seed) {
        for (int i = 0; i < 4; ++i) vars_.emplace_back("v" + std::to_string(i));
        ints_.emplace_back("k", -3, 4);
    }

    Node leaf() {
        switch (rng_() % 7) {
            case 0: {
                const long long v = static_cast<long long>(rng_() % 19) - 9;
                return Node{HVal(v), CVal::of_int(v), 0};
            }
            case 1: {
                Int v = test::random_int(rng_);
                return Node{HVal(v), CVal::of_int(v), 0};
            }
            case 2: {
                const Var v = random_literal();
                return Node{HVal(v), CVal::of_code(v.code()), 1};
            }
            case 3:
                return Node{HVal(ints_[0]), CVal::of_code(ints_[0].code()), 1};
            case 4: {
                const Int c = test::random_int(rng_);
                const unsigned d = rng_() % 3;
                const Var a = random_literal(), b = random_literal();
                const Rec r(c);
                Term t = d == 0 ? Term(c) : d == 1 ? Term(c, a) : Term(c, a, b);
                TermImpl *ct = d == 0   ? vexa_term_create(r.get())
                               : d == 1 ? vexa_term_create_var(r.get(), a.code())
                                        : vexa_term_create_var_var(r.get(), a.code(), b.code());
                return Node{HVal(std::move(t)), CVal::of_term(ct), d};
            }
            default: {
                // A small expression, sometimes made by bulk addition so that
                // its head is empty, sometimes with zero coefficients.
                ExprImpl *e = vexa_expr_create_int(Rec(test::random_int(rng_)).get());
                const unsigned n = rng_() % 4;
                uint32_t degree = 0;
                TermList list;
                for (unsigned i = 0; i < n; ++i) {
                    const unsigned d = 1 + rng_() % 2;
                    degree = std::max(degree, d);
                    const Int c = test::random_int(rng_);
                    const Var a = random_literal(), b = random_literal();
                    const uint32_t codes[2] = {a.code(), b.code()};
                    if (rng_() % 2) {
                        vexa_expr_iadd_raw_term(e, Rec(c).get(), codes, d);
                    } else if (d == 1) {
                        list.add(c, a);
                    } else {
                        list.add(c, a, b);
                    }
                }
                Expr he = Expr::adopt(vexa_expr_clone(e));
                if (!list.empty()) {
                    he += list;
                    vexa_expr_destroy(e);
                    e = vexa_expr_clone(he.handle());
                }
                return Node{HVal(std::move(he)), CVal::of_expr(e), degree};
            }
        }
    }

    Node build(int depth) {
        if (depth == 0 || rng_() % 4 == 0) return leaf();
        Node a = build(depth - 1);
        const unsigned what = rng_() % 8;
        if (what == 0 && a.c.kind != K::integer) {  // unary minus
            const bool mv = rng_() % 2;
            HVal h = h_neg(a.h, mv);
            return Node{std::move(h), c_neg(a.c), a.degree};
        }
        Node b = build(depth - 1);
        if (a.c.kind == K::integer && b.c.kind == K::integer) b = leaf_literal();
        char op = "+-*"[rng_() % 3];
        if (op == '*' && a.degree + b.degree > 2) op = '+';
        const uint32_t degree = op == '*' ? a.degree + b.degree : std::max(a.degree, b.degree);
        const bool ma = rng_() % 2, mb = rng_() % 2;
        if (what == 1 && a.c.kind == K::expr) {  // compound assignment on an expression
            h_compound(op, std::get<Expr>(a.h), b.h, mb);
            c_compound(op, a.c, b.c);
            return Node{std::move(a.h), std::move(a.c), degree};
        }
        HVal h = h_binary(op, a.h, b.h, ma, mb);
        CVal c = op == '+' ? c_add(a.c, b.c) : op == '-' ? c_sub(a.c, b.c) : c_mul(a.c, b.c);
        return Node{std::move(h), std::move(c), degree};
    }

private:
    Var random_literal() {
        const Var v = vars_[rng_() % vars_.size()];
        return rng_() % 3 == 0 ? ~v : v;
    }
    Node leaf_literal() {
        const Var v = random_literal();
        return Node{HVal(v), CVal::of_code(v.code()), 1};
    }

    std::mt19937_64 rng_;
    std::vector<Var> vars_;
    std::vector<NativeIntVar> ints_;
};

TEST(Operators, RandomTreesMatchTheCCallsTermByTerm) {
    for (uint64_t seed = 1; seed <= 600; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        TreeBuilder builder(seed);
        const Node n = builder.build(4);
        ASSERT_TRUE(same(n.h, n.c));
    }
}

// ---- fixed cases that read as documentation -------------------------------

TEST(Operators, WalkThroughExpandsAndSimplifies) {
    const Var x("x"), y("y");
    const Expr e = sqr(x + y - 1);
    EXPECT_EQ(e.str(), "1 +x*x -2*x +2*x*y +y*y -2*y");
    const Expr s = simplify_as_binary(e);
    EXPECT_EQ(s.str(), "1 -x -y +2*x*y");
    EXPECT_EQ(s.constant(), 1);
    EXPECT_EQ(s.term_count(), 3u);
    EXPECT_EQ(s.max_degree(), 2u);
    EXPECT_EQ(eval(s, {{x, 1}, {y, 0}}), 0);
    EXPECT_EQ(eval(s, {{x, 1}, {y, 1}}), 1);
    EXPECT_EQ(simplify_as_spin(x * x + ~x).str(), "1 -x");
    EXPECT_EQ(simplify(x * 2 + x * 3).str(), "5*x");
}

TEST(Operators, ResultTypesFollowTheOperands) {
    const Var x("x"), y("y");
    const NativeIntVar k("k", 0, 9);
    static_assert(std::is_same_v<decltype(x * y), Term>);
    static_assert(std::is_same_v<decltype(3 * x), Term>);
    static_assert(std::is_same_v<decltype(x * k), Term>);
    static_assert(std::is_same_v<decltype((2 * x) * 5), Term>);
    static_assert(std::is_same_v<decltype(x + y), Expr>);
    static_assert(std::is_same_v<decltype((x + y) * 2), Expr>);
    static_assert(std::is_same_v<decltype(-x), Term>);
    static_assert(std::is_same_v<decltype(-(x + y)), Expr>);
    static_assert(!std::is_invocable_v<std::plus<>, Int, int>, "integer arithmetic is not the header's business");
    EXPECT_EQ((x * k).str(), "x*k");
    EXPECT_EQ((-x).str(), "-x");
    EXPECT_EQ((~x * 3).str(), "3*~x");
}

TEST(Operators, ExactDivision) {
    const Var x("x"), y("y");
    EXPECT_EQ(((4 * x + 6 * y + 2) / 2).str(), "1 +2*x +3*y");
    EXPECT_EQ(((6 * x) / -3).str(), "-2*x");
    Expr e = 10 * x - 5;
    e /= 5;
    EXPECT_EQ(e.str(), "-1 +2*x");
    EXPECT_EQ((9 * x + 3).gcd(), 3);
}

TEST(Operators, BulkTermListEqualsTermByTermAddition) {
    const Vars v("b", 5);
    TermList list;
    Expr one_by_one = 7;
    for (uint64_t i = 0; i < v.size(); ++i) {
        list.add(static_cast<long long>(i) - 2, v[i]);
        one_by_one += Term(static_cast<long long>(i) - 2, v[i]);
        list.add(3, v[i], v[(i + 1) % v.size()]);
        one_by_one += Term(3, v[i], v[(i + 1) % v.size()]);
    }
    const Expr bulk = Expr::from_terms(list, 7);
    EXPECT_EQ(simplify_as_binary(bulk).str(), simplify_as_binary(one_by_one).str());
    EXPECT_EQ(bulk.term_count(), 10u);
    Expr added = 7;
    added += list;
    EXPECT_TRUE(same_expr(added.handle(), bulk.handle()));
}

TEST(Operators, ArraysIndexRowMajor) {
    const Vars a("a", {2, 3});
    EXPECT_EQ(a.size(), 6u);
    EXPECT_EQ(a(1, 2).name(), "a[1][2]");
    EXPECT_EQ((~a(0, 1)).name(), "~a[0][1]");
    EXPECT_EQ(a(1, 0).code(), a[3].code());
    EXPECT_THROW(a(2, 0), std::out_of_range);
    EXPECT_THROW(a(0), std::out_of_range);
    EXPECT_THROW(a.at(6), std::out_of_range);
    Expr sum;
    for (const Var v : a) sum += v;
    EXPECT_EQ(sum.term_count(), 6u);
    const NativeIntVars n("n", {2}, -1, 3);
    EXPECT_EQ(n[1].name(), "n[1]");
    EXPECT_EQ(n[0].lower(), -1);
    EXPECT_EQ(n[1].upper(), 3);
}

TEST(Operators, ProductAboveDegreeTwoThrows) {
    const Var x("x"), y("y"), z("z");
    EXPECT_THROW((x * y) * z, std::runtime_error);
    EXPECT_THROW(Expr(x * y) * z, std::runtime_error);
    EXPECT_THROW(Expr(x * y + 1) * (z + 1), std::runtime_error);
    Expr e = x * y;
    EXPECT_THROW(e *= z, std::runtime_error);
    EXPECT_EQ(((x * y) * 3).str(), "3*x*y");
}

}  // namespace
