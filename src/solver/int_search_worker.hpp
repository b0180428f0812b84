// One thread of the native integer search: rounds of a start state (hint,
// random, or a kick of the best), a temperature probe, simulated annealing
// and greedy descent, with exact incremental energies.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <random>
#include <type_traits>
#include <vector>

#include "constraint/pricing.hpp"
#include "solver/int_search_engine.hpp"

namespace vexa::intsearch {

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

// Counts the rounds in which the shared best did not improve on the one a
// thread saw at its previous round.
template <class T>
struct Stagnation {
    uint32_t count = 0;
    T last_seen{};
    bool have_last_seen = false;

    // Called under the engine's mutex with the shared best energy.
    void note(const T &best) {
        if (have_last_seen && !(best < last_seen)) {
            ++count;
        } else {
            count = 0;
        }
        last_seen = best;
        have_last_seen = true;
    }
};

// One entry of the step list of a wide integer variable.
template <class T, class Draw>
const T &list_step(const IntSearchTables<T> &t, uint32_t k, Draw &draw) {
    const uint32_t begin = t.step_start[k];
    const uint32_t len = t.step_start[k + 1] - begin;
    return t.steps[begin + draw() % len];
}

// A fresh state: each binary variable the low bit of a draw, each integer
// uniform over its range.
template <class T, class Draw>
void random_state(const IntSearchTables<T> &t, Draw &draw, std::vector<T> &x) {
    const FlatProblem<T> &p = t.p;
    for (uint32_t i = 0; i < p.n_bin; ++i) x[i] = T(draw() & 1);
    for (uint32_t k = 0; k < p.n_int; ++k) {
        const uint64_t d = draw();
        // A range whose every 64-bit offset is a value takes the draw as
        // it is; any other range is at most 2^64 - 2 and takes it modulo.
        x[p.n_bin + k] = p.lower[k] + (t.huge[k] ? from_u64<T>(d) : from_u64<T>(d % (t.range_u64[k] + 1)));
    }
}

// Touches each variable with probability about (stagnation + 10) / total.
template <class T, class Draw>
void kick_state(const IntSearchTables<T> &t, Draw &draw, std::vector<T> &x, uint32_t stagnation) {
    const FlatProblem<T> &p = t.p;
    const double prob = (stagnation + 10.0) / p.total;
    const uint64_t threshold = prob < 1.0 ? static_cast<uint64_t>(prob * 18446744073709551616.0) : UINT64_MAX;
    for (uint32_t f = 0; f < p.total; ++f) {
        if (draw() > threshold) continue;
        if (f < p.n_bin) {
            x[f] = T(1) - x[f];
            continue;
        }
        const uint32_t k = f - p.n_bin;
        if (t.dense[k]) {
            x[f] = p.lower[k] + from_u64<T>(draw() % (t.range_u64[k] + 1));
            continue;
        }
        T step;
        bool geometric = false;
        if (t.geo_on[k] && draw() % 10 != 0) {
            const double u = (static_cast<double>(draw() >> 11) + 0.5) * 0x1p-53;
            const double v = std::log(u) / t.geo_log_q[k];
            if (v > 9e18) continue;
            step = from_u64<T>(static_cast<uint64_t>(v) + 1);
            geometric = true;
        }
        if (!geometric) step = list_step(t, k, draw);
        T moved;
        if (shift_within(x[f], step, draw() & 1, p.lower[k], p.upper[k], moved)) x[f] = std::move(moved);
    }
}

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
    Stagnation<T> stagnation_;
    uint64_t rounds_ = 0;
    uint64_t proposals_ = 0;
    std::vector<Changed> changed_;
    size_t changed_count_ = 0;

    uint64_t draw() { return rng_(); }

    void note_stagnation() {
        std::lock_guard<std::mutex> lock(e_.mutex_);
        if (e_.has_best_) stagnation_.note(e_.best_energy_);
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

    auto drawer() {
        return [this] { return draw(); };
    }
    void random_state() {
        auto d = drawer();
        intsearch::random_state(t_, d, x_);
    }
    void kick() {
        auto d = drawer();
        kick_state(t_, d, x_, stagnation_.count);
    }
    const T &list_step(uint32_t k) {
        auto d = drawer();
        return intsearch::list_step(t_, k, d);
    }

    // Bodies, penalties and the energy of x, from scratch.
    void recompute() {
        energy_ = p_.constant;
        for (const FlatTerm<T> &term : p_.terms) energy_ += p_.term_value(term, x_.data());
        for (size_t k = 0; k < p_.cons.size(); ++k) {
            bodies_[k] = p_.body(p_.cons[k], x_.data());
            pens_[k] = constraint_penalty(p_.cons[k], bodies_[k]);
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
                const T w = flat_literal_value(o.other, x_.data());
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
            ch.penalty = constraint_penalty(p_.cons[o.cons], ch.body);
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

}  // namespace vexa::intsearch
