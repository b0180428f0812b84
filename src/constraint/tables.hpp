// The process-wide constraint tables: one record per constraint, one per
// weighted constraint sum. Records are only ever appended, never freed.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "expr/expr.hpp"

namespace vexa {

// One constraint: `body` must lie in [lower, upper], or in one of the
// `allowed` ranges when that list is not empty. A penalty shape (abs/relu)
// has shape_hinge 1 and exponent 1 or 2.
struct ExprExprEntry {
    std::unique_ptr<ExprImpl> body;  // attr all ones
    bool has_bounds = false;
    coeff_t lower = 0;
    coeff_t upper = 0;
    std::vector<std::pair<coeff_t, coeff_t>> allowed;
    uint8_t shape_exponent = 2;
    uint8_t shape_hinge = 0;
};

struct SumItem {
    uint32_t id;  // index into ExprExprSet
    coeff_t weight;
};

// A weighted list of constraints plus a free-form penalty part. `declared`
// sums keep their constraints as constraints; classic ones are penalties
// already present in the polynomial. `shared` forbids appending in place
// because a second holder of the index may exist.
struct ConstraintSumEntry {
    std::vector<SumItem> items;
    std::unique_ptr<ExprImpl> remainder;  // may be null; attr all ones
    bool declared = false;
    bool shared = false;
};

struct ExprExprSet {
    std::vector<ExprExprEntry> entries;
    std::mutex mutex;
    static ExprExprSet &instance();
};

struct ConstraintSumSet {
    std::vector<ConstraintSumEntry> entries;
    std::mutex mutex;
    static ConstraintSumSet &instance();
};

// Table primitives; each takes its table's mutex.
uint32_t add_exprexpr(std::unique_ptr<ExprImpl> body);
uint32_t add_sum(std::vector<SumItem> items, std::unique_ptr<ExprImpl> remainder, bool declared);
void set_bounds(uint32_t id, const coeff_t &lo, const coeff_t &hi);
// Copies the bounds out when recorded; false when the record has none.
bool get_bounds(uint32_t id, coeff_t &lo, coeff_t &hi);
void set_allowed(uint32_t id, std::vector<std::pair<coeff_t, coeff_t>> list);
void set_penalty_shape(uint32_t id, uint8_t k);
void copy_meta(uint32_t from, uint32_t to);
// Appends items (and adds a remainder) to a sum unless it is shared.
bool sum_append(uint32_t index, const std::vector<SumItem> &items, const ExprImpl *remainder);

// Unlocked readers: callers must not run them while another thread appends.
const ExprExprEntry &exprexpr_entry(uint32_t id);  // "ExprExprSet: meta bad index" when out of range
const ConstraintSumEntry &sum_entry(uint32_t index);  // "ConstraintSumSet: bad index" when out of range

}  // namespace vexa
