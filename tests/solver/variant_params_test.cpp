// Variant words and narrow coefficients; parameter lists for modules and the
// parsed settings of the native integer search.
#include <cstring>

#include "solver/params.hpp"
#include "solver/variant.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

std::vector<uint8_t> narrow(const coeff_t &v, unsigned width) {
    std::vector<uint8_t> out(width, 0xEE);
    store_narrow(v, width, out.data());
    return out;
}

TEST(Variant, TableOfWidths) {
    const std::pair<const char *, VariantWidths> rows[] = {
        {"c16e32", {2, 4}}, {"c32e32", {4, 4}},     {"c32e64", {4, 8}}, {"c64e64", {8, 8}},
        {"c64e128", {8, 16}}, {"c128e128", {16, 16}}, {"cppint", {0, 0}},
    };
    for (const auto &[word, widths] : rows) {
        const auto got = variant_widths(word);
        ASSERT_TRUE(got.has_value()) << word;
        EXPECT_EQ(got->coeff_bytes, widths.coeff_bytes) << word;
        EXPECT_EQ(got->energy_bytes, widths.energy_bytes) << word;
    }
    EXPECT_FALSE(variant_widths("c8e8").has_value());
}

TEST(Variant, NarrowValuesClampTo64BitsThenKeepTheLowBytes) {
    EXPECT_EQ(narrow(-2, 2), (std::vector<uint8_t>{0xFE, 0xFF}));
    EXPECT_EQ(narrow(0x12345, 2), (std::vector<uint8_t>{0x45, 0x23}));
    EXPECT_EQ(narrow(-1, 4), (std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF}));
    // beyond 64 bits: clamped first, so the low bytes of INT64_MAX / INT64_MIN
    EXPECT_EQ(narrow(pow2(80), 8), (std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}));
    EXPECT_EQ(narrow(-pow2(80), 4), (std::vector<uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(narrow(-pow2(80), 8), (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0x80}));
}

TEST(Variant, SixteenBytesAreTheLowTwoLimbsInTwosComplement) {
    std::vector<uint8_t> want(16, 0);
    want[8] = 1;  // 2^64
    EXPECT_EQ(narrow(pow2(64), 16), want);
    EXPECT_EQ(narrow(-1, 16), std::vector<uint8_t>(16, 0xFF));
    // -(2^64) = ...FFFF 0000000000000000
    std::vector<uint8_t> neg64(16, 0xFF);
    for (int i = 0; i < 8; ++i) neg64[i] = 0;
    EXPECT_EQ(narrow(-pow2(64), 16), neg64);
    // bits above 128 are dropped
    EXPECT_EQ(narrow(pow2(130) + 5, 16)[0], 5);
}

TEST(Variant, MagnitudesAndTheWordOfAnExpression) {
    CoeffMagnitudes m;
    for (int c : {3, -7, 5, 0, -1}) m.add(c);
    m.finish();
    EXPECT_EQ(m.max_abs, 7);
    EXPECT_EQ(m.positive_sum, 8);
    EXPECT_EQ(m.negative_sum, 8);
    EXPECT_EQ(m.larger_sum, 8);
    vexa_var_reset();
    const uint32_t x = vexa_new_var("x");
    ExprPtr e(vexa_expr_create_var(x));
    add_term(e.get(), pow2(300), x);
    EXPECT_STREQ(vexa_expr_solver_type(e.get()), "cppint");
    ExprPtr empty(vexa_expr_create());
    EXPECT_STREQ(vexa_expr_solver_type(empty.get()), "cppint");
}

std::vector<std::pair<std::string, std::string>> pairs_of(const ModuleParams &p) {
    std::vector<std::pair<std::string, std::string>> out;
    for (size_t i = 0; i < p.size(); ++i) out.emplace_back(p.data()[i].key, p.data()[i].value);
    EXPECT_EQ(p.data()[p.size()].key, nullptr);
    EXPECT_EQ(p.data()[p.size()].value, nullptr);
    return out;
}
using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST(ModuleParamList, TimeLimitDefaultGoesBehindTheGivenPairs) {
    EXPECT_EQ(pairs_of(ModuleParams::with_time_limit(nullptr, false)), (Pairs{{"time_limit", "10.0"}}));
    const vexa_param empty[] = {{nullptr, nullptr}};
    EXPECT_EQ(pairs_of(ModuleParams::with_time_limit(empty, false)), (Pairs{{"time_limit", "10.0"}}));
    Params given{{"seed", "4"}, {"threads", "2"}};
    EXPECT_EQ(pairs_of(ModuleParams::with_time_limit(given.get(), false)),
              (Pairs{{"seed", "4"}, {"threads", "2"}, {"time_limit", "10.0"}}));
    Params timed{{"time_limit", "0.5"}, {"seed", "4"}};
    EXPECT_EQ(pairs_of(ModuleParams::with_time_limit(timed.get(), false)),
              (Pairs{{"time_limit", "0.5"}, {"seed", "4"}}));
    EXPECT_EQ(pairs_of(ModuleParams::copy(timed.get())), (Pairs{{"time_limit", "0.5"}, {"seed", "4"}}));
    EXPECT_EQ(pairs_of(ModuleParams::copy(nullptr)), Pairs{});
}

