// Models with range, equality and one-sided constraints, free-form penalties,
// encoded and native integers, solved three ways: by MipSolver (CBC), by
// glpsol on the written LP and MPS files, and by CBC's own readers of those
// files. Every optimum must be the exhaustive solver's optimum of the model.
#include <Cbc_C_Interface.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "vexa/constraint.h"
#include "vexa/mip.hpp"
#include "vexa/vexa.hpp"

using vexa::Expr;
using vexa::Int;
using vexa::NativeIntVar;
using vexa::Var;
using vexa::Vars;

namespace {

// Large enough that breaking any constraint costs more than the objective
// can gain, so the model's optimum is the optimum under hard rows.
constexpr int kWeight = 10000;

Expr between(const Expr &body, const Int &lo, const Int &hi) {
    const vexa_bigint l = lo.record(), h = hi.record();
    return Expr::adopt(vexa_cons_between(body.handle(), &l, &h));
}

Expr encoded(const char *name, const Int &lo, const Int &hi) {
    const vexa_bigint l = lo.record(), h = hi.record();
    return Expr::adopt(vexa_varintelem_create(name, &l, &h));
}

Expr penalty_mark(const Expr &e) { return Expr::adopt(vexa_cons_mark(e.handle())); }

Int optimum(const vexa::Model &m) { return vexa::ExhaustiveSolver(m).search().energy(); }

std::string temp_path(const std::string &stem) {
    return ::testing::TempDir() + "vexa_mip_" + std::to_string(::getpid()) + "_" + stem;
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream f(path);
    f << text;
}

// glpsol's optimum of a file ("--lp" or "--freemps"), or nothing when it
// reports none; its log is kept in `log`.
std::optional<double> glpsol_objective(const std::string &flag, const std::string &path, std::string &log) {
    const std::string out = path + ".sol", log_path = path + ".log";
    const std::string cmd = std::string(VEXA_GLPSOL) + " " + flag + " " + path + " -o " + out + " > " + log_path + " 2>&1";
    const int rc = std::system(cmd.c_str());
    std::ifstream lf(log_path);
    log.assign(std::istreambuf_iterator<char>(lf), std::istreambuf_iterator<char>());
    if (rc != 0) return std::nullopt;
    std::ifstream f(out);
    std::string line;
    while (std::getline(f, line)) {
        // "Objective:  obj = 4 (MINimum)"
        if (line.rfind("Objective:", 0) == 0) {
            const auto eq = line.find('=');
            if (eq == std::string::npos) return std::nullopt;
            return std::strtod(line.c_str() + eq + 1, nullptr);
        }
    }
    return std::nullopt;
}

// CBC's optimum of a file read by its own LP or MPS reader.
std::optional<double> cbc_file_objective(bool lp, const std::string &path) {
    std::unique_ptr<Cbc_Model, void (*)(Cbc_Model *)> m(Cbc_newModel(), Cbc_deleteModel);
    // The readers end the process (an assertion) on a file they reject.
    const int rc = lp ? Cbc_readLp(m.get(), path.c_str()) : Cbc_readMps(m.get(), path.c_str());
    if (rc != 0) return std::nullopt;
    Cbc_setLogLevel(m.get(), 0);
    Cbc_setParameter(m.get(), "log", "0");
    Cbc_solve(m.get());
    if (!Cbc_isProvenOptimal(m.get())) return std::nullopt;
    return Cbc_getObjValue(m.get());
}

// A random model that has a feasible point by construction: bounds are drawn
// around the body values of a reference assignment.
struct RandomModel {
    Expr expr;
    std::string story;  // what was drawn, for failure messages
};

RandomModel random_model(std::mt19937_64 &rng) {
    auto pick = [&](int lo, int hi) { return lo + static_cast<int>(rng() % static_cast<uint64_t>(hi - lo + 1)); };
    std::ostringstream story;
    const int n = pick(3, 5);
    const Vars x("x", static_cast<uint64_t>(n));
    std::vector<int> xr(static_cast<size_t>(n));
    for (int &v : xr) v = pick(0, 1);
    const int klo = pick(-3, 1), khi = klo + pick(1, 6);
    const Expr k = encoded("k", klo, khi);
    const int kr = pick(klo, khi);
    const bool native = pick(0, 1) == 1;
    const int nlo = pick(-2, 1), nhi = nlo + pick(1, 3);
    std::optional<NativeIntVar> nv;
    if (native) nv.emplace("n", nlo, nhi);
    const int nr = pick(nlo, nhi);
    // The exhaustive search of integer models takes no free-form penalty.
    const bool remainder = !native && pick(0, 1) == 0;
    if (remainder && xr[0] == 1) xr[1] = 0;  // the penalty x0 x1 must be 0 at the reference
    story << "x[" << n << "] k in [" << klo << "," << khi << "]" << (native ? " native n" : "")
          << (remainder ? " penalty x0*x1" : "");

    Expr objective = Expr(Int(pick(-9, 9)));
    for (int i = 0; i < n; ++i) objective = objective + Int(pick(-5, 5)) * x[static_cast<uint64_t>(i)];
    objective = objective + Int(pick(-5, 5)) * k;
    if (native) objective = objective + Int(pick(-5, 5)) * *nv;

    Expr all = objective;
    const int ncons = pick(1, 3);
    for (int c = 0; c < ncons; ++c) {
        Expr body = Expr(Int(0));
        int value = 0;
        for (int i = 0; i < n; ++i) {
            if (pick(0, 2) == 0) continue;
            const int a = pick(-3, 3);
            body = body + Int(a) * x[static_cast<uint64_t>(i)];
            value += a * xr[static_cast<size_t>(i)];
        }
        if (pick(0, 1) == 1) {
            const int a = pick(-2, 2);
            body = body + Int(a) * k;
            value += a * kr;
        }
        if (native && pick(0, 1) == 1) {
            const int a = pick(-2, 2);
            body = body + Int(a) * *nv;
            value += a * nr;
        }
        int lo = value, hi = value;
        switch (pick(0, 3)) {
            case 0: story << " | eq " << value; break;
            case 1:
                lo -= pick(0, 2);
                hi += pick(1, 2);
                story << " | range [" << lo << "," << hi << "]";
                break;
            case 2:
                lo -= pick(0, 2);
                hi = 1000;
                story << " | >= " << lo;
                break;
            default:
                lo = -1000;
                hi += pick(0, 2);
                story << " | <= " << hi;
                break;
        }
        all = all + Int(kWeight) * between(body, lo, hi);
    }
    if (remainder) all = all + penalty_mark(Int(kWeight) * x[0] * x[1]);
    return RandomModel{all, story.str()};
}

// No test resets the variable registry: the records of encoded integers
// outlive a reset, and an old record over reused variable codes could claim
// a new model's bits. Fresh codes keep every model to its own records.
class Mip : public ::testing::Test {};

// Every way of solving gives the exhaustive optimum, and CBC's solution has
// that energy exactly.
TEST_F(Mip, RandomModelsAgreeWithTheExhaustiveOptimumEveryWay) {
    const bool with_glpsol = std::string(VEXA_GLPSOL).size() > 0;
    int integer_columns = 0, binary_rows = 0;
    for (uint64_t seed = 1; seed <= 30; ++seed) {
        std::mt19937_64 rng(seed);
        const RandomModel rm = random_model(rng);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + rm.story);
        const vexa::Model m = vexa::Model::from(rm.expr);
        const Int best = optimum(m);

        const vexa::MipSolver solver(m);
        for (uint64_t c = 0; c < solver.ilp().col_count(); ++c) {
            if (!solver.ilp().col_is_binary(static_cast<uint32_t>(c))) ++integer_columns;
        }
        binary_rows += static_cast<int>(solver.ilp().row_count());
        const vexa::MipResult r = solver.solve({.time_limit = 30.0, .threads = 1});
        ASSERT_EQ(r.status, vexa::MipStatus::optimal);
        ASSERT_TRUE(r.sol.has_value());
        EXPECT_EQ(r.sol->energy(), best);
        EXPECT_EQ(r.objective, best.to_double()) << "a feasible optimum's energy is its objective";
        ASSERT_TRUE(r.bound.has_value());
        EXPECT_EQ(*r.bound, best);
        EXPECT_EQ(r.gap, 0.0);

        const std::string stem = temp_path("seed" + std::to_string(seed));
        std::ostringstream lp, mps;
        solver.ilp().write_lp(lp);
        solver.ilp().write_mps(mps);
        write_file(stem + ".lp", lp.str());
        write_file(stem + ".mps", mps.str());
        EXPECT_EQ(cbc_file_objective(true, stem + ".lp"), best.to_double()) << lp.str();
        EXPECT_EQ(cbc_file_objective(false, stem + ".mps"), best.to_double()) << mps.str();
        if (with_glpsol) {
            std::string log;
            EXPECT_EQ(glpsol_objective("--lp", stem + ".lp", log), best.to_double()) << log << lp.str();
            EXPECT_EQ(glpsol_objective("--freemps", stem + ".mps", log), best.to_double()) << log << mps.str();
        }
    }
    // The draws reached the cases they are for.
    EXPECT_GT(integer_columns, 20);
    EXPECT_GT(binary_rows, 40);
    if (!with_glpsol) GTEST_SKIP() << "glpsol not found: only CBC checked the files";
}

