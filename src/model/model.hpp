// ModelImpl: the frozen, flat form of a problem that solvers, solutions and
// the linear view read.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "constraint/tables.hpp"
#include "core/coeff.hpp"
#include "core/flat_array.hpp"
#include "core/literal.hpp"
#include "expr/expr.hpp"

namespace vexa {

inline constexpr uint32_t kNoIndex = kEmptyLiteral;

// Declared constraints of an expression, as the model constructor takes them.
struct ConstraintListImpl {
    std::vector<SumItem> items;  // (ExprExprSet id, weight), in order
    ExprImpl remainder;          // free-form penalty part, attr plain
    bool has_remainder = false;
};

// One declared constraint kept as a constraint: weight * D^k, D the distance
// of the body value from [lower, upper] (or from the nearest allowed range).
// Words are dense model words: the flags of the variable word with the dense
// index in place of the variable index.
struct NativeConstraint {
    coeff_t weight, lower, upper, body_constant;
    std::vector<uint32_t> vars;  // degree-1 terms of the body
    std::vector<coeff_t> coeffs;
    std::vector<uint64_t> quad_head;  // row starts into quad_vars; first entry 0
    std::vector<uint32_t> quad_vars;
    std::vector<coeff_t> quad_coeffs;  // one per row
    std::vector<std::pair<coeff_t, coeff_t>> allowed;
    uint8_t shape_exponent = 2;
    uint8_t shape_hinge = 0;
};

// Invariants, fixed at construction:
// - vars is strictly ascending; index_map is its inverse over every variable
//   registered at construction (kNoIndex where a variable does not occur).
// - int_atoms / int_index_map are the same for integer variables.
// - term_vars[d-1] holds d dense words per term, terms of degree d in the
//   order of the expression; term_coeffs[d-1] runs parallel to it.
// - the remainder, when present, is already part of the flat polynomial; the
//   remainder fields describe it alone.
class ModelImpl {
public:
    ModelImpl(const ExprImpl &expr, double scale_argument, const ConstraintListImpl *list);

    std::vector<uint32_t> vars;
    std::vector<uint32_t> index_map;
    coeff_t constant;
    uint32_t max_degree = 0;
    std::vector<uint64_t> term_counts;
    std::vector<FlatArray<uint32_t>> term_vars;
    std::vector<FlatArray<coeff_t>> term_coeffs;
    double scale = 1.0;
    std::vector<NativeConstraint> native_constraints;
    bool has_remainder = false;
    coeff_t remainder_constant;
    std::vector<uint64_t> remainder_head;
    std::vector<uint32_t> remainder_vars;
    std::vector<coeff_t> remainder_coeffs;
    std::vector<uint32_t> int_atoms;
    std::vector<uint32_t> int_index_map;
    std::vector<coeff_t> int_lower, int_upper;

    // Whether every coefficient of degree d fits a signed 64-bit word; lets
    // evaluation sum in 128-bit words, with an identical exact result.
    std::vector<bool> small_coeffs;

    uint64_t var_count() const { return vars.size(); }
    uint64_t int_count() const { return int_atoms.size(); }
    // Dense index of a variable word (bit 31 ignored), or kNoIndex.
    uint32_t dense_index(uint32_t word) const {
        const uint32_t v = literal_var_index(word);
        return v < index_map.size() ? index_map[v] : kNoIndex;
    }
};

// The model of an expression: its declared constraints (if its word is a
// live sum) become native constraints, anything else is the polynomial alone.
std::shared_ptr<ModelImpl> build_model(const ExprImpl &e, double scale);

}  // namespace vexa

// A Model handle: a shared reference to the model, pointer first, so that a
// Sol (whose first member is the same reference) serves as a handle too.
struct Model {
    std::shared_ptr<vexa::ModelImpl> ref;
};
