// One search thread on a binary model, in number type T (int64_t on proven-fit
// models, coeff_t otherwise), with move selector Sel (move_selector.hpp).
//
// Two strategies share the move machinery (threads alternate between them):
//   breakout local search: steepest descent to a local optimum, then a
//     perturbation of L moves whose kind is drawn each time (directed: best
//     non-tabu move; recency: least recently moved variable; random), L
//     growing while the walk keeps falling back into the same optimum and
//     jumping to a large value after a long stagnation; a fresh random start
//     when an episode stops improving;
//   tabu search with path relinking: epochs from a random state; tabu runs
//     (best admissible move, random tenure, aspiration by the run's best)
//     that end after a stall, restarted from a relinking path between two
//     states of the thread's elite pool or from a perturbed incumbent, until
//     the runs stop improving the epoch.
// Every state that beats the thread's own best is offered, with its exact
// energy, to the shared record; the hot loop never takes a lock.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "elite_pool.hpp"
#include "flip_state.hpp"
#include "move_selector.hpp"
#include "packed_bits.hpp"
#include "rng.hpp"
#include "search_shared.hpp"

namespace vexa::mod {

// Defaults shared by every model; nothing depends on the instance beyond its
// variable count.
struct SearchSchedule {
    // 0: all threads tabu/relinking, 1: all breakout, 2: by thread in turn:
    // breakout, parallel tempering, tabu/relinking.
    int portfolio = 2;
    // With one thread (portfolio 2) tempering and breakout take turns:
    // tempering for this share of the time left, breakout (from the best
    // state) for the rest, no turn longer than the longest phase.
    double one_thread_tempering_share = 0.5;
    // A tempering thread of the portfolio first runs tabu search for this
    // share of the time, at most the longest prelude: on dense models a local
    // search reaches the first good states sooner than a ladder that is
    // still warming up.
    double tempering_prelude_share = 0.02;
    double longest_prelude = 1.0;  // seconds
    double longest_phase = 30.0;  // seconds
    // Breakout local search.
    double min_jump_fraction = 0.01;  // L0 = max(1, n * this)
    double max_jump_fraction = 0.1;   // L after a long stagnation
    uint64_t stagnation_optima = 1000;  // local optima without a new thread best before the big jump
    double directed_floor = 0.8;      // least probability of a directed perturbation
    double recency_share = 0.5;       // recency vs random among the others
    uint64_t restart_optima = 20000;  // local optima without a new episode best before a restart
    // Tabu search with relinking.
    uint64_t stall_min = 10000;       // steps without a new run best that end a run: max(stall_min, stall_per_var * n)
    uint64_t stall_per_var = 10;
    double relink_probability = 0.5;
    uint32_t failed_runs_before_restart = 50;  // runs without a better incumbent that end an epoch
};

template <class T, class Sel>
class BinaryWorker {
public:
    // `from_best`: start from the shared best state when there is one,
    // instead of a random state. `until`: end there (seconds on the search
    // clock) without stopping the search.
    BinaryWorker(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared, uint64_t seed,
                 const SearchSchedule &schedule, bool breakout, bool from_best = false,
                 double until = kNoTimeLimit)
        : fm_(fm), c0_(c0), sh_(shared), rng_(seed), s_(fm), sched_(schedule), breakout_(breakout),
          from_best_(from_best), until_(until) {
        n_ = fm.n;
        tabu_until_.assign(n_, 0);
        // Recency order: a doubly linked list of the variables, least recently moved first.
        rec_prev_.resize(n_);
        rec_next_.resize(n_);
        for (uint32_t i = 0; i < n_; ++i) {
            rec_prev_[i] = i == 0 ? n_ : i - 1;
            rec_next_[i] = i + 1;
        }
        rec_head_ = 0;
        rec_tail_ = n_ == 0 ? 0 : n_ - 1;
        words_.resize(word_count_for(n_));
        zobrist_.resize(n_);
        for (uint64_t &z : zobrist_) z = rng_.next();
        collect_equal_ = sh_.list.mode == SolutionList::Mode::best_energy;
        collect_optima_ = sh_.list.mode == SolutionList::Mode::top_k;
        has_target_ = sh_.has_target;
        if (has_target_) target_rel_ = clamp_from_coeff<T>(sh_.target_energy - c0_);
        max_tenure_ = std::max<uint64_t>(16, n_ / 10 + 16);
        scan_cost_ = std::is_same_v<Sel, ScanSelector<T>> ? n_ : 16;
    }

