// The LP and MPS texts of the linear view: exact digits, refused values,
// column names, and how each kind of row is written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "vexa/constraint.h"
#include "vexa/vexa.hpp"

using ::testing::HasSubstr;
using ::testing::Not;
using vexa::Expr;
using vexa::Int;
using vexa::Var;

namespace {

Expr between(const Expr &body, const Int &lo, const Int &hi) {
    const vexa_bigint l = lo.record(), h = hi.record();
    return Expr::adopt(vexa_cons_between(body.handle(), &l, &h));
}

struct Texts {
    std::string lp, mps;
};

Texts texts_of(const Expr &e) {
    const vexa::Ilp ilp = vexa::Ilp::build(vexa::Model::from(e));
    std::ostringstream lp, mps;
    ilp.write_lp(lp);
    ilp.write_mps(mps);
    return {lp.str(), mps.str()};
}

// The message of the std::range_error that both writers throw.
std::string refusal_of(const Expr &e) {
    const vexa::Ilp ilp = vexa::Ilp::build(vexa::Model::from(e));
    std::string lp_msg, mps_msg;
    std::ostringstream os;
    try {
        ilp.write_lp(os);
    } catch (const std::range_error &err) {
        lp_msg = err.what();
    }
    try {
        ilp.write_mps(os);
    } catch (const std::range_error &err) {
        mps_msg = err.what();
    }
    EXPECT_EQ(lp_msg, mps_msg);
    return lp_msg;
}

class IlpWriter : public ::testing::Test {
protected:
    void SetUp() override { vexa_var_reset(); }
};

TEST_F(IlpWriter, LargeValuesADoubleHoldsAreWrittenDigitForDigit) {
    const Var x("x"), y("y");
    const Int p60("1152921504606846976");             // 2^60
    const Int p53("9007199254740992");                // 2^53
    const Int odd60("-3458764513820540928");          // -3 * 2^60
    const Expr e = p60 * x + odd60 * y + Int("2305843009213693952") + between(p53 * x + y, Int(1), p60);
    const Texts t = texts_of(e);
    EXPECT_THAT(t.lp, HasSubstr("obj: 1152921504606846976 x - 3458764513820540928 y"));
    EXPECT_THAT(t.lp, HasSubstr(" r0: 9007199254740992 x + 1 y >= 1\n"));
    EXPECT_THAT(t.mps, HasSubstr(" x obj 1152921504606846976\n"));
    EXPECT_THAT(t.mps, HasSubstr(" y obj -3458764513820540928\n"));
    EXPECT_THAT(t.mps, HasSubstr(" x r0 9007199254740992\n"));
    // The constant rides on the fixed column.
    EXPECT_THAT(t.lp, HasSubstr(" + 2305843009213693952 vexa_one"));
    EXPECT_THAT(t.mps, HasSubstr(" vexa_one obj 2305843009213693952\n"));
}

TEST_F(IlpWriter, ValuesNoDoubleHoldsAreRefusedWithTheirPlace) {
    const Var x("x[0]"), y("y");
    const Int above("9007199254740993");  // 2^53 + 1
    EXPECT_EQ(refusal_of(above * x + y),
              "vexa::Ilp: the objective coefficient of column x_0 is 9007199254740993, which LP and MPS readers "
              "cannot hold exactly (a double keeps 53 significant bits)");
    EXPECT_THAT(refusal_of(y + between(x - above * y, Int(-1), Int(1))),
                HasSubstr("the coefficient of column y in row r0 is -9007199254740993,"));
    const Int p60("1152921504606846976");
    EXPECT_THAT(refusal_of(x + between(p60 * x + y, Int(1), above)),
                HasSubstr("the upper bound of row r0 is 9007199254740993,"));
    EXPECT_THAT(refusal_of(x + above), HasSubstr("the objective constant is 9007199254740993,"));
    // 2^1024 has one significant bit but no double reaches it.
    Int p1024("1");
    for (int i = 0; i < 1024; ++i) p1024 = vexa::hpp_detail::int_add(p1024, p1024);
    EXPECT_THAT(refusal_of(p1024 * x), HasSubstr("column x_0 is 1797693134862315907729305190789"));
    // The range width of an MPS row obeys the rule too, even when both ends pass.
    const vexa::Ilp ilp = vexa::Ilp::build(vexa::Model::from(x + between(p60 * x + y, Int(1), p60)));
    std::ostringstream os;
    EXPECT_NO_THROW(ilp.write_lp(os));
    try {
        ilp.write_mps(os);
        FAIL() << "2^60 - 1 written as a range";
    } catch (const std::range_error &err) {
        EXPECT_THAT(std::string(err.what()), HasSubstr("the width (upper - lower) of row r0 is 1152921504606846975,"));
    }
}

TEST_F(IlpWriter, NamesAreValidUniqueAndStable) {
    const vexa::Vars a("a", {2, 2});
    const Var clash("a_0_1"), kw("free"), num("e12"), digit("3rd"), one("vexa_one"), odd("p q{r}");
    Expr e = Int(5) + clash + kw + num + digit + one + odd;
    for (uint64_t i = 0; i < 4; ++i) e = e + a[i];
    const Texts t = texts_of(e);
    for (const char *name : {" a_0_0", " a_0_1 ", " a_0_1_2", " v_free", " v_e12", " v_3rd", " vexa_one_2", " p_q_r"}) {
        EXPECT_THAT(t.lp, HasSubstr(name)) << t.lp;
        EXPECT_THAT(t.mps, HasSubstr(name)) << t.mps;
    }
    EXPECT_THAT(t.lp, Not(HasSubstr("["))) << t.lp;
    EXPECT_EQ(texts_of(e).lp, t.lp) << "the same model writes the same text";
}

TEST_F(IlpWriter, EachRowKind) {
    const Var x("x"), y("y"), z("z");
    struct Case {
        int lo, hi;
        std::string lp, mps_row, mps_extra;
    };
    const Case cases[] = {
        {1, 1, " r0: 1 x + 1 y - 2 z = 1\n", " E r0\n", " rhs r0 1\n"},
        {0, 1, " r0_lo: 1 x + 1 y - 2 z >= 0\n r0_hi: 1 x + 1 y - 2 z <= 1\n", " G r0\n", " rng r0 1\n"},
        {-1, 5, " r0: 1 x + 1 y - 2 z >= -1\n", " G r0\n", " rhs r0 -1\n"},    // upper side cannot bind
        {-7, 0, " r0: 1 x + 1 y - 2 z <= 0\n", " L r0\n", " rhs r0 0\n"},      // lower side cannot bind
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.lo) + ".." + std::to_string(c.hi));
        const Texts t = texts_of(x + between(x + y - 2 * z, c.lo, c.hi));
        EXPECT_THAT(t.lp, HasSubstr("Subject To\n" + c.lp + "Bounds\n"));
        EXPECT_THAT(t.mps, HasSubstr("ROWS\n N obj\n" + c.mps_row + "COLUMNS\n"));
        EXPECT_THAT(t.mps, HasSubstr(c.mps_extra));
        EXPECT_THAT(t.lp, HasSubstr("Binaries\n x y z\nEnd\n"));
        EXPECT_THAT(t.mps, HasSubstr(" BV bnd z\n"));
        EXPECT_THAT(t.lp, Not(HasSubstr("vexa_one"))) << "rows and no constant need no extra column";
    }
    // Neither side binds: no row; the fixed column stands in for the constraint section.
    const Texts free_both = texts_of(x + between(x + y, -1, 2));
    EXPECT_THAT(free_both.lp, HasSubstr("Subject To\n vexa_one_row: 1 vexa_one = 1\nBounds\n vexa_one = 1\n"));
    EXPECT_THAT(free_both.mps, HasSubstr("ROWS\n N obj\n E vexa_one_row\nCOLUMNS\n"));
    // A free-form penalty x y is the row x + y <= 1.
    const Texts pen = texts_of(z + Expr::adopt(vexa_cons_mark(Expr(3 * x * y).handle())));
    EXPECT_THAT(pen.lp, HasSubstr(" r0: 1 x + 1 y <= 1\n"));
    EXPECT_THAT(pen.mps, HasSubstr(" L r0\n"));
}

