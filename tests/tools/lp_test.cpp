// LP files: the reader against random models written in many spellings, the
// tool solving them to the optimum found by enumeration, LP -> model -> LP
// round trips, vexa convert, and every refusal as FILE:LINE with status 2.
#include <gtest/gtest.h>

#include <boost/multiprecision/cpp_int.hpp>
#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <sstream>

#include "readers/lp.hpp"
#include "tools/tool_util.hpp"

namespace {

using namespace vexa::cli;
using boost::multiprecision::cpp_int;

// ---------------------------------------------------------------------------
// Random models and their text
// ---------------------------------------------------------------------------

struct GenVar {
    std::string name;
    bool binary;
    int lo, hi;
};

struct GenRow {
    std::vector<std::pair<int, int>> terms;  // variable, coefficient; may repeat
    char form;                               // 'L' <=, 'G' >=, 'E' =, 'R' lo <= . <= hi
    int lo, hi;
};

struct GenLp {
    bool maximize = false;
    std::vector<GenVar> vars;
    int constant = 0;
    std::vector<std::pair<int, int>> linear;
    std::vector<std::tuple<int, int, int>> quad;  // a, b (binaries), coefficient of x_a x_b
    std::vector<GenRow> rows;
};

long long eval_terms(const std::vector<std::pair<int, int>> &terms, const std::vector<int> &x) {
    long long v = 0;
    for (const auto &[i, c] : terms) v += static_cast<long long>(c) * x[i];
    return v;
}

long long objective(const GenLp &g, const std::vector<int> &x) {
    long long v = g.constant + eval_terms(g.linear, x);
    for (const auto &[a, b, c] : g.quad) v += static_cast<long long>(c) * x[a] * x[b];
    return v;
}

bool feasible(const GenLp &g, const std::vector<int> &x) {
    for (const GenRow &r : g.rows) {
        const long long v = eval_terms(r.terms, x);
        if (r.form != 'L' && v < r.lo) return false;
        if (r.form != 'G' && v > r.hi) return false;
    }
    return true;
}

// Calls f on every assignment within the variables' bounds.
template <class F>
void each_assignment(const GenLp &g, F &&f) {
    std::vector<int> x(g.vars.size());
    for (std::size_t k = 0; k < x.size(); ++k) x[k] = g.vars[k].lo;
    for (;;) {
        f(x);
        std::size_t k = 0;
        while (k < x.size() && x[k] == g.vars[k].hi) x[k] = g.vars[k].lo, ++k;
        if (k == x.size()) return;
        ++x[k];
    }
}

// A model over a few binaries and small integers whose rows hold at a
// random witness, so that it is feasible.
GenLp random_lp(std::mt19937_64 &rng, bool quadratic) {
    auto pick = [&](int lo, int hi) { return lo + static_cast<int>(rng() % static_cast<uint64_t>(hi - lo + 1)); };
    GenLp g;
    g.maximize = rng() % 2 == 0;
    const int nb = pick(1, 4), ni = pick(0, 2);
    for (int k = 0; k < nb; ++k) g.vars.push_back({"x" + std::to_string(k), true, 0, 1});
    for (int k = 0; k < ni; ++k) {
        const int lo = pick(-3, 2);
        g.vars.push_back({"n_" + std::to_string(k), false, lo, lo + pick(1, 4)});
    }
    const int n = static_cast<int>(g.vars.size());
    std::vector<int> witness(n);
    for (int k = 0; k < n; ++k) witness[k] = pick(g.vars[k].lo, g.vars[k].hi);
    g.constant = pick(-5, 5);
    for (int t = pick(1, 2 * n); t > 0; --t) g.linear.emplace_back(pick(0, n - 1), pick(-9, 9));
    if (quadratic) {
        for (int t = pick(1, 3); t > 0; --t) {
            const int a = pick(0, nb - 1), b = pick(0, nb - 1);
            g.quad.emplace_back(std::min(a, b), std::max(a, b), pick(-6, 6));
        }
    }
    for (int r = pick(0, 4); r > 0; --r) {
        GenRow row;
        for (int t = pick(1, 3); t > 0; --t) row.terms.emplace_back(pick(0, n - 1), pick(-5, 5));
        const long long v = eval_terms(row.terms, witness);
        row.form = "LGER"[rng() % 4];
        row.lo = static_cast<int>(v) - pick(0, 2);
        row.hi = static_cast<int>(v) + pick(0, 2);
        if (row.form == 'E') row.lo = row.hi = static_cast<int>(v);
        g.rows.push_back(std::move(row));
    }
    return g;
}

// The model as an LP file, in a spelling picked at random: keywords in any
// case and form, terms broken across lines, comments, "=<" for "<=", "3x"
// for "3 x", quadratic coefficients split in two.
std::string write_lp(const GenLp &g, std::mt19937_64 &rng) {
    auto coin = [&] { return rng() % 2 == 0; };
    std::ostringstream os;
    auto br = [&] { os << (rng() % 4 == 0 ? "\n  " : " "); };
    auto comment = [&] {
        if (rng() % 4 == 0) os << (coin() ? "\\ a comment line\n" : "   \\ another, indented\n");
    };
    auto term = [&](int c, const std::string &name, bool first) {
        if (c < 0) {
            os << "- ";
        } else if (!first) {
            os << "+ ";
        }
        const int m = std::abs(c);
        if (m != 1 || coin()) os << m << (coin() ? " " : "");
        os << name;
        br();
    };
    auto sense = [&](char s) {
        if (s == 'L') return coin() ? "<=" : "=<";
        if (s == 'G') return coin() ? ">=" : "=>";
        return "=";
    };
    comment();
    os << (g.maximize ? (coin() ? "Maximize" : "MAX") : (coin() ? "minimize" : "Minimum")) << "\n";
    if (coin()) os << " obj: ";
    bool first = true;
    for (const auto &[i, c] : g.linear) {
        term(c, g.vars[i].name, first);
        first = false;
    }
    if (g.constant != 0 || coin()) {
        os << (g.constant < 0 ? "- " : first ? "" : "+ ") << std::abs(g.constant) << ' ';
        first = false;
    }
    if (!g.quad.empty()) {
        os << (first ? "" : "+ ") << "[ ";
        bool qfirst = true;
        for (const auto &[a, b, c] : g.quad) {
            const std::string prod = a == b && coin() ? g.vars[a].name + " ^ 2"
                                                      : g.vars[a].name + (coin() ? " * " : "*") + g.vars[b].name;
            // 2c as two parts, or as one.
            const int part = coin() ? c : 2 * c;
            for (const int piece : part == 2 * c ? std::vector<int>{2 * c} : std::vector<int>{c, c}) {
                os << (piece < 0 ? "- " : qfirst ? "" : "+ ") << std::abs(piece) << ' ' << prod << ' ';
                qfirst = false;
                br();
            }
        }
        os << "] / 2";
    }
    os << "\n";
    comment();
    os << (coin() ? "Subject To\n" : "st\n");
    for (std::size_t r = 0; r < g.rows.size(); ++r) {
        const GenRow &row = g.rows[r];
        comment();
        os << ' ';
        if (coin()) os << "c" << r << ": ";
        if (row.form == 'R') os << row.lo << ' ' << sense('L') << ' ';
        bool f = true;
        for (const auto &[i, c] : row.terms) {
            term(c, g.vars[i].name, f);
            f = false;
        }
        if (row.form == 'R') {
            os << sense('L') << ' ' << row.hi << '\n';
        } else {
            os << sense(row.form) << ' ' << (row.form == 'G' ? row.lo : row.hi) << '\n';
        }
    }
    os << (coin() ? "Bounds\n" : "bound\n");
    for (const GenVar &v : g.vars) {
        if (v.binary) continue;
        if (coin()) {
            os << ' ' << v.lo << " <= " << v.name << " <= " << v.hi << '\n';
        } else {
            os << ' ' << v.name << " >= " << v.lo << "\n " << v.name << " =< " << v.hi << '\n';
        }
    }
    os << (coin() ? "Generals\n" : "general\n");
    for (const GenVar &v : g.vars) {
        if (!v.binary) os << ' ' << v.name << (coin() ? "\n" : "");
    }
    os << (coin() ? "\nBinaries\n" : "\nbin\n");
    for (const GenVar &v : g.vars) {
        if (v.binary) os << ' ' << v.name << (coin() ? "\n" : "");
    }
    os << "\nEnd\n";
    comment();
    return os.str();
}

// What the reader made of a file, evaluated at the generator's assignment
// (by name; a name the file does not use must read 0).
struct ReadModel {
    const LpProblem &p;
    std::vector<int> at;  // generator index of each variable read