    void run() {
        std::vector<uint8_t> x(n_);
        for (uint32_t i = 0; i < n_; ++i) x[i] = rng_.next() & 1u;
        if (from_best_) sh_.copy_best(n_, x.data());
        load_state(x);
        // The start state is always offered: even a zero time limit returns an evaluated state.
        thread_best_ = s_.energy;
        offer(s_.x, s_.energy);
        if (!poll() && n_ > 0) {
            sel_.attach(s_, tabu_until_, max_tenure_);
            if (breakout_) {
                run_breakout();
            } else {
                run_tabu_relinking();
            }
        }
        sh_.moves.fetch_add(moves_);
        sh_.restarts.fetch_add(restarts_);
        sh_.perturbations.fetch_add(perturbations_);
        sh_.tabu_runs.fetch_add(tabu_runs_);
        sh_.relinks.fetch_add(relinks_);
    }

private:
    // ---- shared machinery -------------------------------------------------

    // True once the search must end; reads the clock about every 2^16 units
    // of work (a millisecond or less on big models, where a unit can miss
    // the cache).
    bool poll() {
        if (ended_ || sh_.stopped()) return true;
        if (work_ >= (uint64_t(1) << 16)) {
            work_ = 0;
            // The end of the worker's phase stays ended: the search goes on
            // without it.
            ended_ = sh_.check_clock(until_);
        }
        return ended_;
    }

    // Costs a pass over the state (packing) and the shared lock: counted as
    // work, so that a run of improvements cannot keep the clock unread.
    void offer(const std::vector<uint8_t> &x, const T &e) {
        work_ += n_;
        pack_bits(x.data(), n_, words_.data());
        const ListGate gate = sh_.offer(c0_ + to_coeff(e), words_.data(), words_.size());
        gate_open_ = gate.open;
        if (!gate.open) gate_cut_ = clamp_from_coeff<T>(gate.worst - c0_);
    }

    // A local optimum for the top-k list, if the list may still take it.
    void offer_optimum(const std::vector<uint8_t> &x, const T &e, uint64_t key) {
        if (!collect_optima_ || key == last_offered_key_) return;
        if (!gate_open_ && !(e < gate_cut_)) return;
        last_offered_key_ = key;
        offer(x, e);
    }

    // The current state: offered if it beats the thread's best (or equals it
    // while the best-energy list is collected).
    void note_state() {
        if (s_.energy < thread_best_) {
            thread_best_ = s_.energy;
            offer(s_.x, s_.energy);
        } else if (collect_equal_ && s_.energy == thread_best_) {
            offer(s_.x, s_.energy);
        }
    }

    uint64_t draw_tenure(uint64_t lo, uint64_t hi) { return lo + rng_.below(hi - lo + 1); }

    // One live move: k becomes tabu for `tenure` steps and is flipped; the
    // selector follows every gain that changed.
    void step(uint32_t k, uint64_t tenure) {
        sel_.set_tabu(k, iter_ + static_cast<int64_t>(std::min(tenure, max_tenure_)), iter_);
        s_.flip(k, [this](uint32_t j) { sel_.changed(j); });
        key_ ^= zobrist_[k];
        touch(k);
        ++iter_;
        sel_.advance(iter_);
        ++moves_;
        work_ += scan_cost_ + (fm_.adj_start[k + 1] - fm_.adj_start[k]);
    }

