// merge_terms: a bag of terms to canonical form.
#pragma once

#include <vector>

#include "expr/expr.hpp"

namespace vexa {

// Sorts `terms` by TermOrder (callers sort each term's two slots first, so
// that x*y and y*x meet), sums equal monomials, drops zero sums and folds
// constant terms into `constant`. The result is canonical: strictly ordered,
// unique, nonzero terms, the first one in the head, attr plain. `terms` is
// consumed.
ExprImpl merge_terms(std::vector<TermImpl> &terms, coeff_t constant);

}  // namespace vexa