TEST_F(IlpWriter, IntegerColumnsCarryTheirBounds) {
    const vexa::NativeIntVar n("n", -4, 6), f("f", 3, 4);
    const Texts t = texts_of(2 * n - f + between(n + f, 0, 5));
    EXPECT_THAT(t.lp, HasSubstr("Bounds\n -4 <= n <= 6\n 3 <= f <= 4\n"));
    EXPECT_THAT(t.lp, HasSubstr("Generals\n n f\n"));
    EXPECT_THAT(t.mps, HasSubstr(" LO bnd n -4\n UP bnd n 6\n LO bnd f 3\n UP bnd f 4\n"));
    EXPECT_THAT(t.mps, HasSubstr(" M1 'MARKER' 'INTORG'\n"));
}

// Exact sums of random multi-limb integers against Boost's.
TEST(IlpWriterArithmetic, AddAndSubtractMatchBoost) {
    const uint64_t seed = 20261123;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 2000; ++round) {
        auto draw = [&]() {
            boost::multiprecision::cpp_int v = 0;
            const int limbs = static_cast<int>(rng() % 4);
            for (int i = 0; i < limbs; ++i) v = (v << 64) + (i == 0 && rng() % 3 == 0 ? ~uint64_t{0} : rng());
            return rng() % 2 == 0 ? boost::multiprecision::cpp_int(-v) : v;
        };
        const boost::multiprecision::cpp_int a = draw(), b = rng() % 5 == 0 ? a : draw();
        ASSERT_EQ(vexa::hpp_detail::int_add(Int(a), Int(b)).to_cpp_int(), a + b) << "seed " << seed << " round " << round;
        ASSERT_EQ(vexa::hpp_detail::int_sub(Int(a), Int(b)).to_cpp_int(), a - b) << "seed " << seed << " round " << round;
    }
}

}  // namespace
