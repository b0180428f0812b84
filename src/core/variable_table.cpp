#include "core/variable_table.hpp"

#include <algorithm>
#include <atomic>

#include "core/fatal.hpp"
#include "core/int_var_table.hpp"
#include "core/text_buffer.hpp"

namespace vexa {

namespace {
std::atomic<uint32_t> g_auto_name_counter{0};
struct VarStrTag {};

const char *kExhausted = "Binary variable index space exhausted (2^30 - 1 variables).";

std::string stored_name(const char *name) {
    return "~" + ((name == nullptr || *name == '\0') ? next_auto_name() : std::string(name));
}
}  // namespace

VariableTable &VariableTable::instance() {
    static VariableTable table;
    return table;
}

std::string next_auto_name() {
    return "{" + std::to_string(g_auto_name_counter.fetch_add(1, std::memory_order_relaxed)) + "}";
}

uint64_t shape_product(const uint64_t *dims, uint64_t ndims) {
    uint64_t product = 1;
    bool saturated = false;
    for (uint64_t i = 0; i < ndims; ++i) {
        if (dims[i] == 0) return 0;
        if (saturated) continue;
        if (__builtin_mul_overflow(product, dims[i], &product)) saturated = true;
    }
    return saturated ? UINT64_MAX : product;
}

uint32_t new_var(const char *name) {
    VariableTable &table = VariableTable::instance();
    std::string entry = stored_name(name);
    std::lock_guard<std::mutex> lock(table.mutex);
    if (table.count >= kIndexSpace) fatal(kExhausted);
    const auto index = static_cast<uint32_t>(table.count++);
    table.singles.emplace_back(index, std::move(entry));
    return index;
}

uint32_t new_var_array(const char *name, const uint64_t *dims, uint64_t ndims) {
    VariableTable &table = VariableTable::instance();
    const uint64_t requested = shape_product(dims, ndims);
    std::string entry = stored_name(name);
    std::lock_guard<std::mutex> lock(table.mutex);
    const uint64_t first = table.count;
    if (requested > kIndexSpace || first + requested > kIndexSpace) fatal(kExhausted);
    table.count = first + requested;
    table.groups.push_back(VarGroup{static_cast<uint32_t>(first), requested, std::move(entry),
                                    std::vector<uint64_t>(dims, dims + ndims)});
    return static_cast<uint32_t>(first);
}

uint64_t add_aux_group(const char *name, const uint64_t *dims, uint64_t ndims) {
    VariableTable &table = VariableTable::instance();
    std::lock_guard<std::mutex> lock(table.mutex);
    const uint64_t position = table.aux_groups.size();
    table.aux_groups.push_back(VarGroup{static_cast<uint32_t>(position), shape_product(dims, ndims),
                                        name == nullptr ? std::string() : std::string(name),
                                        std::vector<uint64_t>(dims, dims + ndims)});
    return position;
}

uint64_t var_count() { return VariableTable::instance().count; }

void append_indices(std::string &out, uint64_t offset, const std::vector<uint64_t> &dims) {
    std::vector<uint64_t> digits(dims.size());
    for (size_t i = dims.size(); i-- > 0;) {
        const uint64_t d = dims[i] == 0 ? 1 : dims[i];
        digits[i] = i == 0 ? offset : offset % d;
        offset /= d;
    }
    for (uint64_t k : digits) out += "[" + std::to_string(k) + "]";
}

const char *var_str(uint32_t code) {
    if (literal_is_int(code)) return int_var_str(literal_int_index(code));

    const VariableTable &table = VariableTable::instance();
    const bool negated = literal_negated(code);
    const uint64_t index = literal_var_index(code);
    if (index >= table.count) return "?";
    for (const VarGroup &group : table.groups) {
        if (index >= group.first && index - group.first < group.count) {
            std::string &buffer = text_buffer<VarStrTag>();
            buffer.assign(group.name, negated ? 0 : 1);
            append_indices(buffer, index - group.first, group.dims);
            return buffer.c_str();
        }
    }
    const auto it = std::lower_bound(table.singles.begin(), table.singles.end(), index,
                                     [](const auto &single, uint64_t i) { return single.first < i; });
    if (it == table.singles.end() || it->first != index || it->second.empty()) return "?";
    return it->second.c_str() + (negated ? 0 : 1);
}

void var_reset() {
    {
        VariableTable &table = VariableTable::instance();
        std::lock_guard<std::mutex> lock(table.mutex);
        table.count = 0;
        table.singles.clear();
        table.groups.clear();
        table.aux_groups.clear();
    }
    int_var_reset();
}

}  // namespace vexa
