// Choosing the next one-flip move. Two interchangeable selectors serve the
// search loops (a template parameter, no virtual calls):
//   ScanSelector:   scans every gain per step; any number type, any model;
//   BucketSelector: gains in buckets (one array slot per gain value), free and
//                   tabu variables apart, tabu expiries on a timing wheel; a
//                   step costs the number of gains that changed. Used for
//                   int64 models without constraints whose gains stay within
//                   a small range (sparse Max-Cut-like models).
// Ties are broken uniformly at random (within kTieSlots for the scan).
#pragma once

#include <cstdint>
#include <vector>

#include "flip_state.hpp"
#include "move_scan.hpp"
#include "rng.hpp"

namespace vexa::mod {

template <class T>
class ScanSelector {
public:
    void attach(FlipState<T> &s, std::vector<int64_t> &tabu_until, uint64_t /*max_tenure*/) {
        s_ = &s;
        tabu_ = &tabu_until;
    }
    void rebuild(int64_t /*iter*/) {}
    void changed(uint32_t /*v*/) {}
    void advance(int64_t /*iter*/) {}
    void set_tabu(uint32_t k, int64_t until, int64_t /*now*/) { (*tabu_)[k] = until; }

    // The best move whatever its tabu state, if it improves (gain < 0).
    bool best_improving(Rng &rng, uint32_t &k) {
        const uint32_t n = static_cast<uint32_t>(s_->x.size());
        uint32_t ties = 0;
        if constexpr (std::is_same_v<T, int64_t>) {
            int64_t g;
            ties = scan_improving_moves(s_->gain.data(), n, static_cast<uint32_t>(rng.below(n == 0 ? 1 : n)), tie_, g);
        } else {
            T best = 0;
            for (uint32_t i = 0; i < n; ++i) {
                const T &g = s_->gain[i];
                if (!(g < best)) {
                    if (ties != 0 && g == best && ties < kTieSlots) tie_[ties++] = i;
                    continue;
                }
                best = g;
                tie_[0] = i;
                ties = 1;
            }
        }
        if (ties == 0) return false;
        k = tie_[ties == 1 ? 0 : rng.below(ties)];
        return true;
    }

    // The best admissible move: not tabu at `iter`, or gain below `asp`.
    // Returns false when every move is tabu without aspiration.
    bool best_admissible(Rng &rng, int64_t iter, const T &asp, uint32_t &k) {
        const uint32_t n = static_cast<uint32_t>(s_->x.size());
        const int64_t *tabu = tabu_->data();
        uint32_t ties = 0;
        if constexpr (std::is_same_v<T, int64_t>) {
            int64_t g;
            ties = scan_best_moves(s_->gain.data(), tabu, n, iter, asp, static_cast<uint32_t>(rng.below(n == 0 ? 1 : n)),
                                   tie_, g);
        } else {
            T best = 0;
            for (uint32_t i = 0; i < n; ++i) {
                const T &g = s_->gain[i];
                if (tabu[i] > iter && !(g < asp)) continue;
                if (ties == 0 || g < best) {
                    best = g;
                    tie_[0] = i;
                    ties = 1;
                } else if (g == best && ties < kTieSlots) {
                    tie_[ties++] = i;
                }
            }
        }
        if (ties == 0) return false;
        k = tie_[ties == 1 ? 0 : rng.below(ties)];
        return true;
    }

private:
    FlipState<T> *s_ = nullptr;
    std::vector<int64_t> *tabu_ = nullptr;
    uint32_t tie_[kTieSlots];
};

// Variables bucketed by gain: bucket g + offset holds the variables of gain g.
class GainBuckets {
public:
    void init(int64_t max_abs_gain, uint32_t n) {
        offset_ = max_abs_gain;
        buckets_.assign(static_cast<size_t>(2 * max_abs_gain + 1), {});
        slot_.assign(n, -1);
        pos_.assign(n, 0);
        count_ = 0;
        min_ = buckets_.size();
    }

    void clear() {
        for (auto &b : buckets_) {
            for (uint32_t v : b) slot_[v] = -1;
            b.clear();
        }
        count_ = 0;
        min_ = buckets_.size();
    }

    bool contains(uint32_t v) const { return slot_[v] >= 0; }
    bool empty() const { return count_ == 0; }

    void insert(uint32_t v, int64_t gain) {
        const size_t idx = static_cast<size_t>(gain + offset_);
        slot_[v] = static_cast<int64_t>(idx);
        pos_[v] = static_cast<uint32_t>(buckets_[idx].size());
        buckets_[idx].push_back(v);
        ++count_;
        if (idx < min_) min_ = idx;
    }

    void erase(uint32_t v) {
        auto &b = buckets_[static_cast<size_t>(slot_[v])];
        const uint32_t last = b.back();
        b[pos_[v]] = last;
        pos_[last] = pos_[v];
        b.pop_back();
        slot_[v] = -1;
        --count_;
    }

    void update(uint32_t v, int64_t gain) {
        if (slot_[v] == gain + offset_) return;
        erase(v);
        insert(v, gain);
    }

    // Smallest gain present; the set must not be empty.
    int64_t min_gain() {
        while (buckets_[min_].empty()) ++min_;
        return static_cast<int64_t>(min_) - offset_;
    }

