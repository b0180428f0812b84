#include "tempering.hpp"

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#include "flip_state.hpp"
#include "overlap_cluster.hpp"
#include "packed_bits.hpp"
#include "rng.hpp"
#include "search_threads.hpp"

namespace vexa::mod {

namespace {

template <class T>
class TemperingWorker {
public:
    TemperingWorker(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared, HintBox &hints,
                    uint64_t hint_seen, uint64_t seed, const TemperingSchedule &schedule, double until)
        : fm_(fm), c0_(c0), sh_(shared), hints_(hints), hint_seen_(hint_seen), rng_(seed), sched_(schedule),
          until_(until), scratch_(fm), cluster_(fm) {
        n_ = fm.n;
        words_.resize(word_count_for(n_));
        x_.resize(n_);
        collect_equal_ = sh_.list.mode == SolutionList::Mode::best_energy;
        collect_optima_ = sh_.list.mode == SolutionList::Mode::top_k;
        const double size_term = std::sqrt(static_cast<double>(n_)) / 3.0;
        replicas_ = std::clamp<uint32_t>(6 + static_cast<uint32_t>(size_term), sched_.min_replicas,
                                         sched_.max_replicas);
        if (sched_.cluster_moves && n_ > 1) share_.assign(replicas_, 0.0);
    }

    void run(TemperingStats &stats) {
        stats.replicas.store(replicas_);
        reps_.reserve(2 * replicas_);
        reps_.emplace_back(fm_);
        randomize(reps_.back());
        // The first state is always offered: even a zero time limit returns an evaluated state.
        thread_best_ = reps_[0].energy;
        offer(reps_[0].x, reps_[0].energy, true);
        paired_ = !share_.empty() && clusters_stay_small();
        // Loading a replica prices every coupling: on a big model the clock
        // is read after each one.
        const uint32_t total = paired_ ? 2 * replicas_ : replicas_;
        for (uint32_t r = 1; r < total; ++r) {
            if (sh_.check_clock(until_)) {
                counts_.add_to(stats);
                return;
            }
            reps_.emplace_back(fm_);
            randomize(reps_.back());
        }
        if (!poll() && n_ > 0) {
            calibrate();
            anneal();
        }
        counts_.add_to(stats);
    }

private:
    // ---- bookkeeping -------------------------------------------------------

    // True once the search (or this ladder's share of it) must end. Called
    // about every thousand move attempts; reads the clock every fourth call
    // and takes a waiting hint.
    bool poll() {
        if (sh_.stopped()) return true;
        if ((++polls_ & 3u) == 0 && sh_.check_clock(until_)) return true;
        if (hints_.take(hint_seen_, hint_bits_, hint_ints_)) inject_hint();
        return false;
    }

    void randomize(FlipState<T> &s) {
        for (uint32_t i = 0; i < n_; ++i) x_[i] = rng_.next() & 1u;
        s.load(x_.data());
    }

    // Offers a state to the shared record when it beats the thread's best,
    // or when the list wants it (`optimum`: a local minimum).
    void offer(const std::vector<uint8_t> &x, const T &e, bool always = false, bool optimum = false) {
        const bool better = e < thread_best_;
        bool wanted = always || better;
        if (!wanted && optimum) {
            if (collect_equal_ && e == thread_best_) wanted = true;
            if (collect_optima_ && (gate_.open || to_coeff_sum(e) < gate_.worst)) wanted = true;
        }
        if (!wanted) return;
        if (better) {
            thread_best_ = e;
            stale_rounds_ = 0;
        }
        pack_bits(x.data(), n_, words_.data());
        gate_ = sh_.offer(to_coeff_sum(e), words_.data(), words_.size());
    }

    coeff_t to_coeff_sum(const T &e) const { return c0_ + to_coeff(e); }

    void inject_hint() {
        if (hint_bits_.size() < words_.size()) return;
        ++counts_.hints_taken;
        FlipState<T> &cold = reps_[at_.empty() ? 0 : at_[0]];
        unpack_bits(hint_bits_.data(), n_, x_.data());
        cold.load(x_.data());
        // Offered whatever its energy: the caller asked for it to be seen.
        pack_bits(cold.x.data(), n_, words_.data());
        if (cold.energy < thread_best_) {
            thread_best_ = cold.energy;
            stale_rounds_ = 0;
        }
        gate_ = sh_.offer(to_coeff_sum(cold.energy), words_.data(), words_.size());
    }

    // ---- temperatures ------------------------------------------------------

