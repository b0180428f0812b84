// Readers of the problem formats: what they accept, what they refuse and
// with which message, and a round trip of random problems through each format.
#include <gtest/gtest.h>

#include <algorithm>

#include "readers/readers.hpp"
#include "tools/tool_util.hpp"

namespace {

using namespace vexa::cli;
using vexa::Int;

std::string error_of(const std::function<void()> &f) {
    try {
        f();
    } catch (const ReadError &e) {
        return e.what();
    }
    return "(no error)";
}

TEST(QuboReader, ReadsCommentsHeaderAndBothKindsOfEntry) {
    const Problem p = read_qubo(
        "c a comment\nc\np qubo 0 4 2 2\nc nodes\n0 0 99.0\n3 3 -48\nc links\n0 3 78.0\n"
        "2 1 -123456789012345678901234567890\n",
        "f.qubo");
    EXPECT_EQ(p.format, Format::qubo);
    EXPECT_EQ(p.n, 4u);
    EXPECT_EQ(p.index_base, 0u);
    ASSERT_EQ(p.entries.size(), 4u);
    EXPECT_EQ(p.entries[0].w, 99);
    EXPECT_EQ(p.entries[1].i, 3u);
    EXPECT_EQ(p.entries[2].j, 3u);
    EXPECT_EQ(p.entries[3].i, 2u);
    EXPECT_EQ(p.entries[3].w, Int("-123456789012345678901234567890"));
}

TEST(QuboReader, RefusesBadInputWithFileAndLine) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "f:1: no header line 'p qubo 0 maxNodes nNodes nLinks'"},
        {"c only comments\n", "f:1: no header line 'p qubo 0 maxNodes nNodes nLinks'"},
        {"0 0 1\n", "f:1: expected the header 'p qubo 0 maxNodes nNodes nLinks', found '0' ..."},
        {"p qubo 0 3 1\n", "f:1: expected the header 'p qubo 0 maxNodes nNodes nLinks', found 'p' ..."},
        {"p qubo 0 x 1 0\n", "f:1: 'x' is not a variable count"},
        {"p qubo 0 200000000 0 0\n", "f:1: variable count '200000000' is larger than 100000000"},
        {"p qubo 0 3 1 0\n0 0\n", "f:2: expected 'i j w', found 2 fields"},
        {"p qubo 0 3 1 0\n\n\n3 3 1\n", "f:4: index 3 out of range 0..2"},
        {"p qubo 0 3 1 0\n-1 0 1\n", "f:2: '-1' is not an index"},
        {"p qubo 0 3 1 0\n1 1 1e\n", "f:2: '1e' is not a number"},
        {"p qubo 0 3 1 0\n1 1 12e-2\n", "f:2: weight '12e-2' is not an integer; coefficients are exact integers"},
        {"p qubo 0 3 1 0\n1 1 0.5\n", "f:2: weight '0.5' is not an integer; coefficients are exact integers"},
        {"p qubo 0 3 1 0\n1 1 1\np qubo 0 3 1 0\n", "f:3: a second header line"},
        {"c\np qubo 0 3 2 0\n1 1 1\n", "f:2: the header announces 2 diagonal entries, the file has 1"},
        {"p qubo 0 3 1 1\n1 1 1\n", "f:1: the header announces 1 off-diagonal entries, the file has 0"},
        {"p qubo 0 0 0 0\n0 0 1\n", "f:2: index 0 given, but the header announces no variables"},
        {"p qubo 0 3 1 0\n99999999999999999999999 1 1\n", "f:2: index 99999999999999999999999 out of range 0..2"},
    };
    for (const auto &[text, message] : cases) {
        EXPECT_EQ(error_of([&] { read_qubo(text, "f"); }), message) << text;
    }
}

TEST(MatrixReader, ReadsSingleMatricesAndBeasleyCollections) {
    const Problem single = read_matrix("# MQLib\n3 3\n1 1 5\n1 3 -2\n3 2 7\n", "m");
    EXPECT_EQ(single.n, 3u);
    EXPECT_EQ(single.index_base, 1u);
    ASSERT_EQ(single.entries.size(), 3u);
    EXPECT_EQ(single.entries[1].j, 2u);

    const std::string collection = "2\n2 1\n1 2 4\n3 2\n1 1 -1\n3 3 6\n";
    const Problem first = read_matrix(collection, "b", 1);
    EXPECT_EQ(first.n, 2u);
    ASSERT_EQ(first.entries.size(), 1u);
    const Problem second = read_matrix(collection, "b", 2);
    EXPECT_EQ(second.n, 3u);
    ASSERT_EQ(second.entries.size(), 2u);
    EXPECT_EQ(second.entries[1].w, 6);
}

