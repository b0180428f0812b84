// Solution lists: top-k holds the k best distinct states in ascending
// energy; best-energy holds the distinct states of the best energy, capped on
// request; every listed energy is exact.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "module_api.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

void expect_distinct_exact_sorted(const TestModel &m, const Outcome &out, const std::string &what) {
    std::set<std::vector<uint64_t>> seen;
    for (size_t i = 0; i < out.list.size(); ++i) {
        const ListItem &item = out.list[i];
        EXPECT_EQ(item.energy, reference_energy(m, item.bits)) << what << " entry " << i;
        EXPECT_TRUE(seen.insert(item.bits).second) << what << " entry " << i << " repeats a state";
        if (i > 0) {
            EXPECT_LE(out.list[i - 1].energy, item.energy) << what << " entry " << i;
        }
    }
}

}  // namespace

TEST(SolutionLists, ExhaustiveTopKHoldsTheKBestEnergies) {
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        std::mt19937_64 rng(seed * 31);
        RandomModelShape shape;
        shape.vars = 1 + static_cast<uint32_t>(seed % 13);
        shape.constraints = static_cast<uint32_t>(seed % 4);
        const TestModel m = random_model(rng, shape);
        const BruteForce bf = brute_force(m);
        const uint64_t k = 1 + seed % 9;
        const Outcome out = solve(built_exhaustive_module(), m, {{"topk_sols", std::to_string(k)}, {"threads", "2"}});
        ASSERT_TRUE(out.has_list);
        const size_t expected = std::min<size_t>(k, bf.sorted_energies.size());
        ASSERT_EQ(out.list.size(), expected) << "seed " << seed;
        for (size_t i = 0; i < expected; ++i) EXPECT_EQ(out.list[i].energy, bf.sorted_energies[i]) << "seed " << seed;
        expect_distinct_exact_sorted(m, out, "seed " + std::to_string(seed));
        EXPECT_EQ(out.list.front().energy, out.energy);
    }
}

TEST(SolutionLists, ExhaustiveBestEnergyListHoldsEveryOptimumOnce) {
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        std::mt19937_64 rng(seed * 77);
        RandomModelShape shape;
        shape.vars = 2 + static_cast<uint32_t>(seed % 11);
        shape.coeff_range = 2;  // small coefficients: many ties
        shape.constraints = static_cast<uint32_t>(seed % 3);
        const TestModel m = random_model(rng, shape);
        const BruteForce bf = brute_force(m);
        const Outcome out = solve(built_exhaustive_module(), m, {{"best_energy_sols", "0"}, {"threads", "2"}});
        ASSERT_EQ(out.list.size(), bf.best_count) << "seed " << seed;
        for (const ListItem &item : out.list) EXPECT_EQ(item.energy, bf.best);
        expect_distinct_exact_sorted(m, out, "seed " + std::to_string(seed));
    }
}

TEST(SolutionLists, BestEnergyCapKeepsTheFirstStatesInEnumerationOrder) {
    // All 2^5 states have energy 7; the enumeration meets states 0, 1, 2 first.
    TestModel m;
    m.bin_count = 5;
    m.constant = 7;
    const Outcome capped = solve(built_exhaustive_module(), m, {{"best_energy_sols", "3"}});
    ASSERT_EQ(capped.list.size(), 3u);
    for (uint64_t s = 0; s < 3; ++s) EXPECT_EQ(capped.list[s].bits[0], s);
    EXPECT_EQ(capped.info.at("list_truncated"), "1");
    const Outcome all = solve(built_exhaustive_module(), m, {{"best_energy_sols", "abc"}});  // no cap
    EXPECT_EQ(all.list.size(), 32u);
    // The same list whatever the thread count.
    const Outcome one = solve(built_exhaustive_module(), m, {{"best_energy_sols", "5"}, {"threads", "1"}});
    const Outcome four = solve(built_exhaustive_module(), m, {{"best_energy_sols", "5"}, {"threads", "4"}});
    ASSERT_EQ(one.list.size(), four.list.size());
    for (size_t i = 0; i < one.list.size(); ++i) EXPECT_EQ(one.list[i].bits, four.list[i].bits);
}