    // Moves k to the most recent end of the recency list.
    void touch(uint32_t k) {
        if (k == rec_tail_) return;
        const uint32_t p = rec_prev_[k], q = rec_next_[k];
        if (p == n_) {
            rec_head_ = q;
        } else {
            rec_next_[p] = q;
        }
        rec_prev_[q] = p;
        rec_prev_[k] = rec_tail_;
        rec_next_[k] = n_;
        rec_next_[rec_tail_] = k;
        rec_tail_ = k;
    }

    // A move outside the selector's watch (the selector is rebuilt afterwards).
    void quiet_flip(uint32_t k) {
        s_.flip(k);
        key_ ^= zobrist_[k];
        ++moves_;
        work_ += 64 + (fm_.adj_start[k + 1] - fm_.adj_start[k]);
    }

    // Loading prices every coupling (and the selector is rebuilt after it):
    // counted as work in proportion.
    void load_state(const std::vector<uint8_t> &x) {
        s_.load(x.data());
        key_ = state_key();
        work_ += n_ + fm_.adj_start[n_];
    }

    uint64_t state_key() const {
        uint64_t h = 0;
        for (uint32_t i = 0; i < n_; ++i) {
            if (s_.x[i]) h ^= zobrist_[i];
        }
        return h;
    }

    // ---- breakout local search --------------------------------------------

    void descend() {
        uint32_t k;
        while (!poll() && sel_.best_improving(rng_, k)) step(k, 0);
    }

    void run_breakout() {
        key_ = state_key();
        sel_.rebuild(iter_);
        const uint32_t l0 = std::max<uint32_t>(1, static_cast<uint32_t>(n_ * sched_.min_jump_fraction));
        const uint32_t lmax = std::max<uint32_t>(l0, static_cast<uint32_t>(n_ * sched_.max_jump_fraction));
        const uint64_t tenure_hi = std::max<uint64_t>(3, n_ / 10);
        uint32_t jump = l0;
        uint64_t omega = 0;
        uint64_t prev_key = 0;
        T prev_e = 0;
        bool have_prev = false;
        T episode_best = s_.energy;
        uint64_t episode_stall = 0;
        std::vector<uint8_t> x;
        while (!poll()) {
            descend();
            if (s_.energy < episode_best) {
                episode_best = s_.energy;
                episode_stall = 0;
            } else if (++episode_stall > sched_.restart_optima) {
                // A long episode without progress: start over elsewhere.
                x.resize(n_);
                for (uint32_t i = 0; i < n_; ++i) x[i] = rng_.next() & 1u;
                load_state(x);
                sel_.rebuild(iter_);
                ++restarts_;
                descend();
                episode_best = s_.energy;
                episode_stall = 0;
                omega = 0;
                have_prev = false;
            }
            if (s_.energy < thread_best_) {
                omega = 0;
            } else {
                ++omega;
            }
            note_state();
            offer_optimum(s_.x, s_.energy, key_);
            if (omega > sched_.stagnation_optima) {
                jump = lmax;
                omega = 0;
            } else if (have_prev && key_ == prev_key && s_.energy == prev_e) {
                ++jump;
            } else {
                jump = l0;
            }
            prev_key = key_;
            prev_e = s_.energy;
            have_prev = true;
            ++perturbations_;

            const double directed = std::max(std::exp(-static_cast<double>(omega) / sched_.stagnation_optima),
                                              sched_.directed_floor);
            if (rng_.unit() < directed) {
                for (uint32_t m = 0; m < jump && !poll(); ++m) {
                    uint32_t k;
                    if (!sel_.best_admissible(rng_, iter_, T(thread_best_ - s_.energy), k)) {
                        k = static_cast<uint32_t>(rng_.below(n_));
                    }
                    step(k, draw_tenure(3, tenure_hi));
                    if (s_.energy < thread_best_) note_state();
                }
            } else if (rng_.unit() < sched_.recency_share) {
                for (uint32_t m = 0; m < jump; ++m) step(rec_head_, draw_tenure(3, tenure_hi));
            } else {
                for (uint32_t m = 0; m < jump; ++m) step(static_cast<uint32_t>(rng_.below(n_)), draw_tenure(3, tenure_hi));
            }
        }
    }

