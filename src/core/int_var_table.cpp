#include "core/int_var_table.hpp"

#include <algorithm>

#include "core/fatal.hpp"
#include "core/text_buffer.hpp"
#include "core/variable_table.hpp"

namespace vexa {

namespace {
struct IntVarStrTag {};

uint32_t add_record(const char *name, const uint64_t *shape, uint64_t ndim, const coeff_t &lo,
                    const coeff_t &hi) {
    if (!(lo < hi)) {
        fatal("int_var: bounds must satisfy lo < hi (got lo = " + coeff_text(lo) +
              ", hi = " + coeff_text(hi) + ")");
    }
    const uint64_t count = shape_product(shape, ndim);
    std::string record_name = (name == nullptr || *name == '\0') ? next_auto_name() : std::string(name);
    const uint64_t width = bit_width(lo, hi);

    IntVarTable &table = IntVarTable::instance();
    std::lock_guard<std::mutex> lock(table.mutex);
    const uint64_t first = table.next_index.load(std::memory_order_relaxed);
    if (count > kIndexSpace || first + count >= kIntAtomBit) {  // indices stay below the atom bit
        fatal("int_var: integer variable index space exhausted");
    }
    table.records.push_back(IntVarRecord{static_cast<uint32_t>(first), count, std::move(record_name),
                                         std::vector<uint64_t>(shape, shape + ndim), lo, hi});
    table.next_index.store(first + count, std::memory_order_relaxed);
    table.total_bits.fetch_add(count * width, std::memory_order_relaxed);
    return kIntAtomBit | static_cast<uint32_t>(first);
}
}  // namespace

IntVarTable &IntVarTable::instance() {
    static IntVarTable table;
    return table;
}

uint64_t bit_width(const coeff_t &lo, const coeff_t &hi) {
    if (hi < lo) return 1;
    const coeff_t range = hi - lo;
    if (range == 0) return 1;
    return boost::multiprecision::msb(range) + 1;
}

const IntVarRecord *find_int_var(uint32_t index) {
    const IntVarTable &table = IntVarTable::instance();
    if (table.records.empty() || index >= table.next_index.load(std::memory_order_relaxed)) {
        return nullptr;
    }
    auto it = std::upper_bound(table.records.begin(), table.records.end(), index,
                               [](uint32_t i, const IntVarRecord &r) { return i < r.first; });
    if (it == table.records.begin()) return nullptr;
    --it;
    return index - it->first < it->count ? &*it : nullptr;
}

uint32_t new_int_var(const char *name, const coeff_t &lo, const coeff_t &hi) {
    return add_record(name, nullptr, 0, lo, hi);
}

uint32_t new_int_var_array(const char *name, const uint64_t *shape, uint64_t ndim, const coeff_t &lo,
                           const coeff_t &hi) {
    return add_record(name, shape, ndim, lo, hi);
}

const char *int_var_str(uint32_t index) {
    const IntVarRecord *record = find_int_var(index);
    if (record == nullptr) return "?";
    if (record->dims.empty()) return record->name.c_str();
    std::string &buffer = text_buffer<IntVarStrTag>();
    buffer = record->name;
    append_indices(buffer, index - record->first, record->dims);
    return buffer.c_str();
}

void int_var_reset() {
    IntVarTable &table = IntVarTable::instance();
    std::lock_guard<std::mutex> lock(table.mutex);
    table.records.clear();
    table.encodings.clear();
    table.next_index.store(0, std::memory_order_relaxed);
    table.total_bits.store(0, std::memory_order_relaxed);
}

}  // namespace vexa
