// Conversions between coeff_t and the vexa_bigint record of the C interface.
#pragma once

#include "core/coeff.hpp"
#include "vexa/common.h"

namespace vexa {

// Reads a record: sign 0 or nlimbs 0 is zero, limbs least significant first,
// leading zero limbs allowed.
coeff_t coeff_from_record(const vexa_bigint *rec);

// Fills an out record: zero is {0, 0, NULL}; otherwise a malloc'd block of the
// minimal limb count. Whatever block the record held before is freed.
void coeff_to_record(const coeff_t &value, vexa_bigint *out);

}  // namespace vexa