    // ---- tabu search with path relinking ----------------------------------

    void run_tabu_relinking() {
        std::vector<uint8_t> x(n_);
        const uint32_t l0 = std::max<uint32_t>(2, n_ / 100);
        std::vector<uint8_t> a, b;
        while (!poll()) {
            // An epoch: from a random state, tabu runs restarted by relinking
            // or perturbation, until runs stop improving the epoch's best.
            pool_.clear();
            for (uint32_t i = 0; i < n_; ++i) x[i] = rng_.next() & 1u;
            load_state(x);
            ++restarts_;
            tabu_run();
            pool_.insert(run_best_x_, run_best_e_);
            std::vector<uint8_t> incumbent_x = run_best_x_;
            T incumbent_e = run_best_e_;
            uint32_t strength = l0;
            uint32_t failures = 0;
            while (!poll() && failures < sched_.failed_runs_before_restart) {
                const bool relink = rng_.unit() < sched_.relink_probability && pool_.pick_two(rng_, a, b);
                if (relink) {
                    relink_start(a, b);
                    ++relinks_;
                } else {
                    load_state(incumbent_x);
                    perturb(strength);
                }
                if (poll()) break;
                tabu_run();
                pool_.insert(run_best_x_, run_best_e_);
                if (run_best_e_ < incumbent_e) {
                    incumbent_x = run_best_x_;
                    incumbent_e = run_best_e_;
                    strength = l0;
                    failures = 0;
                } else {
                    ++failures;
                    if (!relink) strength = std::min<uint32_t>(strength + l0, std::max<uint32_t>(l0, n_ / 4));
                    if (run_best_e_ == incumbent_e) incumbent_x = run_best_x_;
                }
            }
        }
    }

    // The current state is the run's best: keep it and note it.
    void save_run_best() {
        run_best_x_ = s_.x;
        run_best_key_ = key_;
        note_state();
    }

    void tabu_run() {
        const uint64_t stall_limit = std::max<uint64_t>(sched_.stall_min, sched_.stall_per_var * n_);
        // Tenure regime per run: short (n/100 + 1..10) or long (3 .. n/10), at random.
        uint64_t lo, hi;
        if (rng_.next() & 1u) {
            lo = n_ / 100 + 1;
            hi = lo + 9;
        } else {
            lo = 3;
            hi = std::max<uint64_t>(3, n_ / 10);
        }
        sel_.rebuild(iter_);
        ++tabu_runs_;
        run_best_e_ = s_.energy;
        run_best_x_ = s_.x;
        run_best_key_ = key_;
        bool pending = false;
        uint64_t stall = 0;
        while (!poll()) {
            uint32_t k;
            if (!sel_.best_admissible(rng_, iter_, T(run_best_e_ - s_.energy), k)) k = static_cast<uint32_t>(rng_.below(n_));
            // Leaving an improving streak: keep the best state before moving up.
            if (pending && s_.gain[k] > 0) {
                save_run_best();
                pending = false;
            }
            step(k, draw_tenure(lo, hi));
            if (s_.energy < run_best_e_) {
                run_best_e_ = s_.energy;
                pending = true;
                stall = 0;
                if (collect_equal_ || (has_target_ && s_.energy <= target_rel_)) {
                    save_run_best();
                    pending = false;
                }
            } else {
                if (collect_equal_ && s_.energy == thread_best_) offer(s_.x, s_.energy);
                if (++stall > stall_limit) break;
            }
        }
        if (pending) save_run_best();
        offer_optimum(run_best_x_, run_best_e_, run_best_key_);
    }

