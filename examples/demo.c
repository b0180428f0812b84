/* Builds a few terms with large coefficients through the C interface and
 * prints them, together with what the library says about itself. */
#include <stdio.h>
#include <stdlib.h>

#include "vexa/vexa.h"

int main(void) {
    uint32_t x = vexa_new_var("x");
    uint32_t y = vexa_new_var("y");

    /* 2^64 + 5 and -(2^128 - 1), limbs least significant first. */
    uint64_t big_limbs[2] = {5, 1};
    vexa_bigint big = {1, 2, big_limbs};
    uint64_t huge_limbs[2] = {~0ull, ~0ull};
    vexa_bigint huge = {-1, 2, huge_limbs};

    TermImpl *a = vexa_term_create_var(&big, x);
    TermImpl *b = vexa_term_create_var(&huge, y);
    TermImpl *ab = vexa_term_mul_term(a, b);
    printf("a     = %s\n", vexa_term_str(a));
    printf("b     = %s\n", vexa_term_str(b));
    printf("a * b = %s\n", vexa_term_str(ab));

    vexa_bigint c = {0, 0, NULL};
    vexa_term_coeff(ab, &c);
    printf("coefficient of a * b: sign %d, %u limbs\n", c.sign, c.nlimbs);
    free(c.limbs);

    vexa_term_destroy(ab);
    vexa_term_destroy(b);
    vexa_term_destroy(a);

    /* Build and machine facts. Each answer is copied out by printf before the
     * next call reuses the library's string. */
    const char *keys[] = {"compilation_date", "version", "cpu_name", "cpu_threads", "total_ram", "hostname"};
    for (size_t i = 0; i < sizeof keys / sizeof keys[0]; ++i) {
        printf("%-16s %s\n", keys[i], vexa_const_str(keys[i]));
    }
    return 0;
}
