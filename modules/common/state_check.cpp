#include "state_check.hpp"

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include "core/fatal.hpp"
#include "exact_energy.hpp"

namespace vexa::mod {

namespace {

void check_one(std::string_view tag, const ModelArrays &arrays, const coeff_t &energy, const uint64_t *bits,
               const coeff_t *ints, const char *what, uint32_t threads = 1) {
    const coeff_t exact = exact_energy(arrays, bits, ints, threads);
    if (exact != energy) {
        fatal(tag, std::string("internal error — ") + what + " energy mismatch (search " + energy.str() +
                              ", exact " + exact.str() + ")");
    }
}

}  // namespace

void check_returned_states(std::string_view tag, const ModelArrays &arrays, const coeff_t &best_energy,
                           const uint64_t *best_bits, const coeff_t *best_ints, const std::vector<ListEntry> &list,
                           uint32_t threads) {
    check_one(tag, arrays, best_energy, best_bits, best_ints, "best state", std::max<uint32_t>(threads, 1));
    const size_t workers = std::min<size_t>(std::max<uint32_t>(threads, 1), list.size() / 64 + 1);
    std::atomic<size_t> next{0};
    auto body = [&]() {
        for (size_t i = next++; i < list.size(); i = next++) {
            check_one(tag, arrays, list[i].energy, list[i].state.data(), nullptr, "listed state");
        }
    };
    std::vector<std::thread> others;
    for (size_t t = 1; t < workers; ++t) others.emplace_back(body);
    body();
    for (std::thread &th : others) th.join();
}

}  // namespace vexa::mod