// Encoded integers whose bits the model sees only as one sum become one
// integer column, and CBC's value is decoded back into those bits.
TEST_F(Mip, EncodedIntegerColumnDecodesIntoItsBits) {
    const Expr k = encoded("k", -4, 9);
    const Var y("y");
    // minimise -k - y with k + 3y <= 7: k = 7, y = 0 gives -7; k = 4, y = 1 gives -5.
    const Expr e = -k - y + Int(kWeight) * between(k + 3 * y, -100, 7);
    const vexa::Model m = vexa::Model::from(e);
    const vexa::MipSolver solver(m);
    // k's bits form one integer column.
    const vexa::Ilp &ilp = solver.ilp();
    bool k_column = false;
    for (uint32_t c = 0; c < ilp.col_count(); ++c) {
        if (ilp.col_model_var(c) != UINT32_MAX || ilp.col_bit_count(c) != vexa_varintelem_var_count(k.handle())) continue;
        bool same = true;
        for (uint32_t i = 0; i < ilp.col_bit_count(c); ++i) {
            same = same && vexa_model_var(m.handle(), ilp.col_bit_var(c, i)) == vexa_varintelem_var(k.handle(), i);
        }
        k_column = k_column || same;
    }
    EXPECT_TRUE(k_column);
    const vexa::MipResult r = solver.solve();
    ASSERT_EQ(r.status, vexa::MipStatus::optimal);
    EXPECT_EQ(r.sol->energy(), Int(-7));
    EXPECT_EQ(r.sol->eval(k), Int(7));
    EXPECT_EQ(r.sol->get(y), 0);
}

