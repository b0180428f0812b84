// Search settings read from a list of text pairs: one reader for the
// library's native integer search and for the solver modules. Compiled into
// the library and into every module.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/coeff.hpp"
#include "vexa/common.h"

namespace vexa {

// The keys of a list, as read. A later pair of a key overwrites an earlier one.
struct SearchSettings {
    bool has_time_limit = false;
    double time_limit = 0.0;  // seconds
    bool has_target = false;
    coeff_t target_energy;
    bool has_seed = false;
    uint64_t seed = 0;
    uint32_t threads = 0;          // 0: not given (a given 0 is fatal)
    uint64_t topk = 0;             // 0: no top-k list
    bool best_energy = false;      // list the states of the best energy
    uint64_t best_energy_cap = 0;  // 0: no cap
    bool enable_default_callback = false;
};

// Who reads the list. Both read the same keys: "time_limit" (strtod),
// "target_energy" (decimal text), "seed" (strtoull), "threads" (strtoul, 0 is
// fatal), "topk_sols" (strtoul, 0 is fatal), "best_energy_sols" (the cap if
// the text begins with a digit, else no cap) and "enable_default_callback"
// (on for "1", "true", "True"). They differ where noted:
enum class SettingsReader : uint8_t {
    // The library's native integer search: any other key is fatal; the
    // target is taken as the coefficient type parses it; a thread count
    // keeps its low 32 bits.
    native_integer,
    // A solver module: other keys belong to someone else and are skipped;
    // "thread_count" is another name for "threads"; a target must be a
    // decimal integer with an optional sign; a NaN time limit reads as 0; a
    // thread count is capped at kMaxModuleThreads.
    module,
};

inline constexpr uint32_t kMaxModuleThreads = 4096;

// Reads every pair of the list (null means empty). Failures are fatal with
// "<tag>: " in front of the message. A null value reads as empty text.
SearchSettings read_search_settings(const vexa_param *params, std::string_view tag, SettingsReader reader);

// The cap of "best_energy_sols": the number the text begins with, or 0 (no
// cap) when it does not begin with a digit.
uint64_t best_energy_cap_of(const char *value);

// A thread count as the module reader takes it: strtoul; 0 (or text that
// reads as 0) is fatal with the tag.
uint64_t module_thread_count(std::string_view tag, const char *value);

// The default thread count of a search: the CPUs in the process's affinity
// mask, else the hardware concurrency, else 1.
uint32_t default_thread_count();

}  // namespace vexa
