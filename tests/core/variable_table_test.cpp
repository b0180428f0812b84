#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>

#include "core/int_var_table.hpp"
#include "support/bigint_util.hpp"
#include "vexa/var.h"

using namespace vexa;
using test::In;
using test::Out;

namespace {

class Registry : public ::testing::Test {
protected:
    void SetUp() override { vexa_var_reset(); }
};

TEST_F(Registry, NamedVariablesPrintTheirNameAndNegation) {
    const uint32_t x = vexa_new_var("x");
    const uint32_t y = vexa_new_var("y");
    EXPECT_EQ(x, 0u);
    EXPECT_EQ(y, 1u);
    EXPECT_STREQ(vexa_var_str(x), "x");
    EXPECT_STREQ(vexa_var_str(x | 0x80000000u), "~x");
    EXPECT_EQ(vexa_var_str(x) , vexa_var_str(x | 0x80000000u) + 1);  // one stored string serves both
    EXPECT_EQ(vexa_var_count(), 2u);
}

TEST_F(Registry, NamesAreNotKeys) {
    const uint32_t a = vexa_new_var("x");
    const uint32_t b = vexa_new_var("x");
    EXPECT_NE(a, b);
    EXPECT_STREQ(vexa_var_str(a), "x");
    EXPECT_STREQ(vexa_var_str(b), "x");
}

TEST_F(Registry, NullAndEmptyNamesTakeAutomaticNamesThatSurviveReset) {
    const uint32_t a = vexa_new_var(nullptr);
    const uint32_t b = vexa_new_var("");
    const std::string na = vexa_var_str(a);
    const std::string nb = vexa_var_str(b);
    ASSERT_EQ(na.front(), '{');
    ASSERT_EQ(na.back(), '}');
    const unsigned long ka = std::stoul(na.substr(1));
    EXPECT_EQ(nb, "{" + std::to_string(ka + 1) + "}");
    const std::string drawn = vexa_auto_var_name();  // draws from the same counter, creates nothing
    EXPECT_EQ(drawn, "{" + std::to_string(ka + 2) + "}");
    EXPECT_EQ(vexa_var_count(), 2u);
    vexa_var_reset();
    EXPECT_EQ(vexa_var_count(), 0u);
    const uint32_t c = vexa_new_var(nullptr);
    EXPECT_EQ(c, 0u);
    EXPECT_EQ(std::string(vexa_var_str(c)), "{" + std::to_string(ka + 3) + "}");
}

TEST_F(Registry, ArrayElementsPrintRowMajorIndices) {
    vexa_new_var("before");
    const uint64_t dims[2] = {2, 3};
    const uint32_t a = vexa_new_var_array("a", dims, 2);
    EXPECT_EQ(a, 1u);
    EXPECT_EQ(vexa_var_count(), 7u);
    EXPECT_STREQ(vexa_var_str(a + 5), "a[1][2]");
    EXPECT_STREQ(vexa_var_str((a + 5) | 0x80000000u), "~a[1][2]");
    EXPECT_STREQ(vexa_var_str(a), "a[0][0]");
    EXPECT_STREQ(vexa_var_str(a + 3), "a[1][0]");
    EXPECT_STREQ(vexa_var_str(0), "before");
}

TEST_F(Registry, ZeroDimensionMakesAnEmptyGroupAndScalarArrayHasOneElement) {
    const uint64_t dims[2] = {0, 5};
    const uint32_t first = vexa_new_var_array("empty", dims, 2);
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(vexa_var_count(), 0u);
    const uint32_t s = vexa_new_var_array("s", nullptr, 0);
    EXPECT_EQ(vexa_var_count(), 1u);
    EXPECT_STREQ(vexa_var_str(s), "s");
}

TEST_F(Registry, UnknownCodesPrintQuestionMark) {
    EXPECT_STREQ(vexa_var_str(17), "?");
    EXPECT_STREQ(vexa_var_str(0x40000000u | 3), "?");
    vexa_new_var("x");
    EXPECT_STREQ(vexa_var_str(1), "?");
    EXPECT_STREQ(vexa_var_str(0xC0000000u), "?");  // negated with bit 30: an index beyond the table
}

TEST_F(Registry, IntegerVariablesCountTheirBitWidth) {
    const uint64_t before = vexa_used_var_count();
    EXPECT_EQ(before, 0u);
    const uint32_t n = vexa_new_int_var("n", &In(0), &In(5));
    EXPECT_EQ(n, 0x40000000u);
    EXPECT_EQ(vexa_used_var_count(), 3u);  // 5 halves to 0 in three steps
    EXPECT_EQ(vexa_var_count(), 0u);
    EXPECT_EQ(vexa_int_var_count(), 1u);
    EXPECT_STREQ(vexa_var_str(n), "n");
    const uint64_t shape[2] = {2, 2};
    const uint32_t m = vexa_new_int_var_array("m", shape, 2, &In(-1), &In(1));
    EXPECT_EQ(m, 0x40000001u);
    EXPECT_EQ(vexa_int_var_count(), 5u);
    EXPECT_EQ(vexa_used_var_count(), 3u + 4u * 2u);
    EXPECT_STREQ(vexa_var_str(m + 3), "m[1][1]");
    EXPECT_STREQ(vexa_var_str(m + 4), "?");
}

TEST_F(Registry, IntegerBoundsComeBackExactly) {
    const coeff_t lo = -test::pow2(100);
    const coeff_t hi = test::pow2(130) + 7;
    const uint32_t v = vexa_new_int_var("big", &In(lo), &In(hi));
    Out l, h;
    vexa_int_var_bounds(v, &l, &h);
    EXPECT_EQ(l.value(), lo);
    EXPECT_EQ(h.value(), hi);
    vexa_int_var_bounds(v | 0x80000000u, &l, &h);  // bit 31 beside bit 30 passes
    EXPECT_EQ(h.value(), hi);
}

TEST(BitWidth, HalvingsOfTheRange) {
    EXPECT_EQ(bit_width(0, 5), 3u);
    EXPECT_EQ(bit_width(0, 1), 1u);
    EXPECT_EQ(bit_width(3, 3), 1u);
    EXPECT_EQ(bit_width(4, 3), 1u);
    EXPECT_EQ(bit_width(-8, 8), 5u);
    EXPECT_EQ(bit_width(0, test::pow2(64)), 65u);
}

TEST_F(Registry, ResetEmptiesBothTables) {
    vexa_new_var("x");
    vexa_new_int_var("n", &In(0), &In(9));
    vexa_var_reset();
    EXPECT_EQ(vexa_var_count(), 0u);
    EXPECT_EQ(vexa_int_var_count(), 0u);
    EXPECT_EQ(vexa_used_var_count(), 0u);
    EXPECT_STREQ(vexa_var_str(0), "?");
    EXPECT_EQ(find_int_var(0), nullptr);
}

TEST_F(Registry, ManyThreadsCreatingVariablesGetDistinctIndices) {
    constexpr int kThreads = 8;
    constexpr int kEach = 5'000;
    std::vector<std::vector<uint32_t>> got(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i) {
                if (i % 50 == 0) {
                    const uint64_t dims[1] = {3};
                    const uint32_t first = vexa_new_var_array("arr", dims, 1);
                    for (uint32_t k = 0; k < 3; ++k) got[t].push_back(first + k);
                } else {
                    got[t].push_back(vexa_new_var(i % 2 ? "v" : nullptr));
                }
                if (i % 100 == 0) vexa_new_int_var("k", &In(0), &In(3));
            }
        });
    }
    for (auto &th : threads) th.join();
    std::set<uint32_t> all;
    for (auto &v : got) all.insert(v.begin(), v.end());
    const uint64_t total = vexa_var_count();
    EXPECT_EQ(all.size(), total);
    EXPECT_EQ(*all.rbegin(), total - 1);
    EXPECT_EQ(vexa_int_var_count(), uint64_t(kThreads) * (kEach / 100));
}

