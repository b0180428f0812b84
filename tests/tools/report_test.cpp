// The tool's two output forms.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "report.hpp"

namespace {

using namespace vexa::cli;

Outcome sample() {
    Outcome o;
    o.file = "g.gset";
    o.format = Format::gset;
    o.variables = 4;
    o.entries = 5;
    o.index_base = 1;
    o.solver = "nimba";
    o.best = {vexa::Int(-7), 0.25, {1, 0, 0, 1}};
    o.topk = {{vexa::Int("-123456789012345678901234567890"), 0.5, {0, 1, 1, 0}}};
    o.info = {{"run_time", "1.000000"}, {"engine", "x"}};
    return o;
}

TEST(Report, JsonCarriesEveryField) {
    const auto j = nlohmann::ordered_json::parse(json_report(sample()));
    EXPECT_EQ(j["file"], "g.gset");
    EXPECT_EQ(j["format"], "gset");
    EXPECT_EQ(j["variables"], 4);
    EXPECT_EQ(j["entries"], 5);
    EXPECT_EQ(j["index_base"], 1);
    EXPECT_EQ(j["energy"], -7);
    EXPECT_EQ(j["objective"]["name"], "cut");
    EXPECT_EQ(j["objective"]["value"], 7);
    EXPECT_EQ(j["tts"], 0.25);
    EXPECT_EQ(j["assignment"], nlohmann::ordered_json::array({1, 0, 0, 1}));
    ASSERT_EQ(j["solutions"].size(), 1u);
    EXPECT_EQ(j["solutions"][0]["energy"], "-123456789012345678901234567890");  // beyond 64 bits: text
    EXPECT_EQ(j["info"]["run_time"], "1.000000");
    // Info pairs keep the order the solver gave them.
    EXPECT_EQ(j["info"].begin().key(), "run_time");
}

TEST(Report, TextNamesTheObjectiveOfTheFile) {
    Outcome o = sample();
    const std::string gset = text_report(o);
    EXPECT_NE(gset.find("energy      -7\n"), std::string::npos) << gset;
    EXPECT_NE(gset.find("cut         7\n"), std::string::npos) << gset;
    EXPECT_NE(gset.find("assignment  1001  (x1 .. x4)\n"), std::string::npos) << gset;
    EXPECT_NE(gset.find("  run_time = 1.000000\n"), std::string::npos) << gset;
    o.format = Format::qubo;
    o.index_base = 0;
    const std::string qubo = text_report(o);
    EXPECT_NE(qubo.find("maximum     7\n"), std::string::npos) << qubo;
    EXPECT_NE(qubo.find("(x0 .. x3)"), std::string::npos) << qubo;
}

}  // namespace
