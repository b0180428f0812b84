// NimbaSolver driver: what a heuristic module receives for a binary model,
// how results come back, the integer paths, and the unified engine.
#include "solver/modules.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

const std::string kMocks = VEXA_MOCKS;
std::string mock_dir(const std::string &variant) { return kMocks + "/" + variant; }

std::vector<std::string> calls_without_registration(const mock::Record &rec) {
    std::vector<std::string> out;
    for (const std::string &c : rec.calls) {
        if (c != "register_callback") out.push_back(c);
    }
    return out;
}
using Calls = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

class NimbaDriver : public ::testing::Test {
protected:
    void SetUp() override {
        vexa_var_reset();
        x = vexa_new_var("x");
        y = vexa_new_var("y");
        z = vexa_new_var("z");
        u = vexa_new_var("u");
        // Death-test children start with nothing loaded, so that they can
        // open other variants; here the full module is only reset if open.
        if (mock::Record *r = loaded_record()) r->clear();
    }

    static std::string full_path() { return mock_dir("nimba_full") + "/nimbasolver_cppint.so"; }
    static mock::Record *loaded_record() {
        void *h = dlopen(full_path().c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (h == nullptr) return nullptr;
        dlclose(h);
        return &mock_at(full_path());
    }
    // The full module's record, opening the module if needed.
    static mock::Record &record() {
        nimba_module(nullptr);
        return mock_at(full_path());
    }

    // 3 + x + 2xy - yz with four kinds of constraint and a remainder 4xu.
    ModelPtr constrained_binary_model(bool remainder = true) {
        ExprPtr objective(vexa_expr_create_int(In(3).get()));
        add_term(objective.get(), 1, x);
        add_term(objective.get(), 2, x, y);
        add_term(objective.get(), -1, y, z);
        lin.reset(vexa_expr_create_add_var_var(x, y));
        set.reset(vexa_expr_create_add_var_var(y, z));
        nl.reset(vexa_expr_create_var(z));
        add_term(nl.get(), 1, x, y);
        shaped.reset(vexa_expr_create_var(x));
        add_term(shaped.get(), -1, z);
        rem.reset(vexa_expr_create());
        add_term(rem.get(), 4, x, u);
        return make_model(objective.get(),
                          {{lin.get(), 0, 1, 5},
                           {nl.get(), 0, 1, 3},
                           {set.get(), 0, 2, 2, {{0, 0}, {2, 2}}},
                           {shaped.get(), 0, 0, 7, {}, 1}},
                          remainder ? rem.get() : nullptr);
    }

    EnvScope env{"VEXA_LIB_DIR", mock_dir("nimba_full").c_str()};
    uint32_t x = 0, y = 0, z = 0, u = 0;
    ExprPtr lin, set, nl, shaped, rem;
};

TEST_F(NimbaDriver, BinaryModelReachesTheModuleWithoutCopies) {
    ModelPtr m = constrained_binary_model();
    const ModelImpl &model = *m->ref;
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    // constraints in model order (linear ones first), shape calls only after
    // the shaped one, then the remainder
    EXPECT_EQ(calls_without_registration(record()), (Calls{"create", "add_constraint", "add_constraint_set",
                                                       "add_constraint", "set_cons_shape", "add_constraint_nl",
                                                       "set_remainder"}));
    EXPECT_EQ(record().w, nullptr);
    EXPECT_EQ(record().bin_count, 4u);
    EXPECT_EQ(record().degree_count, 2u);
    EXPECT_EQ(record().constant, &model.constant);
    ASSERT_EQ(record().var_lists.size(), 2u);
    for (uint32_t d = 0; d < 2; ++d) {
        EXPECT_EQ(record().term_counts[d], model.term_counts[d]);
        EXPECT_EQ(record().var_lists[d], model.term_vars[d].data());
        EXPECT_EQ(record().coef_lists[d], model.term_coeffs[d].data());
    }
    ASSERT_EQ(record().cons.size(), model.native_constraints.size());
    for (size_t i = 0; i < record().cons.size(); ++i) {
        const NativeConstraint &nc = model.native_constraints[i];
        const mock::Cons &c = record().cons[i];
        EXPECT_EQ(c.weight, &nc.weight);
        EXPECT_EQ(c.lower, &nc.lower);
        EXPECT_EQ(c.upper, &nc.upper);
        EXPECT_EQ(c.body_constant, &nc.body_constant);
        EXPECT_EQ(c.n_vars, nc.vars.size());
        EXPECT_EQ(c.vars, nc.vars.data());
        EXPECT_EQ(c.coeffs, nc.coeffs.data());
    }
    EXPECT_EQ(record().cons[1].allowed_low, (std::vector<coeff_t>{0, 2}));
    EXPECT_EQ(record().cons[1].allowed_high, (std::vector<coeff_t>{0, 2}));
    EXPECT_EQ(record().cons[2].shape_exponent, 1);
    EXPECT_EQ(record().cons[2].shape_hinge, 1);
    EXPECT_EQ(record().cons[0].shape_exponent, -1);
    const NativeConstraint &nl_cons = model.native_constraints[3];
    EXPECT_EQ(record().cons[3].n_quad, nl_cons.quad_coeffs.size());
    EXPECT_EQ(record().cons[3].quad_head, nl_cons.quad_head.data());
    EXPECT_EQ(record().cons[3].quad_vars, nl_cons.quad_vars.data());
    EXPECT_EQ(record().cons[3].quad_coeffs, nl_cons.quad_coeffs.data());
    EXPECT_EQ(record().rem_constant, &model.remainder_constant);
    EXPECT_EQ(record().rem_terms, model.remainder_coeffs.size());
    EXPECT_EQ(record().rem_head, model.remainder_head.data());
    EXPECT_EQ(record().rem_vars, model.remainder_vars.data());
    EXPECT_EQ(record().rem_coeffs, model.remainder_coeffs.data());
    vexa_nimba_solver_wrapper_destroy(w.release());
    EXPECT_EQ(record().calls.back(), "destroy");
    ASSERT_EQ(record().destroyed.size(), 1u);
}

TEST_F(NimbaDriver, SearchHandsOverParametersAndHintAndReadsTheAnswer) {
    ModelPtr m = constrained_binary_model(false);
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    record().calls.clear();
    record().reply.best = {-pow2(70), {0b1011}, 0.5};
    record().reply.list = true;
    record().reply.entries = {{4, {0b1}, 0.25}, {pow2(65), {0b110}, 0.125}};
    record().reply.info = true;
    record().reply.pairs = {{"sweeps", "12"}, {"detail", "mock"}};
    int hint_target = 0;
    Params params{{"seed", "9"}, {"custom", "x"}};
    ResultPtr r(vexa_nimba_solver_wrapper_search(w.get(), params.get(), &hint_target));
    ASSERT_EQ(record().searches.size(), 1u);
    EXPECT_EQ(record().searches[0].params, (Pairs{{"seed", "9"}, {"custom", "x"}, {"time_limit", "10.0"}}));
    EXPECT_EQ(record().searches[0].hint, &hint_target);
    EXPECT_EQ(record().searches[0].var_count, 3u);  // u lives only in the remainder
    EXPECT_EQ(record().searches[0].word_count, 1u);
    EXPECT_EQ(record().calls, (Calls{"search", "sol_list_count", "sol_list_get", "sol_list_get", "sol_list_destroy",
                                 "get_info", "free_info"}));
    EXPECT_EQ(result_energy(r.get()), -pow2(70));
    EXPECT_EQ(vexa_nimba_solver_result_tts(r.get()), 0.5);
    EXPECT_EQ(vexa_nimba_solver_result_bits(r.get())[0], 0b1011u);
    EXPECT_EQ(r->scale, 1.0);
    ASSERT_EQ(vexa_nimba_solver_result_topk_count(r.get()), 2u);
    Out e;
    vexa_nimba_solver_result_topk_energy(r.get(), 1, &e);
    EXPECT_EQ(e.value(), pow2(65));
    EXPECT_EQ(vexa_nimba_solver_result_topk_bits(r.get(), 1)[0], 0b110u);
    EXPECT_EQ(vexa_nimba_solver_result_topk_tts(r.get(), 0), 0.25);
    EXPECT_EQ(info_keys(r.get()),
              (std::vector<std::string>{"run_time", "sweeps", "detail", "os", "cpu", "gpu", "ram"}));
    EXPECT_EQ(info_of(r.get(), "sweeps"), "12");
    EXPECT_THAT(info_of(r.get(), "run_time"), ::testing::MatchesRegex("[0-9]+\\.[0-9]{6}"));
}

TEST_F(NimbaDriver, NullAndEmptyListsGetTheDefaultTimeLimitAndNoAnswerListIsFine) {
    ModelPtr m = constrained_binary_model(false);
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    ResultPtr a(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr));
    const vexa_param empty[] = {{nullptr, nullptr}};
    ResultPtr b(vexa_nimba_solver_wrapper_search(w.get(), empty, nullptr));
    Params timed{{"time_limit", "0.25"}};
    ResultPtr c(vexa_nimba_solver_wrapper_search(w.get(), timed.get(), nullptr));
    ASSERT_EQ(record().searches.size(), 3u);
    EXPECT_EQ(record().searches[0].params, (Pairs{{"time_limit", "10.0"}}));
    EXPECT_EQ(record().searches[1].params, (Pairs{{"time_limit", "10.0"}}));
    EXPECT_EQ(record().searches[2].params, (Pairs{{"time_limit", "0.25"}}));
    EXPECT_EQ(record().lists_destroyed, 0);
    EXPECT_EQ(vexa_nimba_solver_result_topk_count(a.get()), 0u);
    // get_info answered null: no module pairs
    EXPECT_EQ(info_keys(a.get()), (std::vector<std::string>{"run_time", "os", "cpu", "gpu", "ram"}));
}

