// The vexa program end to end: bad input ends with status 2, one line on
// standard error and nothing on standard output; good input of every format
// is solved, and the printed energy is the one the library recomputes for the
// printed assignment.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <sstream>
#include <thread>
#include <nlohmann/json.hpp>

#include "tools/tool_util.hpp"
#include "vexa/sysinfo.h"
#include "vexa/vexa.hpp"

namespace {

using namespace vexa::cli;
using vexa::Int;

int count_lines(const std::string &s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

TEST(Cli, BadInputEndsWithStatusTwoAndOneLine) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    struct Case {
        std::string name, text, extra, message;
    };
    const std::vector<Case> cases = {
        {"a.qubo", "p qubo 0 2 1 0\n2 2 1\n", "", "a.qubo:2: index 2 out of range 0..1"},
        {"b.qubo", "p qubo 0 2 1 0\n", "", "b.qubo:1: the header announces 1 diagonal entries, the file has 0"},
        {"c.gset", "3 1\n1 2 one\n", "", "c.gset:2: 'one' is not a number"},
        {"d.mat", "3 1\n1 2 3 4\n", "", "d.mat:2: expected 'i j w', found 4 fields"},
        {"e.txt", "3 1\n1 2 3\n", "", "e.txt: cannot tell the format from the file; give --format qubo, matrix or gset"},
        {"f.txt", "3 1\n1 2 3\n", "--format qubo",
         "f.txt:1: expected the header 'p qubo 0 maxNodes nNodes nLinks', found '3' ..."},
        {"g.qubo", std::string("\xff\xfe\x00garbage", 10), "",
         "g.qubo:1: expected the header 'p qubo 0 maxNodes nNodes nLinks', found '?" "?\?garbage'"},
        {"h.gset", "2 1\n1 2 1\n", "--target 1.5", "vexa: --target: '1.5' is not an integer energy"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        test::write_file(dir + "/" + c.name, c.text);
        const test::Run r = test::run_tool(dir, "solve " + dir + "/" + c.name + " " + c.extra);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, (c.message[0] == 'v' ? c.message : dir + "/" + c.message) + "\n");
    }
    const test::Run missing = test::run_tool(dir, "solve " + dir + "/absent.qubo");
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err, dir + "/absent.qubo: cannot open: No such file or directory\n");
}

TEST(Cli, BadArgumentsEndWithStatusTwo) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    test::write_file(dir + "/x.qubo", "p qubo 0 1 1 0\n0 0 1\n");
    for (const std::string args : {"solve", "solve x.qubo --solver greedy", "solve x.qubo --format csv", "frobnicate",
                                   "solve a b", "--version extra"}) {
        SCOPED_TRACE(args);
        const test::Run r = test::run_tool(dir, args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(count_lines(r.err), 1) << r.err;
        EXPECT_EQ(r.err.rfind("vexa: ", 0), 0u) << r.err;
    }
    // Option values are checked before the file is read (the file here does
    // not exist), and bounds read as numbers a person would write.
    const std::string year = "31536000";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"--time-limit nan", "--time-limit: 'nan' is not a number of seconds"},
        {"--time-limit inf", "--time-limit: 'inf' is not a number of seconds"},
        {"--time-limit -inf", "--time-limit: '-inf' is not a number of seconds"},
        {"--time-limit 2s", "--time-limit: '2s' is not a number of seconds"},
        {"--time-limit -1", "--time-limit: -1 is out of range; give more than 0 and at most " + year + " seconds"},
        {"--time-limit 0", "--time-limit: 0 is out of range; give more than 0 and at most " + year + " seconds"},
        {"--time-limit 1e999", "--time-limit: 1e999 is out of range; give more than 0 and at most " + year + " seconds"},
        {"--time-limit 1e300", "--time-limit: 1e300 is out of range; give more than 0 and at most " + year + " seconds"},
        {"--seed 18446744073709551616", "--seed: 18446744073709551616 is out of range 0..18446744073709551615"},
        {"--seed 99999999999999999999999", "--seed: 99999999999999999999999 is out of range 0..18446744073709551615"},
        {"--seed -1", "--seed: '-1' is not a whole number"},
        {"--seed 1.5", "--seed: '1.5' is not a whole number"},
        {"--threads 0", "--threads: 0 is out of range 1..4096"},
        {"--threads 5000", "--threads: 5000 is out of range 1..4096"},
        {"--topk 0", "--topk: 0 is out of range 1..4294967295"},
        {"--instance 0", "--instance: 0 is out of range 1..18446744073709551615"},
        {"--target 1.5", "--target: '1.5' is not an integer energy"},
    };
    for (const auto &[args, message] : cases) {
        SCOPED_TRACE(args);
        const test::Run r = test::run_tool(dir, "solve " + dir + "/absent.qubo " + args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, "vexa: " + message + "\n");
    }
    const test::Run help = test::run_tool(dir, "solve --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--time-limit"), std::string::npos);
}

