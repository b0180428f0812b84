// The record one native integer search shares between its threads: the
// read-only tables, the settings, and, under one mutex, the best state, the
// solution list and the user's events; counters and flags are atomic.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <memory>
#include <mutex>
#include <vector>

#include "constraint/pricing.hpp"
#include "model/sol.hpp"
#include "solver/int_search_tables.hpp"
#include "solver/params.hpp"
#include "solver/solution_list.hpp"

namespace vexa::intsearch {

using Clock = std::chrono::steady_clock;

// The list the settings ask for: best_energy_sols wins over topk_sols.
template <class T>
SolutionList<T, T> list_for_opts(const IntSearchOpts &opts) {
    if (opts.best_energy_sols) return SolutionList<T, T>::best_energy(opts.best_energy_cap);
    if (opts.topk_sols > 0) return SolutionList<T, T>::top_k(opts.topk_sols);
    return SolutionList<T, T>{};
}

template <class T>
class Engine {
public:
    Engine(const ModelImpl &model, IntSearchOpts &opts)
        : model_(model), opts_(opts), tables_(model), solutions_(list_for_opts<T>(opts)) {}

    const ModelImpl &model_;
    IntSearchOpts &opts_;
    const IntSearchTables<T> tables_;

    // Shared, guarded by mutex_ unless atomic.
    std::mutex mutex_;
    bool has_best_ = false;
    T best_energy_{};
    std::vector<T> best_state_;
    double best_tts_ = 0.0;
    SolutionList<T, T> solutions_;
    std::atomic<bool> done_{false};
    std::atomic<uint32_t> running_{0};
    std::atomic<uint64_t> rounds_{0}, proposals_{0};
    std::atomic<uint64_t> gpu_rounds_{0}, gpu_submissions_{0};
    std::atomic<double> timer_{-1.0};
    Clock::time_point start_;

    double elapsed() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }
    bool stopped() const {
        return done_.load(std::memory_order_relaxed) || (opts_.external_stop != nullptr && *opts_.external_stop);
    }
    bool timed_out() const { return elapsed() >= opts_.time_limit; }

    // A user callback's answer sets the timer: positive seconds, 0 off,
    // anything else (negative, NaN) leaves it.
    void apply_timer(double answer) {
        if (answer > 0.0 || answer == 0.0) timer_.store(answer);
    }

    Sol *make_sol(const std::vector<T> *state, const T &energy, double tts) const {
        auto s = std::make_unique<Sol>();
        s->model = opts_.model;
        s->scale = model_.scale;
        if (state != nullptr) {
            const uint32_t n_bin = tables_.p.n_bin;
            s->bits.assign(word_count(n_bin), 0);
            for (uint32_t i = 0; i < n_bin; ++i) {
                if (!is_zero((*state)[i])) s->bits[i >> 6] |= uint64_t(1) << (i & 63);
            }
            for (uint32_t k = 0; k < tables_.p.n_int; ++k) s->int_vals.push_back(to_coeff((*state)[n_bin + k]));
        }
        s->energy = to_coeff(energy);
        s->energy_valid = true;
        s->tts = tts;
        return s.release();
    }

    double fire(Sol *sol, uint32_t event) {
        const double answer = opts_.callback(opts_.callback_ctx, sol, event);
        apply_timer(answer);
        return answer;
    }

    void print_progress(const T &energy, double tts, const std::vector<T> &bodies) const {
        std::cout << "TTS = " << std::fixed << std::setprecision(3) << tts << "s Energy = " << to_coeff(energy);
        const auto &cons = tables_.p.cons;
        if (!cons.empty()) {
            T penalties = T(0);
            uint64_t hinge_free = 0, violated = 0;
            for (size_t k = 0; k < cons.size(); ++k) {
                const T d = constraint_distance(cons[k], bodies[k]);
                penalties += penalty_of_distance(cons[k], d);
                if (cons[k].shape_hinge == 0) {
                    ++hinge_free;
                    if (!is_zero(d)) ++violated;
                }
            }
            std::cout << " Obj = " << to_coeff(T(energy - penalties));
            if (hinge_free > 0) std::cout << " Viol = " << violated << "/" << hinge_free;
        }
        std::cout << "\n" << std::flush;
    }

    // Every constraint that is not a penalty shape is satisfied.
    bool feasible(const std::vector<T> &bodies) const {
        const auto &cons = tables_.p.cons;
        for (size_t k = 0; k < cons.size(); ++k) {
            if (cons[k].shape_hinge == 0 && !is_zero(constraint_distance(cons[k], bodies[k]))) return false;
        }
        return true;
    }

    // Records a state: the solution list, then the best with the progress
    // line, the user's event 1 and the target test. `bodies` are the state's
    // constraint bodies.
    void record(const std::vector<T> &state, const T &energy, const std::vector<T> &bodies) {
        std::lock_guard<std::mutex> lock(mutex_);
        const double now = elapsed();
        solutions_.offer(energy, state.data(), state.size(), now);
        if (has_best_ && !(energy < best_energy_)) return;
        has_best_ = true;
        best_energy_ = energy;
        best_state_ = state;
        best_tts_ = now;
        if (opts_.enable_default_callback) print_progress(energy, now, bodies);
        if (opts_.callback != nullptr) fire(make_sol(&state, energy, now), 1);
        if (opts_.has_target && to_coeff(energy) <= opts_.target_energy && feasible(bodies)) {
            done_.store(true, std::memory_order_relaxed);
        }
    }
};

}  // namespace vexa::intsearch