    ReadModel(const LpProblem &problem, const GenLp &g) : p(problem) {
        for (const LpVariable &v : p.vars) {
            int k = 0;
            while (k < static_cast<int>(g.vars.size()) && g.vars[k].name != v.name) ++k;
            at.push_back(k < static_cast<int>(g.vars.size()) ? k : -1);
        }
    }
    cpp_int value(uint32_t var, const std::vector<int> &x) const {
        if (at[var] < 0) {
            // Only a column fixed to one value may be the reader's own.
            EXPECT_EQ(p.vars[var].lower, p.vars[var].upper) << p.vars[var].name;
            return p.vars[var].lower.to_cpp_int();
        }
        return x[at[var]];
    }
    cpp_int objective(const std::vector<int> &x) const {
        cpp_int v = p.constant.to_cpp_int();
        for (const LpTerm &t : p.linear) v += t.c.to_cpp_int() * value(t.a, x);
        for (const LpTerm &t : p.quadratic) v += t.c.to_cpp_int() * value(t.a, x) * value(t.b, x);
        return v;
    }
    bool feasible(const std::vector<int> &x) const {
        for (const LpRow &r : p.rows) {
            cpp_int v = 0;
            for (const LpTerm &t : r.terms) v += t.c.to_cpp_int() * value(t.a, x);
            if (!r.lower_infinite && v < r.lower.to_cpp_int()) return false;
            if (!r.upper_infinite && v > r.upper.to_cpp_int()) return false;
        }
        return true;
    }
};

// The reader's model agrees with the generator's: the same sense, kinds and
// bounds, and the same objective and feasibility at every assignment.
// With `as_energy`, the file minimises the energy instead: the objective, or
// its negation for a maximised model, as the linear view writes it.
void expect_same_model(const LpProblem &p, const GenLp &g, const std::string &trace, bool as_energy = false) {
    SCOPED_TRACE(trace);
    EXPECT_EQ(p.maximize, g.maximize && !as_energy);
    const int sign = as_energy && g.maximize ? -1 : 1;
    const ReadModel m(p, g);
    for (std::size_t k = 0; k < p.vars.size(); ++k) {
        if (m.at[k] < 0) continue;
        const GenVar &v = g.vars[m.at[k]];
        EXPECT_EQ(p.vars[k].kind, v.binary ? LpKind::binary : LpKind::integer) << v.name;
        EXPECT_EQ(p.vars[k].lower, vexa::Int(v.lo)) << v.name;
        EXPECT_EQ(p.vars[k].upper, vexa::Int(v.hi)) << v.name;
    }
    bool all_equal = true;
    each_assignment(g, [&](const std::vector<int> &x) {
        if (m.objective(x) != sign * objective(g, x) || m.feasible(x) != feasible(g, x)) all_equal = false;
    });
    EXPECT_TRUE(all_equal);
}

std::optional<long long> optimum(const GenLp &g) {
    std::optional<long long> best;
    each_assignment(g, [&](const std::vector<int> &x) {
        if (!feasible(g, x)) return;
        const long long v = objective(g, x);
        if (!best || (g.maximize ? v > *best : v < *best)) best = v;
    });
    return best;
}

// The tool run inside the directory, so that files go by their short names.
test::Run run_in(const std::string &dir, const std::string &args) { return test::run_tool(dir, args, "cd '" + dir + "' &&"); }

nlohmann::json solve_json(const std::string &dir, const std::string &file, const std::string &solver) {
    const test::Run r = run_in(dir, "solve " + file + " --solver " + solver + " --quiet --json");
    EXPECT_EQ(r.status, 0) << r.err;
    if (r.status != 0) return nlohmann::json::object();
    return nlohmann::json::parse(r.out);
}

// ---------------------------------------------------------------------------
// The reader
// ---------------------------------------------------------------------------

TEST(LpReader, RandomModelsInEverySpellingReadAsWritten) {
    for (uint64_t seed = 1; seed <= 300; ++seed) {
        std::mt19937_64 rng(seed);
        const GenLp g = random_lp(rng, seed % 2 == 0);
        const std::string text = write_lp(g, rng);
        try {
            const LpProblem p = read_lp(text, "m.lp");
            expect_same_model(p, g, "seed " + std::to_string(seed) + "\n" + text);
        } catch (const ReadError &e) {
            ADD_FAILURE() << "seed " << seed << ": " << e.what() << "\n" << text;
        }
        if (HasFailure()) break;
    }
}

TEST(LpReader, RangesBoundsAndTheWritersOwnConventions) {
    const std::string text =
        "\\ header comment\n"
        "MAXIMIZE\n"
        " profit: 2 a + 3b - c\n"
        "   + 4 vexa_one \\ the constant, as the linear view writes it\n"
        "SUBJECT TO\n"
        " r0_lo: a + b + c >= 1\n"
        " r0_hi: a + b + c <= 2\n"
        " 3 >= a + c\n"
        " -1 <= - a - b <= 5\n"  // the upper side cannot bind: a >= row
        " fixed: 0 a + 1 >= 1\n"  // no variables and always true: dropped
        " vexa_one_row: 1 vexa_one = 1\n"  // holds whatever the values: no row
        " free: a - b >= -1\n"              // likewise
        "Bounds\n"
        " -1 <= c <= +3\n"
        " vexa_one = 1\n"
        " b <= 7\n"  // wider than 0..1: binaries keep 0..1
        "Generals\n c vexa_one\n"
        "Binaries\n a b\n"
        "End\n";
    const LpProblem p = read_lp(text, "m.lp");
    EXPECT_TRUE(p.maximize);
    ASSERT_EQ(p.vars.size(), 4u);
    EXPECT_EQ(p.vars[3].name, "vexa_one");
    EXPECT_EQ(p.vars[3].lower, vexa::Int(1));
    EXPECT_EQ(p.vars[3].upper, vexa::Int(1));
    EXPECT_EQ(p.vars[1].upper, vexa::Int(1));
    EXPECT_EQ(p.vars[2].lower, vexa::Int(-1));
    EXPECT_EQ(p.vars[2].upper, vexa::Int(3));
    // r0_lo and r0_hi are one ranged row; "3 >= a + c" reads a + c <= 3.
    ASSERT_EQ(p.rows.size(), 3u);
    EXPECT_EQ(p.rows[0].name, "r0");
    EXPECT_EQ(p.rows[0].lower, vexa::Int(1));
    EXPECT_EQ(p.rows[0].upper, vexa::Int(2));
    EXPECT_FALSE(p.rows[0].lower_infinite || p.rows[0].upper_infinite);
    EXPECT_TRUE(p.rows[1].lower_infinite);
    EXPECT_EQ(p.rows[1].upper, vexa::Int(3));
    EXPECT_EQ(p.rows[2].lower, vexa::Int(-1));
    EXPECT_TRUE(p.rows[2].upper_infinite);
    ASSERT_EQ(p.rows[2].terms.size(), 2u);
    EXPECT_EQ(p.rows[2].terms[0].c, vexa::Int(-1));
    EXPECT_EQ(p.constant, vexa::Int(0));
    ASSERT_EQ(p.linear.size(), 4u);
    EXPECT_EQ(p.linear[1].c, vexa::Int(3));
    // Exact integers in any notation, however wide.
    const LpProblem wide = read_lp(
        "Minimize\n 123456789012345678901234567890 x + 2.000 y + 1e3 z\nBinaries\n x y z\nEnd\n", "w.lp");
    ASSERT_EQ(wide.linear.size(), 3u);
    EXPECT_EQ(wide.linear[0].c.str(), "123456789012345678901234567890");
    EXPECT_EQ(wide.linear[1].c, vexa::Int(2));
    EXPECT_EQ(wide.linear[2].c, vexa::Int(1000));
}

// ---------------------------------------------------------------------------
// The tool
// ---------------------------------------------------------------------------

TEST(LpTool, RefusalsNameTheFileLineAndFeature) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    const std::string head = "Minimize\n obj: x + y\n";
    const std::string tail = "Binaries\n x y\nEnd\n";
    struct Case {
        std::string text, message;
    };
    const std::vector<Case> cases = {
        {"Minimize\n obj: x + 1.5 y\n" + tail, "2: coefficient '1.5' is not an integer; coefficients are exact integers"},
        {head + "Subject To\n c: x + z <= 1\n" + tail,
         "4: continuous variable z: only binary and integer variables are supported"},
        {head + "Binaries\n x y\nSOS\n s1: S1:: x:1 y:2\nEnd\n", "5: SOS constraints (section 'SOS') are not supported"},
        {head + "Binaries\n x y\nSemi-Continuous\n y\nEnd\n",
         "5: semi-continuous variables (section 'Semi-Continuous') are not supported"},
        {head + "Binaries\n x y\nPWL\nEnd\n", "5: piecewise-linear terms (section 'PWL') are not supported"},
        {head + "Subject To\n c: x = 1 -> y <= 0\n" + tail, "4: indicator constraints are not supported"},
        {head + "Subject To\n c: [ x * y ] <= 1\n" + tail, "4: quadratic terms in rows are not supported"},
        {"Minimize\n obj: x + [ x * y ] / 2\n" + tail,
         "2: the coefficient of x * y is 1 / 2, which is not an integer; coefficients are exact integers"},
        {"Minimize\n obj: [ 2 x * y ]\n" + tail, "2: the quadratic part of the objective must end in '] / 2'"},
        {"Minimize\n obj: [ 2 x ] / 2\n" + tail,
         "2: a term inside [ ] must be a square (x ^ 2) or a product (x * y); 'x' stands alone"},
        {head + "Subject To\n c: x + y\n 3\n" + tail, "5: expected <=, >= or = in the row, found '3'"},
        {head + "Subject To\n c: 1 <= x + y >= 0\n" + tail,
         "4: the two senses of a ranged row must both be <= or both be >="},
        {head + "Subject To\n c: 0 x >= 1\n" + tail, "4: row 'c' has no variables and can never hold"},
        {head + "Subject To\n c: x +\n <= 1\n" + tail, "5: expected a term after the sign, found '<='"},
        {"Minimize\n obj: x + n\nBounds\n 3 <= n <= 2\nGenerals\n n\nBinaries\n x\nEnd\n",
         "4: the bounds of 'n' are empty: 3 > 2"},
        {"Minimize\n obj: x + n\nGenerals\n n\nBinaries\n x\nEnd\n",
         "2: integer variable 'n' has no upper bound; give one in Bounds"},
        {"Minimize\n obj: x + n\nBounds\n n free\nGenerals\n n\nBinaries\n x\nEnd\n",
         "4: integer variable 'n' has no lower bound; give one in Bounds"},
        {head + "Generals\n x\n" + tail, "6: variable 'x' is declared both binary and general integer"},
        {"x + y\nMinimize\n" + tail, "1: expected Minimize or Maximize before anything else"},
        {"\\ only a comment\n", "1: no Minimize or Maximize section"},
        {head + tail + "x\n", "6: text after End"},
        {"Minimize\n obj: x \xff y\n" + tail, "2: unexpected character '?'"},
    };
    for (std::size_t k = 0; k < cases.size(); ++k) {
        const std::string file = dir + "/m" + std::to_string(k) + ".lp";
        SCOPED_TRACE(cases[k].text);
        test::write_file(file, cases[k].text);
        const test::Run r = test::run_tool(dir, "solve " + file + " --solver exhaustive --quiet");
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, file + ":" + cases[k].message + "\n");
    }
}

