// Which module functions a model needs, and the message when one is missing:
// the rows of each driver, checked on models whose constraints are written
// straight into the model record, against tables with chosen empty slots.
#include <random>

#include "solver/capabilities.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

void any_function() {}

// A table whose every slot is filled except the named ones.
template <class Table>
Table table_without(const std::vector<std::string> &missing) {
    Table t;
    t.each_slot([&](const SymbolRow &row, auto &slot) {
        const bool gone = std::find(missing.begin(), missing.end(), row.name) != missing.end();
        slot = gone ? nullptr : reinterpret_cast<std::remove_reference_t<decltype(slot)>>(&any_function);
    });
    return t;
}

enum Kind { linear, nonlinear, linear_set, nonlinear_set, shaped };

NativeConstraint constraint_of(Kind k) {
    NativeConstraint c;
    if (k == nonlinear || k == nonlinear_set) c.quad_coeffs = {1};
    if (k == linear_set || k == nonlinear_set) c.allowed = {{0, 0}, {2, 2}};
    if (k == shaped) c.shape_hinge = 1;
    return c;
}

// A model record with the given constraints and remainder; its polynomial
// plays no part in the checks.
ModelPtr model_with(const std::vector<Kind> &kinds, bool remainder) {
    vexa_var_reset();
    ExprPtr e(vexa_expr_create_var(vexa_new_var("x")));
    ModelPtr m = make_model(e.get());
    m->ref->native_constraints.clear();
    for (Kind k : kinds) m->ref->native_constraints.push_back(constraint_of(k));
    m->ref->has_remainder = remainder;
    return m;
}

const std::string kNimbaNl =
    "NimbaSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it, or use a linear "
    "constraint body)";
const std::string kNimbaSet =
    "NimbaSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it";
const std::string kNimbaShape =
    "NimbaSolver: this solver .so predates vexa::abs/relu (missing vexa_nimba_solver_set_cons_shape) \xe2\x80\x94 "
    "update the solver .so.";
const std::string kNimbaRemainder =
    "NimbaSolver: this solver .so does not support free-form penalty constraints (rebuild it)";
const std::string kExhaustiveShape =
    "ExhaustiveSolver: this solver .so predates vexa::abs/relu (missing vexa_exhaustive_set_cons_shape) "
    "\xe2\x80\x94 update the solver .so.";
const std::string kExhaustiveAdd =
    "ExhaustiveSolver: the exhaustive solver .so does not support native constraints (rebuild it)";
const std::string kExhaustiveNl =
    "ExhaustiveSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it)";
const std::string kExhaustiveSet =
    "ExhaustiveSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it";
const std::string kExhaustiveRemainder =
    "ExhaustiveSolver: this solver .so does not support free-form penalty constraints (rebuild it)";

TEST(Capabilities, TheHeuristicDriverReportsTheFirstConstraintItCannotHandOver) {
    const auto t = table_without<NimbaModuleTable>({"add_constraint_nl", "add_constraint_set"});
    ModelPtr set_first = model_with({linear, linear_set, nonlinear}, false);
    EXPECT_DEATH(check_capabilities(*set_first->ref, t, kNimbaBinaryNeeds, "f.so"), fatal_text(kNimbaSet));
    ModelPtr nl_first = model_with({nonlinear, linear_set}, false);
    EXPECT_DEATH(check_capabilities(*nl_first->ref, t, kNimbaBinaryNeeds, "f.so"), fatal_text(kNimbaNl));
    // the exhaustive driver asks for nonlinear bodies before allowed sets
    const auto e = table_without<ExhaustiveModuleTable>({"add_constraint_nl", "add_constraint_set"});
    EXPECT_DEATH(check_capabilities(*set_first->ref, e, kExhaustiveNeeds), fatal_text(kExhaustiveNl));
}

TEST(Capabilities, AnAllowedSetOnANonlinearBodyNeedsNoSetCallFromTheHeuristicModule) {
    ModelPtr m = model_with({nonlinear_set}, false);
    check_capabilities(*m->ref, table_without<NimbaModuleTable>({"add_constraint_set"}), kNimbaBinaryNeeds, "f.so");
    EXPECT_DEATH(check_capabilities(*m->ref, table_without<ExhaustiveModuleTable>({"add_constraint_set"}),
                                    kExhaustiveNeeds),
                 fatal_text(kExhaustiveSet));
}

