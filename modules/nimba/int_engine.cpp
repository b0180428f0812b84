#include "int_engine.hpp"

#include <algorithm>
#include <thread>
#include <vector>

#include "constraint/pricing.hpp"
#include "packed_bits.hpp"
#include "rng.hpp"

namespace vexa::mod {

namespace {

// Flat form of the model for integer moves.
struct IntModel {
    uint32_t nb = 0, total = 0;
    std::vector<coeff_t> lower, upper, range;  // over all flat variables; binary [0, 1]
    std::vector<uint64_t> term_start;          // term t: literals [start[t], start[t+1])
    std::vector<Literal> term_lits;
    std::vector<coeff_t> term_coef;
    std::vector<std::vector<uint32_t>> term_occ;  // per variable, each term once

    struct ConsOcc {
        uint32_t c;
        coeff_t a;       // summed linear coefficient
        bool nonlinear;  // the variable also sits in a product row
    };
    std::vector<std::vector<ConsOcc>> cons_occ;
    const ModelArrays *arrays = nullptr;

    uint32_t constraint_count() const { return static_cast<uint32_t>(arrays->constraints.size()); }
};

IntModel build_int_model(const ModelArrays &a) {
    IntModel m;
    m.arrays = &a;
    m.nb = a.bin_count;
    m.total = a.total();
    m.lower.assign(m.total, coeff_t(0));
    m.upper.assign(m.total, coeff_t(1));
    for (uint32_t k = 0; k < a.int_count; ++k) {
        m.lower[m.nb + k] = a.int_lower[k];
        m.upper[m.nb + k] = a.int_upper[k];
    }
    for (uint32_t v = 0; v < m.total; ++v) m.range.push_back(m.upper[v] - m.lower[v]);
    m.term_occ.resize(m.total);
    m.term_start.push_back(0);
    for (size_t d = 0; d < a.term_counts.size(); ++d) {
        for (uint64_t t = 0; t < a.term_counts[d]; ++t) {
            const uint32_t id = static_cast<uint32_t>(m.term_coef.size());
            m.term_coef.push_back(a.coef_lists[d][t]);
            for (size_t s = 0; s <= d; ++s) {
                const Literal l = term_literal(a, a.var_lists[d][t * (d + 1) + s]);
                m.term_lits.push_back(l);
                std::vector<uint32_t> &occ = m.term_occ[l.flat];
                if (occ.empty() || occ.back() != id) occ.push_back(id);
            }
            m.term_start.push_back(m.term_lits.size());
        }
    }
    m.cons_occ.resize(m.total);
    for (uint32_t c = 0; c < a.constraints.size(); ++c) {
        const ConstraintRecord &r = a.constraints[c];
        std::vector<std::pair<uint32_t, IntModel::ConsOcc>> occ;
        for (size_t k = 0; k < r.vars.size(); ++k) {
            occ.push_back({constraint_literal(a, r.vars[k]).flat, {c, r.coeffs[k], false}});
        }
        for (uint32_t w : r.quad_vars) occ.push_back({constraint_literal(a, w).flat, {c, coeff_t(0), true}});
        std::stable_sort(occ.begin(), occ.end(), [](const auto &x, const auto &y) { return x.first < y.first; });
        for (size_t k = 0; k < occ.size(); ++k) {
            auto &list = m.cons_occ[occ[k].first];
            if (k > 0 && occ[k - 1].first == occ[k].first) {
                list.back().a += occ[k].second.a;
                list.back().nonlinear = list.back().nonlinear || occ[k].second.nonlinear;
            } else {
                list.push_back(occ[k].second);
            }
        }
    }
    return m;
}

class IntWorker {
public:
    IntWorker(const IntModel &m, SearchShared &sh, uint64_t seed) : m_(m), sh_(sh), rng_(seed) {
        x_.resize(m.total);
        body_.resize(m.constraint_count());
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
        if (work_ >= 4096) {
            work_ = 0;
            return sh_.check_clock();
        }
        return false;
    }

    void finish() {
        sh_.moves.fetch_add(moves_);
        sh_.restarts.fetch_add(restarts_);
    }

    coeff_t random_in_range(uint32_t v) {
        const coeff_t &r = m_.range[v];
        if (r == 0) return m_.lower[v];
        if (r < (coeff_t(1) << 63)) return m_.lower[v] + rng_.below(r.convert_to<uint64_t>() + 1);
        // Wide range: random limbs reduced into [0, r].
        coeff_t draw = 0;
        const unsigned bits = static_cast<unsigned>(boost::multiprecision::msb(r)) + 65;
        for (unsigned b = 0; b < bits; b += 64) draw = (draw << 64) + rng_.next();
        return m_.lower[v] + draw % (r + 1);
    }

