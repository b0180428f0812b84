// Sol: one assignment of a model's variables with its exact energy.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/coeff.hpp"
#include "model/model.hpp"

// `model` comes first, in the form of a Model handle, so that a Sol pointer
// can be used as a Model handle. While energy_valid is set, energy is the
// energy of bits and int_vals (or a value set by vexa_sol_set_energy).
struct Sol {
    std::shared_ptr<vexa::ModelImpl> model;
    double scale = 1.0;
    std::vector<uint64_t> bits;  // bit i of word i/64 is dense variable i
    std::vector<vexa::coeff_t> int_vals;  // over the dense integer index
    vexa::energy_t energy;
    bool energy_valid = false;
    double tts = -1.0;
};

namespace vexa {

// Words of a packed assignment of n variables.
inline uint32_t word_count(uint64_t n) { return static_cast<uint32_t>((n + 63) / 64); }

// Value of a dense model word: the integer value of an atom, else the bit
// (inverted for a negated literal).
inline bool bit_of(const uint64_t *bits, uint32_t dense) { return (bits[dense >> 6] >> (dense & 63)) & 1; }

// The energy of an assignment: the flat polynomial plus every native
// constraint's penalty (constraint/pricing.hpp), exactly. The reference every
// engine's energies are checked against.
energy_t comp_energy(const ModelImpl &m, const uint64_t *bits, const coeff_t *int_vals);

// A new solution of the model: all bits 0, integers at their lower bounds,
// energy computed.
std::unique_ptr<Sol> make_sol(std::shared_ptr<ModelImpl> model);

}  // namespace vexa
