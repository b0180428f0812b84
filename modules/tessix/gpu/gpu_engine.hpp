// The handles behind the GPU families of tessix_cppint.so and their
// searches. Batches run on the device when one is usable and on host threads
// otherwise (the same replica code either way), so every path is exercised on
// machines without a GPU. Every state handed back has been priced again with
// the exact reference of the module library.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "batch.hpp"
#include "compact_model.hpp"
#include "model_arrays.hpp"
#include "module_output.hpp"
#include "search_params.hpp"
#include "solution_list.hpp"
#include "vexa/solver_module.h"

namespace vexa::tessix {

inline constexpr std::string_view kTag = "TessixSolver";

// Where the batches of a handle run.
struct Backend {
    bool prepared = false;
    bool device_tried = false;
    CompactBuild build;
    DeviceSession *session = nullptr;  // null: host threads

    ~Backend() { device_session_close(session); }
    // Builds the compact model on first use and, with `use_device`, opens the
    // device once; false with build.reason set when the model cannot be
    // searched in 64-bit words.
    bool prepare(const mod::ModelArrays &arrays, bool use_device);
    // The arrays changed (a constraint arrived): build again at next use.
    void invalidate();
    // Runs one batch; falls back to the host for good after a device error.
    void run(const ReplicaJob &job, int64_t *states, int64_t *energies, uint32_t host_threads,
             const volatile uint8_t *stop);
    std::string describe() const;
};

// Time a batch should take, so that stop requests and time limits are seen
// promptly and launches stay long enough to pay for themselves.
inline constexpr double kBatchSeconds = 0.02;

// Halves or doubles the sweeps of the next batch towards kBatchSeconds.
uint32_t adapt_sweeps(uint32_t sweeps, double batch_seconds);

// ---- GPU binary family ----

// Aborts with the reason why the GPU search cannot take a model.
[[noreturn]] void refuse_binary_model(const std::string &reason);

struct BinaryHandle {
    void *wrapper = nullptr;
    mod::ModelArrays arrays;
    const volatile uint8_t *stop = nullptr;
    std::mutex hint_mutex;
    std::vector<uint64_t> hint;  // a pending hint, word_count words
    bool hint_pending = false;
    Backend backend;
};

struct BinaryOutcome {
    coeff_t energy;
    std::vector<uint64_t> bits;
    double tts = 0.0;
    mod::SolutionList list;
    mod::InfoPairs info;
};

// Replicas started from the best state, kicked, annealed and descended, and
// fresh random ones, batch after batch until the time limit (10 s by
// default), the target, or the stop byte. `callback` (may be null) hears each
// new best with event 1.
BinaryOutcome binary_search(BinaryHandle &h, const mod::SearchParams &p, vexa_module_callback callback);

// The list object of solver_search.
struct TessixList {
    std::vector<mod::ListEntry> entries;
};

void fill_tessix_solution(TessixSolution *out, const coeff_t &energy, const std::vector<uint64_t> &bits, double tts);

// ---- integer GPU family ----

struct IntHandle {
    mod::ModelArrays arrays;
    uint32_t replicas = 2048;
    uint64_t seed = 0;
    uint64_t round = 0;
    uint32_t sweeps = 16;
    bool declined = false;
    Backend backend;
    std::vector<int64_t> states, energies;
    std::mutex hint_mutex;
    std::vector<uint64_t> hint_bits;
    std::vector<coeff_t> hint_ints;
    bool hint_pending = false;
};

// One round over `count` rows: each row is the start of replicas / count
// replicas (the first unchanged, the others kicked harder and harder), a row
// whose best replica ends below the row's own energy is marked in flags_out
// with that state and its exact energy. Returns nonzero, ending the caller's
// GPU thread, when the model cannot be searched in 64-bit words.
int int_round(IntHandle &h, const uint64_t *bits_in, const coeff_t *ints_in, uint32_t count, uint64_t *bits_out,
              coeff_t *ints_out, coeff_t *energies_out, uint8_t *flags_out);

}  // namespace vexa::tessix
