#include "solver/int_search.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/fatal.hpp"
#include "model/sol.hpp"
#include "solver/int_search_tables.hpp"
#include "solver/search_arith.hpp"

namespace vexa {

namespace {

using Clock = std::chrono::steady_clock;

template <class T>
T from_u64(uint64_t v) {
    if constexpr (std::is_same_v<T, coeff_t>) {
        return coeff_t(v);
    } else {
        return static_cast<T>(v);
    }
}

// x + step (or x - step) when the result lies within [lo, hi]. On machine
// words an overflowing sum is out of bounds, since the bounds fit.
template <class T>
bool shift_within(const T &x, const T &step, bool up, const T &lo, const T &hi, T &out) {
    if constexpr (std::is_same_v<T, coeff_t>) {
        coeff_t r = up ? coeff_t(x + step) : coeff_t(x - step);
        if (r < lo || r > hi) return false;
        out = std::move(r);
        return true;
    } else {
        T r;
        if (up ? __builtin_add_overflow(x, step, &r) : __builtin_sub_overflow(x, step, &r)) return false;
        if (r < lo || r > hi) return false;
        out = r;
        return true;
    }
}

template <class T>
struct ListEntry {
    T energy;
    std::vector<T> state;
    double tts;
};

// One search: the tables, the settings and the state all threads share.
template <class T>
class Engine {
public:
    Engine(const ModelImpl &model, IntSearchOpts &opts) : model_(model), opts_(opts), tables_(model) {}

    const ModelImpl &model_;
    IntSearchOpts &opts_;
    const IntSearchTables<T> tables_;

    // Shared, guarded by mutex_ unless atomic.
    std::mutex mutex_;
    bool has_best_ = false;
    T best_energy_{};
    std::vector<T> best_state_;
    double best_tts_ = 0.0;
    std::vector<ListEntry<T>> solutions_;
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
                penalties += FlatProblem<T>::penalty(cons[k], bodies[k]);
                if (cons[k].hinge == 0) {
                    ++hinge_free;
                    if (!is_zero(FlatProblem<T>::distance(cons[k], bodies[k]))) ++violated;
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
            if (cons[k].hinge == 0 && !is_zero(FlatProblem<T>::distance(cons[k], bodies[k]))) return false;
        }
        return true;
    }

    void offer_to_topk(const std::vector<T> &state, const T &energy, double now) {
        for (const ListEntry<T> &e : solutions_) {
            if (e.state == state) return;
        }
        const uint64_t k = opts_.topk_sols;
        if (solutions_.size() >= k && energy >= solutions_.back().energy) return;
        auto at = solutions_.begin();
        while (at != solutions_.end() && !(energy < at->energy)) ++at;
        solutions_.insert(at, ListEntry<T>{energy, state, now});
        if (solutions_.size() > k) solutions_.pop_back();
    }

    void offer_to_best_list(const std::vector<T> &state, const T &energy, double now) {
        if (!has_best_ || energy < best_energy_) {
            solutions_.clear();
            solutions_.push_back(ListEntry<T>{energy, state, now});
            return;
        }
        if (energy != best_energy_) return;
        if (opts_.best_energy_cap != 0 && solutions_.size() >= opts_.best_energy_cap) return;
        for (const ListEntry<T> &e : solutions_) {
            if (e.state == state) return;
        }
        solutions_.push_back(ListEntry<T>{energy, state, now});
    }

