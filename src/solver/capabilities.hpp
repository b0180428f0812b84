// What a model asks of a solver module beyond its mandatory functions, and
// the message each driver gives when the module lacks one. A driver checks
// its rows once, before it hands the module anything that needs them, so an
// old module keeps serving the models that do not need the new functions.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "model/model.hpp"
#include "solver/modules.hpp"

namespace vexa {

// What a model may use. The first group is asked of the model as a whole;
// the second of each constraint.
enum class Demand : uint8_t {
    always,          // the path cannot run without the function
    any_constraint,  // some native constraint
    any_shaped,      // some constraint with a penalty shape other than the plain square
    any_nonlinear,   // some constraint body with a quadratic part
    any_allowed,     // some constraint with an allowed-value set, whatever its body
    remainder,       // a free-form remainder
    nonlinear_body,  // this constraint has a quadratic part (it goes to add_constraint_nl)
    linear_set,      // this constraint has an allowed set and a linear body (add_constraint_set)
    allowed_set,     // this constraint has an allowed set
    shaped,          // this constraint has a penalty shape other than the plain square
};

constexpr bool per_constraint(Demand d) { return d >= Demand::nonlinear_body; }

// One row: when the model makes the demand and the module lacks `symbol`
// (a name of the family's list), the driver fails with `message`, in which
// "{file}" stands for the module's file name.
struct Requirement {
    Demand demand;
    const char *symbol;
    const char *message;
};

// Checks the rows in order and fails with the first that the model demands
// and the module cannot serve. Rows asked of the model as a whole are
// checked one after the other; a run of neighbouring per-constraint rows is
// checked constraint by constraint, in model order, so the first constraint
// that cannot be handed over decides the message.
void check_requirements(const ModelImpl &m, std::span<const Requirement> rows,
                        bool (*present)(const void *table, std::string_view symbol), const void *table,
                        std::string_view file);

template <class Table>
void check_capabilities(const ModelImpl &m, const Table &t, std::span<const Requirement> rows,
                        std::string_view file = {}) {
    auto present = [](const void *table, std::string_view symbol) {
        return has_symbol(*static_cast<const Table *>(table), symbol);
    };
    check_requirements(m, rows, present, &t, file);
}

// Every row names an optional symbol of the family.
template <class Table, size_t N>
constexpr bool names_optional_symbols(const Requirement (&rows)[N]) {
    for (const Requirement &r : rows) {
        if (!names_optional_symbol<Table>(r.symbol)) return false;
    }
    return true;
}

// A binary model handed to a heuristic module, after create.
inline constexpr Requirement kNimbaBinaryNeeds[] = {
    {Demand::any_shaped, "set_cons_shape",
     "NimbaSolver: this solver .so predates vexa::abs/relu (missing vexa_nimba_solver_set_cons_shape) \xe2\x80\x94 "
     "update the solver .so."},
    {Demand::any_constraint, "add_constraint", "NimbaSolver: {file} does not support native constraints (rebuild it)"},
    {Demand::nonlinear_body, "add_constraint_nl",
     "NimbaSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it, or use a linear "
     "constraint body)"},
    {Demand::linear_set, "add_constraint_set",
     "NimbaSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it"},
    {Demand::remainder, "set_remainder",
     "NimbaSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
};

// An integer model searched by the heuristic module's own engine: first the
// engine, before anything is created ...
inline constexpr Requirement kNimbaUnifiedEngineNeeds[] = {
    {Demand::always, "create_int",
     "NimbaSolver: VEXA_INT_UNIFIED=1 but {file} lacks the unified integer engine (rebuild the solver .so)"},
    {Demand::always, "search_int",
     "NimbaSolver: VEXA_INT_UNIFIED=1 but {file} lacks the unified integer engine (rebuild the solver .so)"},
};

// ... then the constraints, after create_int.
inline constexpr Requirement kNimbaUnifiedConstraintNeeds[] = {
    {Demand::any_constraint, "add_constraint", "NimbaSolver: {file} does not support native constraints (rebuild it)"},
    {Demand::allowed_set, "add_constraint_set",
     "NimbaSolver: this solver .so does not support allowed-set constraints (rebuild it)"},
    {Demand::shaped, "set_cons_shape",
     "NimbaSolver: this solver .so predates vexa::abs/relu (missing vexa_nimba_solver_set_cons_shape)"},
};

// A binary model handed to the exhaustive module, before create.
inline constexpr Requirement kExhaustiveNeeds[] = {
    {Demand::any_shaped, "set_cons_shape",
     "ExhaustiveSolver: this solver .so predates vexa::abs/relu (missing vexa_exhaustive_set_cons_shape) "
     "\xe2\x80\x94 update the solver .so."},
    {Demand::any_constraint, "add_constraint",
     "ExhaustiveSolver: the exhaustive solver .so does not support native constraints (rebuild it)"},
    {Demand::any_nonlinear, "add_constraint_nl",
     "ExhaustiveSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it)"},
    {Demand::any_allowed, "add_constraint_set",
     "ExhaustiveSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it"},
    {Demand::remainder, "set_remainder",
     "ExhaustiveSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
};

// The accelerated module. A binary model that runs on the CPU side, checked
// at create before anything is handed over: constraint bodies the module
// cannot take at all.
inline constexpr Requirement kTessixCpuBodyNeeds[] = {
    {Demand::any_nonlinear, "cpu_add_constraint_nl",
     "TessixSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it)"},
    {Demand::any_allowed, "cpu_add_constraint_set",
     "TessixSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it"},
};

// What a positive gpu_mode refuses whatever the module has: the GPU side
// takes neither nonlinear bodies nor allowed sets.
inline constexpr const char *kTessixGpuNonlinearRefusal =
    "TessixSolver: this tessix .so does not support nonlinear native constraint bodies on the GPU (rebuild it)";
inline constexpr const char *kTessixGpuAllowedRefusal =
    "TessixSolver: this tessix .so does not support allowed-value set constraints (equal{...}) on the GPU (rebuild "
    "it)";
inline constexpr const char *kTessixNoGpuRefusal = "TessixSolver: GPU mode requested but no GPU available";
inline constexpr const char *kTessixNoIntGpuRefusal =
    "TessixSolver: GPU mode requested but the integer GPU engine is unavailable (no CUDA device, or this tessix .so "
    "has no integer kernels).";

// A binary model on the GPU side, after solver_create.
inline constexpr Requirement kTessixGpuBinaryNeeds[] = {
    {Demand::any_shaped, "set_cons_shape",
     "TessixSolver: this tessix .so predates vexa::abs/relu (missing vexa_tessix_set_cons_shape) \xe2\x80\x94 "
     "update the solver .so."},
    {Demand::any_constraint, "add_constraint",
     "TessixSolver: this tessix .so does not support native constraints on the GPU path (rebuild it)"},
    {Demand::remainder, "set_remainder",
     "TessixSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
};

// A binary model on the CPU side, after cpu_solver_create.
inline constexpr Requirement kTessixCpuBinaryNeeds[] = {
    {Demand::any_shaped, "cpu_set_cons_shape",
     "TessixSolver: this tessix .so predates vexa::abs/relu (missing vexa_tessix_cpu_set_cons_shape) \xe2\x80\x94 "
     "update the solver .so."},
    {Demand::any_constraint, "cpu_add_constraint",
     "TessixSolver: this tessix .so does not support native constraints (rebuild it)"},
    {Demand::nonlinear_body, "cpu_add_constraint_nl",
     "TessixSolver: this tessix .so does not support nonlinear native constraint bodies (rebuild it, or use a "
     "linear constraint body)"},
    {Demand::linear_set, "cpu_add_constraint_set",
     "TessixSolver: this tessix .so does not support allowed-value set constraints (equal{...}); rebuild it"},
    {Demand::remainder, "cpu_set_remainder",
     "TessixSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
};

// An integer model with a positive gpu_mode whose constraints have penalty
// shapes, on a module with the integer GPU engine.
inline constexpr Requirement kTessixIntGpuShapeNeeds[] = {
    {Demand::any_shaped, "int_set_cons_shape",
     "TessixSolver: this tessix .so predates vexa::abs/relu on the integer GPU engine (missing "
     "vexa_tessix_int_set_cons_shape) \xe2\x80\x94 update the solver .so."},
};

// An integer model searched by the accelerated module's own engine: first
// the engine ...
inline constexpr Requirement kTessixUnifiedEngineNeeds[] = {
    {Demand::always, "cpu_solver_create_int",
     "TessixSolver: VEXA_INT_UNIFIED=1 but the tessix solver .so lacks the unified integer engine (rebuild the "
     "solver .so)"},
    {Demand::always, "cpu_solver_search_int",
     "TessixSolver: VEXA_INT_UNIFIED=1 but the tessix solver .so lacks the unified integer engine (rebuild the "
     "solver .so)"},
    {Demand::always, "cpu_register_callback_iv",
     "TessixSolver: VEXA_INT_UNIFIED=1 but the tessix solver .so lacks the unified integer engine (rebuild the "
     "solver .so)"},
};

// ... then the constraints, after cpu_solver_create_int.
inline constexpr Requirement kTessixUnifiedConstraintNeeds[] = {
    {Demand::any_constraint, "cpu_add_constraint",
     "TessixSolver: this tessix .so does not support native constraints (rebuild it)"},
    {Demand::allowed_set, "cpu_add_constraint_set",
     "TessixSolver: this tessix .so does not support allowed-value set constraints (rebuild it)"},
    {Demand::shaped, "cpu_set_cons_shape",
     "TessixSolver: this tessix .so predates vexa::abs/relu (missing vexa_tessix_cpu_set_cons_shape)"},
};

static_assert(names_optional_symbols<NimbaModuleTable>(kNimbaBinaryNeeds));
static_assert(names_optional_symbols<NimbaModuleTable>(kNimbaUnifiedEngineNeeds));
static_assert(names_optional_symbols<NimbaModuleTable>(kNimbaUnifiedConstraintNeeds));
static_assert(names_optional_symbols<ExhaustiveModuleTable>(kExhaustiveNeeds));
static_assert(names_optional_symbols<TessixModuleTable>(kTessixCpuBodyNeeds));
static_assert(names_optional_symbols<TessixModuleTable>(kTessixGpuBinaryNeeds));
static_assert(names_optional_symbols<TessixModuleTable>(kTessixCpuBinaryNeeds));
static_assert(names_optional_symbols<TessixModuleTable>(kTessixIntGpuShapeNeeds));
static_assert(names_optional_symbols<TessixModuleTable>(kTessixUnifiedEngineNeeds));
static_assert(names_optional_symbols<TessixModuleTable>(kTessixUnifiedConstraintNeeds));

}  // namespace vexa
