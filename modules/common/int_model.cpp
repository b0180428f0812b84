#include "int_model.hpp"

#include <algorithm>

#include "constraint/pricing.hpp"
#include "packed_bits.hpp"

namespace vexa::mod {

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

IntState::IntState(const IntModel &model) : m(&model) {
    x.resize(model.total);
    body.resize(model.constraint_count());
}

coeff_t IntState::random_in_range(uint32_t v, Rng &rng) const {
    const coeff_t &r = m->range[v];
    if (r == 0) return m->lower[v];
    if (r < (coeff_t(1) << 63)) return m->lower[v] + rng.below(r.convert_to<uint64_t>() + 1);
    // Wide range: random limbs reduced into [0, r].
    coeff_t draw = 0;
    const unsigned bits = static_cast<unsigned>(boost::multiprecision::msb(r)) + 65;
    for (unsigned b = 0; b < bits; b += 64) draw = (draw << 64) + rng.next();
    return m->lower[v] + draw % (r + 1);
}

void IntState::randomize(Rng &rng) {
    for (uint32_t v = 0; v < m->total; ++v) x[v] = v < m->nb ? coeff_t(rng.next() & 1u) : random_in_range(v, rng);
}

namespace {

// Multiplies p by the value of a literal (1 - x for a negated one); false
// when that value is 0.
bool times_literal(coeff_t &p, const Literal &l, const coeff_t *x) {
    return times_flat_literal(p, l.negated ? (l.flat | kNegatedBit) : l.flat, x);
}

}  // namespace

coeff_t IntState::term_value(uint32_t t) const {
    coeff_t p = m->term_coef[t];
    for (uint64_t k = m->term_start[t]; k < m->term_start[t + 1]; ++k) {
        if (!times_literal(p, m->term_lits[k], x.data())) return coeff_t(0);
    }
    return p;
}

coeff_t IntState::full_body(uint32_t c) const {
    const ModelArrays &a = *m->arrays;
    return constraint_body<coeff_t>(a.constraints[c], [&](coeff_t &p, uint32_t word) {
        return times_literal(p, constraint_literal(a, word), x.data());
    });
}

void IntState::recompute() {
    const ModelArrays &a = *m->arrays;
    energy = a.constant;
    for (uint32_t t = 0; t < m->term_coef.size(); ++t) energy += term_value(t);
    for (uint32_t c = 0; c < m->constraint_count(); ++c) {
        body[c] = full_body(c);
        energy += constraint_penalty(a.constraints[c], body[c]);
    }
    work += m->term_coef.size() + m->constraint_count();
}

coeff_t IntState::evaluate(uint32_t v, const coeff_t &cand) {
    const ModelArrays &a = *m->arrays;
    changed.clear();
    coeff_t before = 0, after = 0;
    for (uint32_t t : m->term_occ[v]) before += term_value(t);
    for (const auto &o : m->cons_occ[v]) before += constraint_penalty(a.constraints[o.c], body[o.c]);
    const coeff_t old = x[v];
    x[v] = cand;
    for (uint32_t t : m->term_occ[v]) after += term_value(t);
    for (const auto &o : m->cons_occ[v]) {
        coeff_t b = o.nonlinear ? full_body(o.c) : coeff_t(body[o.c] + o.a * (cand - old));
        after += constraint_penalty(a.constraints[o.c], b);
        changed.emplace_back(o.c, std::move(b));
    }
    x[v] = old;
    work += m->term_occ[v].size() + m->cons_occ[v].size() + 1;
    return after - before;
}

void IntState::apply(uint32_t v, const coeff_t &cand, const coeff_t &delta) {
    x[v] = cand;
    for (auto &[c, b] : changed) body[c] = b;
    energy += delta;
}

void IntState::export_state(uint64_t *words, coeff_t *ints) const {
    for (uint32_t w = 0; w < word_count_for(m->nb); ++w) words[w] = 0;
    for (uint32_t i = 0; i < m->nb; ++i) {
        if (x[i] != 0) words[i / 64] |= uint64_t(1) << (i % 64);
    }
    for (uint32_t k = 0; k + m->nb < m->total; ++k) ints[k] = x[m->nb + k];
}

}  // namespace vexa::mod
