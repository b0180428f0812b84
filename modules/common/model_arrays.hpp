// The model as a module receives it: the flat term arrays of the caller's
// model (kept by pointer, they outlive the handle), copies of the native
// constraints, the remainder and, for integer handles, the variable bounds.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "core/literal.hpp"

namespace vexa::mod {

// One native constraint: penalty weight * D(body)^k, D the distance of the
// body from [lower, upper] or from the nearest allowed interval.
struct ConstraintRecord {
    coeff_t weight, lower, upper, body_constant;
    std::vector<uint32_t> vars;  // linear part: words and coefficients
    std::vector<coeff_t> coeffs;
    std::vector<uint64_t> quad_head;  // rows of products: quad_head[r] .. quad_head[r+1]
    std::vector<uint32_t> quad_vars;
    std::vector<coeff_t> quad_coeffs;
    std::vector<std::pair<coeff_t, coeff_t>> allowed;
    uint8_t shape_exponent = 2;
    uint8_t shape_hinge = 0;
};

// The free-form penalty part. The caller has already merged it into the term
// arrays, so it is kept for information and never priced a second time.
struct RemainderRecord {
    coeff_t constant;
    std::vector<uint64_t> head;
    std::vector<uint32_t> vars;
    std::vector<coeff_t> coeffs;
};

// A literal resolved to a flat variable index (binary variables first, then
// integer ones) and its negation flag.
struct Literal {
    uint32_t flat;
    bool negated;
};

struct ModelArrays {
    uint32_t bin_count = 0;
    uint32_t int_count = 0;
    bool integer_mode = false;  // created by create_int: constraint words are flat indices
    std::vector<coeff_t> int_lower, int_upper;
    coeff_t constant;
    std::vector<uint64_t> term_counts;  // entry d-1: terms of degree d
    std::vector<const uint32_t *> var_lists;
    std::vector<const coeff_t *> coef_lists;
    std::vector<ConstraintRecord> constraints;
    bool has_remainder = false;
    RemainderRecord remainder;

    uint32_t total() const { return bin_count + int_count; }
};

// Builds the arrays of a binary handle (int_count 0) or of an integer handle,
// and checks every term word against the variable counts; a word out of range
// is fatal with `tag`.
ModelArrays make_model_arrays(std::string_view tag, uint32_t bin_count, uint32_t int_count,
                              const coeff_t *int_lower, const coeff_t *int_upper,
                              uint32_t degree_count, const coeff_t *constant,
                              const uint64_t *term_counts, const uint32_t *const *var_lists,
                              const void *const *coef_lists, bool integer_mode);

// Appends a constraint, copying everything; `quad_*` and `allowed_*` may be
// null with a zero count. Constraint words are checked like term words.
void add_constraint_record(std::string_view tag, ModelArrays &arrays, const coeff_t *weight,
                           const coeff_t *lower, const coeff_t *upper,
                           const coeff_t *body_constant, uint64_t n_vars, const uint32_t *vars,
                           const coeff_t *coeffs, uint64_t n_quad, const uint64_t *quad_head,
                           const uint32_t *quad_vars, const coeff_t *quad_coeffs,
                           uint64_t n_allowed, const coeff_t *allowed_low,
                           const coeff_t *allowed_high);

// Sets the shape of the constraint added last (fatal with `tag` if none).
void set_last_constraint_shape(std::string_view tag, ModelArrays &arrays, uint8_t exponent,
                               uint8_t hinge);

void set_remainder_record(ModelArrays &arrays, const coeff_t *constant, uint64_t n_terms,
                          const uint64_t *head, const uint32_t *vars, const coeff_t *coeffs);

// A term word: bit 31 a negated binary literal, bit 30 an integer atom (flat
// index bin_count + low 30 bits), else a binary index.
inline Literal term_literal(const ModelArrays &a, uint32_t word) {
    if (literal_negated(word)) return {literal_var_index(word), true};
    if (word & kIntAtomBit) return {a.bin_count + literal_int_index(word), false};
    return {word, false};
}

// A constraint word: a flat index on integer handles, a term word otherwise.
inline Literal constraint_literal(const ModelArrays &a, uint32_t word) {
    if (a.integer_mode) return {literal_var_index(word), false};
    return term_literal(a, word);
}

}  // namespace vexa::mod
