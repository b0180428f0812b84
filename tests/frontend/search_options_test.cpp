// The text list that named search settings turn into.
#include <gtest/gtest.h>

#include "frontend/hpp_util.hpp"

namespace {

using vexa::SearchOptions;
using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST(SearchOptions, NothingSetGivesAnEmptyList) {
    EXPECT_TRUE(SearchOptions{}.params().empty());
}

TEST(SearchOptions, EverySettingHasItsKeyInAFixedOrder) {
    const SearchOptions o{.time_limit = 2.5,
                          .seed = 18446744073709551615ull,
                          .threads = 3,
                          .target_energy = vexa::Int("-123456789012345678901234567890"),
                          .topk = 4,
                          .best_energy_sols = 0,
                          .default_callback = true,
                          .extra = {{"custom", "x"}}};
    EXPECT_EQ(o.params(), (Pairs{{"time_limit", "2.5"},
                                 {"seed", "18446744073709551615"},
                                 {"threads", "3"},
                                 {"target_energy", "-123456789012345678901234567890"},
                                 {"topk_sols", "4"},
                                 {"best_energy_sols", "0"},
                                 {"enable_default_callback", "1"},
                                 {"custom", "x"}}));
}

TEST(SearchOptions, TimeLimitsSurviveTheTripThroughText) {
    for (double t : {0.1, 1.0 / 3.0, 1e-9, 12345.678, 10.0}) {
        const auto p = SearchOptions{.time_limit = t}.params();
        ASSERT_EQ(p.size(), 1u);
        EXPECT_EQ(std::strtod(p[0].second.c_str(), nullptr), t) << p[0].second;
    }
}

}  // namespace