TEST_F(NimbaDriver, AModelWithoutTermsStillGoesThrough) {
    ExprPtr constant(vexa_expr_create_int(In(42).get()));
    ModelPtr m = make_model(constant.get());
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    EXPECT_EQ(record().degree_count, 0u);
    EXPECT_EQ(record().bin_count, 0u);
    record().reply.best.energy = 42;
    ResultPtr r(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr));
    EXPECT_EQ(result_energy(r.get()), 42);
    EXPECT_EQ(record().searches[0].word_count, 0u);
}

TEST_F(NimbaDriver, AModuleWithoutGetInfoGivesNoModulePairs) {
    EnvScope other("VEXA_LIB_DIR", mock_dir("nimba_no_info").c_str());
    EXPECT_IN_CHILD([this]() -> std::string {
        ModelPtr m = constrained_binary_model(false);
        NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
        ResultPtr r(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr));
        const auto keys = info_keys(r.get());
        return keys == std::vector<std::string>{"run_time", "os", "cpu", "gpu", "ram"} ? "" : "unexpected pairs";
    });
}

// The module gets the wrapper's stop byte once, after the constraints; what
// each search saw of it shows the rule: a request made between searches is
// seen by the next search, and every search call clears it on return.
TEST_F(NimbaDriver, TheStopByteReachesTheModuleAndEachSearchCallClearsIt) {
    ModelPtr m = constrained_binary_model(false);
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    mock::Record &rec = record();
    ASSERT_NE(rec.external_stop, nullptr);
    EXPECT_EQ(*rec.external_stop, 0);
    ResultPtr(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr));
    vexa_nimba_solver_wrapper_terminate(w.get());
    EXPECT_EQ(*rec.external_stop, 1);
    vexa_nimba_solver_wrapper_terminate(w.get());  // a second request changes nothing
    ResultPtr(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr));
    EXPECT_EQ(*rec.external_stop, 0);
    ResultPtr(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr));
    ASSERT_EQ(rec.searches.size(), 3u);
    EXPECT_EQ(rec.searches[0].stop_seen, 0);
    EXPECT_EQ(rec.searches[1].stop_seen, 1);
    EXPECT_EQ(rec.searches[2].stop_seen, 0);
    // Each wrapper has its own byte.
    NimbaPtr other(vexa_nimba_solver_wrapper_create(m.get()));
    EXPECT_NE(rec.external_stop, nullptr);
    vexa_nimba_solver_wrapper_terminate(w.get());
    EXPECT_EQ(*rec.external_stop, 0);
}