    void random_state() {
        for (uint32_t v = 0; v < m_.total; ++v) x_[v] = v < m_.nb ? coeff_t(rng_.next() & 1u) : random_in_range(v);
    }

    // Multiplies p by the value of a literal (1 - x for a negated one);
    // false when that value is 0.
    bool times_literal(coeff_t &p, const Literal &l) const {
        return times_flat_literal(p, l.negated ? (l.flat | kNegatedBit) : l.flat, x_.data());
    }

    coeff_t term_value(uint32_t t) const {
        coeff_t p = m_.term_coef[t];
        for (uint64_t k = m_.term_start[t]; k < m_.term_start[t + 1]; ++k) {
            if (!times_literal(p, m_.term_lits[k])) return coeff_t(0);
        }
        return p;
    }

    const ConstraintRecord &constraint(uint32_t c) const { return m_.arrays->constraints[c]; }

    coeff_t full_body(uint32_t c) const {
        const ModelArrays &a = *m_.arrays;
        return constraint_body<coeff_t>(
            constraint(c), [&](coeff_t &p, uint32_t word) { return times_literal(p, constraint_literal(a, word)); });
    }

    void recompute() {
        energy_ = m_.arrays->constant;
        for (uint32_t t = 0; t < m_.term_coef.size(); ++t) energy_ += term_value(t);
        for (uint32_t c = 0; c < m_.constraint_count(); ++c) {
            body_[c] = full_body(c);
            energy_ += constraint_penalty(constraint(c), body_[c]);
        }
        work_ += m_.term_coef.size() + m_.constraint_count();
    }

    // Energy change of setting variable v to `cand`; the new bodies go to changed_.
    coeff_t evaluate(uint32_t v, const coeff_t &cand) {
        changed_.clear();
        coeff_t before = 0, after = 0;
        for (uint32_t t : m_.term_occ[v]) before += term_value(t);
        for (const auto &o : m_.cons_occ[v]) before += constraint_penalty(constraint(o.c), body_[o.c]);
        const coeff_t old = x_[v];
        x_[v] = cand;
        for (uint32_t t : m_.term_occ[v]) after += term_value(t);
        for (const auto &o : m_.cons_occ[v]) {
            coeff_t b = o.nonlinear ? full_body(o.c) : coeff_t(body_[o.c] + o.a * (cand - old));
            after += constraint_penalty(constraint(o.c), b);
            changed_.emplace_back(o.c, std::move(b));
        }
        x_[v] = old;
        work_ += m_.term_occ[v].size() + m_.cons_occ[v].size() + 1;
        return after - before;
    }

    void apply(uint32_t v, const coeff_t &cand, const coeff_t &delta) {
        x_[v] = cand;
        for (auto &[c, b] : changed_) body_[c] = b;
        energy_ += delta;
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
                x_[v] = random_in_range(v);
            } else {
                const unsigned top = m_.range[v] == 0 ? 0 : static_cast<unsigned>(boost::multiprecision::msb(m_.range[v]));
                const coeff_t step = coeff_t(1) << rng_.below(top + 1);
                const coeff_t y = (rng_.next() & 1u) ? coeff_t(x_[v] + step) : coeff_t(x_[v] - step);
                if (y >= m_.lower[v] && y <= m_.upper[v]) x_[v] = y;
            }
        }
    }

    void offer() {
        for (uint32_t w = 0; w < words_.size(); ++w) words_[w] = 0;
        for (uint32_t i = 0; i < m_.nb; ++i) {
            if (x_[i] != 0) words_[i / 64] |= uint64_t(1) << (i % 64);
        }
        for (uint32_t k = 0; k < ints_.size(); ++k) ints_[k] = x_[m_.nb + k];
        sh_.offer(energy_, words_.data(), words_.size(), ints_.data(), ints_.size());
    }

    const IntModel &m_;
    SearchShared &sh_;
    Rng rng_;
    std::vector<coeff_t> x_, body_, ints_;
    std::vector<uint64_t> words_;
    std::vector<std::pair<uint32_t, coeff_t>> changed_;
    coeff_t energy_, thread_best_;
    uint64_t work_ = 0, moves_ = 0, restarts_ = 0;
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
