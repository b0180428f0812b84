// The linear view of a model: integer and binary columns, a linear
// objective, and two-sided rows, for an outside MIP or ILP solver. Built
// from the model alone; keeps no reference to it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/coeff.hpp"

namespace vexa {

class ModelImpl;

// The two faults of a constraint body that no linear solver can take; the
// model's constraint readers end the process with the same texts.
extern const char *const kIlpNonlinearMessage;
extern const char *const kIlpAllowedSetMessage;

struct IlpCol {
    uint8_t kind = 0;            // 0 binary, 1 integer
    uint32_t model_var = 0;      // dense variable or integer index; all ones for bits read as one integer
    coeff_t lower, upper;
    std::vector<uint32_t> bit_vars;  // dense indices of the bits of a recognised encoded integer
    std::vector<coeff_t> bit_coeffs;
    coeff_t offset;                  // value = offset + sum bit_coeffs[i] * bit i
};

// lower <= sum coeffs[k] * column cols[k] <= upper; a free side cannot bind.
struct IlpRow {
    std::vector<uint32_t> cols;
    std::vector<coeff_t> coeffs;
    coeff_t lower, upper;
    uint8_t lower_free = 0;
    uint8_t upper_free = 0;
};

}  // namespace vexa

// The handle of the C interface is the view itself.
struct IlpImpl {
    std::vector<vexa::IlpCol> cols;
    std::vector<vexa::coeff_t> obj;  // one per column
    vexa::coeff_t obj_constant;
    std::vector<vexa::IlpRow> rows;
};

namespace vexa {

// The view of `m`, or null with the reason in ilp_last_error(). Faults in
// what the user wrote (a nonlinear or allowed-set constraint) are fatal.
std::unique_ptr<IlpImpl> build_ilp(const ModelImpl &m);

// The reason of this thread's last failed build; empty after a success.
const std::string &ilp_last_error();

// Bits of column c for an integer value, greatest coefficient first; ends
// the process when the value is outside what the bits can reach.
void ilp_decode(const IlpCol &col, const coeff_t &value, uint8_t *bits_out);

}  // namespace vexa