TEST(Cli, VersionHelpAndTheHintWithoutACommand) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    const test::Run none = test::run_tool(dir, "");
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "vexa: no command given; try 'vexa solve FILE' or 'vexa help'\n");

    const test::Run help = test::run_tool(dir, "help");
    EXPECT_EQ(help.status, 0) << help.err;
    EXPECT_NE(help.out.find("solve"), std::string::npos) << help.out;
    EXPECT_NE(help.out.find("--version"), std::string::npos) << help.out;

    const test::Run version = test::run_tool(dir, "--version");
    EXPECT_EQ(version.status, 0) << version.err;
    EXPECT_EQ(version.err, "");
    EXPECT_EQ(version.out.rfind("vexa " + std::string(vexa_const_str("version")) + " (", 0), 0u) << version.out;
    EXPECT_NE(version.out.find(" build)\n"), std::string::npos) << version.out;
    // Every module built beside the library is named.
    std::string modules_line;
    for (std::istringstream lines(version.out); std::getline(lines, modules_line);) {
        if (modules_line.rfind("modules  ", 0) == 0) break;
    }
    ASSERT_EQ(modules_line.rfind("modules  ", 0), 0u) << version.out;
    for (const char *module : {"nimbasolver_cppint.so", "exhaustive_cppint.so"}) {
        const bool built = std::filesystem::exists(std::string(VEXA_OUT_DIR) + "/" + module);
        EXPECT_EQ(modules_line.find(module) != std::string::npos, built) << module << ": " << modules_line;
    }
}

// What is not a problem file ends with one clear line, however large it is.
TEST(Cli, EndlessAndOverlongInputEndsWithOneLine) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    for (const std::string format : {"", " --format gset"}) {
        const test::Run zero = test::run_tool(dir, "solve /dev/zero" + format);
        EXPECT_EQ(zero.status, 2);
        EXPECT_EQ(zero.out, "");
        EXPECT_EQ(zero.err, "/dev/zero:1: a line longer than 1 MiB; not a problem file\n");
    }
    const test::Run piped = test::run_tool(dir, "solve - --format qubo < /dev/zero");
    EXPECT_EQ(piped.status, 2);
    EXPECT_EQ(piped.err, "<stdin>:1: a line longer than 1 MiB; not a problem file\n");
    const test::Run dir_arg = test::run_tool(dir, "solve " + dir);
    EXPECT_EQ(dir_arg.status, 2);
    EXPECT_EQ(dir_arg.err, dir + ": is a directory\n");
}

bool have_module(const char *name) { return std::filesystem::exists(std::string(VEXA_OUT_DIR) + "/" + name); }

// The energy of an assignment as the library computes it for an independently
// built expression of the problem.
Int library_energy(const Problem &p, const std::vector<int> &x) {
    const vexa::Vars v("e2e", p.n);
    vexa::Expr e;
    for (const Entry &en : p.entries) {
        if (p.format == Format::gset) {
            e -= en.w * (v[en.i] + v[en.j] - 2 * v[en.i] * v[en.j]);
        } else {
            e -= en.w * v[en.i] * v[en.j];
        }
    }
    const vexa::Model model = vexa::Model::from(e);
    vexa::Sol sol(model);
    for (uint64_t i = 0; i < p.n; ++i) {
        if (sol.has(v[i])) sol.set(v[i], x[i]);
    }
    return sol.comp_energy();
}

