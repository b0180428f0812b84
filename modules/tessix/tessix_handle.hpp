// The object behind a handle of the accelerated module's CPU family.
#pragma once

#include <memory>
#include <mutex>

#include "hint_box.hpp"
#include "model_arrays.hpp"
#include "prepared_model.hpp"

namespace vexa::mod {

inline constexpr const char *kTessixTag = "TessixSolver";

struct TessixHandle {
    void *wrapper = nullptr;                          // first argument of create, handed back to the callbacks
    const volatile uint8_t *external_stop = nullptr;  // the caller's stop byte, polled by every search
    int32_t gpu_mode = 0;                             // as given to create_int; this side always runs on the CPU
    ModelArrays arrays;
    std::mutex mutex;  // guards `prepared`; searches run outside it
    std::shared_ptr<const PreparedModel> prepared;
    HintBox hints;
};

}  // namespace vexa::mod
