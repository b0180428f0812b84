// The exact integer type of every coefficient and energy.
#pragma once

#include <boost/multiprecision/cpp_int.hpp>

namespace vexa {

// Arbitrary precision, signed. Values of one or two limbs live inline, so
// ordinary coefficients never touch the heap.
using coeff_t = boost::multiprecision::cpp_int;
using energy_t = coeff_t;

// Decimal text, "-" for negative values, "0" for zero.
inline std::string coeff_text(const coeff_t &c) { return c.str(); }

}  // namespace vexa