Int brute_force_minimum(const Problem &p) {
    Int best;
    for (uint32_t bits = 0; bits < (1u << p.n); ++bits) {
        std::vector<int> x(p.n);
        for (uint32_t i = 0; i < p.n; ++i) x[i] = (bits >> i) & 1;
        const Int e = Int(test::cpp_int(-test::objective(p, x)));
        if (bits == 0 || e < best) best = e;
    }
    return best;
}

TEST(Cli, EveryFormatSolvesToTheRecomputedEnergy) {
    if (!have_module("nimbasolver_cppint.so") || !have_module("exhaustive_cppint.so")) {
        GTEST_SKIP() << "solver modules not built";
    }
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    const uint64_t seed = 2468;
    std::mt19937_64 rng(seed);
    for (const Format f : {Format::qubo, Format::matrix, Format::gset}) {
        for (const char *solver : {"exhaustive", "nimba"}) {
            SCOPED_TRACE(std::string(format_name(f)) + " " + solver + " seed 2468");
            const Problem p = test::random_problem(rng, f, 10, 30);
            const std::string file = dir + "/p" + test::extension(f);
            test::write_file(file, test::write_problem(p));
            const test::Run r = test::run_tool(dir, "solve " + file + " --json --quiet --solver " + solver +
                                                        " --time-limit 1 --topk 3");
            ASSERT_EQ(r.status, 0) << r.err;
            const auto j = nlohmann::json::parse(r.out);
            const Int energy(std::to_string(j["energy"].get<int64_t>()));
            const std::vector<int> x = j["assignment"].get<std::vector<int>>();
            ASSERT_EQ(x.size(), p.n);
            EXPECT_EQ(library_energy(p, x), energy);
            EXPECT_EQ(Int(test::cpp_int(-test::objective(p, x))), energy);
            EXPECT_EQ(j["objective"]["value"].get<int64_t>(), -energy.to_int64());
            EXPECT_EQ(energy, brute_force_minimum(p));  // ten variables: both solvers find the optimum
            for (const auto &alt : j["solutions"]) {
                const std::vector<int> y = alt["assignment"].get<std::vector<int>>();
                EXPECT_EQ(library_energy(p, y), Int(std::to_string(alt["energy"].get<int64_t>())));
            }
            EXPECT_TRUE(j["info"].contains("run_time"));
        }
    }
}

TEST(Cli, TextOutputOfTheShippedInstance) {
    if (!have_module("nimbasolver_cppint.so")) GTEST_SKIP() << "solver module not built";
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    const test::Run r =
        test::run_tool(dir, std::string("solve ") + VEXA_DATA_DIR + "/bqp50_1.qubo --time-limit 1 --seed 1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\nformat      qubo (maximise f)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\nvariables   50\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\nmaximum     "), std::string::npos) << r.out;
}

}  // namespace