TEST(SolutionLists, BestEnergyWinsOverTopK) {
    TestModel m;
    m.bin_count = 3;
    m.add_linear(0, -1);  // optimum x0 = 1, the others free: 4 states
    const Outcome out = solve(built_exhaustive_module(), m, {{"topk_sols", "2"}, {"best_energy_sols", "0"}});
    EXPECT_EQ(out.list.size(), 4u);
    for (const ListItem &item : out.list) EXPECT_EQ(item.energy, -1);
}

TEST(SolutionLists, NoListKeyMeansNoList) {
    TestModel m;
    m.bin_count = 2;
    m.add_linear(1, 3);
    EXPECT_FALSE(solve(built_exhaustive_module(), m, {}).has_list);
    EXPECT_FALSE(solve(built_nimba_module(), m, {{"time_limit", "0.01"}}).has_list);
}

TEST(SolutionLists, HeuristicListsAreDistinctExactAndOrdered) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
        std::mt19937_64 rng(seed * 13);
        RandomModelShape shape;
        shape.vars = 8 + static_cast<uint32_t>(seed);
        shape.coeff_range = 3;
        shape.constraints = static_cast<uint32_t>(seed % 5);
        const TestModel m = random_model(rng, shape);
        const BruteForce bf = brute_force(m);
        const Params base = {{"time_limit", "0.2"}, {"seed", std::to_string(seed)}};

        Params topk = base;
        topk.emplace_back("topk_sols", "6");
        const Outcome t = solve(built_nimba_module(), m, topk);
        ASSERT_TRUE(t.has_list);
        EXPECT_LE(t.list.size(), 6u);
        ASSERT_FALSE(t.list.empty());
        EXPECT_EQ(t.list.front().energy, t.energy) << "the best state heads the list";
        EXPECT_EQ(t.energy, bf.best) << "seed " << seed;
        expect_distinct_exact_sorted(m, t, "top-k seed " + std::to_string(seed));

        Params best = base;
        best.emplace_back("best_energy_sols", "0");
        const Outcome b = solve(built_nimba_module(), m, best);
        ASSERT_FALSE(b.list.empty());
        EXPECT_LE(b.list.size(), bf.best_count);
        for (const ListItem &item : b.list) EXPECT_EQ(item.energy, b.energy);
        expect_distinct_exact_sorted(m, b, "best-energy seed " + std::to_string(seed));
    }
}

TEST(SolutionLists, PartitionedEnumerationListsMatchBruteForceForAnyThreadCount) {
    // 20 variables: the enumeration is split into partitions and merged; the
    // lists must hold the globally best states, the same for every thread count.
    std::mt19937_64 rng(2024);
    RandomModelShape shape;
    shape.vars = 20;
    shape.coeff_range = 4;  // many equal energies
    const TestModel m = random_model(rng, shape);
    std::vector<int64_t> energies = plain_energies(m);
    std::sort(energies.begin(), energies.end());
    const auto best_count = static_cast<size_t>(std::count(energies.begin(), energies.end(), energies[0]));

    std::vector<Outcome> topk, best;
    for (const char *threads : {"1", "2", "5"}) {
        topk.push_back(solve(built_exhaustive_module(), m, {{"topk_sols", "25"}, {"threads", threads}}));
        best.push_back(solve(built_exhaustive_module(), m, {{"best_energy_sols", "0"}, {"threads", threads}}));
    }
    for (size_t r = 0; r < topk.size(); ++r) {
        ASSERT_EQ(topk[r].list.size(), 25u);
        for (size_t i = 0; i < 25; ++i) EXPECT_EQ(topk[r].list[i].energy, energies[i]) << "run " << r << " entry " << i;
        expect_distinct_exact_sorted(m, topk[r], "top-k run " + std::to_string(r));
        ASSERT_EQ(best[r].list.size(), best_count);
        EXPECT_EQ(topk[r].bits, topk[0].bits) << "the best state does not depend on the thread count";
        for (size_t i = 0; i < 25; ++i) EXPECT_EQ(topk[r].list[i].bits, topk[0].list[i].bits);
        for (size_t i = 0; i < best_count; ++i) EXPECT_EQ(best[r].list[i].bits, best[0].list[i].bits);
    }
}