using RegistryDeath = Registry;

TEST_F(RegistryDeath, EqualIntegerBoundsAbort) {
    EXPECT_DEATH(vexa_new_int_var("n", &In(4), &In(4)),
                 "^vexa: int_var: bounds must satisfy lo < hi \\(got lo = 4, hi = 4\\)\n$");
    EXPECT_DEATH(vexa_new_int_var("n", &In(5), &In(-2)),
                 "^vexa: int_var: bounds must satisfy lo < hi \\(got lo = 5, hi = -2\\)\n$");
}

TEST_F(RegistryDeath, BoundsOfABinaryCodeAbort) {
    const uint32_t x = vexa_new_var("x");
    Out l, h;
    EXPECT_DEATH(vexa_int_var_bounds(x, &l, &h), "^vexa: vexa_int_var_bounds: not an integer variable index\n$");
    EXPECT_DEATH(vexa_int_var_bounds(0x40000000u | 7, &l, &h),
                 "^vexa: vexa_int_var_bounds: not an integer variable index\n$");
}

TEST_F(RegistryDeath, ArraysBeyondTheIndexSpaceAbort) {
    const uint64_t huge[1] = {1ull << 30};
    EXPECT_DEATH(vexa_new_var_array("a", huge, 1),
                 "^vexa: Binary variable index space exhausted \\(2\\^30 - 1 variables\\)\\.\n$");
    const uint64_t overflow[3] = {1ull << 40, 1ull << 40, 1ull << 40};
    EXPECT_DEATH(vexa_new_var_array("a", overflow, 3), "Binary variable index space exhausted");
    EXPECT_DEATH(vexa_new_int_var_array("n", huge, 1, &In(0), &In(1)),
                 "^vexa: int_var: integer variable index space exhausted\n$");
}

}  // namespace