    void calibrate() {
        // Hot end: the mean size of a one-flip change at a random state, so
        // that the hottest replica takes a typical uphill move often.
        const FlipState<T> &s = reps_[0];
        double sum = 0.0;
        uint32_t nonzero = 0;
        for (uint32_t i = 0; i < n_; ++i) {
            const double g = std::fabs(exact_to_double(s.gain[i]));
            if (g > 0.0) {
                sum += g;
                ++nonzero;
            }
        }
        const double factor = paired_ ? sched_.paired_hot_factor : sched_.hot_factor;
        const double hot = nonzero == 0 ? 1.0 : factor * sum / nonzero;
        // Cold end: the small uphill moves left at a local minimum are taken
        // rarely.
        scratch_ = reps_[0];
        descend(scratch_);
        offer(scratch_.x, scratch_.energy, false, true);
        std::vector<double> up;
        for (uint32_t i = 0; i < n_; ++i) {
            const double g = exact_to_double(scratch_.gain[i]);
            if (g > 0.0) up.push_back(g);
        }
        build_ladder(hot, up, sched_, replicas_, beta_, at_);
        if (paired_) {
            at2_.resize(replicas_);
            for (uint32_t k = 0; k < replicas_; ++k) at2_[k] = replicas_ + k;
        }
        fill_accept_table();
    }

    void fill_accept_table() {
        accept_.assign(size_t(replicas_) * kTable, 0.0);
        for (uint32_t k = 0; k < replicas_; ++k) {
            for (uint32_t g = 0; g < kTable; ++g) accept_[size_t(k) * kTable + g] = std::exp(-beta_[k] * g);
        }
        gap_tries_.assign(replicas_, 0);
        gap_swaps_.assign(replicas_, 0);
    }

    // Moves the inner temperatures so that every neighbouring pair trades
    // replicas about equally often, the ends kept. The exchange rate of a
    // gap behaves like exp(-c (d beta)^2), so sqrt(-ln rate) measures the
    // gap's width in units that should be equal; the new inverse
    // temperatures split that measure evenly, geometric inside a gap. A
    // ladder that leaves one wide gap cuts the cold replicas off from the
    // hot ones.
    void retune() {
        if (replicas_ < 3) return;
        std::vector<double> cum(replicas_, 0.0);
        for (uint32_t k = 0; k + 1 < replicas_; ++k) {
            const double rate = std::min(0.999, (gap_swaps_[k] + 0.5) / (gap_tries_[k] + 1.0));
            cum[k + 1] = cum[k] + std::max(1e-3, std::sqrt(-std::log(rate)));
        }
        std::vector<double> next(replicas_);
        next[0] = beta_[0];
        next[replicas_ - 1] = beta_[replicas_ - 1];
        uint32_t k = 0;
        for (uint32_t j = 1; j + 1 < replicas_; ++j) {
            const double want = cum[replicas_ - 1] * j / (replicas_ - 1);
            while (k + 2 < replicas_ && cum[k + 1] < want) ++k;
            const double f = std::clamp((want - cum[k]) / (cum[k + 1] - cum[k]), 0.0, 1.0);
            next[j] = beta_[k] * std::pow(beta_[k + 1] / beta_[k], f);
        }
        beta_ = next;
        fill_accept_table();
    }

    // ---- moves -------------------------------------------------------------

    // One Metropolis pass over the variables of a replica at inverse
    // temperature `beta`. False when the search must end.
    bool sweep(FlipState<T> &s, uint32_t slot) {
        const T zero(0);
        const double beta = beta_[slot];
        const double *table = accept_.data() + size_t(slot) * kTable;
        for (uint32_t i = 0; i < n_; ++i) {
            if ((i & 1023u) == 1023u && poll()) return false;
            const T &g = s.gain[i];
            bool take = !(zero < g);
            if (!take) {
                if constexpr (std::is_same_v<T, int64_t>) {
                    if (g < static_cast<int64_t>(kTable)) {
                        take = rng_.unit() < table[g];
                    } else {
                        const double x = exact_to_double(g) * beta;
                        take = x < 40.0 && rng_.unit() < std::exp(-x);
                    }
                } else {
                    const double x = exact_to_double(g) * beta;
                    take = x < 40.0 && rng_.unit() < std::exp(-x);
                }
            }
            if (take) {
                s.flip(i);
                ++counts_.flips;
            }
        }
        ++counts_.sweeps;
        return !poll();
    }

    // Greedy descent: flips improving variables until none is left.
    bool descend(FlipState<T> &s) {
        const T zero(0);
        bool improved = true;
        uint32_t since_poll = 0;
        while (improved) {
            improved = false;
            for (uint32_t i = 0; i < n_; ++i) {
                if (++since_poll == 1024) {
                    since_poll = 0;
                    if (poll()) return false;
                }
                if (s.gain[i] < zero) {
                    s.flip(i);
                    improved = true;
                }
            }
        }
        return true;
    }

