// Helpers for passing exact integers through the C interface in tests.
#pragma once

#include <cstdlib>
#include <vector>

#include "core/coeff.hpp"
#include "vexa/common.h"

namespace vexa::test {

// An input record that points into its own limb storage.
class In {
public:
    In(const coeff_t &value) {  // NOLINT: implicit on purpose, reads like a literal
        if (value != 0) {
            coeff_t mag = abs(value);
            while (mag != 0) {
                limbs_.push_back(static_cast<uint64_t>(mag & 0xFFFFFFFFFFFFFFFFull));
                mag >>= 64;
            }
        }
        rec_ = {value < 0 ? -1 : (value > 0 ? 1 : 0), static_cast<uint32_t>(limbs_.size()), limbs_.data()};
    }
    In(long long value) : In(coeff_t(value)) {}  // NOLINT
    const vexa_bigint *operator&() const { return &rec_; }
    const vexa_bigint *get() const { return &rec_; }

private:
    std::vector<uint64_t> limbs_;
    vexa_bigint rec_{};
};

// An out record that frees its block.
class Out {
public:
    Out() = default;
    ~Out() { std::free(rec_.limbs); }
    Out(const Out &) = delete;
    Out &operator=(const Out &) = delete;
    vexa_bigint *operator&() { return &rec_; }
    const vexa_bigint &rec() const { return rec_; }
    coeff_t value() const {
        coeff_t v = 0;
        for (uint32_t i = rec_.nlimbs; i-- > 0;) v = (v << 64) + rec_.limbs[i];
        return rec_.sign < 0 ? coeff_t(-v) : v;
    }

private:
    vexa_bigint rec_{0, 0, nullptr};
};

// 2^bits, a handy large value.
inline coeff_t pow2(unsigned bits) { return coeff_t(1) << bits; }

}  // namespace vexa::test
