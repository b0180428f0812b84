#include "solver/variant.hpp"

#include <cstring>
#include <limits>

#include "expr/expr.hpp"

namespace vexa {

std::optional<VariantWidths> variant_widths(std::string_view word) {
    struct Row {
        std::string_view word;
        VariantWidths widths;
    };
    static constexpr Row table[] = {
        {"c16e32", {2, 4}},  {"c32e32", {4, 4}},    {"c32e64", {4, 8}},     {"c64e64", {8, 8}},
        {"c64e128", {8, 16}}, {"c128e128", {16, 16}}, {"cppint", {0, 0}},
    };
    for (const Row &row : table) {
        if (row.word == word) return row.widths;
    }
    return std::nullopt;
}

void store_narrow(const coeff_t &value, unsigned width, uint8_t *dst) {
    if (width <= 8) {
        static const coeff_t lo = std::numeric_limits<int64_t>::min();
        static const coeff_t hi = std::numeric_limits<int64_t>::max();
        const coeff_t clamped = value < lo ? lo : (value > hi ? hi : value);
        const uint64_t bits = static_cast<uint64_t>(clamped.convert_to<int64_t>());
        for (unsigned i = 0; i < width; ++i) dst[i] = static_cast<uint8_t>(bits >> (8 * i));
        return;
    }
    const coeff_t mag = abs(value);
    static const coeff_t mask = (coeff_t(1) << 64) - 1;
    uint64_t limb[2] = {static_cast<uint64_t>(mag & mask), static_cast<uint64_t>((mag >> 64) & mask)};
    if (value < 0) {
        limb[0] = ~limb[0];
        limb[1] = ~limb[1];
        if (++limb[0] == 0) ++limb[1];
    }
    for (unsigned i = 0; i < 16; ++i) dst[i] = static_cast<uint8_t>(limb[i / 8] >> (8 * (i % 8)));
}

void CoeffMagnitudes::add(const coeff_t &c) {
    if (c.sign() > 0) {
        positive_sum += c;
        if (c > max_abs) max_abs = c;
    } else if (c.sign() < 0) {
        const coeff_t m = -c;
        negative_sum += m;
        if (m > max_abs) max_abs = m;
    }
}

const char *variant_for(const CoeffMagnitudes &) { return "cppint"; }

const char *expr_variant(const ExprImpl &expr) {
    CoeffMagnitudes m;
    m.add(expr.constant);
    for (uint64_t i = 0; i < expr.term_count(); ++i) m.add(expr.term(i).coeff);
    m.finish();
    return variant_for(m);
}

}  // namespace vexa
