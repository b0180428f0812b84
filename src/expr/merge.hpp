// merge_terms: a bag of terms to canonical form.
#pragma once

#include "expr/expr.hpp"
#include "expr/term_buffer.hpp"

namespace vexa {

// Sorts `terms` by TermOrder (callers sort each term's two slots first, so
// that x*y and y*x meet), sums equal monomials, drops zero sums and folds
// constant terms into `constant`. The result is canonical: strictly ordered,
// unique, nonzero terms, the first one in the head, attr plain. The result
// takes over the buffer's block as its tail; `terms` is left empty.
ExprImpl merge_terms(TermBuffer &terms, coeff_t constant);

}  // namespace vexa
