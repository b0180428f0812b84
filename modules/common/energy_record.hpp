// Exact integers across the module boundary: the vexa_bigint record.
#pragma once

#include "core/coeff.hpp"
#include "vexa/common.h"

namespace vexa::mod {

// Reads an in record: sign 0 or nlimbs 0 is zero, limbs least significant first.
coeff_t record_to_coeff(const vexa_bigint *rec);

// Fills an out record: zero is {0, 0, NULL}, otherwise a malloc'd block of the
// least number of limbs. A block the record already held is freed.
void coeff_to_out_record(const coeff_t &value, vexa_bigint *out);

}  // namespace vexa::mod