namespace {

// A random qbsolv problem over n variables with every pair present.
Problem dense_qubo(std::mt19937_64 &rng, uint32_t n) {
    Problem p;
    p.format = Format::qubo;
    p.n = n;
    for (uint32_t i = 0; i < n; ++i) {
        for (uint32_t j = i; j < n; ++j) p.entries.push_back(Entry{i, j, Int(static_cast<long long>(rng() % 101) - 50)});
    }
    return p;
}

TEST(Cli, StandardInputReadsLikeTheFile) {
    if (!have_module("exhaustive_cppint.so")) GTEST_SKIP() << "solver module not built";
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    std::mt19937_64 rng(555);
    for (const Format f : {Format::qubo, Format::matrix, Format::gset}) {
        SCOPED_TRACE(std::string(format_name(f)) + " seed 555");
        const Problem p = test::random_problem(rng, f, 12, 40);
        const std::string file = dir + "/p" + test::extension(f);
        test::write_file(file, test::write_problem(p));
        const std::string opts = " --solver exhaustive --json --quiet --topk 2";
        const test::Run direct = test::run_tool(dir, "solve " + file + opts);
        const test::Run piped = test::run_tool(dir, std::string("solve - --format ") + format_name(f) + opts + " < " + file);
        ASSERT_EQ(direct.status, 0) << direct.err;
        ASSERT_EQ(piped.status, 0) << piped.err;
        const auto a = nlohmann::json::parse(direct.out), b = nlohmann::json::parse(piped.out);
        EXPECT_EQ(b["file"], "-");
        for (const char *key : {"format", "variables", "entries", "energy", "objective", "assignment"}) {
            EXPECT_EQ(a[key], b[key]) << key;
        }
        EXPECT_EQ(a["solutions"].size(), b["solutions"].size());
    }
    // A qbsolv header tells the format of a stream without a name.
    const test::Run told = test::run_tool(dir, "solve - --solver exhaustive --quiet < " + dir + "/p.qubo");
    EXPECT_EQ(told.status, 0) << told.err;
    EXPECT_NE(told.out.find("\nformat      qubo"), std::string::npos) << told.out;
}

// A byte order mark, exponents and trailing zeros are read as the exact
// integers they stand for; the answer is the brute-force optimum.
TEST(Cli, WeightsInAnyExactNotation) {
    if (!have_module("exhaustive_cppint.so")) GTEST_SKIP() << "solver module not built";
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    test::write_file(dir + "/w.qubo", "\xEF\xBB\xBF" "c weights\np qubo 0 3 2 3\n0 0 1e3\n1 1 -2.5E2\n0 1 -1.0e3\n"
                                      "1 2 3.00e+2\n0 2 -120e-1\n");
    Problem p;
    p.format = Format::qubo;
    p.n = 3;
    p.entries = {Entry{0, 0, Int(1000)}, Entry{1, 1, Int(-250)}, Entry{0, 1, Int(-1000)}, Entry{1, 2, Int(300)},
                 Entry{0, 2, Int(-12)}};
    const test::Run r = test::run_tool(dir, "solve " + dir + "/w.qubo --solver exhaustive --json --quiet");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["entries"], 5);
    EXPECT_EQ(Int(std::to_string(j["energy"].get<int64_t>())), brute_force_minimum(p));
}

// Energies and objectives beyond 64 bits are JSON numbers with every digit.
TEST(Cli, JsonKeepsEveryDigitOfWideIntegers) {
    if (!have_module("exhaustive_cppint.so")) GTEST_SKIP() << "solver module not built";
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    // f = 2^70 x0 - 3 x1 + 2^70 x2 + 5 x0 x1 - 2^70 x1 x2 + 7 x0 x2: best 2^71 + 7 at 101.
    const std::string w = "1180591620717411303424";
    test::write_file(dir + "/wide.qubo", "p qubo 0 3 3 3\n0 0 " + w + "\n1 1 -3\n2 2 1.180591620717411303424e21\n"
                                         "0 1 5\n1 2 -" + w + "\n0 2 7\n");
    const test::Run r = test::run_tool(dir, "solve " + dir + "/wide.qubo --solver exhaustive --json --quiet");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string best = "2361183241434822606855";
    EXPECT_NE(r.out.find("\"energy\": -" + best + ",\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"value\": " + best + "\n"), std::string::npos) << r.out;
    // Still one valid document; numeric info values are numbers too.
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["assignment"], nlohmann::json::array({1, 0, 1}));
    EXPECT_TRUE(j["info"]["states"].is_number()) << r.out;
    EXPECT_TRUE(j["info"]["run_time"].is_number()) << r.out;
    EXPECT_TRUE(j["info"]["algorithm"].is_string()) << r.out;
}

// Options that change nothing in the chosen mode draw one warning line each;
// the run itself goes on.
TEST(Cli, OptionsWithoutEffectDrawWarnings) {
    if (!have_module("exhaustive_cppint.so") || !have_module("nimbasolver_cppint.so")) {
        GTEST_SKIP() << "solver modules not built";
    }
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    test::write_file(dir + "/g.gset", "3 2\n1 2 1\n2 3 1\n");
    test::write_file(dir + "/m.mat", "3 2\n1 2 1\n2 3 1\n");
    test::write_file(dir + "/c.mat", "2\n2 1\n1 2 4\n2 1\n1 2 -1\n");
    const std::string w = "vexa: warning: ";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"g.gset --instance 2 --time-limit 0.2", w + "--instance has no effect: only a matrix file holds several problems\n"},
        {"m.mat --instance 1 --time-limit 0.2", w + "--instance has no effect: the file holds a single problem\n"},
        {"c.mat --instance 2 --time-limit 0.2", ""},
        {"g.gset --solver exhaustive --seed 4 --target -1",
         w + "--seed has no effect with the exhaustive solver\n" + w +
             "--target has no effect with the exhaustive solver, which always finds the minimum\n"},
        {"g.gset --target 2 --time-limit 0.2",
         w + "--target 2 is an energy, the negated cut; to stop at a cut of 2, give --target -2\n"},
        {"m.mat --target 5 --time-limit 0.2",
         w + "--target 5 is an energy, the negated maximum; to stop at a maximum of 5, give --target -5\n"},
        {"g.gset --target -2 --time-limit 0.2 --seed 3", ""},
    };
    for (const auto &[args, warnings] : cases) {
        SCOPED_TRACE(args);
        const test::Run r = test::run_tool(dir, "solve " + dir + "/" + args + " --quiet");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, warnings);
        EXPECT_NE(r.out.find("\nenergy "), std::string::npos) << r.out;
    }
}