    // Neighbouring temperatures trade replicas with the Metropolis rule of
    // the joint distribution; even and odd pairs alternate by round.
    void exchange(uint64_t round, std::vector<uint32_t> &at) {
        for (uint32_t k = static_cast<uint32_t>(round & 1u); k + 1 < replicas_; k += 2) {
            ++counts_.swap_tries;
            const T de = reps_[at[k]].energy - reps_[at[k + 1]].energy;
            const double d = (beta_[k] - beta_[k + 1]) * exact_to_double(de);
            ++gap_tries_[k];
            if (d >= 0.0 || rng_.unit() < std::exp(d)) {
                ++gap_swaps_[k];
                std::swap(at[k], at[k + 1]);
                ++counts_.swaps;
            }
        }
    }

    // ---- cluster moves between the two ladders -----------------------------

    // A variable drawn uniformly among those where states a and b differ
    // (n_ when they are equal); `count` receives how many there are.
    uint32_t differing_variable(const uint8_t *a, const uint8_t *b, uint32_t &count) {
        count = 0;
        for (uint32_t i = 0; i < n_; ++i) count += a[i] != b[i];
        if (count == 0) return n_;
        uint32_t skip = static_cast<uint32_t>(rng_.below(count));
        for (uint32_t i = 0;; ++i) {
            if (a[i] != b[i] && skip-- == 0) return i;
        }
    }

    // True when the clusters between two random states mostly stay well
    // below the differing variables (sparse models): only then do cluster
    // moves do more than trade whole replicas, and pay for a second ladder.
    bool clusters_stay_small() {
        std::vector<uint8_t> a(n_), b(n_);
        uint32_t wide = 0;
        for (uint32_t t = 0; t < kProbes; ++t) {
            for (uint32_t i = 0; i < n_; ++i) {
                const uint64_t r = rng_.next();
                a[i] = r & 1u;
                b[i] = (r >> 1) & 1u;
            }
            uint32_t differing = 0;
            const uint32_t start = differing_variable(a.data(), b.data(), differing);
            if (start == n_) continue;
            cluster_.grow(a.data(), b.data(), start);
            if (static_cast<double>(cluster_.members.size()) > kWideCluster * differing) ++wide;
        }
        return wide * 2 < kProbes;
    }

    // Swaps one connected cluster of differing variables between the two
    // replicas at temperature slot k. Every term then has all its
    // differing variables inside the cluster or none, so the two energies
    // trade amounts and their sum, hence the joint weight at one temperature,
    // is unchanged: the move is always taken. It mixes low temperatures far
    // better than single flips where the clusters stay small.
    // False when the search must end.
    bool cluster_move(uint32_t k) {
        FlipState<T> &a = reps_[at_[k]];
        FlipState<T> &b = reps_[at2_[k]];
        uint32_t differing = 0;
        const uint32_t start = differing_variable(a.x.data(), b.x.data(), differing);
        if (start == n_) return true;
        cluster_.grow(a.x.data(), b.x.data(), start);
        for (size_t t = 0; t < cluster_.members.size(); ++t) {
            if ((t & 1023u) == 1023u && poll()) return false;
            a.flip(cluster_.members[t]);
            b.flip(cluster_.members[t]);
        }
        ++counts_.cluster_moves;
        share_[k] = 0.9 * share_[k] + 0.1 * (static_cast<double>(cluster_.members.size()) / differing);
        if (a.energy < thread_best_) offer(a.x, a.energy);
        if (b.energy < thread_best_) offer(b.x, b.energy);
        return true;
    }

    void restart() {
        ++counts_.restarts;
        for (FlipState<T> &s : reps_) randomize(s);
        // Every other restart keeps the shared best in the coldest slot.
        if ((rng_.next() & 1u) && sh_.copy_best(n_, x_.data())) reps_[at_[0]].load(x_.data());
        stale_rounds_ = 0;
    }

    void anneal() {
        for (uint64_t round = 0;; ++round) {
            for (uint32_t k = 0; k < replicas_; ++k) {
                FlipState<T> &s = reps_[at_[k]];
                if (!sweep(s, k)) return;
                if (s.energy < thread_best_) offer(s.x, s.energy);
                if (paired_) {
                    FlipState<T> &s2 = reps_[at2_[k]];
                    if (!sweep(s2, k)) return;
                    if (s2.energy < thread_best_) offer(s2.x, s2.energy);
                }
            }
            exchange(round, at_);
            if (paired_) exchange(round, at2_);
            if (round + 1 == next_retune_ && retunes_ < kRetunes) {
                retune();
                ++retunes_;
                next_retune_ += kRetuneRounds;
            }
            if (paired_) {
                for (uint32_t k = 0; k < replicas_; ++k) {
                    // Where a cluster spans most of the model the move only
                    // trades the replicas; such slots are tried again now and then.
                    if (share_[k] > kWideCluster && (round & 31u) != 0) continue;
                    if (!cluster_move(k)) return;
                }
            }
            scratch_ = reps_[at_[0]];
            ++counts_.descents;
            if (!descend(scratch_)) return;
            offer(scratch_.x, scratch_.energy, false, true);
            if (++stale_rounds_ > sched_.stagnation_rounds) restart();
        }
    }

