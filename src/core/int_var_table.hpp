// The process-wide registry of native integer variables.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "core/literal.hpp"

namespace vexa {

// One call of vexa_new_int_var or vexa_new_int_var_array; all elements share
// the bounds.
struct IntVarRecord {
    uint32_t first = 0;
    uint64_t count = 0;
    std::string name;
    std::vector<uint64_t> dims;  // empty for a scalar
    coeff_t lower;
    coeff_t upper;
};

struct IntVarTable {
    std::vector<IntVarRecord> records;  // ascending by first
    std::atomic<uint64_t> next_index{0};
    // Bit encodings made when integers are binarised, kept for reuse.
    std::map<uint32_t, std::vector<std::pair<coeff_t, uint32_t>>> encodings;
    std::mutex mutex;
    std::atomic<uint64_t> total_bits{0};

    static IntVarTable &instance();
};

// Times hi - lo can be halved before it is 0; at least 1, and 1 when hi < lo.
uint64_t bit_width(const coeff_t &lo, const coeff_t &hi);

// The record holding integer-variable index `index`, or null. The table must
// not grow concurrently.
const IntVarRecord *find_int_var(uint32_t index);

uint32_t new_int_var(const char *name, const coeff_t &lo, const coeff_t &hi);
uint32_t new_int_var_array(const char *name, const uint64_t *shape, uint64_t ndim, const coeff_t &lo,
                           const coeff_t &hi);
// Text of integer variable `index`: the record's name, plus "[k]" indices for
// an array element; "?" when unknown.
const char *int_var_str(uint32_t index);
void int_var_reset();

}  // namespace vexa
