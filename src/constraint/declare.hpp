// Making declared constraints and penalty shapes, and reading a constraint's
// body back. Declared values carry an empty polynomial: their meaning lives in
// the constraint tables, and the model takes them as native constraints.
#pragma once

#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "expr/expr.hpp"

namespace vexa {

using AllowedList = std::vector<std::pair<coeff_t, coeff_t>>;

// `penalty` tagged as one classic constraint whose record holds a copy of
// `body`. Refuses declared operands.
ExprImpl make_exprexpr(const ExprImpl &penalty, const ExprImpl &body);

// A declared value made of whatever constraints e carries; a plain value
// becomes a free-form penalty part.
ExprImpl cons_mark(const ExprImpl &e);

// Declared lo <= body <= hi (the bounds are not compared).
ExprImpl cons_between(const ExprImpl &body, const coeff_t &lo, const coeff_t &hi);

// Declared body in one of the (low, high) ranges.
ExprImpl cons_equal(const ExprImpl &body, AllowedList allowed);

// The body a single constraint stands for (a record's or a one-item sum's);
// ends the process for anything else.
const ExprImpl &constraint_body_of(const ExprImpl &e);

// Soft costs |body|^k and max(0, body)^k, k 1 or 2, as declared values.
ExprImpl abs_term(const ExprImpl &body, uint32_t k);
ExprImpl relu_term(const ExprImpl &body, uint32_t k);

}  // namespace vexa
