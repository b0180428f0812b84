/* Terms: a coefficient times at most two literals. */
#ifndef VEXA_TERM_H
#define VEXA_TERM_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Creating functions return a term the caller owns (release: vexa_term_destroy). */
VEXA_API TermImpl *vexa_term_create(const vexa_bigint *coeff);
VEXA_API TermImpl *vexa_term_create_var(const vexa_bigint *coeff, uint32_t var);
/* Slots keep argument order; nothing is sorted. */
VEXA_API TermImpl *vexa_term_create_var_var(const vexa_bigint *coeff, uint32_t v0, uint32_t v1);
/* packed_vars: slot 0 in the low 32 bits, slot 1 in the high; stored as given. */
VEXA_API TermImpl *vexa_term_create_vararray(const vexa_bigint *coeff, uint64_t packed_vars);
VEXA_API TermImpl *vexa_term_clone(const TermImpl *t);
VEXA_API void vexa_term_destroy(TermImpl *t);

VEXA_API uint32_t vexa_term_degree(const TermImpl *t);
/* Unchecked slot read. */
VEXA_API uint32_t vexa_term_var_at(const TermImpl *t, uint32_t index);
/* Fills the caller's out record. */
VEXA_API void vexa_term_coeff(const TermImpl *t, vexa_bigint *out);

/* In place on t. */
VEXA_API void vexa_term_negate(TermImpl *t);
VEXA_API void vexa_term_mul_coeff(TermImpl *t, const vexa_bigint *coeff);
/* Exact division; aborts on a zero or non-dividing divisor. */
VEXA_API void vexa_term_div_coeff(TermImpl *t, const vexa_bigint *coeff);
/* Appends a literal; a third one throws std::runtime_error. */
VEXA_API void vexa_term_mul_var(TermImpl *t, uint32_t var);

/* New term a*b, caller owns it; a and b are only read. */
VEXA_API TermImpl *vexa_term_mul_term(const TermImpl *a, const TermImpl *b);
/* a *= b in place; returns a. b is only read. */
VEXA_API TermImpl *vexa_term_mul_term_move(TermImpl *a, const TermImpl *b);

/* Text in a per-thread buffer, valid until the next call on this thread. */
VEXA_API const char *vexa_term_str(const TermImpl *t);

#ifdef __cplusplus
}
#endif

#endif