    // Flips `count` distinct variables chosen at random (a partial shuffle).
    void perturb(uint32_t count) {
        count = std::min(count, n_);
        if (order_.size() != n_) {
            order_.resize(n_);
            for (uint32_t i = 0; i < n_; ++i) order_[i] = i;
        }
        for (uint32_t c = 0; c < count; ++c) {
            std::swap(order_[c], order_[c + rng_.below(n_ - c)]);
            quiet_flip(order_[c]);
        }
    }

    // Greedy walk from a toward b; the state left in s_ is the best one met
    // between a third and two thirds of the way.
    void relink_start(const std::vector<uint8_t> &a, const std::vector<uint8_t> &b) {
        load_state(a);
        work_ += n_;
        std::vector<uint32_t> diff;
        for (uint32_t i = 0; i < n_; ++i) {
            if (a[i] != b[i]) diff.push_back(i);
        }
        const size_t d = diff.size();
        if (d < 3) {
            perturb(std::max<uint32_t>(2, n_ / 100));
            return;
        }
        const size_t lo = d / 3, hi = 2 * d / 3;
        std::vector<uint32_t> path;
        size_t best_step = lo;
        T best_e = 0;
        for (size_t st = 1; st <= hi; ++st) {
            // The best remaining move; on long paths the best of a random sample,
            // so that a path costs O(d) rather than O(d^2).
            size_t pick = rng_.below(diff.size());
            if (diff.size() <= kRelinkFullScan) {
                for (size_t q = 0; q < diff.size(); ++q) {
                    if (s_.gain[diff[q]] < s_.gain[diff[pick]] ||
                        (s_.gain[diff[q]] == s_.gain[diff[pick]] && (rng_.next() & 1u))) {
                        pick = q;
                    }
                }
            } else {
                for (size_t c = 0; c < kRelinkSample; ++c) {
                    const size_t q = rng_.below(diff.size());
                    if (s_.gain[diff[q]] < s_.gain[diff[pick]]) pick = q;
                }
            }
            const uint32_t v = diff[pick];
            diff[pick] = diff.back();
            diff.pop_back();
            quiet_flip(v);
            path.push_back(v);
            work_ += std::min<size_t>(diff.size(), kRelinkFullScan);
            if (st >= lo && (st == lo || s_.energy < best_e)) {
                best_e = s_.energy;
                best_step = st;
            }
        }
        for (size_t st = path.size(); st > best_step; --st) quiet_flip(path[st - 1]);
        for (uint32_t v : path) tabu_until_[v] = 0;
    }

    static constexpr size_t kRelinkFullScan = 2048;
    static constexpr size_t kRelinkSample = 64;

    const FlipModel<T> &fm_;
    const coeff_t &c0_;
    SearchShared &sh_;
    ElitePool<T> pool_{10};
    Rng rng_;
    FlipState<T> s_;
    SearchSchedule sched_;
    bool breakout_;
    bool from_best_;
    double until_;
    bool ended_ = false;
    Sel sel_;
    uint32_t n_ = 0;
    uint64_t max_tenure_ = 16;
    uint64_t scan_cost_ = 0;
    std::vector<int64_t> tabu_until_;
    std::vector<uint32_t> rec_prev_, rec_next_;  // recency list; n_ marks its ends
    uint32_t rec_head_ = 0, rec_tail_ = 0;
    std::vector<uint64_t> zobrist_;
    uint64_t key_ = 0;
    std::vector<uint64_t> words_;
    std::vector<uint32_t> order_;
    int64_t iter_ = 1;
    uint64_t work_ = 0;
    uint64_t moves_ = 0, restarts_ = 0, perturbations_ = 0, tabu_runs_ = 0, relinks_ = 0;
    bool collect_equal_ = false, collect_optima_ = false, has_target_ = false;
    T target_rel_ = 0;
    T thread_best_ = 0;
    T run_best_e_ = 0;
    std::vector<uint8_t> run_best_x_;
    uint64_t run_best_key_ = 0;
    bool gate_open_ = true;
    T gate_cut_ = 0;
    uint64_t last_offered_key_ = 0;
};

}  // namespace vexa::mod
