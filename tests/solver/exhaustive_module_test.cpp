// ExhaustiveSolver with a module. This program runs from the directory of one
// test module variant (the loader looks beside the code, not at
// VEXA_LIB_DIR); each suite checks the scenario of the directory it runs in
// and skips elsewhere.
#include "solver/modules.hpp"
#include "solver_test_util.hpp"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

// The name of the directory this program was started from.
std::string scenario() {
    std::string dir = library_dir();
    dir.pop_back();
    return dir.substr(dir.rfind('/') + 1);
}

#define IN_SCENARIO(name) \
    if (scenario() != (name)) GTEST_SKIP() << "runs in " << (name) << ", this is " << scenario()

class Exhaustive : public ThreeVars {
protected:
    // -x + 2xy - z with a linear, an allowed-set, a shaped and a nonlinear
    // constraint, and a remainder.
    ModelPtr model(bool with_constraints = true, bool with_remainder = true) {
        ExprPtr objective(vexa_expr_create_var(x));
        vexa_expr_negate(objective.get());
        add_term(objective.get(), 2, x, y);
        add_term(objective.get(), -1, z);
        lin.reset(vexa_expr_create_add_var_var(x, y));
        set.reset(vexa_expr_create_add_var_var(y, z));
        shaped.reset(vexa_expr_create_var(x));
        add_term(shaped.get(), -1, z);
        nl.reset(vexa_expr_create());
        add_term(nl.get(), 3, x, z);
        rem.reset(vexa_expr_create_int(In(1).get()));
        add_term(rem.get(), 5, y, z);
        std::vector<ConsSpec> cons;
        if (with_constraints) {
            cons = {{nl.get(), 0, 1, 4}, {lin.get(), 1, 1, 2}, {set.get(), 0, 2, 3, {{0, 0}, {2, 2}}},
                    {shaped.get(), 0, 0, 1, {}, 2}};
        }
        return make_model(objective.get(), cons, with_remainder ? rem.get() : nullptr);
    }
    mock::Record &record() { return mock_at(library_dir() + "exhaustive_cppint.so"); }

    ExprPtr lin, set, shaped, nl, rem;
};

TEST_F(Exhaustive, ModuleReceivesTheModelAndAnswers) {
    IN_SCENARIO("exhaustive_full");
    ModelPtr m = model();
    const ModelImpl &mi = *m->ref;
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    ExhaustivePtr w2(vexa_exhaustive_wrapper_create(m.get()));
    mock::Record &rec = record();
    // one registration per process, with a callback that only swallows
    ASSERT_EQ(rec.callbacks.size(), 1u);
    EXPECT_EQ(rec.callbacks[0](nullptr, nullptr, nullptr, 1, 0.0), 0.0);
    const std::vector<std::string> one_wrapper = {"create", "add_constraint", "add_constraint_set", "add_constraint",
                                                  "set_cons_shape", "add_constraint_nl", "set_remainder"};
    std::vector<std::string> expected = {"register_callback"};
    expected.insert(expected.end(), one_wrapper.begin(), one_wrapper.end());
    expected.insert(expected.end(), one_wrapper.begin(), one_wrapper.end());
    EXPECT_EQ(rec.calls, expected);
    EXPECT_EQ(rec.reserved, -1);
    EXPECT_EQ(rec.w, nullptr);
    EXPECT_EQ(rec.bin_count, 3u);
    EXPECT_EQ(rec.degree_count, 2u);
    EXPECT_EQ(rec.constant, &mi.constant);
    for (uint32_t d = 0; d < 2; ++d) {
        EXPECT_EQ(rec.term_counts[d], mi.term_counts[d]);
        EXPECT_EQ(rec.var_lists[d], mi.term_vars[d].data());
        EXPECT_EQ(rec.coef_lists[d], mi.term_coeffs[d].data());
    }
    // linear constraints first, in list order, then the nonlinear one
    ASSERT_EQ(rec.cons.size(), 8u);
    for (size_t i = 0; i < 4; ++i) {
        const NativeConstraint &nc = mi.native_constraints[i];
        EXPECT_EQ(rec.cons[i].weight, &nc.weight);
        EXPECT_EQ(rec.cons[i].vars, nc.vars.data());
        EXPECT_EQ(rec.cons[i].coeffs, nc.coeffs.data());
        EXPECT_EQ(rec.cons[i].body_constant, &nc.body_constant);
    }
    EXPECT_EQ(rec.cons[1].allowed_low, (std::vector<coeff_t>{0, 2}));
    EXPECT_EQ(rec.cons[2].shape_exponent, 2);
    EXPECT_EQ(rec.cons[2].shape_hinge, 1);
    EXPECT_EQ(rec.cons[3].quad_head, mi.native_constraints[3].quad_head.data());
    EXPECT_EQ(rec.rem_coeffs, mi.remainder_coeffs.data());

    rec.calls.clear();
    rec.reply.best = {-pow2(100), {0b101}, 0.5};
    rec.reply.list = true;
    rec.reply.entries = {{3, {0b1}, 0.25}};
    rec.reply.info = true;
    rec.reply.pairs = {{"visited", "8"}};
    Params params{{"topk_sols", "4"}, {"seed", "x"}};
    ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), params.get()));
    // the list goes as it is: no time limit is added
    EXPECT_EQ(rec.searches.back().params,
              (std::vector<std::pair<std::string, std::string>>{{"topk_sols", "4"}, {"seed", "x"}}));
    EXPECT_EQ(rec.calls, (std::vector<std::string>{"search", "sol_list_count", "sol_list_get", "sol_list_destroy",
                                                   "get_info", "free_info"}));
    EXPECT_EQ(result_energy(r.get()), -pow2(100));
    EXPECT_EQ(r->bits, std::vector<uint64_t>{0b101});
    EXPECT_EQ(r->tts, 0.5);
    EXPECT_EQ(r->scale, 1.0);
    ASSERT_EQ(r->topk.size(), 1u);
    EXPECT_EQ(r->topk[0].energy, 3);
    EXPECT_EQ(info_keys(r.get()), (std::vector<std::string>{"run_time", "visited", "os", "cpu", "gpu", "ram"}));
    ResultPtr empty(vexa_exhaustive_wrapper_search(w.get(), nullptr));
    EXPECT_TRUE(rec.searches.back().params.empty());
    vexa_exhaustive_wrapper_destroy(w.release());
    EXPECT_EQ(rec.calls.back(), "destroy");
    vexa_exhaustive_wrapper_destroy(nullptr);
}

