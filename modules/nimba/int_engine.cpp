#include "int_engine.hpp"

#include <algorithm>
#include <thread>
#include <vector>

#include "int_model.hpp"
#include "packed_bits.hpp"
#include "rng.hpp"

namespace vexa::mod {

namespace {

class IntWorker {
public:
    IntWorker(const IntModel &m, SearchShared &sh, uint64_t seed) : m_(m), sh_(sh), rng_(seed), s_(m) {
        words_.resize(word_count_for(m.nb));
        ints_.resize(m.total - m.nb);
    }

    void run() {
        random_state();
        recompute();
        thread_best_ = energy_;
        offer();
        if (poll() || m_.total == 0) return finish();
        descend();
        std::vector<coeff_t> incumbent = x_;
        coeff_t incumbent_e = energy_;
        uint64_t failures = 0;
        while (!poll()) {
            if (failures > 200) {
                random_state();
                failures = 0;
            } else {
                x_ = incumbent;
                kick();
            }
            recompute();
            descend();
            ++restarts_;
            if (energy_ < incumbent_e) {
                incumbent = x_;
                incumbent_e = energy_;
                failures = 0;
            } else {
                ++failures;
                if (energy_ == incumbent_e || rng_.unit() < 0.02) {
                    incumbent = x_;
                    incumbent_e = energy_;
                }
            }
        }
        finish();
    }

private:
    bool poll() {
        if (sh_.stopped()) return true;
        if (s_.work >= 4096) {
            s_.work = 0;
            return sh_.check_clock();
        }
        return false;
    }

    void finish() {
        sh_.moves.fetch_add(moves_);
        sh_.restarts.fetch_add(restarts_);
    }

    void random_state() { s_.randomize(rng_); }

    void recompute() { s_.recompute(); }

    coeff_t evaluate(uint32_t v, const coeff_t &cand) { return s_.evaluate(v, cand); }

    void apply(uint32_t v, const coeff_t &cand, const coeff_t &delta) {
        s_.apply(v, cand, delta);
        ++moves_;
    }

    // Candidates of a variable: the flip, or +-1, +-2, +-4, ... within bounds.
    void candidates(uint32_t v, std::vector<coeff_t> &out) const {
        out.clear();
        if (v < m_.nb) {
            out.push_back(1 - x_[v]);
            return;
        }
        const coeff_t &r = m_.range[v];
        for (coeff_t s = 1; s <= r; s <<= 1) {
            if (x_[v] + s <= m_.upper[v]) out.push_back(x_[v] + s);
            if (x_[v] - s >= m_.lower[v]) out.push_back(x_[v] - s);
        }
    }

    void descend() {
        std::vector<uint32_t> order(m_.total);
        for (uint32_t v = 0; v < m_.total; ++v) order[v] = v;
        std::vector<coeff_t> cands;
        bool improved = true;
        while (improved && !poll()) {
            improved = false;
            for (uint32_t k = 0; k + 1 < order.size(); ++k) std::swap(order[k], order[k + rng_.below(order.size() - k)]);
            for (uint32_t v : order) {
                if (poll()) break;
                candidates(v, cands);
                coeff_t best_delta = 0;
                const coeff_t *best = nullptr;
                for (const coeff_t &c : cands) {
                    coeff_t d = evaluate(v, c);
                    if (d < best_delta) {
                        best_delta = d;
                        best = &c;
                    }
                }
                if (best != nullptr) {
                    evaluate(v, *best);
                    apply(v, *best, best_delta);
                    improved = true;
                }
            }
            if (energy_ < thread_best_) {
                thread_best_ = energy_;
                offer();
            }
        }
    }

    // Changes a few random variables of the current state.
    void kick() {
        const uint64_t count = 1 + rng_.below(std::max<uint64_t>(1, m_.total / 10) + 2);
        for (uint64_t c = 0; c < count; ++c) {
            const uint32_t v = static_cast<uint32_t>(rng_.below(m_.total));
            if (v < m_.nb) {
                x_[v] = 1 - x_[v];
            } else if (rng_.next() & 1u) {
                x_[v] = s_.random_in_range(v, rng_);
            } else {
                const unsigned top = m_.range[v] == 0 ? 0 : static_cast<unsigned>(boost::multiprecision::msb(m_.range[v]));
                const coeff_t step = coeff_t(1) << rng_.below(top + 1);
                const coeff_t y = (rng_.next() & 1u) ? coeff_t(x_[v] + step) : coeff_t(x_[v] - step);
                if (y >= m_.lower[v] && y <= m_.upper[v]) x_[v] = y;
            }
        }
    }

    void offer() {
        s_.export_state(words_.data(), ints_.data());
        sh_.offer(energy_, words_.data(), words_.size(), ints_.data(), ints_.size());
    }

    const IntModel &m_;
    SearchShared &sh_;
    Rng rng_;
    IntState s_;
    std::vector<coeff_t> &x_ = s_.x;
    const coeff_t &energy_ = s_.energy;
    std::vector<coeff_t> ints_;
    std::vector<uint64_t> words_;
    coeff_t thread_best_;
    uint64_t moves_ = 0, restarts_ = 0;
};

}  // namespace

void run_int_search(const ModelArrays &arrays, SearchShared &shared, uint32_t threads, uint64_t seed) {
    const IntModel m = build_int_model(arrays);
    auto body = [&](uint32_t t) {
        IntWorker w(m, shared, thread_seed(seed, t));
        w.run();
    };
    std::vector<std::thread> others;
    for (uint32_t t = 1; t < threads; ++t) others.emplace_back(body, t);
    body(0);
    for (std::thread &th : others) th.join();
}

}  // namespace vexa::mod
