#include <gtest/gtest.h>

#include "expr/merge.hpp"
#include "support/expr_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

TermImpl term(const coeff_t &c, std::initializer_list<uint32_t> codes) {
    TermImpl t{c, {}};
    for (uint32_t code : codes) t.vars.append(code);
    return t;
}

TermBuffer buffer_of(std::vector<TermImpl> terms) {
    TermBuffer b(terms.size());
    for (TermImpl &t : terms) b.push_back(std::move(t));
    return b;
}

std::vector<FlatTerm> merged(std::vector<TermImpl> terms, const coeff_t &constant, coeff_t *out_constant = nullptr) {
    TermBuffer buffer = buffer_of(std::move(terms));
    ExprImpl e = merge_terms(buffer, constant);
    if (out_constant) *out_constant = e.constant;
    EXPECT_TRUE(is_canonical(&e));
    return flat(&e);
}

TEST(MergeTerms, AllTermsCancel) {
    std::vector<TermImpl> terms = {term(1, {0}), term(1, {0}), term(-2, {0})};
    terms.push_back(term(1, {}));
    coeff_t c;
    EXPECT_TRUE(merged(std::move(terms), 0, &c).empty());
    EXPECT_EQ(c, 1);
}

TEST(MergeTerms, ConstantTermsFoldIntoTheConstant) {
    coeff_t c;
    EXPECT_TRUE(merged({term(3, {}), term(4, {})}, 1, &c).empty());
    EXPECT_EQ(c, 8);
}

TEST(MergeTerms, OrderIsDegreeThenRotatedKeys) {
    const uint32_t x = 0, y = 1, z = 2, nx = 0x80000000u;
    const auto out = merged({term(1, {y, z}), term(2, {x, z}), term(3, {y}), term(4, {nx}), term(5, {x}),
                             term(6, {x, y}), term(7, {0x40000000u})},
                            0);
    const std::vector<FlatTerm> expected = {
        {5, x, kEmptyVar},     {4, nx, kEmptyVar},    {3, y, kEmptyVar}, {7, 0x40000000u, kEmptyVar},
        {6, x, y},             {2, x, z},             {1, y, z},
    };
    EXPECT_EQ(out, expected);
}

TEST(MergeTerms, ARunThatCancelsInTheMiddleReappearsWithTheRest) {
    const auto out = merged({term(2, {0}), term(-2, {0}), term(0, {0}), term(5, {0}), term(1, {1})}, 0);
    const std::vector<FlatTerm> expected = {{5, 0, kEmptyVar}, {1, 1, kEmptyVar}};
    EXPECT_EQ(out, expected);
}

// One monomial 10,000 times: with several threads every chunk compacts to one
// term and the seams fold them into a single term.
TEST(MergeTerms, OneMonomialAcrossEveryChunk) {
    for (uint32_t threads : {1u, 2u, 8u}) {
        ThreadScope scope(threads);
        std::vector<TermImpl> terms(10'000, term(3, {7, 9}));
        const auto out = merged(std::move(terms), 0);
        ASSERT_EQ(out.size(), 1u) << threads;
        EXPECT_EQ(out[0].coeff, 30'000);
        std::vector<TermImpl> cancel;
        for (int i = 0; i < 5'000; ++i) {
            cancel.push_back(term(test::pow2(70), {7}));
            cancel.push_back(term(-test::pow2(70), {7}));
        }
        EXPECT_TRUE(merged(std::move(cancel), 0).empty()) << threads;
    }
}

// Runs that start, end and cancel exactly at chunk borders; runs that cross
// chunks whose own output is empty.
TEST(MergeTerms, SeamsAreRepairedLikeTheSerialPath) {
    std::mt19937_64 rng(99);
    for (int round = 0; round < 30; ++round) {
        std::vector<TermImpl> terms;
        const uint64_t n = 10'000 + rng() % 30'000;
        const uint32_t vars = 1 + rng() % 40;  // few monomials: long runs
        for (uint64_t i = 0; i < n; ++i) {
            const int64_t c = static_cast<int64_t>(rng() % 5) - 2;
            terms.push_back(term(c, {static_cast<uint32_t>(rng() % vars)}));
        }
        std::vector<TermImpl> copy = terms;
        std::vector<FlatTerm> serial, parallel;
        coeff_t cs, cp;
        {
            ThreadScope scope(1);
            serial = merged(std::move(terms), 0, &cs);
        }
        {
            ThreadScope scope(8);
            parallel = merged(std::move(copy), 0, &cp);
        }
        ASSERT_EQ(serial, parallel) << "round " << round;
        EXPECT_EQ(cs, cp);
    }
}

TEST(MergeTerms, SortedAndReversedInputs) {
    for (bool reversed : {false, true}) {
        std::vector<TermImpl> terms;
        for (uint32_t v = 0; v < 20'000; ++v) terms.push_back(term(v + 1, {v}));
        if (reversed) std::reverse(terms.begin(), terms.end());
        const auto out = merged(std::move(terms), 0);
        ASSERT_EQ(out.size(), 20'000u);
        EXPECT_EQ(out.front().s0, 0u);
        EXPECT_EQ(out.back().coeff, 20'000);
    }
}

TEST(MergeTerms, EmptyInputGivesTheConstant) {
    TermBuffer none;
    ExprImpl e = merge_terms(none, 42);
    EXPECT_EQ(e.constant, 42);
    EXPECT_EQ(e.term_count(), 0u);
}

}  // namespace