TEST(MatrixReader, RefusesBadInputWithFileAndLine) {
    const std::vector<std::tuple<std::string, uint64_t, std::string>> cases = {
        {"", 1, "m:1: no header line 'n m'"},
        {"3 2\n1 1 5\n", 1, "m:1: the header announces 2 entries, the file has 1"},
        {"3 1\n1 1 5\n2 2 1\n", 1, "m:3: more entries than the header announces"},
        {"3 1\n0 1 5\n", 1, "m:2: index 0 out of range 1..3"},
        {"3 1\n1 4 5\n", 1, "m:2: index 4 out of range 1..3"},
        {"3 1 7\n", 1, "m:1: expected the header 'n m', found 3 fields"},
        {"2\n2 1\n1 2 4\n", 1, "m:1: the file announces 2 problems and holds 1"},
        {"1\n2 1\n1 2 4\n5 5 5\n", 1, "m:4: more lines than the announced problems hold"},
        {"2\n2 1\n1 2 4\n2 1\n1 2 x\n", 1, "m:5: 'x' is not a number"},  // later blocks are checked too
        {"2\n2 1\n1 2 4\n2 1\n1 2 1\n", 3, "m:1: instance 3 asked for, the file holds 2"},
    };
    for (const auto &[text, instance, message] : cases) {
        EXPECT_EQ(error_of([&] { read_matrix(text, "m", instance); }), message) << text;
    }
}

TEST(GsetReader, ReadsEdgesAndRefusesBadInput) {
    const Problem p = read_gset("4 3\n1 2 1\n2 4 -1\n3 1 1\n", "G1");
    EXPECT_EQ(p.format, Format::gset);
    EXPECT_EQ(p.n, 4u);
    ASSERT_EQ(p.entries.size(), 3u);
    EXPECT_EQ(p.entries[1].j, 3u);
    EXPECT_EQ(p.entries[1].w, -1);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"4 3\n1 2 1\n", "g:1: the header announces 3 entries, the file has 1"},
        {"4 1\n1 2 1\n3 4 1\n", "g:3: more entries than the header announces"},
        {"4 1\n1 5 1\n", "g:2: index 5 out of range 1..4"},
        {"4 1\n1 2\n", "g:2: expected 'i j w', found 2 fields (more entries than the header announces?)"},
        {"4 x\n", "g:1: 'x' is not a count of entries"},
    };
    for (const auto &[text, message] : cases) {
        EXPECT_EQ(error_of([&] { read_gset(text, "g"); }), message) << text;
    }
}

// Weights are exact integers however they are written; anything else is
// refused with the line it stands on.
TEST(Weights, ExactIntegersInEveryNotationAndNothingElse) {
    const std::vector<std::pair<std::string, std::string>> accepted = {
        {"7", "7"}, {"+7", "7"}, {"-7", "-7"}, {"-0", "0"}, {"007", "7"}, {"99.0", "99"}, {"99.", "99"},
        {"-7.000", "-7"}, {"1e3", "1000"}, {"1E3", "1000"}, {"1e+3", "1000"}, {"2.5E2", "250"},
        {"120e-1", "12"}, {"-1.25e2", "-125"}, {"0e999999999999", "0"}, {"0.0e-5", "0"},
        {"1e30", "1000000000000000000000000000000"},
        {"9223372036854775807", "9223372036854775807"}, {"-9223372036854775808", "-9223372036854775808"},
        {"9223372036854775808", "9223372036854775808"},
        {"-1180591620717411303424", "-1180591620717411303424"}, {"1180591620717411303424.000", "1180591620717411303424"},
    };
    for (const auto &[token, value] : accepted) {
        const Problem p = read_gset("2 1\n1 2 " + token + "\n", "g");
        ASSERT_EQ(p.entries.size(), 1u);
        EXPECT_EQ(p.entries[0].w, Int(value)) << token;
    }
    const std::vector<std::pair<std::string, std::string>> refused = {
        {"1.5", "weight '1.5' is not an integer; coefficients are exact integers"},
        {".5", "weight '.5' is not an integer; coefficients are exact integers"},
        {"1e-1", "weight '1e-1' is not an integer; coefficients are exact integers"},
        {"15e-1", "weight '15e-1' is not an integer; coefficients are exact integers"},
        {"1e-99999999999999999999", "weight '1e-99999999999999999999' is not an integer; coefficients are exact integers"},
        {"1e100001", "weight '1e100001' has more than 100000 digits"},
        {"1e99999999999999999999", "weight '1e99999999999999999999' has more than 100000 digits"},
        {"e5", "'e5' is not a number"}, {"1e", "'1e' is not a number"}, {"1e+-3", "'1e+-3' is not a number"},
        {"+-1", "'+-1' is not a number"}, {"--1", "'--1' is not a number"}, {".", "'.' is not a number"},
        {"1.2.3", "'1.2.3' is not a number"}, {"nan", "'nan' is not a number"}, {"inf", "'inf' is not a number"},
        {"0x10", "'0x10' is not a number"}, {"1,5", "'1,5' is not a number"}, {"-", "'-' is not a number"},
    };
    for (const auto &[token, message] : refused) {
        EXPECT_EQ(error_of([&] { read_gset("2 1\n1 2 " + token + "\n", "g"); }), "g:2: " + message) << token;
    }
}

