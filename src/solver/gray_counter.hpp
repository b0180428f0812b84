// Reflected mixed-radix Gray order: every state of a box of digits is
// visited once, and consecutive states differ in exactly one digit, by one.
#pragma once

#include <cstdint>
#include <vector>

namespace vexa {

class MixedRadixGray {
public:
    // Every radix must be at least 1; all digits start at 0, moving upwards.
    explicit MixedRadixGray(std::vector<uint64_t> radix)
        : radix_(std::move(radix)), pos_(radix_.size(), 0), dir_(radix_.size(), 1) {}

    // The digit that moves next, reversing the direction of every lower digit
    // that cannot move; size() when the enumeration is complete.
    uint64_t next_digit() {
        const uint64_t n = radix_.size();
        for (uint64_t i = 0; i < n; ++i) {
            if (dir_[i] > 0 ? pos_[i] + 1 < radix_[i] : pos_[i] > 0) return i;
            dir_[i] = static_cast<int8_t>(-dir_[i]);
        }
        return n;
    }
    // Moves digit i one step in its direction.
    void move(uint64_t i) { pos_[i] += static_cast<uint64_t>(static_cast<int64_t>(dir_[i])); }

    int8_t dir(uint64_t i) const { return dir_[i]; }
    const std::vector<uint64_t> &pos() const { return pos_; }
    uint64_t size() const { return radix_.size(); }

private:
    std::vector<uint64_t> radix_;
    std::vector<uint64_t> pos_;
    std::vector<int8_t> dir_;
};

}  // namespace vexa
