// The attr word of an expression and what arithmetic does to it.
//
//   0xFFFFFFFF            plain
//   bit 31 clear          an encoded integer (index into the VarInt table)
//   0x80000000 + i        one classic constraint, record i of ExprExprSet
//   0xC0000000 + i        a constraint sum, record i of ConstraintSumSet
#pragma once

#include <cstdint>
#include <vector>

#include "constraint/tables.hpp"
#include "core/coeff.hpp"

struct ExprImpl;

namespace vexa {

inline constexpr uint32_t kExprExprTag = 0x80000000u;
inline constexpr uint32_t kSumTag = 0xC0000000u;
inline constexpr uint32_t kIndexMask = 0x3FFFFFFFu;

inline bool is_plain(uint32_t attr) { return attr == kPlainAttr; }
inline bool is_varint(uint32_t attr) { return (attr & 0x80000000u) == 0; }
// A classic constraint or any constraint sum.
inline bool is_constraint(uint32_t attr) { return (attr & 0x80000000u) != 0 && attr != kPlainAttr; }
inline bool is_sum(uint32_t attr) { return (attr & kSumTag) == kSumTag && attr != kPlainAttr; }
inline bool is_exprexpr(uint32_t attr) { return (attr & kSumTag) == kExprExprTag; }

// A constraint sum whose record is declared. Reads the table without its lock.
bool is_live_sum(uint32_t attr);
// A declared sum of penalty shapes alone, with no free-form part.
bool all_objective_only(uint32_t attr);

// Marks the sum a word names as shared (no-op for other words).
void mark_shared(uint32_t attr);

// Appends the constraints a word stands for, each weight multiplied by w.
void collect_items(std::vector<SumItem> &out, uint32_t attr, const coeff_t &w);

// The word after the value was multiplied by k.
uint32_t scale_attr(uint32_t attr, const coeff_t &k);

// The word after a value tagged b (as expression eb, or null) was added to
// one tagged a (ea, or null). in_place: the left value is changed itself, so
// an unshared sum may grow in place.
uint32_t merge_attr(uint32_t a, const ExprImpl *ea, uint32_t b, const ExprImpl *eb, bool in_place);

// The word of the sum of n expressions.
uint32_t sum_of_array(const ExprImpl *const *elements, uint64_t n);

// Rebuilds a constraint word after the value was transformed: every
// constraint body (and a sum's remainder) goes through `transform` into new
// records; plain and encoded-integer words are kept.
template <class Transform>
uint32_t rebuild_attr(uint32_t attr, Transform &&transform, bool force_declared = false);

}  // namespace vexa

#include "constraint/attr_rebuild.hpp"