    const FlipModel<T> &fm_;
    const coeff_t &c0_;
    SearchShared &sh_;
    HintBox &hints_;
    uint64_t hint_seen_;
    Rng rng_;
    TemperingSchedule sched_;
    double until_;
    uint32_t n_ = 0, replicas_ = 1;

    std::vector<FlipState<T>> reps_;
    static constexpr uint32_t kTable = 64;       // small integer gains priced from a table
    static constexpr double kWideCluster = 0.9;  // share of the differing variables past which moves pause
    std::vector<uint32_t> at_;   // at_[k]: the replica at temperature slot k, 0 the coldest
    std::vector<uint32_t> at2_;  // the same for the second ladder, when paired
    std::vector<double> accept_;  // accept_[k * kTable + g]: exp(-beta_k g)
    bool paired_ = false;
    std::vector<uint64_t> gap_tries_, gap_swaps_;  // per gap k (slots k, k+1) since the last retune
    static constexpr uint32_t kRetunes = 8, kRetuneRounds = 128;
    uint32_t retunes_ = 0;
    uint64_t next_retune_ = kRetuneRounds;
    static constexpr uint32_t kProbes = 8;  // random state pairs probed before pairing the ladders
    std::vector<double> share_;  // per slot: running mean of cluster size / differing variables
    std::vector<double> beta_;   // inverse temperature of each slot
    FlipState<T> scratch_;       // the quenched copy of the coldest replica
    OverlapCluster<T> cluster_;

    std::vector<uint8_t> x_;
    std::vector<uint64_t> words_, hint_bits_;
    std::vector<coeff_t> hint_ints_;
    T thread_best_ = T(0);
    ListGate gate_;
    bool collect_equal_ = false, collect_optima_ = false;
    uint64_t stale_rounds_ = 0, polls_ = 0;
    TemperingCounts counts_;
};

}  // namespace

template <class T>
void run_tempering_thread(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared, HintBox &hints,
                          uint64_t hint_seen, uint64_t seed, TemperingStats &stats, const TemperingSchedule &schedule,
                          double until) {
    TemperingWorker<T> worker(fm, c0, shared, hints, hint_seen, seed, schedule, until);
    worker.run(stats);
}

template <class T>
void run_tempering(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared, HintBox &hints,
                   uint64_t hint_seen, uint32_t threads, uint64_t seed, TemperingStats &stats,
                   const TemperingSchedule &schedule) {
    run_search_threads(shared, threads, [&](uint32_t t) {
        run_tempering_thread(fm, c0, shared, hints, hint_seen, thread_seed(seed, t), stats, schedule);
    });
}

void build_ladder(double hot, std::vector<double> &up, const TemperingSchedule &schedule, uint32_t replicas,
                  std::vector<double> &beta, std::vector<uint32_t> &at) {
    double cold = hot / 100.0;
    if (!up.empty()) {
        std::nth_element(up.begin(), up.begin() + up.size() / 10, up.end());
        cold = up[up.size() / 10] / schedule.cold_divisor;
    }
    if (!(cold < hot)) cold = hot / 10.0;
    geometric_ladder(cold, hot, replicas, beta);
    at.resize(replicas);
    for (uint32_t k = 0; k < replicas; ++k) at[k] = k;
}

void geometric_ladder(double cold, double hot, uint32_t replicas, std::vector<double> &beta) {
    beta.resize(replicas);
    for (uint32_t k = 0; k < replicas; ++k) {
        const double f = replicas == 1 ? 0.0 : static_cast<double>(k) / (replicas - 1);
        beta[k] = 1.0 / (cold * std::pow(hot / cold, f));
    }
}

template void run_tempering_thread<int64_t>(const FlipModel<int64_t> &, const coeff_t &, SearchShared &, HintBox &,
                                            uint64_t, uint64_t, TemperingStats &, const TemperingSchedule &, double);
template void run_tempering_thread<coeff_t>(const FlipModel<coeff_t> &, const coeff_t &, SearchShared &, HintBox &,
                                            uint64_t, uint64_t, TemperingStats &, const TemperingSchedule &, double);
template void run_tempering<int64_t>(const FlipModel<int64_t> &, const coeff_t &, SearchShared &, HintBox &,
                                     uint64_t, uint32_t, uint64_t, TemperingStats &, const TemperingSchedule &);
template void run_tempering<coeff_t>(const FlipModel<coeff_t> &, const coeff_t &, SearchShared &, HintBox &,
                                     uint64_t, uint32_t, uint64_t, TemperingStats &, const TemperingSchedule &);

}  // namespace vexa::mod
