// The one reader of search settings, as the native integer search and the
// solver modules use it: the same keys read the same, and the two differ
// only where each side has always read differently.
#include <cmath>
#include <random>

#include "solver/search_settings.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

SearchSettings native(const Params &p) {
    return read_search_settings(p.get(), "NimbaSolver", SettingsReader::native_integer);
}
SearchSettings module(const Params &p) { return read_search_settings(p.get(), "NimbaSolver", SettingsReader::module); }

std::string describe(const SearchSettings &s) {
    std::ostringstream o;
    o << "time " << s.has_time_limit << "/" << s.time_limit << " target " << s.has_target << "/" << s.target_energy
      << " seed " << s.has_seed << "/" << s.seed << " threads " << s.threads << " topk " << s.topk << " best "
      << s.best_energy << "/" << s.best_energy_cap << " callback " << s.enable_default_callback;
    return o.str();
}

// Random lists of the shared keys with values both sides accept.
TEST(SearchSettings, BothReadersAgreeOnTheSharedKeys) {
    for (uint64_t seed = 1; seed <= 300; ++seed) {
        std::mt19937_64 rng(seed);
        std::vector<std::pair<std::string, std::string>> pairs;
        const int n = static_cast<int>(rng() % 8);
        for (int i = 0; i < n; ++i) {
            switch (rng() % 7) {
                case 0: pairs.emplace_back("time_limit", std::to_string(static_cast<double>(rng() % 1000) / 8)); break;
                case 1: pairs.emplace_back("target_energy", std::to_string(static_cast<int64_t>(rng()))); break;
                case 2: pairs.emplace_back("seed", std::to_string(rng())); break;
                case 3: pairs.emplace_back("threads", std::to_string(1 + rng() % 4096)); break;
                case 4: pairs.emplace_back("topk_sols", std::to_string(1 + rng() % 100)); break;
                case 5: pairs.emplace_back("best_energy_sols", rng() % 2 ? std::to_string(rng() % 9) : "all"); break;
                default: pairs.emplace_back("enable_default_callback", rng() % 2 ? "True" : "yes"); break;
            }
        }
        std::vector<vexa_param> list;
        for (const auto &[k, v] : pairs) list.push_back({k.c_str(), v.c_str()});
        list.push_back({nullptr, nullptr});
        const SearchSettings a = read_search_settings(list.data(), "T", SettingsReader::native_integer);
        const SearchSettings b = read_search_settings(list.data(), "T", SettingsReader::module);
        EXPECT_EQ(describe(a), describe(b)) << "seed " << seed;
    }
}

TEST(SearchSettings, LaterPairsWinAndNullMeansEmpty) {
    const SearchSettings s = module(Params{{"seed", "1"}, {"best_energy_sols", "4"}, {"seed", "2"},
                                           {"best_energy_sols", "x"}, {"time_limit", "3"}, {"time_limit", "0.5"}});
    EXPECT_EQ(s.seed, 2u);
    EXPECT_TRUE(s.best_energy);
    EXPECT_EQ(s.best_energy_cap, 0u);
    EXPECT_EQ(s.time_limit, 0.5);
    const SearchSettings none = read_search_settings(nullptr, "T", SettingsReader::native_integer);
    EXPECT_FALSE(none.has_time_limit || none.has_target || none.has_seed || none.best_energy);
    EXPECT_EQ(none.threads, 0u);
    const vexa_param null_value[] = {{"time_limit", nullptr}, {"best_energy_sols", nullptr}, {nullptr, nullptr}};
    for (SettingsReader r : {SettingsReader::native_integer, SettingsReader::module}) {
        const SearchSettings n = read_search_settings(null_value, "T", r);
        EXPECT_TRUE(n.has_time_limit);
        EXPECT_EQ(n.time_limit, 0.0);
        EXPECT_TRUE(n.best_energy);
        EXPECT_EQ(n.best_energy_cap, 0u);
    }
}

TEST(SearchSettings, ModulesSkipForeignKeysAndTakeTheOtherThreadsName) {
    const SearchSettings s = module(Params{{"x", "y"}, {"thread_count", "3"}, {"Seed", "9"}});
    EXPECT_EQ(s.threads, 3u);
    EXPECT_FALSE(s.has_seed);
    EXPECT_DEATH(native(Params{{"thread_count", "3"}}),
                 fatal_text("NimbaSolver: parameter 'thread_count' is not supported for native integer models yet."));
    EXPECT_DEATH(module(Params{{"thread_count", "0"}}), fatal_text("NimbaSolver: threads must be >= 1."));
}

TEST(SearchSettings, ThreadCountsAreCutDifferently) {
    // the module caps a count, the library keeps the low 32 bits of it
    EXPECT_EQ(module(Params{{"threads", "5000"}}).threads, kMaxModuleThreads);
    EXPECT_EQ(native(Params{{"threads", "5000"}}).threads, 5000u);
    EXPECT_EQ(module(Params{{"threads", "4294967297"}}).threads, kMaxModuleThreads);
    EXPECT_EQ(native(Params{{"threads", "4294967297"}}).threads, 1u);
    EXPECT_DEATH(native(Params{{"threads", "4294967296"}}), fatal_text("NimbaSolver: threads must be >= 1."));
    EXPECT_GE(default_thread_count(), 1u);
}

TEST(SearchSettings, TargetsAreDecimalWithLeadingZeros) {
    // leading zeros must not switch the text to octal (or hex)
    for (const auto &read : {module, native}) {
        EXPECT_EQ(read(Params{{"target_energy", "010"}}).target_energy, 10);
        EXPECT_EQ(read(Params{{"target_energy", "-0099"}}).target_energy, -99);
        EXPECT_EQ(read(Params{{"target_energy", "+000"}}).target_energy, 0);
        EXPECT_EQ(read(Params{{"target_energy", "0"}}).target_energy, 0);
    }
}

TEST(SearchSettings, TargetsAndTimeLimitsWhereTheSidesDiffer) {
    // a module checks the text; the library hands what it cannot read to the
    // coefficient type, which throws. Both take a plus sign.
    EXPECT_EQ(module(Params{{"target_energy", "+5"}}).target_energy, 5);
    EXPECT_EQ(native(Params{{"target_energy", "+5"}}).target_energy, 5);
    EXPECT_THROW(native(Params{{"target_energy", "5x"}}), std::runtime_error);
    EXPECT_DEATH(module(Params{{"target_energy", ""}}),
                 fatal_text("NimbaSolver: target_energy is not a decimal integer: ''"));
    EXPECT_EQ(native(Params{{"target_energy", ""}}).target_energy, 0);
    EXPECT_EQ(native(Params{{"target_energy", "-123456789012345678901234567890"}}).target_energy,
              coeff_t("-123456789012345678901234567890"));
    EXPECT_EQ(module(Params{{"time_limit", "nan"}}).time_limit, 0.0);
    EXPECT_TRUE(std::isnan(native(Params{{"time_limit", "nan"}}).time_limit));
}

}  // namespace
