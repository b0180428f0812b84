// Search settings: the text pairs a driver hands to a module, and the
// parsed settings of the native integer search.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/coeff.hpp"
#include "model/model.hpp"
#include "solver/search_settings.hpp"
#include "vexa/solver.h"
#include "vexa/solver_module.h"

namespace vexa {

// A parameter list owned by a driver, ended by a pair of nulls. The pairs
// point into `storage` or into the caller's list.
class ModuleParams {
public:
    const vexa_param *data() const { return pairs_.data(); }
    // Pairs without the terminating one.
    size_t size() const { return pairs_.size() - 1; }

    // The caller's pairs in order (a null list is empty).
    static ModuleParams copy(const vexa_param *params);
    // The same, with "time_limit" "10.0" appended when absent. With
    // rename_threads, "threads" is checked (0 is fatal) and passed on as
    // "thread_count".
    static ModuleParams with_time_limit(const vexa_param *params, bool rename_threads);

private:
    std::vector<vexa_param> pairs_;
};

// The number of entries of a parameter list before its null key.
size_t param_count(const vexa_param *params);

// Default thread count of the native search.
inline uint32_t default_search_threads() { return default_thread_count(); }

// Polls a hint offered to a running search; true when one was delivered.
using HintPollFn = bool (*)(void *ctx, uint32_t channel, std::vector<uint64_t> &bits,
                            std::vector<coeff_t> &ints);

// Settings of the native integer search. The driver fills the tag, stop
// flag, callback, model, hint poll and GPU engine; parse_int_params sets the
// rest from the list.
struct IntSearchOpts {
    double time_limit = 10.0;
    bool has_target = false;
    coeff_t target_energy = 0;
    uint64_t seed = 0;
    uint32_t threads = 1;
    uint64_t topk_sols = 0;  // 0: no list
    bool best_energy_sols = false;
    uint64_t best_energy_cap = 0;  // 0: no cap
    bool enable_default_callback = false;
    const uint64_t *hint_bits = nullptr;
    const coeff_t *hint_ints = nullptr;
    const char *solver_name = "NimbaSolver";
    const volatile uint8_t *external_stop = nullptr;  // the wrapper's stop byte, nonzero = stop
    vexa_search_callback callback = nullptr;
    void *callback_ctx = nullptr;
    std::shared_ptr<ModelImpl> model;
    HintPollFn hint_poll = nullptr;
    void *hint_poll_ctx = nullptr;
    void *gpu_handle = nullptr;
    vexa_tessix_int_round2_fn gpu_round = nullptr;
    vexa_tessix_int_hint_fn gpu_hint = nullptr;
};

// Reads the list into opts with the native integer reader of
// search_settings.hpp: unknown keys and zero counts are fatal, with
// opts.solver_name in front of the message. Keys not in the list keep what
// opts held, except the default callback, which is on only when the list
// turns it on.
void parse_int_params(IntSearchOpts &opts, const vexa_param *params);

}  // namespace vexa
