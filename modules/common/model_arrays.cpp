#include "model_arrays.hpp"

#include <string>

#include "core/fatal.hpp"

namespace vexa::mod {

namespace {

void check_literal(std::string_view tag, const ModelArrays &a, Literal lit, uint32_t word,
                   const char *where) {
    const bool is_int = lit.flat >= a.bin_count;
    const bool ok = lit.flat < a.total() && !(is_int && lit.negated);
    if (!ok) {
        fatal(tag, std::string("variable word ") + std::to_string(word) + " in " + where +
                              " is outside the model (" + std::to_string(a.bin_count) +
                              " binary, " + std::to_string(a.int_count) + " integer variables)");
    }
}

}  // namespace

ModelArrays make_model_arrays(std::string_view tag, uint32_t bin_count, uint32_t int_count,
                              const coeff_t *int_lower, const coeff_t *int_upper,
                              uint32_t degree_count, const coeff_t *constant,
                              const uint64_t *term_counts, const uint32_t *const *var_lists,
                              const void *const *coef_lists, bool integer_mode) {
    ModelArrays a;
    a.bin_count = bin_count;
    a.int_count = int_count;
    a.integer_mode = integer_mode;
    a.constant = constant != nullptr ? *constant : coeff_t(0);
    for (uint32_t k = 0; k < int_count; ++k) {
        a.int_lower.push_back(int_lower[k]);
        a.int_upper.push_back(int_upper[k]);
        if (int_lower[k] > int_upper[k]) {
            fatal(tag, "integer variable " + std::to_string(k) + " has lower bound above its upper bound");
        }
    }
    for (uint32_t d = 0; d < degree_count; ++d) {
        a.term_counts.push_back(term_counts[d]);
        a.var_lists.push_back(var_lists[d]);
        a.coef_lists.push_back(static_cast<const coeff_t *>(coef_lists[d]));
        const uint64_t words = term_counts[d] * (d + 1);
        for (uint64_t w = 0; w < words; ++w) {
            const uint32_t word = var_lists[d][w];
            check_literal(tag, a, term_literal(a, word), word, "a term");
        }
    }
    return a;
}

void add_constraint_record(std::string_view tag, ModelArrays &arrays, const coeff_t *weight,
                           const coeff_t *lower, const coeff_t *upper,
                           const coeff_t *body_constant, uint64_t n_vars, const uint32_t *vars,
                           const coeff_t *coeffs, uint64_t n_quad, const uint64_t *quad_head,
                           const uint32_t *quad_vars, const coeff_t *quad_coeffs,
                           uint64_t n_allowed, const coeff_t *allowed_low,
                           const coeff_t *allowed_high) {
    ConstraintRecord c;
    c.weight = *weight;
    c.lower = *lower;
    c.upper = *upper;
    c.body_constant = *body_constant;
    c.vars.assign(vars, vars + n_vars);
    c.coeffs.assign(coeffs, coeffs + n_vars);
    if (n_quad > 0) {
        c.quad_head.assign(quad_head, quad_head + n_quad + 1);
        c.quad_vars.assign(quad_vars, quad_vars + c.quad_head.back());
        c.quad_coeffs.assign(quad_coeffs, quad_coeffs + n_quad);
    }
    for (uint64_t k = 0; k < n_allowed; ++k) c.allowed.emplace_back(allowed_low[k], allowed_high[k]);
    for (uint32_t w : c.vars) check_literal(tag, arrays, constraint_literal(arrays, w), w, "a constraint");
    for (uint32_t w : c.quad_vars) check_literal(tag, arrays, constraint_literal(arrays, w), w, "a constraint");
    arrays.constraints.push_back(std::move(c));
}

void set_last_constraint_shape(std::string_view tag, ModelArrays &arrays, uint8_t exponent,
                               uint8_t hinge) {
    if (arrays.constraints.empty()) fatal(tag, "set_cons_shape called before any constraint was added");
    arrays.constraints.back().shape_exponent = exponent;
    arrays.constraints.back().shape_hinge = hinge;
}

void set_remainder_record(ModelArrays &arrays, const coeff_t *constant, uint64_t n_terms,
                          const uint64_t *head, const uint32_t *vars, const coeff_t *coeffs) {
    arrays.has_remainder = true;
    arrays.remainder.constant = *constant;
    arrays.remainder.head.assign(1, 0);
    if (head != nullptr) arrays.remainder.head.assign(head, head + n_terms + 1);
    arrays.remainder.vars.assign(vars, vars + arrays.remainder.head.back());
    arrays.remainder.coeffs.assign(coeffs, coeffs + n_terms);
}

}  // namespace vexa::mod