TEST(LpTool, RandomModelsSolveToTheOptimumOfEnumeration) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    for (uint64_t seed = 1; seed <= 12; ++seed) {
        std::mt19937_64 rng(seed * 7919);
        const GenLp g = random_lp(rng, seed % 2 == 0);
        const std::string text = write_lp(g, rng);
        SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
        const std::string file = dir + "/r" + std::to_string(seed) + (seed % 3 == 0 ? ".txt" : ".lp");
        test::write_file(file, text);
        const std::optional<long long> best = optimum(g);
        ASSERT_TRUE(best.has_value());
        std::vector<std::string> solvers = {"exhaustive", "nimba"};
#ifdef VEXA_TOOL_HAS_CBC
        if (g.quad.empty()) solvers.emplace_back("cbc");
#endif
        for (const std::string &solver : solvers) {
            const std::string extra = solver == "nimba" ? " --time-limit 0.5 --seed 1" : "";
            const test::Run r = test::run_tool(dir, "solve " + file + " --solver " + solver + extra + " --quiet --json");
            ASSERT_EQ(r.status, 0) << solver << ": " << r.err;
            const nlohmann::json j = nlohmann::json::parse(r.out);
            EXPECT_EQ(j["objective"].get<long long>(), *best) << solver;
            EXPECT_EQ(j["energy"].get<long long>(), g.maximize ? -*best : *best) << solver;
            EXPECT_EQ(j["violated_rows"].get<int>(), 0) << solver;
            // The values printed are a feasible assignment of that objective.
            std::vector<int> x;
            for (const GenVar &v : g.vars) x.push_back(j["values"][v.name].get<int>());
            EXPECT_TRUE(feasible(g, x)) << solver;
            EXPECT_EQ(objective(g, x), *best) << solver;
        }
    }
}

