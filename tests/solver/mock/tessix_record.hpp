// What the functional accelerated test module records, for tests that reach
// it with dlopen(RTLD_NOLOAD) and mock_tessix_record().
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/coeff.hpp"

namespace mock {

struct TessixRecord {
    std::mutex mutex;  // guards everything below but the atomics
    std::vector<std::string> calls;
    int32_t create_gpu_mode = 0;  // the last create's gpu_mode argument
    void *create_w = nullptr;     // the wrapper the last create received
    uint32_t replicas = 0;        // int_create's replicas
    uint64_t int_cons = 0;        // int_add_cons calls
    std::vector<std::vector<uint32_t>> int_cons_vars;  // their vars, as received
    // The first batches of int_round2: the bits and integers of each row.
    std::vector<std::vector<std::vector<uint64_t>>> batch_bits;
    std::vector<std::vector<std::vector<vexa::coeff_t>>> batch_ints;
    std::vector<std::pair<std::string, std::string>> last_params;
    std::atomic<uint64_t> rounds{0};
    std::atomic<uint64_t> hints{0};      // hint_solution, cpu_hint_solution, cpu_hint_iv
    std::atomic<uint64_t> int_hints{0};  // int_hint
    std::atomic<uint64_t> destroyed{0};
};

}  // namespace mock
