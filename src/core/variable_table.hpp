// The process-wide registry of binary variables.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace vexa {

// Binary and integer index spaces both stop below 2^30.
inline constexpr uint64_t kIndexSpace = 0x3FFFFFFFull;

// One variable array, or (in aux_groups) one encoded-integer value.
struct VarGroup {
    uint32_t first = 0;
    uint64_t count = 0;
    std::string name;  // stored form: "~" + name in `groups`, the plain name in `aux_groups`
    std::vector<uint64_t> dims;
};

// Variables are numbered in creation order; `count` of them so far. A
// variable made alone keeps its name in `singles` as "~" + name, so one
// string serves both literals: the negated literal's text is the entry, the
// plain one the entry from its second character. Array elements keep no
// string of their own and take their text from their group.
struct VariableTable {
    uint64_t count = 0;
    std::vector<std::pair<uint32_t, std::string>> singles;  // by index
    std::vector<VarGroup> groups;
    std::vector<VarGroup> aux_groups;
    std::mutex mutex;

    static VariableTable &instance();
};

// "{N}" from a process-wide counter that no reset touches.
std::string next_auto_name();

// Product of dims (1 for none), saturating at UINT64_MAX unless a dimension is 0.
uint64_t shape_product(const uint64_t *dims, uint64_t ndims);

uint32_t new_var(const char *name);
uint32_t new_var_array(const char *name, const uint64_t *dims, uint64_t ndims);
// Appends a group record for an encoded integer; returns its position.
uint64_t add_aux_group(const char *name, const uint64_t *dims, uint64_t ndims);
uint64_t var_count();
const char *var_str(uint32_t code);
void var_reset();

// Appends "[k]" for each dimension of the row-major offset inside a shape.
void append_indices(std::string &out, uint64_t offset, const std::vector<uint64_t> &dims);

}  // namespace vexa
