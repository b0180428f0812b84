#include "constraint/tables.hpp"

#include "core/fatal.hpp"

namespace vexa {

namespace {
constexpr size_t kMaxEntries = 0x3FFFFFFF;

ExprExprEntry &checked_exprexpr(uint32_t id, const char *message) {
    auto &entries = ExprExprSet::instance().entries;
    if (id >= entries.size()) fatal(message);
    return entries[id];
}
}  // namespace

ExprExprSet &ExprExprSet::instance() {
    static ExprExprSet set;
    return set;
}

ConstraintSumSet &ConstraintSumSet::instance() {
    static ConstraintSumSet set;
    return set;
}

uint32_t add_exprexpr(std::unique_ptr<ExprImpl> body) {
    ExprExprSet &set = ExprExprSet::instance();
    std::lock_guard<std::mutex> lock(set.mutex);
    if (set.entries.size() >= kMaxEntries) fatal("ExprExprSet: index overflow");
    set.entries.emplace_back().body = std::move(body);
    return static_cast<uint32_t>(set.entries.size() - 1);
}

uint32_t add_sum(std::vector<SumItem> items, std::unique_ptr<ExprImpl> remainder, bool declared) {
    ConstraintSumSet &set = ConstraintSumSet::instance();
    std::lock_guard<std::mutex> lock(set.mutex);
    if (set.entries.size() >= kMaxEntries) fatal("ConstraintSumSet: index overflow");
    set.entries.push_back(ConstraintSumEntry{std::move(items), std::move(remainder), declared, false});
    return static_cast<uint32_t>(set.entries.size() - 1);
}

void set_bounds(uint32_t id, const coeff_t &lo, const coeff_t &hi) {
    std::lock_guard<std::mutex> lock(ExprExprSet::instance().mutex);
    ExprExprEntry &e = checked_exprexpr(id, "ExprExprSet: set_bounds bad index");
    e.lower = lo;
    e.upper = hi;
    e.has_bounds = true;
}

bool get_bounds(uint32_t id, coeff_t &lo, coeff_t &hi) {
    std::lock_guard<std::mutex> lock(ExprExprSet::instance().mutex);
    const ExprExprEntry &e = checked_exprexpr(id, "ExprExprSet: get_bounds bad index");
    if (!e.has_bounds) return false;
    lo = e.lower;
    hi = e.upper;
    return true;
}

void set_allowed(uint32_t id, std::vector<std::pair<coeff_t, coeff_t>> list) {
    std::lock_guard<std::mutex> lock(ExprExprSet::instance().mutex);
    ExprExprEntry &e = checked_exprexpr(id, "ExprExprSet: set_allowed bad index");
    if (list.empty()) fatal("ExprExprSet: set_allowed empty set");
    coeff_t lo = list.front().first;
    coeff_t hi = list.front().second;
    for (const auto &[low, high] : list) {
        if (low < lo) lo = low;
        if (high > hi) hi = high;
    }
    e.allowed = std::move(list);
    e.lower = std::move(lo);
    e.upper = std::move(hi);
    e.has_bounds = true;
}

void set_penalty_shape(uint32_t id, uint8_t k) {
    std::lock_guard<std::mutex> lock(ExprExprSet::instance().mutex);
    ExprExprEntry &e = checked_exprexpr(id, "ExprExprSet: set_penalty_shape bad index");
    e.shape_exponent = k;
    e.shape_hinge = 1;
}

void copy_meta(uint32_t from, uint32_t to) {
    ExprExprSet &set = ExprExprSet::instance();
    std::lock_guard<std::mutex> lock(set.mutex);
    if (from >= set.entries.size() || to >= set.entries.size()) return;
    const ExprExprEntry &src = set.entries[from];
    ExprExprEntry &dst = set.entries[to];
    dst.has_bounds = src.has_bounds;
    dst.lower = src.lower;
    dst.upper = src.upper;
    dst.allowed = src.allowed;
    dst.shape_exponent = src.shape_exponent;
    dst.shape_hinge = src.shape_hinge;
}

bool sum_append(uint32_t index, const std::vector<SumItem> &items, const ExprImpl *remainder) {
    ConstraintSumSet &set = ConstraintSumSet::instance();
    std::lock_guard<std::mutex> lock(set.mutex);
    if (index >= set.entries.size()) fatal("ConstraintSumSet: bad index");
    ConstraintSumEntry &entry = set.entries[index];
    if (entry.shared) return false;
    entry.items.insert(entry.items.end(), items.begin(), items.end());
    if (remainder != nullptr) {
        if (!entry.remainder) {
            entry.remainder = std::make_unique<ExprImpl>(ExprImpl::plain_copy(*remainder));
        } else {
            // append_terms copies first when the entry's remainder is added to itself.
            entry.remainder->append_terms(*remainder);
        }
    }
    return true;
}

const ExprExprEntry &exprexpr_entry(uint32_t id) {
    const auto &entries = ExprExprSet::instance().entries;
    if (id >= entries.size()) fatal("ExprExprSet: meta bad index");
    return entries[id];
}

const ConstraintSumEntry &sum_entry(uint32_t index) {
    const auto &entries = ConstraintSumSet::instance().entries;
    if (index >= entries.size()) fatal("ConstraintSumSet: bad index");
    return entries[index];
}

}  // namespace vexa
