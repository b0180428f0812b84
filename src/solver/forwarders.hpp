// Progress from a module to the user's callback: the forwarders a driver
// registers with a module turn the module's records into a Sol.
#pragma once

#include <cstdint>
#include <memory>

#include "model/model.hpp"
#include "vexa/solver.h"

namespace vexa {

// Where a wrapper's progress goes: its model and the user's callback (may be
// null).
struct CallbackTarget {
    std::shared_ptr<ModelImpl> model;
    vexa_search_callback callback = nullptr;
    void *ctx = nullptr;
};

// Builds a Sol of the target's model from the module's energy, bits (may be
// null: the Sol has none) and, in the integer form, `ints` (int_count
// coefficients, may be null), with the given tts, and hands it to the user.
// Returns the user's answer, or -1.0 without a callback (nothing is built).
double forward_progress(const CallbackTarget &target, const vexa_bigint *energy, const uint64_t *bits,
                        const void *ints, uint64_t int_count, uint32_t event, double tts);

}  // namespace vexa
