// The object behind a handle of the heuristic module.
#pragma once

#include <memory>
#include <mutex>

#include "model_arrays.hpp"
#include "module_output.hpp"
#include "prepared_model.hpp"

namespace vexa::mod {

inline constexpr const char *kNimbaTag = "NimbaSolver";

struct NimbaHandle {
    void *wrapper = nullptr;  // first argument of create, handed back to the callback
    const volatile uint8_t *external_stop = nullptr;  // the caller's stop byte, polled by every search
    ModelArrays arrays;
    std::mutex mutex;  // guards `prepared` and `info`; searches run outside it
    std::shared_ptr<const PreparedModel> prepared;
    InfoPairs info;
};

}  // namespace vexa::mod
