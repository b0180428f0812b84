#include "search_shared.hpp"

#include <cstdlib>

#include "energy_record.hpp"
#include "packed_bits.hpp"

namespace vexa::mod {

SearchShared::SearchShared(const SearchParams &p, vexa_module_callback cb, void *cb_ctx,
                           const volatile uint8_t *external)
    : list(list_for_params(p)), callback(cb), callback_ctx(cb_ctx), external_stop(external) {
    time_limit = p.has_time_limit ? p.time_limit : 10.0;
    has_target = p.has_target;
    target_energy = p.target_energy;
}

ListGate SearchShared::offer(const coeff_t &energy, const uint64_t *bits, size_t words, const coeff_t *ints,
                             size_t int_count) {
    const double tts = clock.seconds();
    std::lock_guard<std::mutex> lock(mutex);
    list.offer(energy, bits, words, tts);
    ListGate gate;
    if (list.full()) {
        gate.open = false;
        gate.worst = list.entries.back().energy;
    }
    if (have_best && !(energy < best_energy)) return gate;
    have_best = true;
    best_energy = energy;
    best_bits.assign(bits, bits + words);
    if (ints != nullptr) best_ints.assign(ints, ints + int_count);
    best_tts = tts;
    if (has_callback()) notify(1, energy, bits, ints, int_count, tts);
    if (has_target && energy <= target_energy) {
        target_reached.store(true);
        stop.store(true);
    }
    return gate;
}

void SearchShared::notify(uint32_t event, const coeff_t &energy, const uint64_t *bits, const coeff_t *ints,
                          size_t int_count, double tts) {
    vexa_bigint rec{0, 0, nullptr};
    coeff_to_out_record(energy, &rec);
    double answer = -1.0;
    if (int_callback != nullptr) {
        answer = int_callback(callback_ctx, &rec, bits, ints, int_count, event, tts);
    } else if (callback != nullptr) {
        answer = callback(callback_ctx, &rec, bits, event, tts);
    }
    std::free(rec.limbs);
    if (answer >= 0.0) timer.store(answer);
}

bool SearchShared::copy_best(uint32_t n, uint8_t *x) {
    std::lock_guard<std::mutex> lock(mutex);
    if (!have_best || best_bits.size() < word_count_for(n)) return false;
    unpack_bits(best_bits.data(), n, x);
    return true;
}

}  // namespace vexa::mod
