#include "int_tempering.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "packed_bits.hpp"
#include "rng.hpp"
#include "search_threads.hpp"

namespace vexa::mod {

namespace {

// Integers with a range below this draw a fresh value; wider ones step.
constexpr uint64_t kDenseRange = 16;

// Per flat variable: how it moves.
struct MoveTable {
    std::vector<uint8_t> dense;                // binary variables count as dense
    std::vector<std::vector<coeff_t>> steps;  // wide integers: 1, 2, 4, ... the first power above range / 2
};

MoveTable build_move_table(const IntModel &m) {
    MoveTable t;
    t.dense.assign(m.total, 1);
    t.steps.resize(m.total);
    for (uint32_t v = m.nb; v < m.total; ++v) {
        const coeff_t &r = m.range[v];
        if (r < kDenseRange) continue;
        t.dense[v] = 0;
        const coeff_t half = r / 2;
        for (coeff_t s = 1;; s <<= 1) {
            t.steps[v].push_back(s);
            if (s > half) break;
        }
    }
    return t;
}

class IntTemperingWorker {
public:
    IntTemperingWorker(const IntModel &m, const MoveTable &moves, SearchShared &sh, HintBox &hints,
                       uint64_t hint_seen, uint64_t seed)
        : m_(m), moves_(moves), sh_(sh), hints_(hints), hint_seen_(hint_seen), rng_(seed), scratch_(m) {
        words_.resize(word_count_for(m.nb));
        ints_.resize(m.total - m.nb);
        collect_equal_ = sh_.list.mode == SolutionList::Mode::best_energy;
        replicas_ = std::clamp<uint32_t>(6 + static_cast<uint32_t>(std::sqrt(double(m.total)) / 3.0), 8, 24);
    }

    void run(TemperingStats &stats) {
        stats.replicas.store(replicas_);
        reps_.reserve(replicas_);
        auto add_replica = [&] {
            reps_.emplace_back(m_);
            reps_.back().randomize(rng_);
            reps_.back().recompute();
        };
        add_replica();
        thread_best_ = reps_[0].energy;
        offer(reps_[0], true);
        // Pricing a replica is a pass over the model: on a big one the clock
        // is read after each.
        for (uint32_t r = 1; r < replicas_; ++r) {
            if (sh_.check_clock()) {
                counts_.add_to(stats);
                return;
            }
            add_replica();
        }
        if (!poll() && m_.total > 0) {
            calibrate();
            anneal();
        }
        counts_.add_to(stats);
    }

private:
    // Checks the stop flags at every call and the clock and hints after
    // about 4096 units of pricing work.
    bool poll(IntState &s) {
        if (sh_.stopped()) return true;
        if (s.work < 4096) return false;
        s.work = 0;
        if (sh_.check_clock()) return true;
        if (hints_.take(hint_seen_, hint_bits_, hint_ints_)) inject_hint();
        return false;
    }
    bool poll() { return poll(scratch_); }

    void offer(const IntState &s, bool always = false, bool optimum = false) {
        const bool better = s.energy < thread_best_;
        const bool wanted = always || better || (optimum && collect_equal_ && s.energy == thread_best_);
        if (!wanted) return;
        if (better) {
            thread_best_ = s.energy;
            stale_rounds_ = 0;
        }
        s.export_state(words_.data(), ints_.data());
        sh_.offer(s.energy, words_.data(), words_.size(), ints_.data(), ints_.size());
    }

    void inject_hint() {
        if (hint_bits_.size() < words_.size() || hint_ints_.size() != ints_.size()) return;
        ++counts_.hints_taken;
        IntState &cold = reps_[at_.empty() ? 0 : at_[0]];
        for (uint32_t i = 0; i < m_.nb; ++i) cold.x[i] = (hint_bits_[i / 64] >> (i % 64)) & 1u;
        for (uint32_t k = 0; k < ints_.size(); ++k) cold.x[m_.nb + k] = hint_ints_[k];
        cold.recompute();
        offer(cold, true);
    }

    // A random candidate for variable v, or false when the draw proposes
    // nothing (the same value, or a step out of bounds).
    bool propose(const IntState &s, uint32_t v, coeff_t &cand) {
        if (v < m_.nb) {
            cand = 1 - s.x[v];
            return true;
        }
        if (moves_.dense[v]) {
            cand = s.random_in_range(v, rng_);
            return cand != s.x[v];
        }
        const std::vector<coeff_t> &steps = moves_.steps[v];
        const coeff_t &step = steps[rng_.below(steps.size())];
        cand = (rng_.next() & 1u) ? coeff_t(s.x[v] + step) : coeff_t(s.x[v] - step);
        return cand >= m_.lower[v] && cand <= m_.upper[v];
    }

