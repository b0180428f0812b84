// The two number types of the search loops: int64_t, used only when the model
// is proven to fit (word_fit.hpp), and coeff_t, exact for any model.
#pragma once

#include <cstdint>
#include <limits>

#include "core/coeff.hpp"

namespace vexa::mod {

template <class T>
T from_coeff(const coeff_t &c);

template <>
inline int64_t from_coeff<int64_t>(const coeff_t &c) {
    return c.convert_to<int64_t>();
}

template <>
inline coeff_t from_coeff<coeff_t>(const coeff_t &c) {
    return c;
}

inline coeff_t to_coeff(int64_t v) { return coeff_t(v); }
inline const coeff_t &to_coeff(const coeff_t &v) { return v; }

// A value clamped into T's range: for a target that lies beyond anything the
// search can reach, clamping keeps the comparison's outcome.
template <class T>
T clamp_from_coeff(const coeff_t &c) {
    if constexpr (std::is_same_v<T, int64_t>) {
        if (c > std::numeric_limits<int64_t>::max()) return std::numeric_limits<int64_t>::max();
        if (c < std::numeric_limits<int64_t>::min()) return std::numeric_limits<int64_t>::min();
        return c.convert_to<int64_t>();
    } else {
        return c;
    }
}

template <class T>
constexpr const char *number_type_name() {
    if constexpr (std::is_same_v<T, int64_t>) {
        return "int64";
    } else {
        return "bigint";
    }
}

}  // namespace vexa::mod
