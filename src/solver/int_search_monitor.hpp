// Runs the workers of one native integer search. One thread without a user
// callback runs on the caller. Otherwise every worker has its own thread and
// the caller watches them: every 20 ms it checks the user's timer and, when
// it has run out, fires event 2 with the best state so far.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "solver/int_search_engine.hpp"
#include "solver/int_search_worker.hpp"

namespace vexa::intsearch {

template <class T>
void monitor(Engine<T> &engine) {
    const IntSearchOpts &opts = engine.opts_;
    double last_tick = 0.0;
    while (engine.running_.load() != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const double now = engine.elapsed();
        const double timer = engine.timer_.load();
        if (opts.callback == nullptr || !(timer > 0.0)) {
            last_tick = now;
            continue;
        }
        if (now - last_tick < timer) continue;
        std::vector<T> state;
        T energy = T(0);
        double tts = 0.0;
        bool have = false;
        {
            std::lock_guard<std::mutex> lock(engine.mutex_);
            if (engine.has_best_) {
                have = true;
                state = engine.best_state_;
                energy = engine.best_energy_;
                tts = engine.best_tts_;
            }
        }
        engine.fire(engine.make_sol(have ? &state : nullptr, energy, tts), 2);
        last_tick = now;
    }
}

template <class T>
void run_workers(Engine<T> &engine) {
    const IntSearchOpts &opts = engine.opts_;
    if (opts.threads < 2 && opts.callback == nullptr) {
        Worker<T>(engine, 0).run();
        return;
    }
    engine.running_.store(opts.threads);
    std::vector<std::thread> threads;
    threads.reserve(opts.threads);
    for (uint32_t t = 0; t < opts.threads; ++t) {
        threads.emplace_back([&engine, t] {
            Worker<T>(engine, t).run();
            engine.running_.fetch_sub(1);
        });
    }
    monitor(engine);
    for (std::thread &th : threads) th.join();
}

}  // namespace vexa::intsearch
