// The three canonical forms of an expression.
#pragma once

#include "expr/expr.hpp"

namespace vexa {

// Variables as plain symbols: x*x stays a square, ~x is a literal of its own.
ExprImpl expr_simplify(const ExprImpl &e);
// Variables as 0/1: x*x = x and ~x = 1 - x; integer atoms pass through and
// keep their squares.
ExprImpl expr_simplify_as_binary(const ExprImpl &e);
// The same of an expression that is going away: its terms are rewritten and
// merged in their own block, with no copy. `e` is left empty.
ExprImpl expr_simplify_as_binary(ExprImpl &&e);
// Variables as +-1: s*s = 1 and ~s = -s; integer atoms are refused.
ExprImpl expr_simplify_as_spin(const ExprImpl &e);

}  // namespace vexa