    // A uniformly drawn variable of the smallest gain (after min_gain()).
    uint32_t pick_min(Rng &rng) const {
        const auto &b = buckets_[min_];
        return b[b.size() == 1 ? 0 : rng.below(b.size())];
    }

private:
    int64_t offset_ = 0;
    std::vector<std::vector<uint32_t>> buckets_;
    std::vector<int64_t> slot_;
    std::vector<uint32_t> pos_;
    size_t count_ = 0;
    size_t min_ = 0;
};

// Largest |gain| any variable can have: |h_i| + sum_j |J_ij|.
int64_t gain_bound(const FlipModel<int64_t> &f);

class BucketSelector {
public:
    // Worth it when gains are few and the model is unconstrained.
    static bool suitable(const FlipModel<int64_t> &f) {
        return !f.has_constraints() && f.n >= 64 && gain_bound(f) <= (int64_t(1) << 14);
    }

    void attach(FlipState<int64_t> &s, std::vector<int64_t> &tabu_until, uint64_t max_tenure) {
        s_ = &s;
        tabu_ = &tabu_until;
        const uint32_t n = static_cast<uint32_t>(s.x.size());
        const int64_t bound = gain_bound(*s.m);
        free_.init(bound, n);
        tabu_set_.init(bound, n);
        wheel_.assign(max_tenure + 2, {});
    }

    // Puts every variable in its set for iteration `iter`.
    void rebuild(int64_t iter) {
        free_.clear();
        tabu_set_.clear();
        for (auto &w : wheel_) w.clear();
        const uint32_t n = static_cast<uint32_t>(s_->x.size());
        for (uint32_t i = 0; i < n; ++i) {
            const int64_t until = (*tabu_)[i];
            if (until > iter && until - iter < static_cast<int64_t>(wheel_.size())) {
                tabu_set_.insert(i, s_->gain[i]);
                wheel_[static_cast<size_t>(until) % wheel_.size()].push_back(i);
            } else {
                (*tabu_)[i] = std::min<int64_t>((*tabu_)[i], iter);
                free_.insert(i, s_->gain[i]);
            }
        }
    }

    void changed(uint32_t v) {
        const int64_t g = s_->gain[v];
        if (free_.contains(v)) {
            free_.update(v, g);
        } else {
            tabu_set_.update(v, g);
        }
    }

    // Makes k tabu until `until` (at most max_tenure + 1 steps ahead of
    // `now`); an `until` not after `now` makes it free.
    void set_tabu(uint32_t k, int64_t until, int64_t now) {
        (*tabu_)[k] = until;
        if (until <= now) {
            if (tabu_set_.contains(k)) {
                tabu_set_.erase(k);
                free_.insert(k, s_->gain[k]);
            }
            return;
        }
        if (free_.contains(k)) {
            free_.erase(k);
            tabu_set_.insert(k, s_->gain[k]);
        }
        wheel_[static_cast<size_t>(until) % wheel_.size()].push_back(k);
    }

    // Releases the variables whose tenure ends at `iter`; call once per step.
    void advance(int64_t iter) {
        auto &slot = wheel_[static_cast<size_t>(iter) % wheel_.size()];
        for (uint32_t v : slot) {
            if ((*tabu_)[v] == iter && tabu_set_.contains(v)) {
                tabu_set_.erase(v);
                free_.insert(v, s_->gain[v]);
            }
        }
        slot.clear();
    }

    bool best_improving(Rng &rng, uint32_t &k) {
        int64_t best = 0;
        bool from_free = false, any = false;
        if (!free_.empty()) {
            best = free_.min_gain();
            from_free = true;
            any = true;
        }
        if (!tabu_set_.empty()) {
            const int64_t t = tabu_set_.min_gain();
            if (!any || t < best || (t == best && (rng.next() & 1u))) {
                best = t;
                from_free = false;
                any = true;
            }
        }
        if (!any || best >= 0) return false;
        k = from_free ? free_.pick_min(rng) : tabu_set_.pick_min(rng);
        return true;
    }

    bool best_admissible(Rng &rng, int64_t /*iter*/, int64_t asp, uint32_t &k) {
        bool have = false;
        int64_t best = 0;
        if (!free_.empty()) {
            best = free_.min_gain();
            k = free_.pick_min(rng);
            have = true;
        }
        if (!tabu_set_.empty()) {
            const int64_t t = tabu_set_.min_gain();
            if (t < asp && (!have || t < best)) {
                k = tabu_set_.pick_min(rng);
                have = true;
            }
        }
        return have;
    }

private:
    FlipState<int64_t> *s_ = nullptr;
    std::vector<int64_t> *tabu_ = nullptr;
    GainBuckets free_, tabu_set_;
    std::vector<std::vector<uint32_t>> wheel_;
};

inline int64_t gain_bound(const FlipModel<int64_t> &f) {
    int64_t bound = 0;
    for (uint32_t i = 0; i < f.n; ++i) {
        int64_t b = f.h[i] < 0 ? -f.h[i] : f.h[i];
        for (uint64_t e = f.adj_start[i]; e < f.adj_start[i + 1]; ++e) b += f.adj_w[e] < 0 ? -f.adj_w[e] : f.adj_w[e];
        bound = std::max(bound, b);
    }
    return bound;
}

}  // namespace vexa::mod
