// Encoded integers: an integer lo + c0*b0 + c1*b1 + ... over binary bits,
// recorded in VarIntSet so that its range and bits can be read back while
// the value is unchanged (the attr word holds the record's index).
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "array/array.hpp"
#include "core/coeff.hpp"
#include "expr/expr.hpp"

namespace vexa {

struct VarIntEntry {
    uint64_t group = 0;    // position in the variable table's aux_groups
    uint64_t element = 0;  // flat index in its group; 0 for a scalar
    coeff_t lower, upper;
    std::vector<coeff_t> coeffs;  // one per bit
    std::vector<uint32_t> vars;   // variable code of each bit
};

// Append-only; never emptied, not even by a variable reset.
struct VarIntSet {
    std::vector<VarIntEntry> entries;
    std::mutex mutex;
    static VarIntSet &instance();
};

// Bit coefficients of the range [lo, hi]: powers of two, the remainder
// last, summing to hi - lo, so that every value of the range is a subset
// sum. Empty when hi is not above lo.
std::vector<coeff_t> comp_coeffs(const coeff_t &lo, const coeff_t &hi);

// A fresh encoded integer named `name` over new bits.
ExprImpl make_varint(const char *name, const coeff_t &lo, const coeff_t &hi);

// The same over bits and coefficients given by the caller, used as given.
ExprImpl make_varint_with_vars(const char *name, const coeff_t &lo, const coeff_t &hi, std::vector<coeff_t> coeffs,
                               std::vector<uint32_t> vars);

// An array of `shape` whose every element is a fresh encoded integer of
// [lo, hi]. The bits of all elements form one variable array named `name`
// of `shape` followed by the bit count, so a bit of element (i, j) reads
// name[i][j][k]; records are appended in element order.
ArrayImpl<ExprImpl> *make_varint_array(const char *name, std::vector<uint64_t> shape, const coeff_t &lo,
                                       const coeff_t &hi);

// The record of an encoded integer; ends the process for any other value.
const VarIntEntry &varint_entry(const ExprImpl &e);

}  // namespace vexa
