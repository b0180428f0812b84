// Coefficient variants of the solver modules: the word that names the width
// of a module's coefficients, the magnitudes that would choose it, and the
// fixed-width conversion for modules narrower than the library.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/coeff.hpp"
#include "vexa/common.h"

namespace vexa {

// Byte widths of a variant word: coefficients and energies. "cppint" has
// none (0, 0): such a module takes the library's own coefficient objects.
struct VariantWidths {
    unsigned coeff_bytes;
    unsigned energy_bytes;
};
std::optional<VariantWidths> variant_widths(std::string_view word);

// Writes `width` bytes (2, 4, 8 or 16) of little-endian two's complement.
// Up to 8 bytes the value is first clamped to the signed 64-bit range and
// its low bytes are kept; 16 bytes take the low two limbs of the magnitude,
// negated for a negative value.
void store_narrow(const coeff_t &value, unsigned width, uint8_t *dst);

// What decides the variant of a set of coefficients: the largest absolute
// value, the sums of the positive and of the negative ones (as magnitudes,
// the constant counted on the side of its sign), and the larger sum.
struct CoeffMagnitudes {
    coeff_t max_abs = 0;
    coeff_t positive_sum = 0;
    coeff_t negative_sum = 0;
    coeff_t larger_sum = 0;
    void add(const coeff_t &c);
    void finish() { larger_sum = positive_sum > negative_sum ? positive_sum : negative_sum; }
};

// The variant word for the given magnitudes. This build has one coefficient
// type, so every set of coefficients gets "cppint".
const char *variant_for(const CoeffMagnitudes &m);

// The variant word for the constant and term coefficients of an expression.
const char *expr_variant(const ExprImpl &expr);

}  // namespace vexa
