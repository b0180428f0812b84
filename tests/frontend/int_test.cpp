// vexa::Int: built-in integers, decimal text, records and cpp_int, checked
// against Boost's cpp_int as the reference arithmetic.
#include <gtest/gtest.h>

#include <boost/multiprecision/cpp_int.hpp>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>

#include "frontend/hpp_util.hpp"

namespace {

using boost::multiprecision::cpp_int;
using vexa::Int;

cpp_int random_big(std::mt19937_64 &rng) {
    const unsigned limbs = rng() % 5;
    cpp_int v = 0;
    for (unsigned i = 0; i < limbs; ++i) v = (v << 64) | cpp_int(rng());
    if (limbs > 0 && rng() % 3 == 0) v >>= rng() % 64;
    return rng() % 2 ? cpp_int(-v) : v;
}

TEST(Int, BuiltInIntegersAtTheirLimits) {
    EXPECT_EQ(Int(0).str(), "0");
    EXPECT_EQ(Int(0).sign(), 0);
    EXPECT_EQ(Int(std::numeric_limits<int64_t>::min()).str(), "-9223372036854775808");
    EXPECT_EQ(Int(std::numeric_limits<int64_t>::max()).str(), "9223372036854775807");
    EXPECT_EQ(Int(std::numeric_limits<uint64_t>::max()).str(), "18446744073709551615");
    EXPECT_EQ(Int(std::numeric_limits<int8_t>::min()).str(), "-128");
    EXPECT_EQ(Int(std::numeric_limits<int64_t>::min()).to_int64(), std::numeric_limits<int64_t>::min());
    EXPECT_TRUE(Int(std::numeric_limits<int64_t>::min()).fits_int64());
    EXPECT_FALSE(Int(std::numeric_limits<uint64_t>::max()).fits_int64());
    EXPECT_THROW(Int(std::numeric_limits<uint64_t>::max()).to_int64(), std::overflow_error);
    EXPECT_FALSE(Int("-9223372036854775809").fits_int64());
}

TEST(Int, DecimalTextIsReadStrictly) {
    EXPECT_EQ(Int("+17"), Int(17));
    EXPECT_EQ(Int("-0"), Int(0));
    EXPECT_EQ(Int("-0").sign(), 0);
    EXPECT_EQ(Int("000123"), Int(123));
    EXPECT_EQ(Int("00000000000000000000000000000042").str(), "42");
    for (const char *bad : {"", "-", "+", "1.0", "12a", " 1", "1 ", "0x10", "--1"}) {
        EXPECT_THROW(Int{std::string_view(bad)}, std::invalid_argument) << "'" << bad << "'";
    }
}

TEST(Int, TextRecordAndCppIntAgreeWithCppInt) {
    const uint64_t seed = 20261122;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
        const cpp_int ref = random_big(rng);
        const std::string text = ref.str();
        const Int from_text(text);
        ASSERT_EQ(from_text.str(), text);
        ASSERT_EQ(from_text.to_cpp_int(), ref);
        ASSERT_EQ(Int(ref), from_text);
        ASSERT_EQ(from_text.sign(), ref.sign());
        ASSERT_EQ((-from_text).to_cpp_int(), -ref);
        ASSERT_EQ(from_text.abs().to_cpp_int(), abs(ref));
        const vexa_bigint rec = from_text.record();
        ASSERT_EQ(Int::from_record(rec), from_text);
        std::ostringstream os;
        os << from_text;
        ASSERT_EQ(os.str(), text);
        ASSERT_DOUBLE_EQ(from_text.to_double(), ref.convert_to<double>());
    }
}

TEST(Int, OrderingFollowsTheValues) {
    const uint64_t seed = 77;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE("seed 77 round " + std::to_string(round));
        const cpp_int a = random_big(rng), b = rng() % 4 == 0 ? a : random_big(rng);
        const Int ia(a), ib(b);
        ASSERT_EQ(ia == ib, a == b);
        ASSERT_EQ(ia < ib, a < b);
        ASSERT_EQ(ia > ib, a > b);
        ASSERT_EQ(ia <= ib, a <= b);
    }
    EXPECT_LT(Int(-5), 3);
    EXPECT_EQ(Int(7), 7);
}

TEST(Int, CopiesAndMovesKeepValues) {
    const Int big("-340282366920938463463374607431768211457");  // -(2^128 + 1)
    Int copy = big;
    EXPECT_EQ(copy, big);
    Int moved = std::move(copy);
    EXPECT_EQ(moved, big);
    EXPECT_TRUE(copy.is_zero());  // NOLINT: a moved-from Int reads zero
    copy = moved;
    copy = copy;  // self-assignment keeps the value
    EXPECT_EQ(copy, big);
    Int small = 5;
    small = big;
    EXPECT_EQ(small, big);
    small = Int(3);
    EXPECT_EQ(small, 3);
    EXPECT_EQ(big.limb_count(), 3u);
}

TEST(Int, AdoptsOutRecordsOfTheLibrary) {
    // 2^64 + 5 as an expression constant, read back through an out record.
    const Int v("18446744073709551621");
    const vexa_bigint in = v.record();
    ExprImpl *e = vexa_expr_create_int(&in);
    vexa_bigint out{0, 0, nullptr};
    vexa_expr_constant(e, &out);
    vexa_expr_constant(e, &out);  // a second fill reuses the record
    const Int back = Int::adopt(out);
    EXPECT_EQ(back, v);
    EXPECT_EQ(out.limbs, nullptr);
    vexa_expr_destroy(e);
}

}  // namespace
