// Parallel tempering on models with native integer variables, all
// arithmetic exact (coeff_t). The ladder works as on binary models; a move
// picks a random variable and proposes a flip (binary), a fresh value
// (an integer with fewer than 16 values), or a step of a power of two up
// or down (a wider integer: 1, 2, 4, ... up to the first power above half
// its range). A move is priced from the terms and constraints that hold the
// variable (int_model.hpp). The quench of the coldest replica tries every
// candidate of every variable (all values of a small integer, each step up
// and down of a wide one) and takes each strict improvement on the spot.
#pragma once

#include <cstdint>

#include "hint_box.hpp"
#include "int_model.hpp"
#include "search_shared.hpp"
#include "tempering.hpp"

namespace vexa::mod {

// Fills `shared` (best state with bits and ints, list, counters).
void run_int_tempering(const IntModel &model, SearchShared &shared, HintBox &hints, uint64_t hint_seen,
                       uint32_t threads, uint64_t seed, TemperingStats &stats);

}  // namespace vexa::mod