TEST(Readers, SkipAByteOrderMarkAtTheStartOnly) {
    const std::string bom = "\xEF\xBB\xBF";
    EXPECT_EQ(read_qubo(bom + "p qubo 0 2 0 1\n0 1 3\n", "f").entries.size(), 1u);
    EXPECT_EQ(read_gset(bom + "2 1\n1 2 3\n", "g").n, 2u);
    EXPECT_EQ(detect_format(bom + "p qubo 0 2 0 1\n0 1 3\n", "x"), Format::qubo);
    EXPECT_EQ(error_of([&] { read_gset("2 1\n" + bom + "1 2 3\n", "g"); }), "g:2: '\?\?\?1' is not an index");
}

// Streams cross their buffer many times; whatever the chunk boundaries cut,
// the problem read is the one written, and the head offered for format
// detection ends at a line end.
TEST(Input, StreamsLargeFilesAsTheyAreInMemory) {
    const test::ScratchDir scratch;
    const uint64_t seed = 4242;
    std::mt19937_64 rng(seed);
    for (const Format f : {Format::qubo, Format::matrix, Format::gset}) {
        SCOPED_TRACE(std::string(format_name(f)) + " seed 4242");
        const Problem p = test::random_problem(rng, f, 5000, 250000);
        const std::string text = test::write_problem(p, true, &rng);
        ASSERT_GT(text.size(), std::size_t(4) << 20);  // several buffers' worth
        const std::string path = scratch.path + "/big" + test::extension(f);
        test::write_file(path, text);
        Input in(path);
        const std::string_view head = in.head();
        ASSERT_FALSE(head.empty());
        EXPECT_EQ(head.back(), '\n');
        EXPECT_EQ(text.compare(0, head.size(), head), 0);
        EXPECT_EQ(detect_format(head, path), f);
        const Problem back = read_problem(in, path, f);
        ASSERT_EQ(back.n, p.n);
        ASSERT_EQ(back.entries.size(), p.entries.size());
        for (std::size_t k = 0; k < p.entries.size(); ++k) {
            ASSERT_EQ(back.entries[k].i, p.entries[k].i) << k;
            ASSERT_EQ(back.entries[k].j, p.entries[k].j) << k;
            ASSERT_EQ(back.entries[k].w, p.entries[k].w) << k;
        }
    }
}

// A big body is cut into parts that threads parse at once: whatever the
// thread count, the entries come out in file order, and a fault late in the
// file is reported at its own line.
TEST(QuboReader, ThreadsParseBigBodiesInFileOrderWithTrueLineNumbers) {
    std::mt19937_64 rng(31337);
    const Problem p = test::random_problem(rng, Format::qubo, 3000, 400000);
    const std::string text = test::write_problem(p, true, &rng);
    ASSERT_GT(text.size(), std::size_t(4) << 20);  // parts of a megabyte and more
    // A fourth field on the entry line that starts past three quarters of a
    // plain copy of the file.
    const std::string plain = test::write_problem(p);
    const std::size_t at = plain.find('\n', plain.size() * 3 / 4) + 1;
    const auto line = static_cast<uint64_t>(std::count(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(at), '\n')) + 1;
    const std::string bad = plain.substr(0, at) + "7 " + plain.substr(at);
    for (const char *threads : {"1", "2", "5"}) {
        SCOPED_TRACE(std::string("seed 31337, threads ") + threads);
        const test::ThreadsEnv env(threads);
        const Problem back = read_qubo(text, "f");
        ASSERT_EQ(back.entries.size(), p.entries.size());
        for (std::size_t k = 0; k < p.entries.size(); ++k) {
            ASSERT_EQ(back.entries[k].i, p.entries[k].i) << k;
            ASSERT_EQ(back.entries[k].j, p.entries[k].j) << k;
            ASSERT_EQ(back.entries[k].w, p.entries[k].w) << k;
        }
        EXPECT_EQ(error_of([&] { read_qubo(bad, "f"); }),
                  "f:" + std::to_string(line) + ": expected 'i j w', found 4 fields");
    }
}