TEST_F(NimbaDriver, AModuleThatTakesNoStopByteStillLoadsAndSearches) {
    EnvScope other("VEXA_LIB_DIR", mock_dir("nimba_no_set_external_stop").c_str());
    EXPECT_IN_CHILD([this]() -> std::string {
        ModelPtr m = constrained_binary_model(false);
        NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
        vexa_nimba_solver_wrapper_terminate(w.get());
        mock::Record &rec = mock_at(mock_dir("nimba_no_set_external_stop") + "/nimbasolver_cppint.so");
        rec.reply.best.energy = 7;
        ResultPtr r(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr));
        if (rec.external_stop != nullptr) return "the module got a stop byte";
        if (rec.searches.size() != 1 || rec.searches[0].stop_seen != -1) return "search not made";
        return result_energy(r.get()) == 7 ? "" : "wrong energy";
    });
}

TEST_F(NimbaDriver, MissingCapabilitiesFailAtCreation) {
    ModelPtr full = constrained_binary_model(true);
    ExprPtr objective(vexa_expr_create_var(x));
    ExprPtr body(vexa_expr_create_add_var_var(x, y));
    ModelPtr plain_cons = make_model(objective.get(), {{body.get(), 0, 1, 1}});
    ModelPtr only_remainder = make_model(objective.get(), {}, rem.get());
    struct Case {
        const char *variant;
        Model *model;
        std::string message;
    };
    const Case cases[] = {
        {"nimba_no_set_cons_shape", full.get(),
         "NimbaSolver: this solver .so predates vexa::abs/relu (missing vexa_nimba_solver_set_cons_shape) "
         "\xe2\x80\x94 update the solver .so."},
        {"nimba_no_add_constraint", plain_cons.get(),
         "NimbaSolver: nimbasolver_cppint.so does not support native constraints (rebuild it)"},
        {"nimba_no_add_constraint_nl", full.get(),
         "NimbaSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it, or use a "
         "linear constraint body)"},
        {"nimba_no_add_constraint_set", full.get(),
         "NimbaSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it"},
        {"nimba_no_set_remainder", only_remainder.get(),
         "NimbaSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
    };
    for (const Case &c : cases) {
        EnvScope other("VEXA_LIB_DIR", mock_dir(c.variant).c_str());
        EXPECT_DEATH(vexa_nimba_solver_wrapper_create(c.model), fatal_text(c.message)) << c.variant;
    }
    // the same modules serve models that do not need what they lack
    EnvScope other("VEXA_LIB_DIR", mock_dir("nimba_no_set_cons_shape").c_str());
    EXPECT_IN_CHILD([&]() -> std::string {
        NimbaPtr w(vexa_nimba_solver_wrapper_create(plain_cons.get()));
        return w ? "" : "no wrapper";
    });
}

// The model lists linear constraints before nonlinear ones, and the first
// constraint that the module cannot take decides the message: the allowed
// set, whatever order the constraints were declared in.
TEST_F(NimbaDriver, WithNeitherBodyCallTheFirstConstraintInModelOrderDecides) {
    EnvScope other("VEXA_LIB_DIR", mock_dir("nimba_no_nl_and_set").c_str());
    ExprPtr objective(vexa_expr_create_var(x));
    ExprPtr set_body(vexa_expr_create_add_var_var(y, z));
    ExprPtr nl_body(vexa_expr_create_var(z));
    add_term(nl_body.get(), 1, x, y);
    const ConsSpec set_cons{set_body.get(), 0, 2, 2, {{0, 0}, {2, 2}}};
    const ConsSpec nl_cons{nl_body.get(), 0, 1, 3};
    const std::string message =
        "NimbaSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it";
    ModelPtr set_first = make_model(objective.get(), {set_cons, nl_cons});
    ModelPtr nl_first = make_model(objective.get(), {nl_cons, set_cons});
    EXPECT_DEATH(vexa_nimba_solver_wrapper_create(set_first.get()), fatal_text(message));
    EXPECT_DEATH(vexa_nimba_solver_wrapper_create(nl_first.get()), fatal_text(message));
    ModelPtr nl_only = make_model(objective.get(), {nl_cons});
    EXPECT_DEATH(vexa_nimba_solver_wrapper_create(nl_only.get()),
                 fatal_text("NimbaSolver: this solver .so does not support nonlinear native constraint bodies (rebuild "
                            "it, or use a linear constraint body)"));
}

class NimbaInteger : public NimbaDriver {
protected:
    void SetUp() override {
        NimbaDriver::SetUp();
        n = vexa_new_int_var("n", In(0).get(), In(9).get());
        k = vexa_new_int_var("k", In(-3).get(), In(3).get());
    }
    // 2bn - k + nk with a linear, an allowed-set and a shaped constraint.
    ModelPtr integer_model(bool nonlinear = false) {
        ExprPtr objective(vexa_expr_create());
        add_term(objective.get(), 2, x, n);
        add_term(objective.get(), -1, k);
        add_term(objective.get(), 1, n, k);
        lin.reset(vexa_expr_create_add_var_var(n, k));
        set.reset(vexa_expr_create_add_var_var(x, n));
        shaped.reset(vexa_expr_create_var(n));
        add_term(shaped.get(), -1, k);
        nl.reset(vexa_expr_create());
        add_term(nl.get(), 1, n, k);
        std::vector<ConsSpec> cons = {{lin.get(), 0, 5, 1}, {set.get(), 1, 5, 2, {{1, 1}, {4, 5}}},
                                      {shaped.get(), 0, 0, 3, {}, 1}};
        if (nonlinear) cons.push_back({nl.get(), 0, 4, 1});
        return make_model(objective.get(), cons);
    }
    uint32_t n = 0, k = 0;
};

TEST_F(NimbaInteger, IntegerModelsOpenNothingAtCreationAndSearchInTheLibrary) {
    ModelPtr m = integer_model();
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    const size_t calls_before = loaded_record() ? loaded_record()->calls.size() : 0;
    Params params{{"time_limit", "0"}, {"threads", "1"}, {"seed", "5"}};
    ResultPtr r(vexa_nimba_solver_wrapper_search(w.get(), params.get(), nullptr));
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-cpu");
    EXPECT_EQ(info_keys(r.get()), (std::vector<std::string>{"run_time", "threads", "rounds", "proposals", "engine",
                                                             "os", "cpu", "gpu", "ram"}));
    EXPECT_EQ(r->int_vals.size(), 2u);
    EXPECT_EQ(loaded_record() ? loaded_record()->calls.size() : 0, calls_before);
}

TEST_F(NimbaInteger, WrongPathsAndImpossibleModelsAbort) {
    ModelPtr im = integer_model();
    NimbaPtr iw(vexa_nimba_solver_wrapper_create(im.get()));
    int hint = 0;
    EXPECT_DEATH(vexa_nimba_solver_wrapper_search(iw.get(), nullptr, &hint),
                 fatal_text("NimbaSolver: hint on a native integer model requires the int-aware search path (update "
                            "the vexa header)."));
    ModelPtr bm = constrained_binary_model(false);
    NimbaPtr bw(vexa_nimba_solver_wrapper_create(bm.get()));
    EXPECT_DEATH(vexa_nimba_solver_wrapper_search_int(bw.get(), nullptr, nullptr, nullptr, 0),
                 fatal_text("NimbaSolver: search_int called on a binary model."));
    // a remainder beside integer variables is refused by the model already;
    // the driver guards against it all the same
    im->ref->has_remainder = true;
    EXPECT_DEATH(vexa_nimba_solver_wrapper_create(im.get()),
                 fatal_text("NimbaSolver: internal error \xe2\x80\x94 a free-form remainder with integer variables "
                            "should have been rejected at Model."));
}

TEST_F(NimbaInteger, UnifiedEngineGetsFlatIndicesAndRenamedThreads) {
    EnvScope unified("VEXA_INT_UNIFIED", "1");
    ModelPtr m = integer_model();
    const ModelImpl &model = *m->ref;
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    record().reply.best = {-17, {0b1}, 0.75};
    record().reply.ints = {9, -3};
    record().reply.list = true;
    record().reply.entries = {{1, {0}, 0.1}};
    record().reply.info = true;
    record().reply.pairs = {{"moves", "3"}};
    Params params{{"threads", "2"}, {"seed", "1"}};
    ResultPtr r(vexa_nimba_solver_wrapper_search(w.get(), params.get(), nullptr));
    EXPECT_EQ(calls_without_registration(record()),
              (Calls{"create_int", "add_constraint", "add_constraint_set", "add_constraint", "set_cons_shape",
                     "search_int", "sol_list_destroy", "get_info", "free_info", "destroy"}));
    EXPECT_EQ(record().bin_count, 1u);
    EXPECT_EQ(record().int_count, 2u);
    EXPECT_EQ(record().int_lower, model.int_lower.data());
    EXPECT_EQ(record().int_upper, model.int_upper.data());
    EXPECT_EQ(record().constant, &model.constant);
    // words become flat indices: x is 0, n is 1 + 0, k is 1 + 1
    ASSERT_EQ(record().cons.size(), 3u);
    EXPECT_EQ(record().cons[0].vars_copy, (std::vector<uint32_t>{1, 2}));
    EXPECT_NE(record().cons[0].vars, model.native_constraints[0].vars.data());
    EXPECT_EQ(record().cons[0].coeffs, model.native_constraints[0].coeffs.data());
    EXPECT_EQ(record().cons[1].vars_copy, (std::vector<uint32_t>{0, 1}));
    EXPECT_EQ(record().cons[1].allowed_low, (std::vector<coeff_t>{1, 4}));
    EXPECT_EQ(record().cons[2].shape_exponent, 1);
    EXPECT_EQ(record().searches[0].params, (Pairs{{"thread_count", "2"}, {"seed", "1"}, {"time_limit", "10.0"}}));
    EXPECT_EQ(result_energy(r.get()), -17);
    EXPECT_EQ(r->int_vals, (std::vector<coeff_t>{9, -3}));
    EXPECT_EQ(vexa_nimba_solver_result_topk_count(r.get()), 0u);
    EXPECT_EQ(r->scale, 1.0);
    EXPECT_EQ(info_keys(r.get()),
              (std::vector<std::string>{"run_time", "moves", "engine", "os", "cpu", "gpu", "ram"}));
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-unified");
}

TEST_F(NimbaInteger, UnifiedEngineOnlyWhenAskedAndApplicable) {
    ModelPtr m = integer_model();
    ModelPtr quad = integer_model(true);
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m.get()));
    NimbaPtr wq(vexa_nimba_solver_wrapper_create(quad.get()));
    auto engine = [&](vexa_nimba_solver_wrapper *wrapper, const char *env, const Params &p, bool hint) {
        EnvScope unified("VEXA_INT_UNIFIED", env);
        const uint64_t bits = 0;
        const coeff_t ints[2] = {0, 0};
        ResultPtr r(hint ? vexa_nimba_solver_wrapper_search_int(wrapper, p.get(), &bits, ints, 2)
                         : vexa_nimba_solver_wrapper_search_int(wrapper, p.get(), nullptr, nullptr, 0));
        return info_of(r.get(), "engine");
    };
    const Params quick{{"time_limit", "0"}, {"threads", "1"}};
    EXPECT_EQ(engine(w.get(), "10", quick, false), "integer-unified");
    EXPECT_EQ(engine(w.get(), "0", quick, false), "integer-cpu");
    EXPECT_EQ(engine(w.get(), "", quick, false), "integer-cpu");
    EXPECT_EQ(engine(w.get(), nullptr, quick, false), "integer-cpu");
    EXPECT_EQ(engine(w.get(), "1", quick, true), "integer-cpu");
    EXPECT_EQ(engine(w.get(), "1", Params{{"time_limit", "0"}, {"threads", "1"}, {"topk_sols", "2"}}, false),
              "integer-cpu");
    EXPECT_EQ(engine(w.get(), "1", Params{{"time_limit", "0"}, {"threads", "1"}, {"best_energy_sols", "1"}}, false),
              "integer-cpu");
    EXPECT_EQ(engine(wq.get(), "1", quick, false), "integer-cpu");
}

