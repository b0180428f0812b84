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
    EXPECT_TRUE(j["solutions"][0]["energy"].is_number());
    EXPECT_TRUE(j["info"]["run_time"].is_number());
    EXPECT_EQ(j["info"]["engine"], "x");
    EXPECT_EQ(j["stopped_early"], false);
    // Info pairs keep the order the solver gave them.
    EXPECT_EQ(j["info"].begin().key(), "run_time");
}

// Integers of any width are bare JSON numbers with every digit, as are info
// values that read as numbers; everything else stays a string.
TEST(Report, JsonNumbersKeepEveryDigit) {
    Outcome o = sample();
    const std::string wide = "1180591620717411303424123456789";
    o.best.energy = vexa::Int("-" + wide);
    o.info = {{"seed", "18446744073709551615"}, {"rate", "2.5e9"}, {"name", "12 cores"}, {"code", "007"},
              {"neg", "-3.25"}};
    const std::string doc = json_report(o);
    EXPECT_NE(doc.find("\"energy\": -" + wide + ",\n"), std::string::npos) << doc;
    EXPECT_NE(doc.find("\"value\": " + wide + "\n"), std::string::npos) << doc;
    EXPECT_NE(doc.find("\"solutions\": [\n    {\n      \"energy\": -123456789012345678901234567890,"), std::string::npos)
        << doc;
    EXPECT_NE(doc.find("\"seed\": 18446744073709551615,"), std::string::npos) << doc;
    EXPECT_NE(doc.find("\"rate\": 2.5e9,"), std::string::npos) << doc;
    EXPECT_NE(doc.find("\"neg\": -3.25\n"), std::string::npos) << doc;
    const auto j = nlohmann::ordered_json::parse(doc);  // still one valid document
    EXPECT_EQ(j["info"]["name"], "12 cores");
    EXPECT_EQ(j["info"]["code"], "007");
}

// Names with quotes, backslashes and control characters go out escaped, and
// nothing in them is taken for a number written out bare.
TEST(Report, StringsStayStrings) {
    Outcome o = sample();
    o.file = std::string("a \"b\"\\\x01raw:5\x01c.qubo");
    o.info = {{"note", std::string("\x01raw:7")}};
    const auto j = nlohmann::ordered_json::parse(json_report(o));
    EXPECT_EQ(j["file"], o.file);
    EXPECT_EQ(j["info"]["note"], "\x01raw:7");
}

TEST(Report, JsonNumberText) {
    for (const char *yes : {"0", "-0", "7", "-12", "1.5", "0.000001", "1e9", "1E+9", "-2.5e-3", "18446744073709551616"}) {
        EXPECT_TRUE(json_number_text(yes)) << yes;
    }
    for (const char *no : {"", "-", "+1", "01", "1.", ".5", "1e", "1e+", "nan", "inf", "0x1", "1 ", " 1", "1,5", "--1"}) {
        EXPECT_FALSE(json_number_text(no)) << no;
    }
}

TEST(Report, TextSaysWhenTheSearchStoppedEarly) {
    Outcome o = sample();
    EXPECT_EQ(text_report(o).find("stopped"), std::string::npos);
    o.stopped_early = true;
    EXPECT_NE(text_report(o).find("\nstopped     at the time limit, before every assignment was visited\n"),
              std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(json_report(o))["stopped_early"], true);
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