    void calibrate() {
        // Hot end: the mean size of a random move at a random state.
        IntState &s = reps_[0];
        double sum = 0.0;
        uint32_t count = 0;
        coeff_t cand;
        for (uint32_t k = 0; k < 64 * replicas_; ++k) {
            const uint32_t v = static_cast<uint32_t>(rng_.below(m_.total));
            if (!propose(s, v, cand)) continue;
            const double d = std::fabs(exact_to_double(s.evaluate(v, cand)));
            if (d > 0.0) {
                sum += d;
                ++count;
            }
        }
        const double hot = count == 0 ? 1.0 : sched_.hot_factor * sum / count;
        // Cold end: a fraction of the small uphill moves at a local minimum.
        scratch_ = reps_[0];
        descend(scratch_);
        offer(scratch_, false, true);
        std::vector<double> up;
        for (uint32_t k = 0; k < 64 * replicas_; ++k) {
            const uint32_t v = static_cast<uint32_t>(rng_.below(m_.total));
            if (!propose(scratch_, v, cand)) continue;
            const double d = exact_to_double(scratch_.evaluate(v, cand));
            if (d > 0.0) up.push_back(d);
        }
        build_ladder(hot, up, sched_, replicas_, beta_, at_);
    }

    bool sweep(IntState &s, double beta) {
        coeff_t cand;
        for (uint32_t k = 0; k < m_.total; ++k) {
            if (poll(s)) return false;
            const uint32_t v = static_cast<uint32_t>(rng_.below(m_.total));
            if (!propose(s, v, cand)) continue;
            const coeff_t delta = s.evaluate(v, cand);
            bool take = delta <= 0;
            if (!take) {
                const double x = exact_to_double(delta) * beta;
                take = x < 40.0 && rng_.unit() < std::exp(-x);
            }
            if (take) {
                s.apply(v, cand, delta);
                ++counts_.flips;
            }
        }
        ++counts_.sweeps;
        return true;
    }

    // Tries every candidate of every variable, taking strict improvements,
    // until a pass changes nothing.
    bool descend(IntState &s) {
        bool improved = true;
        while (improved) {
            improved = false;
            for (uint32_t v = 0; v < m_.total; ++v) {
                if (poll(s)) return false;
                if (v < m_.nb || moves_.dense[v]) {
                    const coeff_t first = v < m_.nb ? coeff_t(0) : m_.lower[v];
                    for (coeff_t c = first; c <= m_.upper[v]; ++c) improved |= try_move(s, v, c);
                } else {
                    for (const coeff_t &step : moves_.steps[v]) {
                        const coeff_t up = s.x[v] + step;
                        if (up <= m_.upper[v]) improved |= try_move(s, v, up);
                        const coeff_t down = s.x[v] - step;
                        if (down >= m_.lower[v]) improved |= try_move(s, v, down);
                    }
                }
            }
        }
        return true;
    }

    bool try_move(IntState &s, uint32_t v, const coeff_t &c) {
        if (c == s.x[v]) return false;
        const coeff_t delta = s.evaluate(v, c);
        if (!(delta < 0)) return false;
        s.apply(v, c, delta);
        return true;
    }

    void exchange(uint64_t round) {
        for (uint32_t k = static_cast<uint32_t>(round & 1u); k + 1 < replicas_; k += 2) {
            ++counts_.swap_tries;
            const double d =
                (beta_[k] - beta_[k + 1]) * exact_to_double(coeff_t(reps_[at_[k]].energy - reps_[at_[k + 1]].energy));
            if (d >= 0.0 || rng_.unit() < std::exp(d)) {
                std::swap(at_[k], at_[k + 1]);
                ++counts_.swaps;
            }
        }
    }

    void restart() {
        ++counts_.restarts;
        for (IntState &s : reps_) {
            s.randomize(rng_);
            s.recompute();
        }
        stale_rounds_ = 0;
    }

    void anneal() {
        for (uint64_t round = 0;; ++round) {
            for (uint32_t k = 0; k < replicas_; ++k) {
                IntState &s = reps_[at_[k]];
                if (!sweep(s, beta_[k])) return;
                if (s.energy < thread_best_) offer(s);
            }
            exchange(round);
            scratch_ = reps_[at_[0]];
            ++counts_.descents;
            if (!descend(scratch_)) return;
            offer(scratch_, false, true);
            if (++stale_rounds_ > sched_.stagnation_rounds) restart();
        }
    }

    const IntModel &m_;
    const MoveTable &moves_;
    SearchShared &sh_;
    HintBox &hints_;
    uint64_t hint_seen_;
    Rng rng_;
    const TemperingSchedule sched_;
    uint32_t replicas_ = 1;
    std::vector<IntState> reps_;
    std::vector<uint32_t> at_;
    std::vector<double> beta_;
    IntState scratch_;
    std::vector<uint64_t> words_, hint_bits_;
    std::vector<coeff_t> ints_, hint_ints_;
    coeff_t thread_best_;
    bool collect_equal_ = false;
    uint64_t stale_rounds_ = 0;
    TemperingCounts counts_;
};

}  // namespace

void run_int_tempering(const IntModel &model, SearchShared &shared, HintBox &hints, uint64_t hint_seen,
                       uint32_t threads, uint64_t seed, TemperingStats &stats) {
    const MoveTable moves = build_move_table(model);
    run_search_threads(shared, threads, [&](uint32_t t) {
        IntTemperingWorker worker(model, moves, shared, hints, hint_seen, thread_seed(seed, t));
        worker.run(stats);
    });
}

}  // namespace vexa::mod