TEST(ModuleParamList, ThreadsIsRenamedAndCheckedOnTheUnifiedPath) {
    Params given{{"threads", "3"}, {"x", "y"}};
    EXPECT_EQ(pairs_of(ModuleParams::with_time_limit(given.get(), true)),
              (Pairs{{"thread_count", "3"}, {"x", "y"}, {"time_limit", "10.0"}}));
    Params zero{{"threads", "0"}};
    EXPECT_DEATH(ModuleParams::with_time_limit(zero.get(), true), fatal_text("NimbaSolver: threads must be >= 1."));
    Params text{{"threads", "many"}};
    EXPECT_DEATH(ModuleParams::with_time_limit(text.get(), true), fatal_text("NimbaSolver: threads must be >= 1."));
}

IntSearchOpts parsed(const Params &p, const char *name = "NimbaSolver") {
    IntSearchOpts o;
    o.solver_name = name;
    parse_int_params(o, p.get());
    return o;
}

TEST(IntParams, EveryKeyIsRead) {
    const IntSearchOpts o = parsed(Params{{"time_limit", "2.5"},
                                          {"target_energy", "-123456789012345678901234567890"},
                                          {"seed", "18446744073709551615"},
                                          {"threads", "3"},
                                          {"topk_sols", "7"},
                                          {"enable_default_callback", "True"}});
    EXPECT_EQ(o.time_limit, 2.5);
    EXPECT_TRUE(o.has_target);
    EXPECT_EQ(o.target_energy, coeff_t("-123456789012345678901234567890"));
    EXPECT_EQ(o.seed, UINT64_MAX);
    EXPECT_EQ(o.threads, 3u);
    EXPECT_EQ(o.topk_sols, 7u);
    EXPECT_FALSE(o.best_energy_sols);
    EXPECT_TRUE(o.enable_default_callback);
}

TEST(IntParams, DefaultsAndLaterPairsWin) {
    const IntSearchOpts none = parsed(Params{});
    EXPECT_EQ(none.time_limit, 10.0);
    EXPECT_FALSE(none.has_target);
    EXPECT_EQ(none.topk_sols, 0u);
    EXPECT_FALSE(none.best_energy_sols);
    EXPECT_FALSE(none.enable_default_callback);
    EXPECT_EQ(parsed(Params{{"seed", "1"}, {"seed", "2"}}).seed, 2u);
    EXPECT_EQ(parsed(Params{{"time_limit", "1"}, {"time_limit", "0"}}).time_limit, 0.0);
    EXPECT_GE(default_search_threads(), 1u);
}

TEST(IntParams, DefaultCallbackTakesOnlyThreeSpellings) {
    for (const char *on : {"1", "true", "True"}) {
        EXPECT_TRUE(parsed(Params{{"enable_default_callback", on}}).enable_default_callback) << on;
    }
    for (const char *off : {"TRUE", "yes", "0", "", "1 "}) {
        EXPECT_FALSE(parsed(Params{{"enable_default_callback", off}}).enable_default_callback) << off;
    }
}

TEST(IntParams, BestEnergyListCapNeedsALeadingDigit) {
    const IntSearchOpts abc = parsed(Params{{"best_energy_sols", "abc"}});
    EXPECT_TRUE(abc.best_energy_sols);
    EXPECT_EQ(abc.best_energy_cap, 0u);
    EXPECT_EQ(parsed(Params{{"best_energy_sols", "3"}}).best_energy_cap, 3u);
    EXPECT_EQ(parsed(Params{{"best_energy_sols", " 3"}}).best_energy_cap, 0u);
    EXPECT_EQ(parsed(Params{{"best_energy_sols", "5"}, {"best_energy_sols", "x"}}).best_energy_cap, 0u);
}

TEST(IntParams, BadSettingsAbortWithTheSolversTag) {
    EXPECT_DEATH(parsed(Params{{"threads", "0"}}), fatal_text("NimbaSolver: threads must be >= 1."));
    EXPECT_DEATH(parsed(Params{{"threads", "abc"}}, "TessixSolver"), fatal_text("TessixSolver: threads must be >= 1."));
    EXPECT_DEATH(parsed(Params{{"topk_sols", "0"}}), fatal_text("NimbaSolver: topk_sols must be >= 1."));
    EXPECT_DEATH(parsed(Params{{"seed", "1"}, {"thread_count", "2"}}),
                 fatal_text("NimbaSolver: parameter 'thread_count' is not supported for native integer models yet."));
    EXPECT_DEATH(parsed(Params{{"Seed", "1"}}, "TessixSolver"),
                 fatal_text("TessixSolver: parameter 'Seed' is not supported for native integer models yet."));
}

}  // namespace
