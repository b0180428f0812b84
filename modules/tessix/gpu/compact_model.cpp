#include "compact_model.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include "canonical_model.hpp"
#include "core/number_type.hpp"
#include "word_fit.hpp"

namespace vexa::tessix {

namespace {

using mod::ModelArrays;

// The expanded polynomial in exact arithmetic, before the machine-word proof.
struct Expanded {
    coeff_t c0;
    std::map<uint32_t, coeff_t> h, sq;
    std::map<std::pair<uint32_t, uint32_t>, coeff_t> pairs;
    struct Cons {
        coeff_t weight, lower, upper, b0;
        std::map<uint32_t, coeff_t> lin;
        std::vector<std::pair<coeff_t, coeff_t>> allowed;
        uint8_t exponent = 2;
    };
    std::vector<Cons> cons;
};

// A factor of a term: alpha + beta * x_flat (a negated binary literal is 1 - x).
struct Factor {
    uint32_t flat;
    coeff_t alpha, beta;
};

coeff_t larger(const coeff_t &x, const coeff_t &y) { return x < y ? y : x; }

Factor factor_of(mod::Literal lit) {
    if (lit.negated) return {lit.flat, 1, -1};
    return {lit.flat, 0, 1};
}

void add_product(Expanded &e, const ModelArrays &a, const coeff_t &c, const Factor &f, const Factor &g) {
    e.c0 += c * f.alpha * g.alpha;
    if (!is_zero(f.alpha * g.beta)) e.h[g.flat] += c * f.alpha * g.beta;
    if (!is_zero(f.beta * g.alpha)) e.h[f.flat] += c * f.beta * g.alpha;
    const coeff_t w = c * f.beta * g.beta;
    if (is_zero(w)) return;
    if (f.flat == g.flat) {
        // x * x is x for a binary variable and a square for an integer one.
        if (f.flat < a.bin_count) {
            e.h[f.flat] += w;
        } else {
            e.sq[f.flat] += w;
        }
    } else {
        e.pairs[{std::min(f.flat, g.flat), std::max(f.flat, g.flat)}] += w;
    }
}

bool expand_integer(const ModelArrays &a, Expanded &e, std::string &reason) {
    e.c0 = a.constant;
    for (size_t d = 0; d < a.term_counts.size(); ++d) {
        if (a.term_counts[d] == 0) continue;
        if (d > 1) {
            reason = "terms of more than two factors";
            return false;
        }
        const uint32_t *vars = a.var_lists[d];
        const coeff_t *coefs = a.coef_lists[d];
        for (uint64_t t = 0; t < a.term_counts[d]; ++t) {
            const Factor f = factor_of(mod::term_literal(a, vars[t * (d + 1)]));
            if (d == 0) {
                add_product(e, a, coefs[t], Factor{f.flat, 1, 0}, f);
            } else {
                add_product(e, a, coefs[t], f, factor_of(mod::term_literal(a, vars[t * 2 + 1])));
            }
        }
    }
    for (const mod::ConstraintRecord &r : a.constraints) {
        if (r.quad_head.size() >= 2 && r.quad_head.back() > r.quad_head.front()) {
            reason = "constraint bodies with products";
            return false;
        }
        Expanded::Cons c{r.weight, r.lower, r.upper, r.body_constant, {}, r.allowed, r.shape_exponent};
        for (size_t i = 0; i < r.vars.size(); ++i) {
            const Factor f = factor_of(mod::constraint_literal(a, r.vars[i]));
            c.b0 += r.coeffs[i] * f.alpha;
            c.lin[f.flat] += r.coeffs[i] * f.beta;
        }
        // Rows with no words add their coefficient to the body.
        for (size_t q = 0; q + 1 < r.quad_head.size(); ++q) c.b0 += r.quad_coeffs[q];
        e.cons.push_back(std::move(c));
    }
    return true;
}

void from_canonical(const mod::CanonicalModel &m, Expanded &e) {
    e.c0 = m.c0;
    for (uint32_t i = 0; i < m.n; ++i) {
        if (!is_zero(m.h[i])) e.h[i] = m.h[i];
    }
    for (const mod::Pair &p : m.pairs) e.pairs[{p.i, p.j}] = p.w;
    for (const mod::CanonicalConstraint &cc : m.constraints) {
        Expanded::Cons c{cc.weight, cc.lower, cc.upper, cc.b0, {}, cc.allowed, cc.exponent};
        for (const auto &[v, w] : cc.lin) c.lin[v] = w;
        e.cons.push_back(std::move(c));
    }
}

// A bound on |E - c0|, on every local field h_i + sum_j J_ij x_j, every body,
// distance and penalty, and on each move's change of them (m_i the largest
// magnitude variable i can take). The search adds at most four such values,
// so a bound of 2^60 keeps int64_t exact.
coeff_t integer_reachable_magnitude(const Expanded &e, const std::vector<coeff_t> &mag) {
    coeff_t total = 0;
    std::vector<coeff_t> field(mag.size());
    for (const auto &[i, w] : e.h) {
        total += abs(w) * mag[i];
        field[i] += abs(w);
    }
    for (const auto &[i, w] : e.sq) total += abs(w) * mag[i] * mag[i];
    for (const auto &[ij, w] : e.pairs) {
        total += abs(w) * mag[ij.first] * mag[ij.second];
        field[ij.first] += abs(w) * mag[ij.second];
        field[ij.second] += abs(w) * mag[ij.first];
    }
    for (const coeff_t &f : field) total += f;
    for (const Expanded::Cons &c : e.cons) {
        coeff_t bmax = abs(c.b0);
        for (const auto &[v, a] : c.lin) bmax += abs(a) * mag[v];
        coeff_t lmax = larger(abs(c.lower), abs(c.upper));
        for (const auto &[lo, hi] : c.allowed) lmax = larger(lmax, larger(abs(lo), abs(hi)));
        const coeff_t dmax = 2 * (bmax + lmax) + 1;
        total += abs(c.weight) * dmax * dmax;
    }
    for (const coeff_t &m : mag) total += m;
    return total;
}

}  // namespace

CompactView CompactModel::view() const {
    CompactView v;
    v.n = n;
    v.n_bin = n_bin;
    v.lower = lower.data();
    v.upper = upper.data();
    v.h = h.data();
    v.sq = sq.data();
    v.adj_start = adj_start.data();
    v.adj_var = adj_var.data();
    v.adj_w = adj_w.data();
    v.n_cons = constraint_count();
    v.c_weight = c_weight.data();
    v.c_lower = c_lower.data();
    v.c_upper = c_upper.data();
    v.c_b0 = c_b0.data();
    v.c_exponent = c_exponent.data();
    v.c_allowed_start = c_allowed_start.data();
    v.allowed_lo = allowed_lo.data();
    v.allowed_hi = allowed_hi.data();
    v.occ_start = occ_start.data();
    v.occ_cons = occ_cons.data();
    v.occ_a = occ_a.data();
    return v;
}

CompactBuild build_compact_model(const ModelArrays &a) {
    CompactBuild out;
    Expanded e;
    const uint32_t n = a.total();
    std::vector<coeff_t> mag(n, coeff_t(1));
    if (a.int_count == 0) {
        const mod::CanonicalModel canon = mod::canonicalize("TessixSolver", a);
        if (!mod::fits_machine_word(canon)) {
            out.reason = "coefficients too large for 64-bit arithmetic";
            return out;
        }
        for (const mod::CanonicalConstraint &c : canon.constraints) {
            if (!c.pairs.empty()) {
                out.reason = "constraint bodies with products";
                return out;
            }
        }
        from_canonical(canon, e);
    } else {
        if (!expand_integer(a, e, out.reason)) return out;
        for (uint32_t k = 0; k < a.int_count; ++k) mag[a.bin_count + k] = larger(abs(a.int_lower[k]), abs(a.int_upper[k]));
        if (integer_reachable_magnitude(e, mag) > (coeff_t(1) << 60)) {
            out.reason = "coefficients or bounds too large for 64-bit arithmetic";
            return out;
        }
    }

    CompactModel &m = out.model;
    m.n = n;
    m.n_bin = a.bin_count;
    m.c0 = e.c0;
    m.lower.assign(n, 0);
    m.upper.assign(n, 1);
    for (uint32_t k = 0; k < a.int_count; ++k) {
        m.lower[a.bin_count + k] = from_coeff<int64_t>(a.int_lower[k]);
        m.upper[a.bin_count + k] = from_coeff<int64_t>(a.int_upper[k]);
    }
    m.h.assign(n, 0);
    m.sq.assign(n, 0);
    for (const auto &[i, w] : e.h) m.h[i] = from_coeff<int64_t>(w);
    for (const auto &[i, w] : e.sq) m.sq[i] = from_coeff<int64_t>(w);

    std::vector<uint64_t> degree(n, 0);
    for (const auto &[ij, w] : e.pairs) {
        if (is_zero(w)) continue;
        ++degree[ij.first];
        ++degree[ij.second];
    }
    m.adj_start.assign(n + 1, 0);
    for (uint32_t i = 0; i < n; ++i) m.adj_start[i + 1] = m.adj_start[i] + degree[i];
    m.adj_var.resize(m.adj_start[n]);
    m.adj_w.resize(m.adj_start[n]);
    std::vector<uint64_t> fill(m.adj_start.begin(), m.adj_start.end() - 1);
    for (const auto &[ij, w] : e.pairs) {
        if (is_zero(w)) continue;
        const int64_t v = from_coeff<int64_t>(w);
        m.adj_var[fill[ij.first]] = ij.second;
        m.adj_w[fill[ij.first]++] = v;
        m.adj_var[fill[ij.second]] = ij.first;
        m.adj_w[fill[ij.second]++] = v;
    }

    std::vector<std::vector<std::pair<uint32_t, int64_t>>> per_var(n);
    m.c_allowed_start.push_back(0);
    for (uint32_t c = 0; c < e.cons.size(); ++c) {
        const Expanded::Cons &k = e.cons[c];
        m.c_weight.push_back(from_coeff<int64_t>(k.weight));
        m.c_lower.push_back(from_coeff<int64_t>(k.lower));
        m.c_upper.push_back(from_coeff<int64_t>(k.upper));
        m.c_b0.push_back(from_coeff<int64_t>(k.b0));
        m.c_exponent.push_back(k.exponent);
        for (const auto &[lo, hi] : k.allowed) {
            m.allowed_lo.push_back(from_coeff<int64_t>(lo));
            m.allowed_hi.push_back(from_coeff<int64_t>(hi));
        }
        m.c_allowed_start.push_back(static_cast<uint32_t>(m.allowed_lo.size()));
        for (const auto &[v, w] : k.lin) {
            if (!is_zero(w)) per_var[v].emplace_back(c, from_coeff<int64_t>(w));
        }
    }
    m.occ_start.assign(n + 1, 0);
    for (uint32_t i = 0; i < n; ++i) {
        m.occ_start[i + 1] = m.occ_start[i] + static_cast<uint32_t>(per_var[i].size());
        for (const auto &[c, w] : per_var[i]) {
            m.occ_cons.push_back(c);
            m.occ_a.push_back(w);
        }
    }
    out.ok = true;
    return out;
}

}  // namespace vexa::tessix
