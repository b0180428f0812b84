// The vexa program end to end: bad input ends with status 2, one line on
// standard error and nothing on standard output; good input of every format
// is solved, and the printed energy is the one the library recomputes for the
// printed assignment.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/tool_util.hpp"
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
    for (const std::string args : {"", "solve", "solve x.qubo --solver greedy", "solve x.qubo --time-limit -1",
                                   "solve x.qubo --threads 0", "solve x.qubo --format csv", "frobnicate"}) {
        SCOPED_TRACE(args);
        const test::Run r = test::run_tool(dir, args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(count_lines(r.err), 1) << r.err;
        EXPECT_EQ(r.err.rfind("vexa: ", 0), 0u) << r.err;
    }
    const test::Run help = test::run_tool(dir, "solve --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--time-limit"), std::string::npos);
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
