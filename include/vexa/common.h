/* Vexa: records and handle types shared by every family of the C interface. */
#ifndef VEXA_COMMON_H
#define VEXA_COMMON_H

#include <stdint.h>

#if defined(__GNUC__)
#define VEXA_API __attribute__((visibility("default")))
#else
#define VEXA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* An exact integer crossing the interface: sign -1, 0 or +1, and the magnitude
 * as nlimbs 64-bit limbs, least significant first.
 * In:  sign 0 or nlimbs 0 means zero; limbs is read only during the call.
 * Out: zero is {0, 0, NULL}; otherwise nlimbs is minimal and limbs is a block
 *      from malloc. An out record must start as {0, 0, NULL} (or hold a block
 *      from an earlier call, which is freed); the caller frees limbs with free(). */
typedef struct vexa_bigint {
    int32_t sign;
    uint32_t nlimbs;
    uint64_t *limbs;
} vexa_bigint;

/* One search setting as text. A list ends with a pair of null pointers. */
typedef struct vexa_param {
    const char *key;
    const char *value;
} vexa_param;

/* Receives a buffer of 64-bit words taken over from a library object; it has
 * the layout of the library's std::vector<uint64_t> (begin, end, capacity end).
 * Start with all three null; only a record filled by a steal call may be
 * handed in again. */
typedef struct vexa_word_vector {
    uint64_t *begin;
    uint64_t *end;
    uint64_t *cap;
} vexa_word_vector;

/* Opaque handles. Each is released by its own vexa_*_destroy, which accepts NULL. */
typedef struct TermImpl TermImpl;
typedef struct ExprImpl ExprImpl;
typedef struct Model Model;
typedef struct Sol Sol;
typedef struct nimba_solver_result nimba_solver_result;
typedef struct vexa_nimba_solver_wrapper vexa_nimba_solver_wrapper;
typedef struct vexa_exhaustive_wrapper vexa_exhaustive_wrapper;
typedef struct vexa_tessix_wrapper vexa_tessix_wrapper;

/* A variable code: bit 31 marks a negated literal, bit 30 (with bit 31 clear)
 * a native integer atom; all ones is the empty slot. */
#define VEXA_EMPTY_VAR 0xFFFFFFFFu
#define VEXA_NEGATED_BIT 0x80000000u
#define VEXA_INT_ATOM_BIT 0x40000000u

#ifdef __cplusplus
}
#endif

#endif
