// Exported encoded integers and their bit coefficients.
#include <vector>

#include "constraint/varint.hpp"
#include "core/bigint.hpp"
#include "vexa/array.h"
#include "vexa/constraint.h"

using namespace vexa;

extern "C" {

uint64_t vexa_comp_coeffs_count(const vexa_bigint *lo, const vexa_bigint *hi) {
    return comp_coeffs(coeff_from_record(lo), coeff_from_record(hi)).size();
}

void vexa_comp_coeffs(const vexa_bigint *lo, const vexa_bigint *hi, vexa_bigint *out) {
    const std::vector<coeff_t> coeffs = comp_coeffs(coeff_from_record(lo), coeff_from_record(hi));
    for (size_t i = 0; i < coeffs.size(); ++i) coeff_to_record(coeffs[i], &out[i]);
}

ExprImpl *vexa_varintelem_create(const char *name, const vexa_bigint *lo, const vexa_bigint *hi) {
    return new ExprImpl(make_varint(name, coeff_from_record(lo), coeff_from_record(hi)));
}

ExprImpl *vexa_varintelem_create_with_vars(const char *name, const vexa_bigint *lo, const vexa_bigint *hi,
                                           const vexa_bigint *coeffs, const uint32_t *vars, uint64_t n) {
    std::vector<coeff_t> cs;
    cs.reserve(n);
    for (uint64_t i = 0; i < n; ++i) cs.push_back(coeff_from_record(&coeffs[i]));
    return new ExprImpl(make_varint_with_vars(name, coeff_from_record(lo), coeff_from_record(hi), std::move(cs),
                                              std::vector<uint32_t>(vars, vars + n)));
}

vexa_expr_array *vexa_array_varint_create_uniform(const char *name, const uint64_t *shape, uint64_t ndim,
                                                  const vexa_bigint *lo, const vexa_bigint *hi) {
    ArrayImpl<ExprImpl> *a = make_varint_array(name, std::vector<uint64_t>(shape, shape + ndim),
                                               coeff_from_record(lo), coeff_from_record(hi));
    return reinterpret_cast<vexa_expr_array *>(a);
}

void vexa_varintelem_min(const ExprImpl *e, vexa_bigint *out) { coeff_to_record(varint_entry(*e).lower, out); }

void vexa_varintelem_max(const ExprImpl *e, vexa_bigint *out) { coeff_to_record(varint_entry(*e).upper, out); }

uint64_t vexa_varintelem_var_count(const ExprImpl *e) { return varint_entry(*e).coeffs.size(); }

uint32_t vexa_varintelem_var(const ExprImpl *e, uint64_t i) { return varint_entry(*e).vars[i]; }

void vexa_varintelem_coeff(const ExprImpl *e, uint64_t i, vexa_bigint *out) {
    coeff_to_record(varint_entry(*e).coeffs[i], out);
}

uint64_t vexa_varintelem_decompose(const ExprImpl *e, const vexa_bigint *value, uint32_t *vars_out,
                                   vexa_bigint *bits_out) {
    const VarIntEntry &entry = varint_entry(*e);
    // Greedy from the last coefficient, the remainder, down to the first.
    coeff_t r = coeff_from_record(value) - entry.lower;
    for (size_t i = entry.coeffs.size(); i-- > 0;) {
        const bool bit = r >= entry.coeffs[i];
        if (bit) r -= entry.coeffs[i];
        vars_out[i] = entry.vars[i];
        coeff_to_record(bit ? 1 : 0, &bits_out[i]);
    }
    return entry.coeffs.size();
}

void vexa_varintelem_replace_expr(ExprImpl *e, const ExprImpl *src) {
    ExprImpl replaced = ExprImpl::plain_copy(*src);
    replaced.attr = e->attr;
    *e = std::move(replaced);
}

}  // extern "C"