// The exhaustive solver honours the time limit and says it stopped early;
// given time enough it completes.
TEST(Cli, ExhaustiveSearchStopsAtTheTimeLimit) {
    if (!have_module("exhaustive_cppint.so")) GTEST_SKIP() << "solver module not built";
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    std::mt19937_64 rng(77);
    test::write_file(dir + "/big.qubo", test::write_problem(dense_qubo(rng, 40)));
    const auto start = std::chrono::steady_clock::now();
    const test::Run cut = test::run_tool(dir, "solve " + dir + "/big.qubo --solver exhaustive --time-limit 0.3 --json --quiet");
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_EQ(cut.status, 0) << cut.err;
    EXPECT_LT(wall, 20.0);  // 2^40 states would take minutes
    const auto j = nlohmann::json::parse(cut.out);
    EXPECT_EQ(j["stopped_early"], true);
    EXPECT_EQ(j["info"]["complete"], 0);
    EXPECT_EQ(j["info"]["time_limit_reached"], 1);
    const test::Run text = test::run_tool(dir, "solve " + dir + "/big.qubo --solver exhaustive --time-limit 0.1 --quiet");
    EXPECT_NE(text.out.find("\nstopped     at the time limit"), std::string::npos) << text.out;

    test::write_file(dir + "/small.qubo", test::write_problem(dense_qubo(rng, 10)));
    const test::Run whole = test::run_tool(dir, "solve " + dir + "/small.qubo --solver exhaustive --time-limit 30 --json --quiet");
    ASSERT_EQ(whole.status, 0) << whole.err;
    const auto k = nlohmann::json::parse(whole.out);
    EXPECT_EQ(k["stopped_early"], false);
    EXPECT_EQ(k["info"]["complete"], 1);
}

// Without --quiet a search shows, once a second, the time, the limit as it
// was given and the best energy so far, which the final answer never exceeds.
TEST(Cli, ProgressLineShowsTheBestEnergyAndTheLimitAsGiven) {
    if (!have_module("nimbasolver_cppint.so")) GTEST_SKIP() << "solver module not built";
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    std::mt19937_64 rng(2024);
    test::write_file(dir + "/p.qubo", test::write_problem(test::random_problem(rng, Format::qubo, 300, 3000)));
    const test::Run r = test::run_tool(dir, "solve " + dir + "/p.qubo --time-limit 2.5 --json --seed 1");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::regex line(R"(vexa: searching, (\d+) s of 2\.5 s(, best energy (-?\d+))?)");
    std::smatch m;
    std::string last_best;
    std::istringstream err(r.err);
    for (std::string l; std::getline(err, l);) {
        ASSERT_TRUE(std::regex_match(l, m, line)) << l;
        if (m[3].matched) last_best = m[3];
    }
    ASSERT_FALSE(last_best.empty()) << r.err;
    const int64_t final_energy = nlohmann::json::parse(r.out)["energy"].get<int64_t>();
    EXPECT_LE(final_energy, std::stoll(last_best));
}

