// Pricing of one native constraint at a body value, for any exact number type
// (int64_t on proven-fit models, coeff_t otherwise):
//   no allowed set: D = max(lower - B, 0) + max(B - upper, 0)
//                   (so lower > upper costs lower - upper between them);
//   allowed set:    D = the least distance to any (low, high) interval;
//   penalty = weight * D, times D once more when the exponent is 2.
// The weight may be negative; nothing here assumes a sign.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace vexa::mod {

template <class T>
struct PenaltyShape {
    T weight, lower, upper;
    std::vector<std::pair<T, T>> allowed;
    uint8_t exponent = 2;
};

template <class T>
T penalty_distance(const PenaltyShape<T> &s, const T &body) {
    if (s.allowed.empty()) {
        T d = 0;
        if (body < s.lower) d += s.lower - body;
        if (body > s.upper) d += body - s.upper;
        return d;
    }
    T best = 0;
    bool first = true;
    for (const auto &[low, high] : s.allowed) {
        T d = 0;
        if (body < low) {
            d = low - body;
        } else if (body > high) {
            d = body - high;
        }
        if (first || d < best) best = d;
        first = false;
    }
    return best;
}

template <class T>
T penalty_value(const PenaltyShape<T> &s, const T &body) {
    const T d = penalty_distance(s, body);
    if (d == 0) return T(0);
    T q = s.weight * d;
    if (s.exponent == 2) q *= d;
    return q;
}

}  // namespace vexa::mod
