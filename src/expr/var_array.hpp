// The literals of a term and the order of all terms.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "core/literal.hpp"

namespace vexa {

inline constexpr uint32_t kEmptyVar = kEmptyLiteral;
inline constexpr uint32_t kNegBit = kNegatedBit;
inline constexpr uint32_t kIntBit = kIntAtomBit;
inline constexpr uint32_t kMaxDeg = 2;

// Two literal slots, filled in order: slot 1 is used only when slot 0 is.
// Crosses the C interface packed in one uint64, slot 0 in the low half.
struct VarArray {
    uint32_t slot[2] = {kEmptyVar, kEmptyVar};

    uint32_t degree() const { return slot[0] == kEmptyVar ? 0 : (slot[1] == kEmptyVar ? 1 : 2); }

    // Stores a code in the first empty slot; no sorting, no duplicate test.
    void append(uint32_t code) {
        if (slot[0] == kEmptyVar) {
            slot[0] = code;
        } else if (slot[1] == kEmptyVar) {
            slot[1] = code;
        } else {
            throw std::runtime_error("VarArray: degree exceeds MAXDEG capacity (2)");
        }
    }

    // Appends the other's codes behind these, in their order.
    void append(const VarArray &other) {
        const uint32_t mine = degree();
        const uint32_t theirs = other.degree();
        if (mine + theirs > kMaxDeg) {
            throw std::runtime_error("VarArray::append: degree exceeds MAXDEG capacity");
        }
        for (uint32_t i = 0; i < theirs; ++i) slot[mine + i] = other.slot[i];
    }

    // Puts a filled pair in rot_key order; equal codes stay.
    void sort();

    uint64_t pack() const { return uint64_t(slot[0]) | (uint64_t(slot[1]) << 32); }
    static VarArray unpack(uint64_t packed) {
        VarArray v;
        v.slot[0] = static_cast<uint32_t>(packed);
        v.slot[1] = static_cast<uint32_t>(packed >> 32);
        return v;
    }

    // Degree first, then the codes slot by slot.
    bool operator==(const VarArray &o) const { return slot[0] == o.slot[0] && slot[1] == o.slot[1]; }
    bool operator!=(const VarArray &o) const { return !(*this == o); }
};

// The code rotated left by one bit: variable i gets 2i, its negation 2i + 1,
// integer atoms sort behind all binary variables.
inline uint32_t rot_key(uint32_t code) { return (code << 1) | (code >> 31); }

inline void VarArray::sort() {
    if (slot[1] != kEmptyVar && rot_key(slot[0]) > rot_key(slot[1])) {
        const uint32_t t = slot[0];
        slot[0] = slot[1];
        slot[1] = t;
    }
}

// Both slots' keys in one word; an empty slot's key is all ones, so arrays of
// one degree compare by this word alone.
inline uint64_t order_key(const VarArray &v) {
    return (uint64_t(rot_key(v.slot[0])) << 32) | rot_key(v.slot[1]);
}

// Lower degree first; within a degree by rot_key of slot 0, then slot 1.
struct TermOrder {
    bool operator()(const VarArray &a, const VarArray &b) const {
        const uint32_t da = a.degree();
        const uint32_t db = b.degree();
        if (da != db) return da < db;
        return order_key(a) < order_key(b);
    }
};

}  // namespace vexa