TEST_F(Mip, NativeIntegerTakesItsValue) {
    const NativeIntVar n("n", -20, 20);
    const Var b("b");
    // minimise 3n + 5b with n - 4b >= -13: n = -13 + 4b, so b = 0 gives -39.
    const Expr e = 3 * n + 5 * b + Int(kWeight) * between(n - 4 * b, -13, 1000);
    const vexa::Model m = vexa::Model::from(e);
    const vexa::MipResult r = vexa::MipSolver(m).solve({.threads = 2});
    ASSERT_EQ(r.status, vexa::MipStatus::optimal);
    EXPECT_EQ(r.sol->get(n), Int(-13));
    EXPECT_EQ(r.sol->get(b), 0);
    EXPECT_EQ(r.sol->energy(), Int(-39));
    EXPECT_EQ(r.sol->energy(), optimum(m));
}

TEST_F(Mip, ProvenInfeasibleModelHasNoSolution) {
    const Vars x("x", 3);
    // x0 + x1 + x2 cannot reach 4.
    const Expr e = x[0] + Int(kWeight) * between(x[0] + x[1] + x[2], 4, 5);
    const vexa::MipResult r = vexa::MipSolver(vexa::Model::from(e)).solve();
    EXPECT_EQ(r.status, vexa::MipStatus::infeasible);
    EXPECT_FALSE(r.sol.has_value());
    EXPECT_FALSE(r.gap.has_value());
}

