#include <gtest/gtest.h>

#include <random>

#include "core/bigint.hpp"
#include "support/bigint_util.hpp"

using namespace vexa;
using vexa::test::pow2;

namespace {

coeff_t random_value(std::mt19937_64 &rng, unsigned limbs, bool negative) {
    coeff_t v = 0;
    for (unsigned i = 0; i < limbs; ++i) v = (v << 64) + rng();
    if (limbs > 0 && (v >> (64 * (limbs - 1))) == 0) v += pow2(64 * (limbs - 1));  // keep the top limb nonzero
    return negative ? coeff_t(-v) : v;
}

TEST(CoeffRecord, RoundTripsZeroToEightLimbsBothSigns) {
    std::mt19937_64 rng(12345);
    vexa_bigint out{0, 0, nullptr};  // reused for every value: each call frees the previous block
    for (unsigned limbs = 0; limbs <= 8; ++limbs) {
        for (bool negative : {false, true}) {
            for (int rep = 0; rep < 20; ++rep) {
                const coeff_t v = random_value(rng, limbs, negative);
                coeff_to_record(v, &out);
                if (v == 0) {
                    EXPECT_EQ(out.sign, 0);
                    EXPECT_EQ(out.nlimbs, 0u);
                    EXPECT_EQ(out.limbs, nullptr);
                } else {
                    EXPECT_EQ(out.sign, negative ? -1 : 1);
                    EXPECT_EQ(out.nlimbs, limbs);
                }
                EXPECT_EQ(coeff_from_record(&out), v) << "limbs=" << limbs;
            }
        }
    }
    std::free(out.limbs);
}

TEST(CoeffRecord, ZeroSignOrZeroLimbsReadsAsZeroWithoutTouchingLimbs) {
    // The limb pointer is garbage: it must not be read.
    vexa_bigint a{0, 3, reinterpret_cast<uint64_t *>(0x10)};
    vexa_bigint b{1, 0, reinterpret_cast<uint64_t *>(0x10)};
    EXPECT_EQ(coeff_from_record(&a), 0);
    EXPECT_EQ(coeff_from_record(&b), 0);
}

TEST(CoeffRecord, AnyNegativeSignIsNegativeAndLeadingZeroLimbsAreTolerated) {
    uint64_t seven = 7;
    vexa_bigint r{-5, 1, &seven};
    EXPECT_EQ(coeff_from_record(&r), -7);
    uint64_t two64[2] = {0, 1};
    vexa_bigint big{1, 2, two64};
    EXPECT_EQ(coeff_from_record(&big), pow2(64));
    uint64_t padded[4] = {9, 0, 0, 0};
    vexa_bigint p{42, 4, padded};
    EXPECT_EQ(coeff_from_record(&p), 9);
}

TEST(CoeffRecord, TwoToThe64HasTwoLimbs) {
    test::Out out;
    coeff_to_record(pow2(64), &out);
    ASSERT_EQ(out.rec().nlimbs, 2u);
    EXPECT_EQ(out.rec().limbs[0], 0u);
    EXPECT_EQ(out.rec().limbs[1], 1u);
    EXPECT_EQ(out.rec().sign, 1);
}

TEST(CoeffRecord, ZeroFromANegationIsPositive) {
    coeff_t z = coeff_t(5) - coeff_t(5);
    z = -z;
    test::Out out;
    coeff_to_record(z, &out);
    EXPECT_EQ(out.rec().sign, 0);
    EXPECT_EQ(z.sign(), 0);
}

}  // namespace
