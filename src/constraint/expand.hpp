// Turning constraints and native integers into plain polynomials over binary
// variables.
#pragma once

#include "core/coeff.hpp"
#include "expr/expr.hpp"

namespace vexa {

// The penalty of lo <= f <= hi: 0 exactly where f can lie in the range (with
// the best slack setting), at least 1 elsewhere for integer f. Ranges wider
// than two values get fresh slack bits "{sN}". An empty range gives 0.
ExprImpl between_penalty(const ExprImpl &f, const coeff_t &lo, const coeff_t &hi);

// e with every declared constraint replaced by its penalty; plain result
// except for an encoded integer, which keeps its word.
ExprImpl expand_cons(const ExprImpl &e);

// e with every native integer atom replaced by its bit encoding.
ExprImpl binarize(const ExprImpl &e);

}  // namespace vexa