// A market split problem (equal halves of four weighted sums) is far beyond
// a fraction of a second for a MIP solver: the limit must end the search,
// and the result must not claim a proof it lacks.
TEST_F(Mip, TimeLimitEndsASearchWithoutAProof) {
    std::mt19937_64 rng(77);
    const Vars x("split", 40);
    Expr all = Expr(Int(0));
    for (int row = 0; row < 4; ++row) {
        Expr body = Expr(Int(0));
        int64_t total = 0;
        for (uint64_t j = 0; j < 40; ++j) {
            const int64_t a = static_cast<int64_t>(rng() % 100);
            body = body + Int(a) * x[j];
            total += a;
        }
        all = all + Int(kWeight) * between(body, total / 2, total / 2);
    }
    for (uint64_t j = 0; j < 40; ++j) all = all + Int(static_cast<int64_t>(rng() % 7) - 3) * x[j];
    const vexa::MipResult r = vexa::MipSolver(vexa::Model::from(all)).solve({.time_limit = 0.3, .threads = 1});
    EXPECT_TRUE(r.status == vexa::MipStatus::time_limit || r.status == vexa::MipStatus::feasible)
        << vexa::to_string(r.status);
    EXPECT_LT(r.run_time, 10.0);
    if (r.status == vexa::MipStatus::time_limit) {
        EXPECT_FALSE(r.sol.has_value());
    } else {
        ASSERT_TRUE(r.sol.has_value());
        EXPECT_EQ(r.objective, r.sol->energy().to_double());
        if (r.bound) {
            EXPECT_LE(*r.bound, r.sol->energy());
        }
    }
}

TEST_F(Mip, ModelWithoutColumnsIsItsConstant) {
    const vexa::Model m = vexa::Model::from(Expr(Int(12)));
    const vexa::MipResult r = vexa::MipSolver(m).solve();
    ASSERT_EQ(r.status, vexa::MipStatus::optimal);
    EXPECT_EQ(r.sol->energy(), Int(12));
    EXPECT_EQ(r.bound, Int(12));
}

TEST_F(Mip, NoIlpModelThrowsItsReason) {
    const Var x("x"), y("y");
    const vexa::Model m = vexa::Model::from(x * y - x);
    try {
        const vexa::MipSolver solver(m);
        FAIL() << "a degree-2 objective is no ILP";
    } catch (const std::invalid_argument &e) {
        EXPECT_EQ(std::string(e.what()),
                  "not an ILP: the objective has a degree-2 term (only free-form penalty terms enforced to 0 by their "
                  "hard rows are allowed). Keep the objective linear, or solve without the ILP option.");
    }
}

TEST_F(Mip, CoefficientBeyondADoubleIsRefused) {
    const Var x("x");
    const vexa::Model m = vexa::Model::from(Int("9007199254740993") * x);
    const vexa::MipSolver solver(m);
    try {
        (void)solver.solve();
        FAIL() << "2^53 + 1 reached CBC rounded";
    } catch (const std::range_error &e) {
        EXPECT_NE(std::string(e.what()).find("9007199254740993"), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find("column x"), std::string::npos) << e.what();
    }
}

}  // namespace