// VEXA_NUM_THREADS sets the search threads unless --threads is given.
TEST(Cli, ThreadCountFollowsTheEnvironment) {
    if (!have_module("exhaustive_cppint.so")) GTEST_SKIP() << "solver module not built";
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    std::mt19937_64 rng(3);
    test::write_file(dir + "/p.qubo", test::write_problem(dense_qubo(rng, 16)));
    const std::string cmd = "solve " + dir + "/p.qubo --solver exhaustive --json --quiet";
    const auto threads = [&](const std::string &args, const std::string &env) {
        const test::Run r = test::run_tool(dir, cmd + args, env);
        EXPECT_EQ(r.status, 0) << r.err;
        return nlohmann::json::parse(r.out)["info"]["threads"].get<int>();
    };
    EXPECT_EQ(threads("", "VEXA_NUM_THREADS=1"), 1);
    EXPECT_EQ(threads("", "VEXA_NUM_THREADS=3"), 3);
    EXPECT_EQ(threads(" --threads 2", "VEXA_NUM_THREADS=1"), 2);
    EXPECT_EQ(threads(" --threads 1", "VEXA_NUM_THREADS=3"), 1);
}

namespace ctrl_c {

// Starts the tool with `args`, its output in dir/stdout and dir/stderr.
pid_t start_tool(const std::string &dir, const std::vector<std::string> &args) {
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&fa, STDOUT_FILENO, (dir + "/stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&fa, STDERR_FILENO, (dir + "/stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char *> argv;
    std::string tool = VEXA_TOOL_PATH;
    argv.push_back(tool.data());
    std::vector<std::string> copy = args;
    for (std::string &a : copy) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, tool.c_str(), &fa, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&fa);
    return rc == 0 ? pid : -1;
}

// The exit status, or -1 if the process has not ended within `seconds`
// (it is then killed).
int wait_status(pid_t pid, double seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    int st = 0;
    while (std::chrono::steady_clock::now() < end) {
        if (waitpid(pid, &st, WNOHANG) == pid) return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    kill(pid, SIGKILL);
    waitpid(pid, &st, 0);
    return -1;
}

}  // namespace ctrl_c

TEST(Cli, ASignalStopsTheSearchAndTheBestIsPrinted) {
    if (!have_module("nimbasolver_cppint.so") || !have_module("exhaustive_cppint.so")) {
        GTEST_SKIP() << "solver modules not built";
    }
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    std::mt19937_64 rng(97531);
    const Problem small = test::random_problem(rng, Format::gset, 40, 120);
    const Problem big = test::random_problem(rng, Format::gset, 300, 1200);
    test::write_file(dir + "/small.gset", test::write_problem(small));
    test::write_file(dir + "/big.gset", test::write_problem(big));
    struct Case {
        const char *solver;
        const char *file;
        int sig;
        const Problem *p;
    };
    // The exhaustive search over 40 variables and the heuristic one with a
    // minute's limit would both run far past the signal.
    for (const Case c : {Case{"nimba", "big.gset", SIGINT, &big}, Case{"nimba", "big.gset", SIGTERM, &big},
                         Case{"exhaustive", "small.gset", SIGINT, &small}}) {
        SCOPED_TRACE(std::string(c.solver) + " signal " + std::to_string(c.sig));
        const auto start = std::chrono::steady_clock::now();
        const pid_t pid = ctrl_c::start_tool(
            dir, {"solve", dir + "/" + c.file, "--json", "--quiet", "--solver", c.solver, "--time-limit", "60"});
        ASSERT_GT(pid, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        kill(pid, c.sig);
        const int status = ctrl_c::wait_status(pid, 30.0);
        const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ASSERT_EQ(status, 128 + c.sig) << test::read_file(dir + "/stderr");
        EXPECT_LT(took, 40.0);
        const auto j = nlohmann::json::parse(test::read_file(dir + "/stdout"));
        const std::vector<int> x = j["assignment"].get<std::vector<int>>();
        ASSERT_EQ(x.size(), c.p->n);
        EXPECT_EQ(library_energy(*c.p, x), Int(std::to_string(j["energy"].get<int64_t>())));
    }
}

// The accelerated solver on an integer LP (searched in the library, no
// module needed): a signal stops it, the best is printed, status 130.
TEST(Cli, ASignalStopsTheAcceleratedSearch) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    std::string lp = "Minimize\n obj:";
    for (int k = 0; k < 30; ++k) lp += (k % 3 ? " + " : " - ") + std::to_string(k % 7 + 1) + " n" + std::to_string(k);
    lp += "\nSubject To\n";
    for (int k = 0; k + 1 < 30; ++k) lp += " r" + std::to_string(k) + ": n" + std::to_string(k) + " + n" +
                                          std::to_string(k + 1) + " <= 9\n";
    lp += "Bounds\n";
    for (int k = 0; k < 30; ++k) lp += " 0 <= n" + std::to_string(k) + " <= 8\n";
    lp += "Generals\n";
    for (int k = 0; k < 30; ++k) lp += " n" + std::to_string(k) + "\n";
    lp += "End\n";
    test::write_file(dir + "/int.lp", lp);
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = ctrl_c::start_tool(
        dir, {"solve", dir + "/int.lp", "--json", "--quiet", "--solver", "tessix", "--time-limit", "60"});
    ASSERT_GT(pid, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    kill(pid, SIGINT);
    const int status = ctrl_c::wait_status(pid, 30.0);
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_EQ(status, 130) << test::read_file(dir + "/stderr");
    EXPECT_LT(took, 10.0);
    const auto j = nlohmann::json::parse(test::read_file(dir + "/stdout"));
    EXPECT_EQ(j["violated_rows"].get<int>(), 0) << j.dump();
    EXPECT_EQ(j["info"]["engine"], "integer-cpu") << j.dump();
}

// On a binary file the accelerated solver needs its module: with the real
// one it finds the known optimum, without it the tool says so.
TEST(Cli, AcceleratedSolverOnABinaryFile) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    test::write_file(dir + "/small.qubo", "p qubo 0 3 3 2\n0 0 3\n1 1 2\n2 2 -1\n0 1 -8\n1 2 4\n");
    const test::Run r =
        test::run_tool(dir, "solve " + dir + "/small.qubo --solver tessix --time-limit 1 --quiet --json");
    if (!have_module("tessix_cppint.so")) {
        EXPECT_EQ(r.status, 1);
        EXPECT_NE(r.err.find("tessix_cppint.so not found"), std::string::npos) << r.err;
        GTEST_SKIP() << "the accelerated module is not built";
    }
    ASSERT_EQ(r.status, 0) << r.err;
    // f = 3 x0 + 2 x1 - x2 - 8 x0 x1 + 4 x1 x2 is largest at x = (0, 1, 1)
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["objective"]["value"], 5) << r.out;
}

}  // namespace