// The accelerated solver and the portfolio on integer LPs: the library's
// integer search needs no module, and each reaches the enumerated optimum.
// The portfolio names the solver whose result it reports, and stops both
// once one of them reaches the target.
TEST(LpTool, TessixAndPortfolioReachTheOptimum) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    int searched = 0;
    for (uint64_t seed = 1; seed <= 12; ++seed) {
        std::mt19937_64 rng(seed * 7919);
        const GenLp g = random_lp(rng, seed % 2 == 0);
        const std::string text = write_lp(g, rng);
        SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
        const std::string file = dir + "/t" + std::to_string(seed) + ".lp";
        test::write_file(file, text);
        const std::optional<long long> best = optimum(g);
        ASSERT_TRUE(best.has_value());
        for (const std::string solver : {"tessix", "portfolio"}) {
            const test::Run r = test::run_tool(
                dir, "solve " + file + " --solver " + solver + " --time-limit 0.5 --threads 2 --quiet --json");
            // the heuristic solver, and a model of binary variables alone,
            // need modules that a build may lack
            if (r.status == 1 && r.err.find("solver module") != std::string::npos) continue;
            ASSERT_EQ(r.status, 0) << solver << ": " << r.err;
            ++searched;
            const nlohmann::json j = nlohmann::json::parse(r.out);
            EXPECT_EQ(j["objective"].get<long long>(), *best) << solver;
            EXPECT_EQ(j["violated_rows"].get<int>(), 0) << solver;
            std::vector<int> x;
            for (const GenVar &v : g.vars) x.push_back(j["values"][v.name].get<int>());
            EXPECT_TRUE(feasible(g, x)) << solver;
            EXPECT_EQ(objective(g, x), *best) << solver;
            if (solver == "portfolio") {
                const std::string winner = j["info"]["solver"].get<std::string>();
                EXPECT_TRUE(winner == "nimba" || winner == "tessix") << r.out;
            } else {
                EXPECT_FALSE(j["info"].contains("solver")) << r.out;
            }
        }
    }
    EXPECT_GT(searched, 3);

    // With the optimum as target, neither solver runs its minute.
    test::write_file(dir + "/int.lp", "Minimize\n x - n\nSubject To\n x + n <= 2\nBounds\n 0 <= n <= 3\n"
                                      "Generals\n n\nBinaries\n x\nEnd\n");
    for (const std::string solver : {"tessix", "portfolio"}) {
        const auto start = std::chrono::steady_clock::now();
        const test::Run r = test::run_tool(
            dir, "solve " + dir + "/int.lp --solver " + solver + " --time-limit 60 --target -2 --quiet --json");
        const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (r.status == 1 && r.err.find("nimbasolver_cppint.so not found") != std::string::npos) continue;
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(nlohmann::json::parse(r.out)["objective"], -2) << solver;
        EXPECT_LT(took, 20.0) << solver;
    }
}

