// Machine-word arithmetic for the integer engines. An engine runs on 64-bit
// or 128-bit words when a bound on every value it can form, proven from the
// model before the search, fits them; otherwise on coeff_t. The results are
// the same on every width: the integers are exact in all three, and the one
// conversion to double goes through a single routine.
#pragma once

#include <cstdint>
#include <vector>

#include "core/coeff.hpp"
#include "core/number_type.hpp"
#include "model/model.hpp"

namespace vexa {

enum class ArithWidth { w64, w128, exact };

// The width for a model whose flat variables (binary first, then integer)
// take values of at most max_abs[f] in magnitude: every term value, body,
// distance, penalty, energy and move delta of the engines, and a candidate
// value of a variable plus or minus a step of its range, must stay within
// 2^61 (w64) or 2^125 (w128) after an 8-fold margin.
ArithWidth choose_width(const ModelImpl &m, const std::vector<coeff_t> &max_abs);

// The largest absolute value a variable of the model can take in the
// engines, at least 1; index by flat index. Every value an engine forms for
// a variable lies within its bounds.
std::vector<coeff_t> flat_max_abs(const ModelImpl &m);

}  // namespace vexa