TEST(Capabilities, TheFileNameStandsInTheMessage) {
    ModelPtr m = model_with({linear}, false);
    EXPECT_DEATH(check_capabilities(*m->ref, table_without<NimbaModuleTable>({"add_constraint"}), kNimbaBinaryNeeds,
                                    "nimbasolver_c32e64.so"),
                 fatal_text("NimbaSolver: nimbasolver_c32e64.so does not support native constraints (rebuild it)"));
    EXPECT_DEATH(check_capabilities(*m->ref, table_without<NimbaModuleTable>({"search_int"}), kNimbaUnifiedEngineNeeds,
                                    "nimbasolver_cppint.so"),
                 fatal_text("NimbaSolver: VEXA_INT_UNIFIED=1 but nimbasolver_cppint.so lacks the unified integer "
                            "engine (rebuild the solver .so)"));
}

// The checks each driver made before they were table rows, in their order.
std::string heuristic_reference(const std::vector<Kind> &kinds, bool remainder, const std::vector<std::string> &gone) {
    auto lacks = [&](const char *s) { return std::find(gone.begin(), gone.end(), s) != gone.end(); };
    if (!kinds.empty()) {
        for (Kind k : kinds) {
            if (k == shaped && lacks("set_cons_shape")) return kNimbaShape;
        }
        if (lacks("add_constraint")) return "NimbaSolver: f.so does not support native constraints (rebuild it)";
        for (Kind k : kinds) {
            if ((k == nonlinear || k == nonlinear_set) && lacks("add_constraint_nl")) return kNimbaNl;
            if (k == linear_set && lacks("add_constraint_set")) return kNimbaSet;
        }
    }
    if (remainder && lacks("set_remainder")) return kNimbaRemainder;
    return "";
}

std::string exhaustive_reference(const std::vector<Kind> &kinds, bool remainder, const std::vector<std::string> &gone) {
    auto lacks = [&](const char *s) { return std::find(gone.begin(), gone.end(), s) != gone.end(); };
    auto any = [&](std::initializer_list<Kind> of) {
        return std::any_of(kinds.begin(), kinds.end(),
                           [&](Kind k) { return std::find(of.begin(), of.end(), k) != of.end(); });
    };
    if (any({shaped}) && lacks("set_cons_shape")) return kExhaustiveShape;
    if (!kinds.empty() && lacks("add_constraint")) return kExhaustiveAdd;
    if (any({nonlinear, nonlinear_set}) && lacks("add_constraint_nl")) return kExhaustiveNl;
    if (any({linear_set, nonlinear_set}) && lacks("add_constraint_set")) return kExhaustiveSet;
    if (remainder && lacks("set_remainder")) return kExhaustiveRemainder;
    return "";
}

TEST(Capabilities, RandomModelsAndModulesGetTheMessageOfTheFirstMissingNeed) {
    // fixed seeds: a death-test child runs the test again up to its statement
    const char *optional[] = {"set_cons_shape", "add_constraint", "add_constraint_nl", "add_constraint_set",
                              "set_remainder", "get_info"};
    for (uint64_t seed = 1; seed <= 60; ++seed) {
        std::mt19937_64 rng(seed * 7919);
        std::vector<Kind> kinds(rng() % 4);
        for (Kind &k : kinds) k = static_cast<Kind>(rng() % 5);
        const bool remainder = rng() % 3 == 0;
        std::vector<std::string> gone;
        for (const char *s : optional) {
            if (rng() % 4 == 0) gone.push_back(s);
        }
        ModelPtr m = model_with(kinds, remainder);
        const std::string nimba = heuristic_reference(kinds, remainder, gone);
        const std::string exhaustive = exhaustive_reference(kinds, remainder, gone);
        const auto nt = table_without<NimbaModuleTable>(gone);
        const auto et = table_without<ExhaustiveModuleTable>(gone);
        if (nimba.empty()) {
            check_capabilities(*m->ref, nt, kNimbaBinaryNeeds, "f.so");
        } else {
            EXPECT_DEATH(check_capabilities(*m->ref, nt, kNimbaBinaryNeeds, "f.so"), fatal_text(nimba))
                << "seed " << seed;
        }
        if (exhaustive.empty()) {
            check_capabilities(*m->ref, et, kExhaustiveNeeds);
        } else {
            EXPECT_DEATH(check_capabilities(*m->ref, et, kExhaustiveNeeds), fatal_text(exhaustive)) << "seed " << seed;
        }
    }
}

}  // namespace
