// Exported functions of the linear view.
#include "core/bigint.hpp"
#include "model/ilp.hpp"
#include "model/model.hpp"
#include "vexa/ilp.h"

using namespace vexa;

extern "C" {

IlpImpl *vexa_model_ilp_build(Model *m) {
    return build_ilp(*m->ref).release();
}

const char *vexa_ilp_last_error(void) { return ilp_last_error().c_str(); }

void vexa_ilp_destroy(IlpImpl *p) { delete p; }

uint64_t vexa_ilp_ncols(const IlpImpl *p) { return p->cols.size(); }

int vexa_ilp_col_kind(const IlpImpl *p, uint32_t c) { return p->cols[c].kind; }

uint32_t vexa_ilp_col_model_var(const IlpImpl *p, uint32_t c) { return p->cols[c].model_var; }

void vexa_ilp_col_bounds(const IlpImpl *p, uint32_t c, vexa_bigint *lo, vexa_bigint *hi) {
    coeff_to_record(p->cols[c].lower, lo);
    coeff_to_record(p->cols[c].upper, hi);
}

uint64_t vexa_ilp_col_nbits(const IlpImpl *p, uint32_t c) { return p->cols[c].bit_vars.size(); }

uint32_t vexa_ilp_col_bit_var(const IlpImpl *p, uint32_t c, uint32_t i) { return p->cols[c].bit_vars[i]; }

void vexa_ilp_col_bit_coeff(const IlpImpl *p, uint32_t c, uint32_t i, vexa_bigint *out) {
    coeff_to_record(p->cols[c].bit_coeffs[i], out);
}

void vexa_ilp_col_decode(const IlpImpl *p, uint32_t c, const vexa_bigint *value, uint8_t *bits_out) {
    ilp_decode(p->cols[c], coeff_from_record(value), bits_out);
}

void vexa_ilp_obj(const IlpImpl *p, uint32_t c, vexa_bigint *out) { coeff_to_record(p->obj[c], out); }

void vexa_ilp_obj_constant(const IlpImpl *p, vexa_bigint *out) { coeff_to_record(p->obj_constant, out); }

uint64_t vexa_ilp_nrows(const IlpImpl *p) { return p->rows.size(); }

uint64_t vexa_ilp_row_nnz(const IlpImpl *p, uint64_t r) { return p->rows[r].cols.size(); }

uint32_t vexa_ilp_row_col(const IlpImpl *p, uint64_t r, uint64_t k) { return p->rows[r].cols[k]; }

void vexa_ilp_row_coeff(const IlpImpl *p, uint64_t r, uint64_t k, vexa_bigint *out) {
    coeff_to_record(p->rows[r].coeffs[k], out);
}

void vexa_ilp_row_bounds(const IlpImpl *p, uint64_t r, vexa_bigint *lo, vexa_bigint *hi, uint32_t *lower_free,
                         uint32_t *upper_free) {
    const IlpRow &row = p->rows[r];
    coeff_to_record(row.lower, lo);
    coeff_to_record(row.upper, hi);
    *lower_free = row.lower_free;
    *upper_free = row.upper_free;
}

}  // extern "C"