// The cbc solver proves the optimum of a linear problem and refuses a
// quadratic one by name; a build without CBC says that it has none.
namespace {

TEST(CliCbc, LinearProblemsAreSolvedExactlyAndQuadraticOnesRefused) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    test::write_file(dir + "/lin.qubo", "p qubo 0 3 3 0\n0 0 5\n1 1 -2\n2 2 7\n");
    test::write_file(dir + "/quad.qubo", "p qubo 0 2 2 1\n0 0 5\n1 1 -2\n0 1 3\n");
    const test::Run lin = test::run_tool(dir, "solve " + dir + "/lin.qubo --solver cbc --json --quiet");
    const test::Run quad = test::run_tool(dir, "solve " + dir + "/quad.qubo --solver cbc --quiet");
#ifdef VEXA_TOOL_HAS_CBC
    ASSERT_EQ(lin.status, 0) << lin.err;
    const auto j = nlohmann::json::parse(lin.out);
    EXPECT_EQ(j["energy"], -12);
    EXPECT_EQ(j["assignment"], nlohmann::json::array({1, 0, 1}));
    EXPECT_EQ(j["info"]["status"], "optimal") << lin.out;
    EXPECT_EQ(j["info"]["bound"], -12) << lin.out;
    EXPECT_EQ(quad.status, 2);
    EXPECT_EQ(quad.out, "");
    EXPECT_EQ(quad.err, "vexa: " + dir +
                            "/quad.qubo: the cbc solver takes only linear problems: not an ILP: the objective has a "
                            "degree-2 term (only free-form penalty terms enforced to 0 by their hard rows are allowed). "
                            "Keep the objective linear, or solve without the ILP option.\n");
#else
    for (const test::Run *r : {&lin, &quad}) {
        EXPECT_EQ(r->status, 1);
        EXPECT_EQ(r->err, "vexa: this vexa was built without CBC, so --solver cbc is not available; install "
                          "coinor-libcbc-dev (scripts/setup.sh) and build again\n");
    }
#endif
}

}  // namespace