TEST_F(NimbaInteger, UnifiedEngineCapabilitiesAreCheckedOnTheWay) {
    EnvScope unified("VEXA_INT_UNIFIED", "1");
    ModelPtr m = integer_model();
    ExprPtr objective(vexa_expr_create_var(n));
    ModelPtr bare = make_model(objective.get());
    ExprPtr body(vexa_expr_create_add_var_var(n, k));
    ModelPtr linear = make_model(objective.get(), {{body.get(), 0, 1, 1}});
    struct Case {
        const char *variant;
        Model *model;
        std::string message;
    };
    const std::string lacks =
        "NimbaSolver: VEXA_INT_UNIFIED=1 but nimbasolver_cppint.so lacks the unified integer engine (rebuild the "
        "solver .so)";
    const Case cases[] = {
        {"nimba_no_create_int", bare.get(), lacks},
        {"nimba_no_search_int", bare.get(), lacks},
        {"nimba_no_add_constraint", linear.get(),
         "NimbaSolver: nimbasolver_cppint.so does not support native constraints (rebuild it)"},
        {"nimba_no_add_constraint_set", m.get(),
         "NimbaSolver: this solver .so does not support allowed-set constraints (rebuild it)"},
        {"nimba_no_set_cons_shape", m.get(),
         "NimbaSolver: this solver .so predates vexa::abs/relu (missing vexa_nimba_solver_set_cons_shape)"},
    };
    for (const Case &c : cases) {
        EnvScope other("VEXA_LIB_DIR", mock_dir(c.variant).c_str());
        NimbaPtr w(vexa_nimba_solver_wrapper_create(c.model));
        EXPECT_DEATH(vexa_nimba_solver_wrapper_search(w.get(), nullptr, nullptr), fatal_text(c.message)) << c.variant;
    }
    NimbaPtr w(vexa_nimba_solver_wrapper_create(bare.get()));
    Params zero{{"threads", "0"}};
    EXPECT_DEATH(vexa_nimba_solver_wrapper_search(w.get(), zero.get(), nullptr),
                 fatal_text("NimbaSolver: threads must be >= 1."));
}

}  // namespace
