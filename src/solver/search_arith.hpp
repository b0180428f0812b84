// Machine-word arithmetic for the integer engines. An engine runs on 64-bit
// or 128-bit words when a bound on every value it can form, proven from the
// model before the search, fits them; otherwise on coeff_t. The results are
// the same on every width: the integers are exact in all three, and the one
// conversion to double goes through a single routine.
#pragma once

#include <cstdint>
#include <vector>

#include "core/coeff.hpp"
#include "model/model.hpp"

namespace vexa {

using int128 = __int128;

enum class ArithWidth { w64, w128, exact };

// The width for a model whose flat variables (binary first, then integer)
// take values of at most max_abs[f] in magnitude: every term value, body,
// distance, penalty, energy and move delta of the engines, and a candidate
// value of a variable plus or minus a step of its range, must stay within
// 2^61 (w64) or 2^125 (w128) after an 8-fold margin.
ArithWidth choose_width(const ModelImpl &m, const std::vector<coeff_t> &max_abs);

// The largest absolute value a variable of the model can take in the
// engines, at least 1; index by flat index. `wild_wide` widens the integers
// whose range, as a double, is at least 1.8e19: a random start draws them as
// lower + any 64-bit number, which may lie above the upper bound.
std::vector<coeff_t> flat_max_abs(const ModelImpl &m, bool wild_wide);

// Conversions between the widths. The caller guarantees that values fit.
template <class T>
T from_coeff(const coeff_t &c);
template <>
inline coeff_t from_coeff<coeff_t>(const coeff_t &c) { return c; }
template <>
inline int64_t from_coeff<int64_t>(const coeff_t &c) { return c.convert_to<int64_t>(); }
template <>
inline int128 from_coeff<int128>(const coeff_t &c) {
    const coeff_t mag = abs(c);
    const uint64_t lo = static_cast<uint64_t>(mag & 0xFFFFFFFFFFFFFFFFull);
    const uint64_t hi = static_cast<uint64_t>((mag >> 64) & 0xFFFFFFFFFFFFFFFFull);
    const int128 v = static_cast<int128>((static_cast<unsigned __int128>(hi) << 64) | lo);
    return c.sign() < 0 ? -v : v;
}

inline const coeff_t &to_coeff(const coeff_t &v) { return v; }
inline coeff_t to_coeff(int64_t v) { return coeff_t(v); }
inline coeff_t to_coeff(int128 v) {
    const bool negative = v < 0;
    const unsigned __int128 mag = negative ? -static_cast<unsigned __int128>(v) : static_cast<unsigned __int128>(v);
    coeff_t c = static_cast<uint64_t>(mag >> 64);
    c <<= 64;
    c |= static_cast<uint64_t>(mag);
    return negative ? coeff_t(-c) : c;
}

// The double nearest to an exact value, as the engines see it: small values
// convert directly (they are exact), larger ones through coeff_t, so that
// every width gives the same double.
inline double exact_to_double(const coeff_t &v) { return v.convert_to<double>(); }
inline double exact_to_double(int64_t v) {
    constexpr int64_t limit = int64_t(1) << 53;
    return (v <= limit && v >= -limit) ? static_cast<double>(v) : exact_to_double(coeff_t(v));
}
inline double exact_to_double(int128 v) {
    constexpr int128 limit = int128(1) << 53;
    return (v <= limit && v >= -limit) ? static_cast<double>(static_cast<int64_t>(v)) : exact_to_double(to_coeff(v));
}

inline bool is_zero(const coeff_t &v) { return v.is_zero(); }
inline bool is_zero(int64_t v) { return v == 0; }
inline bool is_zero(int128 v) { return v == 0; }

inline coeff_t abs_value(const coeff_t &v) { return abs(v); }
inline int64_t abs_value(int64_t v) { return v < 0 ? -v : v; }
inline int128 abs_value(int128 v) { return v < 0 ? -v : v; }

}  // namespace vexa
