// Evaluation under a value map, substitution and reachable bounds.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>

#include "core/coeff.hpp"
#include "expr/expr.hpp"

namespace vexa {

// Values by variable code, without the negation bit.
using ValueMap = std::unordered_map<uint32_t, coeff_t>;
// Replacement expressions by exact literal code.
using ReplaceMap = std::unordered_map<uint32_t, const ExprImpl *>;

// The value of e with every variable given: ~x counts as 1 - value(x), and
// no binary reading is assumed. A variable without a value is fatal.
coeff_t eval_map(const ExprImpl &e, const ValueMap &values);

// e with every literal that has an entry replaced by its expression, as an
// unsimplified value with a plain word; the terms keep e's order.
ExprImpl replace_plain(const ExprImpl &e, const ReplaceMap &map);

// Both ends of the interval the binary form of e can reach.
std::pair<coeff_t, coeff_t> reachable_bounds(const ExprImpl &e);

}  // namespace vexa