TEST(LpTool, LpToModelToLpKeepsTheModel) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    for (uint64_t seed = 1; seed <= 10; ++seed) {
        std::mt19937_64 rng(seed * 104729);
        const GenLp g = random_lp(rng, false);
        const std::string text = write_lp(g, rng);
        SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
        const std::string a = dir + "/a.lp", b = dir + "/b.lp", c = dir + "/c.lp";
        test::write_file(a, text);
        const test::Run ab = test::run_tool(dir, "convert " + a + " " + b);
        ASSERT_EQ(ab.status, 0) << ab.err;
        EXPECT_EQ(ab.out + ab.err, "");
        const test::Run bc = test::run_tool(dir, "convert " + b + " " + c);
        ASSERT_EQ(bc.status, 0) << bc.err;
        // The written file is the same model as the original, and writing
        // what was read from it gives the same file again.
        const std::string written = test::read_file(b);
        expect_same_model(read_lp(written, "b.lp"), g, written, true);
        EXPECT_EQ(test::read_file(c), written);
    }
}

TEST(LpTool, ConvertWritesEachFormatOrSaysWhyNot) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    test::write_file(dir + "/k.lp",
                     "Maximize\n 5 x + 4 y + 3 z - n\nSubject To\n w: 2 x + 3 y + z <= 4\n 1 <= y + n <= 2\n"
                     "Bounds\n 0 <= n <= 2\nGenerals\n n\nBinaries\n x y z\nEnd\n");
    // MPS: rows by sense, the range as a RANGES entry, the integer's bounds.
    const test::Run mps = run_in(dir, "convert k.lp k.mps");
    ASSERT_EQ(mps.status, 0) << mps.err;
    const std::string m = test::read_file(dir + "/k.mps");
    for (const char *line : {" L r0\n", " G r1\n", " x obj -5\n", " x r0 2\n", " rhs r0 4\n", " rhs r1 1\n",
                             " rng r1 1\n", " BV bnd x\n", " UP bnd n 2\n", "ENDATA\n"}) {
        EXPECT_NE(m.find(line), std::string::npos) << line << "\n" << m;
    }
    // An unconstrained binary model goes to qbsolv and back with its optimum.
    test::write_file(dir + "/q.lp", "Minimize\n - 3 x + 2 y - z + [ 4 x * y - 6 y * z + 2 x ^ 2 ] / 2 + 7\n"
                                    "Binaries\n x y z\nEnd\n");
    const test::Run q = run_in(dir, "convert q.lp q.qubo");
    ASSERT_EQ(q.status, 0) << q.err;
    const nlohmann::json from_lp = solve_json(dir, "q.lp", "exhaustive");
    const nlohmann::json from_qubo = solve_json(dir, "q.qubo", "exhaustive");
    // The qbsolv file has no constant: its energy is 7 below the model's.
    EXPECT_EQ(from_lp["energy"].get<long long>(), from_qubo["energy"].get<long long>() + 7);
    EXPECT_NE(test::read_file(dir + "/q.qubo").find("c the energy also holds the constant 7"), std::string::npos);
    const test::Run qq = run_in(dir, "convert q.qubo q2.qubo");
    ASSERT_EQ(qq.status, 0) << qq.err;
    EXPECT_EQ(solve_json(dir, "q2.qubo", "exhaustive")["energy"], from_qubo["energy"]);
    // A G-set graph as qbsolv: the same best cut.
    test::write_file(dir + "/g.gset", "4 4\n1 2 1\n2 3 2\n3 4 3\n4 1 1\n");
    ASSERT_EQ(run_in(dir, "convert g.gset g.qubo").status, 0);
    EXPECT_EQ(solve_json(dir, "g.gset", "exhaustive")["energy"], solve_json(dir, "g.qubo", "exhaustive")["energy"]);

    const std::vector<std::pair<std::string, std::string>> refused = {
        {"convert k.lp k.qubo",
         "vexa: k.lp: only a model of binary variables without constraints, of degree at most 2, can be written as "
         ".qubo; this one has 1 integer variables and 2 constraints"},
        {"convert k.lp k.txt", "vexa: convert: cannot tell the output format of 'k.txt'; give a name ending in .lp, "
                               ".mps or .qubo"},
        {"convert k.lp", "vexa: OUT is required"},
    };
    for (const auto &[args, message] : refused) {
        SCOPED_TRACE(args);
        const test::Run r = run_in(dir, args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, message + "\n");
    }
    // A quadratic objective is no ILP: the library's reason, and no file.
    const test::Run lp = run_in(dir, "convert q.lp q2.lp");
    EXPECT_EQ(lp.status, 2);
    EXPECT_EQ(lp.err.rfind("vexa: q.lp: cannot be written as LP: not an ILP: ", 0), 0u) << lp.err;
    EXPECT_FALSE(std::ifstream(dir + "/q2.lp").good());
}