TEST(Input, RefusesOverlongLinesAndWhatCannotBeRead) {
    const test::ScratchDir scratch;
    const std::string path = scratch.path + "/long.gset";
    // The second entry never ends within the line limit.
    test::write_file(path, "3 2\n1 2 1\n2 3 " + std::string(kMaxLineBytes + 10, '1') + "\n");
    Input in(path);
    EXPECT_EQ(error_of([&] { read_problem(in, path, Format::gset); }),
              path + ":3: a line longer than 1 MiB; not a problem file");
    const std::string one_line = scratch.path + "/one_line";
    test::write_file(one_line, std::string(kMaxLineBytes + 1, 'x'));
    Input in2(one_line);
    EXPECT_EQ(error_of([&] { in2.head(); }), one_line + ":1: a line longer than 1 MiB; not a problem file");
    EXPECT_EQ(error_of([&] { Input dir(scratch.path); }), scratch.path + ": is a directory");
    EXPECT_EQ(error_of([&] { Input none(scratch.path + "/none"); }),
              scratch.path + "/none: cannot open: No such file or directory");
}

TEST(FormatDetection, ContentFirstThenNameThenDiagonal) {
    EXPECT_EQ(detect_format("c x\np qubo 0 1 0 0\n", "anything"), Format::qubo);
    EXPECT_EQ(detect_format("2\n1 0\n1 0\n", "anything"), Format::matrix);
    EXPECT_EQ(detect_format("2 1\n1 2 3\n", "dir/x.QUBO"), Format::qubo);
    EXPECT_EQ(detect_format("2 1\n1 2 3\n", "dir/G43.txt"), Format::gset);
    EXPECT_EQ(detect_format("2 1\n1 2 3\n", "G7"), Format::gset);
    EXPECT_EQ(detect_format("2 1\n1 2 3\n", "graph.mc"), Format::gset);
    EXPECT_EQ(detect_format("2 1\n1 2 3\n", "bqp.mat"), Format::matrix);
    EXPECT_EQ(detect_format("# c\n2 2\n1 2 3\n2 2 1\n", "data.txt"), Format::matrix);
    EXPECT_EQ(error_of([] { detect_format("2 1\n1 2 3\n", "Gx.txt"); }),
              "Gx.txt: cannot tell the format from the file; give --format qubo, matrix or gset");
    EXPECT_EQ(parse_format("gset"), Format::gset);
    EXPECT_EQ(parse_format("csv"), std::nullopt);
}

TEST(Readers, RandomProblemsSurviveEveryFormat) {
    const uint64_t seed = 31337;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE("seed 31337 round " + std::to_string(round));
        const Format f = static_cast<Format>(rng() % 3);
        const Problem p = test::random_problem(rng, f, 1 + rng() % 30, rng() % 60);
        const bool noise = rng() % 2;
        const std::string text = test::write_problem(p, noise, &rng);
        ASSERT_EQ(detect_format(text, "x" + test::extension(f)), f);
        const Problem back = read_problem(text, "x", f);
        ASSERT_EQ(back.n, p.n);
        ASSERT_EQ(back.index_base, p.index_base);
        ASSERT_EQ(back.entries.size(), p.entries.size());
        for (std::size_t k = 0; k < p.entries.size(); ++k) {
            ASSERT_EQ(back.entries[k].i, p.entries[k].i);
            ASSERT_EQ(back.entries[k].j, p.entries[k].j);
            ASSERT_EQ(back.entries[k].w, p.entries[k].w);
        }
    }
}

TEST(Readers, ShippedInstancesRead) {
    const std::string qubo = test::read_file(std::string(VEXA_DATA_DIR) + "/bqp50_1.qubo");
    ASSERT_FALSE(qubo.empty());
    const Problem p = read_problem(qubo, "bqp50_1.qubo", detect_format(qubo, "bqp50_1.qubo"));
    EXPECT_EQ(p.n, 50u);
    EXPECT_EQ(p.entries.size(), 111u);
}

}  // namespace
