// Decoding of a variable word (a literal). Bit 31 marks a negated binary
// literal, bit 30 with bit 31 clear an integer atom whose low 30 bits index
// the integer table, all ones the empty slot; the remaining bits of any other
// word index the binary variables. The same decoding serves variable words,
// dense model words and the flat literals of the search engines, which keep
// the negation bit on a flat index.
#pragma once

#include <cstdint>

#include "vexa/common.h"

namespace vexa {

inline constexpr uint32_t kEmptyLiteral = VEXA_EMPTY_VAR;
inline constexpr uint32_t kNegatedBit = VEXA_NEGATED_BIT;
inline constexpr uint32_t kIntAtomBit = VEXA_INT_ATOM_BIT;
// The index part of an integer atom and of a binary literal.
inline constexpr uint32_t kIntIndexMask = VEXA_INT_ATOM_BIT - 1u;
inline constexpr uint32_t kVarIndexMask = ~VEXA_NEGATED_BIT;

inline constexpr bool literal_empty(uint32_t w) { return w == kEmptyLiteral; }
inline constexpr bool literal_negated(uint32_t w) { return (w & kNegatedBit) != 0; }
// An integer atom: bit 30 set and bit 31 clear.
inline constexpr bool literal_is_int(uint32_t w) { return (w & (kNegatedBit | kIntAtomBit)) == kIntAtomBit; }
inline constexpr uint32_t literal_int_index(uint32_t w) { return w & kIntIndexMask; }
// The word without its negation bit.
inline constexpr uint32_t literal_var_index(uint32_t w) { return w & kVarIndexMask; }

// Flat index of a dense model word in a search over n_bin binary variables
// followed by the integer ones: bit 30 selects the integer part.
inline constexpr uint32_t flat_index(uint32_t word, uint32_t n_bin) {
    return (word & kIntAtomBit) != 0 ? literal_int_index(word) + n_bin : literal_var_index(word);
}
// The flat literal of a dense model word: its flat index, negation kept.
inline constexpr uint32_t flat_literal(uint32_t word, uint32_t n_bin) {
    return flat_index(word, n_bin) | (word & kNegatedBit);
}

}  // namespace vexa