TEST(LpTool, ContentAndFormatOptionTellAnLpFile) {
    const test::ScratchDir scratch;
    const std::string &dir = scratch.path;
    const std::string text = "\\ no extension\nmaximise\n x + y\nst\n x + y <= 1\nbinary\n x y\nend\n";
    test::write_file(dir + "/model", text);
    const nlohmann::json by_content = solve_json(dir, "model", "exhaustive");
    EXPECT_EQ(by_content["objective"], 1);
    EXPECT_EQ(by_content["format"], "lp");
    const test::Run piped = run_in(dir, "solve - --format lp --solver exhaustive --quiet --json < model");
    ASSERT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(nlohmann::json::parse(piped.out)["objective"], 1);
    // The exhaustive search of integers takes neither a limit nor threads;
    // a thread count from the environment is left aside.
    test::write_file(dir + "/int.lp", "Minimize\n x - n\nSubject To\n x + n <= 2\nBounds\n 0 <= n <= 3\n"
                                      "Generals\n n\nBinaries\n x\nEnd\n");
    for (const auto &[option, message] : std::vector<std::pair<std::string, std::string>>{
             {"--time-limit 1", "vexa: --time-limit: the exhaustive solver takes no time limit on a model with integer "
                                "variables\n"},
             {"--threads 2", "vexa: --threads: the exhaustive solver searches a model with integer variables on one "
                             "thread\n"}}) {
        const test::Run r = run_in(dir, "solve int.lp --solver exhaustive --quiet " + option);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err, message);
    }
    const test::Run env = test::run_tool(dir, "solve int.lp --solver exhaustive --quiet --json",
                                         "cd '" + dir + "' && VEXA_NUM_THREADS=2");
    ASSERT_EQ(env.status, 0) << env.err;
    EXPECT_EQ(nlohmann::json::parse(env.out)["objective"], -2);
    // Text lines name the variables and their values.
    const test::Run textual = run_in(dir, "solve model --solver exhaustive --quiet");
    ASSERT_EQ(textual.status, 0) << textual.err;
    EXPECT_NE(textual.out.find("format      lp (maximise the objective)\n"), std::string::npos) << textual.out;
    EXPECT_NE(textual.out.find("objective   1\n"), std::string::npos) << textual.out;
    EXPECT_NE(textual.out.find("violated    0 rows\n"), std::string::npos) << textual.out;
}

}  // namespace