    // Records a state: the solution list, then the best with the progress
    // line, the user's event 1 and the target test. bodies are the state's
    // constraint bodies; null when it comes without them.
    void record(const std::vector<T> &state, const T &energy, const std::vector<T> &bodies) {
        std::lock_guard<std::mutex> lock(mutex_);
        const double now = elapsed();
        if (opts_.best_energy_sols) {
            offer_to_best_list(state, energy, now);
        } else if (opts_.topk_sols > 0) {
            offer_to_topk(state, energy, now);
        }
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

// One search thread.
template <class T>
class Worker {
public:
    Worker(Engine<T> &engine, uint32_t index)
        : e_(engine),
          t_(engine.tables_),
          p_(engine.tables_.p),
          index_(index),
          rng_(engine.opts_.seed ^ ((static_cast<uint64_t>(index) + 1) * 0x9E3779B97F4A7C15ull)),
          x_(p_.total, T(0)),
          bodies_(p_.cons.size()),
          pens_(p_.cons.size()) {}

    void run() {
        for (uint64_t round = 1;; ++round) {
            ++rounds_;
            note_stagnation();
            start_state(round);
            recompute();
            offer();
            if (e_.stopped()) break;
            anneal(probe());
            descend();
            if (e_.stopped() || e_.timed_out()) break;
        }
        e_.rounds_.fetch_add(rounds_);
        e_.proposals_.fetch_add(proposals_);
    }

private:
    struct Changed {
        uint32_t cons;
        T body;
        T penalty;
    };

    Engine<T> &e_;
    const IntSearchTables<T> &t_;
    const FlatProblem<T> &p_;
    const uint32_t index_;
    std::mt19937_64 rng_;
    std::vector<T> x_;
    std::vector<T> bodies_;
    std::vector<T> pens_;  // the penalty of each body, kept with it
    T energy_{};
    T local_best_{};
    bool have_local_best_ = false;
    uint32_t stagnation_ = 0;
    T last_seen_{};
    bool have_last_seen_ = false;
    uint64_t rounds_ = 0;
    uint64_t proposals_ = 0;
    std::vector<Changed> changed_;
    size_t changed_count_ = 0;

    uint64_t draw() { return rng_(); }

    void note_stagnation() {
        std::lock_guard<std::mutex> lock(e_.mutex_);
        if (!e_.has_best_) return;
        if (have_last_seen_ && !(e_.best_energy_ < last_seen_)) {
            ++stagnation_;
        } else {
            stagnation_ = 0;
        }
        last_seen_ = e_.best_energy_;
        have_last_seen_ = true;
    }

    void load(const uint64_t *bits, const coeff_t *ints) {
        for (uint32_t i = 0; i < p_.n_bin; ++i) x_[i] = T((bits[i >> 6] >> (i & 63)) & 1);
        for (uint32_t k = 0; k < p_.n_int; ++k) x_[p_.n_bin + k] = from_coeff<T>(ints[k]);
    }

    void start_state(uint64_t round) {
        const IntSearchOpts &o = e_.opts_;
        if (round == 1 && index_ == 0 && o.hint_bits != nullptr) {
            load(o.hint_bits, o.hint_ints);
            return;
        }
        if (o.hint_poll != nullptr) {
            std::vector<uint64_t> bits;
            std::vector<coeff_t> ints;
            if (o.hint_poll(o.hint_poll_ctx, 0, bits, ints)) {
                bits.resize(word_count(p_.n_bin), 0);
                ints.resize(p_.n_int, 0);
                load(bits.data(), ints.data());
                return;
            }
        }
        if (round == 1) {
            random_state();
            return;
        }
        if (draw() & 1) {
            std::lock_guard<std::mutex> lock(e_.mutex_);
            if (e_.has_best_) x_ = e_.best_state_;
        }
        kick();
    }

    void random_state() {
        for (uint32_t i = 0; i < p_.n_bin; ++i) x_[i] = T(draw() & 1);
        for (uint32_t k = 0; k < p_.n_int; ++k) {
            const uint64_t d = draw();
            x_[p_.n_bin + k] = p_.lower[k] + (t_.huge[k] ? from_u64<T>(d) : from_u64<T>(d % (t_.range_u64[k] + 1)));
        }
    }

    // Touches each variable with probability about (stagnation + 10) / total.
    void kick() {
        const double p = (stagnation_ + 10.0) / p_.total;
        const uint64_t threshold = p < 1.0 ? static_cast<uint64_t>(p * 18446744073709551616.0) : UINT64_MAX;
        for (uint32_t f = 0; f < p_.total; ++f) {
            if (draw() > threshold) continue;
            if (f < p_.n_bin) {
                x_[f] = T(1) - x_[f];
                continue;
            }
            const uint32_t k = f - p_.n_bin;
            if (t_.dense[k]) {
                x_[f] = p_.lower[k] + from_u64<T>(draw() % (t_.range_u64[k] + 1));
                continue;
            }
            T step;
            bool geometric = false;
            if (t_.geo_on[k] && draw() % 10 != 0) {
                const double u = (static_cast<double>(draw() >> 11) + 0.5) * 0x1p-53;
                const double v = std::log(u) / t_.geo_log_q[k];
                if (v > 9e18) continue;
                step = from_u64<T>(static_cast<uint64_t>(v) + 1);
                geometric = true;
            }
            if (!geometric) step = list_step(k);
            T moved;
            if (shift_within(x_[f], step, draw() & 1, p_.lower[k], p_.upper[k], moved)) x_[f] = std::move(moved);
        }
    }

    const T &list_step(uint32_t k) {
        const uint32_t begin = t_.step_start[k];
        const uint32_t len = t_.step_start[k + 1] - begin;
        return t_.steps[begin + draw() % len];
    }

    // Bodies, penalties and the energy of x, from scratch.
    void recompute() {
        energy_ = p_.constant;
        for (const FlatTerm<T> &term : p_.terms) energy_ += p_.term_value(term, x_.data());
        for (size_t k = 0; k < p_.cons.size(); ++k) {
            bodies_[k] = p_.body(p_.cons[k], x_.data());
            pens_[k] = FlatProblem<T>::penalty(p_.cons[k], bodies_[k]);
            energy_ += pens_[k];
        }
    }

    void offer() {
        if (have_local_best_ && !(energy_ < local_best_)) {
            if (e_.opts_.best_energy_sols && energy_ == local_best_) e_.record(x_, energy_, bodies_);
            return;
        }
        local_best_ = energy_;
        have_local_best_ = true;
        e_.record(x_, energy_, bodies_);
    }

    // The change of the energy if variable v took the value c; the new
    // bodies of the touched constraints go to changed_.
    T evaluate(uint32_t v, const T &c) {
        changed_count_ = 0;
        const T &xv = x_[v];
        const T diff = c - xv;
        T linear = T(0);
        T squares = T(0);
        for (uint64_t a = t_.term_start[v], end = t_.term_start[v + 1]; a < end; ++a) {
            const TermOcc<T> &o = t_.term_occ[a];
            if (o.kind == kLinear) {
                linear += o.coeff;
            } else if (o.kind == kPair) {
                const T w = FlatProblem<T>::lit_value(o.other, x_.data());
                if (!is_zero(w)) linear += o.coeff * w;
            } else {
                const FlatTerm<T> &term = p_.terms[o.other];
                T before = p_.term_value(term, x_.data());
                T &slot = x_[v];
                T saved = slot;
                slot = c;
                T after = p_.term_value(term, x_.data());
                slot = saved;
                squares += after - before;
            }
        }
        T delta = linear * diff + squares;
        for (uint64_t a = t_.cons_start[v], end = t_.cons_start[v + 1]; a < end; ++a) {
            const ConsOcc<T> &o = t_.cons_occ[a];
            if (changed_count_ == changed_.size()) changed_.emplace_back();
            Changed &ch = changed_[changed_count_++];
            ch.cons = o.cons;
            if (!o.nonlinear) {
                ch.body = bodies_[o.cons] + o.coeff * diff;
            } else {
                T saved = x_[v];
                x_[v] = c;
                ch.body = p_.body(p_.cons[o.cons], x_.data());
                x_[v] = saved;
            }
            ch.penalty = FlatProblem<T>::penalty(p_.cons[o.cons], ch.body);
            delta += ch.penalty - pens_[o.cons];
        }
        return delta;
    }

    void apply(uint32_t v, const T &c, const T &delta) {
        x_[v] = c;
        for (size_t i = 0; i < changed_count_; ++i) {
            bodies_[changed_[i].cons] = changed_[i].body;
            pens_[changed_[i].cons] = changed_[i].penalty;
        }
        energy_ += delta;
        offer();
    }

    // A random move: variable and candidate value; false when the draw gives
    // no move (an unchanged or out-of-bounds value).
    bool propose(uint32_t &v, T &c) {
        v = static_cast<uint32_t>(draw() % p_.total);
        if (v < p_.n_bin) {
            c = T(1) - x_[v];
            return true;
        }
        const uint32_t k = v - p_.n_bin;
        if (t_.dense[k]) {
            c = p_.lower[k] + from_u64<T>(draw() % (t_.range_u64[k] + 1));
            return c != x_[v];
        }
        const T &step = list_step(k);
        return shift_within(x_[v], step, draw() & 1, p_.lower[k], p_.upper[k], c);
    }

    // 64 moves evaluated, none applied: twice the largest |delta|, at least 2.
    double probe() {
        double largest = 1.0;
        if (p_.total == 0) return 2.0;
        uint32_t v;
        T c;
        for (int i = 0; i < 64; ++i) {
            if (!propose(v, c)) continue;
            const double d = exact_to_double(abs_value(evaluate(v, c)));
            if (d > largest) largest = d;
        }
        return 2.0 * largest;
    }

    void anneal(double temperature) {
        if (p_.total == 0) return;
        const uint64_t n = std::max<uint64_t>(4000, 400 * t_.neighbourhood_size);
        const double alpha = std::pow(0.02 / temperature, 1.0 / static_cast<double>(n));
        uint32_t v;
        T c;
        for (uint64_t i = 0; i < n; ++i, temperature *= alpha) {
            if (e_.stopped()) return;
            if (i % 128 == 0 && e_.timed_out()) return;
            ++proposals_;
            if (!propose(v, c)) continue;
            const T delta = evaluate(v, c);
            bool accept = !(delta > T(0));
            if (!accept) {
                double u = static_cast<double>(draw()) * 0x1p-64;
                if (u >= 1.0) u = 0x1.fffffffffffffp-1;
                accept = std::exp(-exact_to_double(delta) / temperature) > u;
            }
            if (accept) apply(v, c, delta);
        }
    }

    // Tries c for variable v; takes it when it lowers the energy.
    bool try_descent_move(uint32_t v, const T &c) {
        ++proposals_;
        const T delta = evaluate(v, c);
        if (!(delta < T(0))) return false;
        apply(v, c, delta);
        return true;
    }

    void descend() {
        for (;;) {
            if (e_.stopped() || e_.timed_out()) return;
            bool improved = false;
            for (uint32_t v = 0; v < p_.total; ++v) {
                if (e_.stopped()) return;
                if (v < p_.n_bin) {
                    improved |= try_descent_move(v, T(T(1) - x_[v]));
                    continue;
                }
                const uint32_t k = v - p_.n_bin;
                if (t_.dense[k]) {
                    for (uint64_t j = 0; j <= t_.range_u64[k]; ++j) {
                        const T c = p_.lower[k] + from_u64<T>(j);
                        if (c != x_[v]) improved |= try_descent_move(v, c);
                    }
                    continue;
                }
                for (uint32_t s = t_.step_start[k]; s < t_.step_start[k + 1]; ++s) {
                    T c;
                    if (shift_within(x_[v], t_.steps[s], true, p_.lower[k], p_.upper[k], c)) {
                        improved |= try_descent_move(v, c);
                    }
                    if (shift_within(x_[v], t_.steps[s], false, p_.lower[k], p_.upper[k], c)) {
                        improved |= try_descent_move(v, c);
                    }
                }
            }
            if (!improved) return;
        }
    }
};

template <class T>
nimba_solver_result *run_search(const ModelImpl &model, IntSearchOpts &opts) {
    Engine<T> engine(model, opts);
    const FlatProblem<T> &p = engine.tables_.p;
    engine.start_ = Clock::now();

    if (opts.callback != nullptr) {
        std::vector<T> first(p.total, T(0));
        for (uint32_t k = 0; k < p.n_int; ++k) first[p.n_bin + k] = p.lower[k];
        const T energy = p.full_energy(first.data());
        engine.fire(engine.make_sol(&first, energy, 0.0), 0);
    }

    if (opts.threads < 2 && opts.callback == nullptr) {
        Worker<T>(engine, 0).run();
    } else {
        engine.running_.store(opts.threads);
        std::vector<std::thread> threads;
        threads.reserve(opts.threads);
        for (uint32_t t = 0; t < opts.threads; ++t) {
            threads.emplace_back([&engine, t] {
                Worker<T>(engine, t).run();
                engine.running_.fetch_sub(1);
            });
        }
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
        for (std::thread &th : threads) th.join();
    }

    if (std::getenv("VEXA_TESSIX_INT_DEBUG") != nullptr) {
        std::fprintf(stderr, "[tessix-int-gpu] rounds=%lu submissions=%lu\n",
                     static_cast<unsigned long>(engine.gpu_rounds_.load()),
                     static_cast<unsigned long>(engine.gpu_submissions_.load()));
    }

    const std::string name = opts.solver_name;
    if (!engine.has_best_) fatal(name + ": internal error \xe2\x80\x94 integer engine produced no solution.");

    // The best state priced again from scratch, in exact arithmetic.
    const FlatProblem<coeff_t> exact(model);
    std::vector<coeff_t> best_exact;
    best_exact.reserve(p.total);
    for (const T &v : engine.best_state_) best_exact.push_back(to_coeff(v));
    const coeff_t best_energy = to_coeff(engine.best_energy_);
    if (exact.full_energy(best_exact.data()) != best_energy) {
        fatal(name + ": internal error \xe2\x80\x94 best-state energy mismatch in integer engine.");
    }

    auto r = std::make_unique<nimba_solver_result>();
    auto fill = [&](const std::vector<T> &state, std::vector<uint64_t> &bits, std::vector<coeff_t> &ints) {
        bits.assign(word_count(p.n_bin), 0);
        for (uint32_t i = 0; i < p.n_bin; ++i) {
            if (!is_zero(state[i])) bits[i >> 6] |= uint64_t(1) << (i & 63);
        }
        ints.clear();
        for (uint32_t k = 0; k < p.n_int; ++k) ints.push_back(to_coeff(state[p.n_bin + k]));
    };
    r->energy = best_energy;
    r->tts = engine.best_tts_;
    fill(engine.best_state_, r->bits, r->int_vals);
    for (const ListEntry<T> &entry : engine.solutions_) {
        nimba_solver_result_entry out;
        out.energy = to_coeff(entry.energy);
        out.tts = entry.tts;
        fill(entry.state, out.bits, out.int_vals);
        r->topk.push_back(std::move(out));
    }
    r->info.emplace_back("run_time", seconds_text(engine.elapsed()));
    r->info.emplace_back("threads", std::to_string(opts.threads));
    r->info.emplace_back("rounds", std::to_string(engine.rounds_.load()));
    r->info.emplace_back("proposals", std::to_string(engine.proposals_.load()));
    r->info.emplace_back("engine", opts.gpu_handle != nullptr ? "integer-cpu+gpu" : "integer-cpu");
    add_machine_pairs(*r);
    return r.release();
}

}  // namespace

nimba_solver_result *nimba_int_search(const ModelImpl &model, IntSearchOpts &opts, const vexa_param *params,
                                      const uint64_t *hint_bits, const coeff_t *hint_ints,
                                      uint64_t hint_int_count) {
    opts.seed = std::random_device("default")();
    opts.threads = default_search_threads();
    parse_int_params(opts, params);
    const std::string name = opts.solver_name;
    if (hint_bits != nullptr) {
        if (hint_int_count != model.int_count()) fatal(name + ": hint integer-variable count mismatch.");
        for (uint64_t k = 0; k < hint_int_count; ++k) {
            if (hint_ints[k] < model.int_lower[k] || hint_ints[k] > model.int_upper[k]) {
                fatal(name + ": hint value outside the integer variable's bounds.");
            }
        }
        opts.hint_bits = hint_bits;
        opts.hint_ints = hint_ints;
    }
    if (!opts.model) {
        // A caller without a shared reference: callbacks get a borrowed one.
        opts.model = std::shared_ptr<ModelImpl>(std::shared_ptr<ModelImpl>(), const_cast<ModelImpl *>(&model));
    }
    switch (choose_width(model, flat_max_abs(model, true))) {
        case ArithWidth::w64: return run_search<int64_t>(model, opts);
        case ArithWidth::w128: return run_search<int128>(model, opts);
        case ArithWidth::exact: break;
    }
    return run_search<coeff_t>(model, opts);
}

}  // namespace vexa
