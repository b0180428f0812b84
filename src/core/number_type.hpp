// The number types of the search loops and the conversions between them:
// int64_t and __int128 where a bound proven before the search says every
// value fits, coeff_t (exact, unbounded) otherwise. Results are the same on
// every type; the library's engines and the solver modules both use these.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#include "core/coeff.hpp"

namespace vexa {

using int128 = __int128;

// Whether an exact value fits the machine type T (always true for coeff_t).
template <class T>
bool fits(const coeff_t &c) {
    if constexpr (std::is_same_v<T, coeff_t>) {
        return true;
    } else if constexpr (std::is_same_v<T, int128>) {
        static const coeff_t top = (coeff_t(1) << 127) - 1;
        return c <= top && c >= -top - 1;
    } else {
        return c <= coeff_t(std::numeric_limits<T>::max()) && c >= coeff_t(std::numeric_limits<T>::min());
    }
}

// Conversions into T. The caller guarantees that the value fits.
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

// An unsigned 64-bit value in T; the caller guarantees that it fits.
template <class T>
T from_u64(uint64_t v) {
    if constexpr (std::is_same_v<T, coeff_t>) {
        return coeff_t(v);
    } else {
        return static_cast<T>(v);
    }
}

// A value clamped into T's range. For a bound such as a target energy that
// lies beyond anything a search can reach, the clamped value compares with
// every reachable energy as the exact one does.
template <class T>
T clamp_from_coeff(const coeff_t &c) {
    if constexpr (std::is_same_v<T, coeff_t>) {
        return c;
    } else if constexpr (std::is_same_v<T, int128>) {
        static const coeff_t top = (coeff_t(1) << 127) - 1;
        if (c > top) return from_coeff<int128>(top);
        if (c < -top - 1) return -from_coeff<int128>(top) - 1;
        return from_coeff<int128>(c);
    } else {
        if (c > coeff_t(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
        if (c < coeff_t(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
        return c.convert_to<T>();
    }
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

// The double nearest to an exact value, the same on every type: small values
// convert directly (they are exact), larger ones through coeff_t.
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