TEST_F(Exhaustive, VexaLibDirIsNotConsulted) {
    IN_SCENARIO("exhaustive_full");
    EnvScope env("VEXA_LIB_DIR", "/nonexistent");
    EXPECT_IN_CHILD([this]() -> std::string {
        ModelPtr m = model(false, false);
        ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
        return record().calls.empty() ? "the module was not used" : "";
    });
}

TEST_F(Exhaustive, IntegerModelsNeverLoadTheModule) {
    IN_SCENARIO("exhaustive_missing");
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(2).get());
    ExprPtr e(vexa_expr_create_var(n));
    ModelPtr m = make_model(e.get());
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), nullptr));
    EXPECT_EQ(info_of(r.get(), "states"), "3");
}

TEST_F(Exhaustive, AMissingFileNamesThePath) {
    IN_SCENARIO("exhaustive_missing");
    ModelPtr m = model(false, false);
    const std::string path = library_dir() + "exhaustive_cppint.so";
    EXPECT_DEATH(vexa_exhaustive_wrapper_create(m.get()),
                 fatal_text("ExhaustiveSolver: failed to load " + path + ": " + dlopen_failure(path)));
}

// In the directory of a module that lacks one symbol of the list: a
// mandatory one makes creation fail with the family's message; an optional
// one leaves only its own slot empty.
TEST_F(Exhaustive, EachSymbolIsMandatoryOrLeavesItsSlotEmpty) {
    const std::string s = scenario();
    for (const SymbolRow &row : ExhaustiveModuleTable::rows) {
        if (s != std::string("exhaustive_no_") + row.name) continue;
        ModelPtr m = model(false, false);
        if (row.need == SymbolNeed::mandatory) {
            EXPECT_DEATH(vexa_exhaustive_wrapper_create(m.get()),
                         fatal_text(std::string("ExhaustiveSolver: symbol not found: vexa_exhaustive_") + row.name));
            return;
        }
        ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
        exhaustive_module().each_slot([&](const SymbolRow &r, const auto &slot) {
            EXPECT_EQ(slot == nullptr, std::string_view(r.name) == row.name) << r.name;
        });
        return;
    }
    GTEST_SKIP() << "no symbol is missing in " << s;
}

TEST_F(Exhaustive, WithoutGetInfoNoModulePairs) {
    IN_SCENARIO("exhaustive_no_info");
    ModelPtr m = model();
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), nullptr));
    EXPECT_EQ(info_keys(r.get()), (std::vector<std::string>{"run_time", "os", "cpu", "gpu", "ram"}));
}

TEST_F(Exhaustive, MissingCapabilitiesFailAtCreation) {
    struct Case {
        const char *dir;
        std::string message;
    };
    const Case cases[] = {
        {"exhaustive_no_set_cons_shape",
         "ExhaustiveSolver: this solver .so predates vexa::abs/relu (missing vexa_exhaustive_set_cons_shape) "
         "\xe2\x80\x94 update the solver .so."},
        {"exhaustive_no_add_constraint",
         "ExhaustiveSolver: the exhaustive solver .so does not support native constraints (rebuild it)"},
        {"exhaustive_no_add_constraint_nl",
         "ExhaustiveSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it)"},
        {"exhaustive_no_add_constraint_set",
         "ExhaustiveSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild "
         "it"},
        {"exhaustive_no_set_remainder",
         "ExhaustiveSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
    };
    for (const Case &c : cases) {
        if (scenario() != c.dir) continue;
        ModelPtr m = model();
        EXPECT_DEATH(vexa_exhaustive_wrapper_create(m.get()), fatal_text(c.message));
        // a model that needs nothing of what is missing still goes through
        ModelPtr bare = model(false, false);
        ExhaustivePtr w(vexa_exhaustive_wrapper_create(bare.get()));
        ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), nullptr));
        EXPECT_EQ(record().calls.front(), "register_callback");
        return;
    }
    GTEST_SKIP() << "no capability is missing in " << scenario();
}

}  // namespace
