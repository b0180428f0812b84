// Between the 0/1 and the +-1 reading of variables, and quadratic reduction.
// Integer atoms are refused by all three.
#pragma once

#include "expr/expr.hpp"

namespace vexa {

// x = (s + 1) / 2, in spin canonical form; the result is 2^D times the
// input, D its maximal degree, so that every coefficient stays whole.
ExprImpl binary_to_spin(const ExprImpl &e);
// s = 2x - 1, in binary canonical form.
ExprImpl spin_to_binary(const ExprImpl &e);
// The binary canonical form with every term at most quadratic.
ExprImpl reduce_to_quadratic(const ExprImpl &e);

}  // namespace vexa
