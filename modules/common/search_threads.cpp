#include "search_threads.hpp"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace vexa::mod {

namespace {

void timer_tick(SearchShared &sh) {
    coeff_t energy = 0;
    std::vector<uint64_t> bits;
    std::vector<coeff_t> ints;
    double tts = 0.0;
    bool have = false;
    {
        std::lock_guard<std::mutex> lock(sh.mutex);
        if (sh.have_best) {
            have = true;
            energy = sh.best_energy;
            bits = sh.best_bits;
            ints = sh.best_ints;
            tts = sh.best_tts;
        }
    }
    // Without the lock: the callback may hint the running search.
    sh.notify(2, energy, have ? bits.data() : nullptr, have && !ints.empty() ? ints.data() : nullptr,
              have ? ints.size() : 0, tts);
}

}  // namespace

void run_search_threads(SearchShared &shared, uint32_t threads, const std::function<void(uint32_t)> &body) {
    if (!shared.has_callback()) {
        std::vector<std::thread> others;
        for (uint32_t t = 1; t < threads; ++t) others.emplace_back(body, t);
        body(0);
        for (std::thread &th : others) th.join();
        return;
    }
    std::atomic<uint32_t> running{threads};
    std::vector<std::thread> all;
    for (uint32_t t = 0; t < threads; ++t) {
        all.emplace_back([&, t]() {
            body(t);
            running.fetch_sub(1);
        });
    }
    double last_tick = 0.0, last_look = 0.0;
    while (running.load() != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const double now = shared.clock.seconds();
        if (now - last_look < 0.02) continue;
        last_look = now;
        const double interval = shared.timer.load();
        if (!(interval > 0.0)) {
            last_tick = now;
        } else if (now - last_tick >= interval) {
            timer_tick(shared);
            last_tick = now;
        }
    }
    for (std::thread &th : all) th.join();
}

}  // namespace vexa::mod
