#include "canonical_model.hpp"

#include <algorithm>

#include "core/fatal.hpp"

namespace vexa::mod {

namespace {

// Accumulates monomials of degree <= 2 in plain variables.
struct PolyBuilder {
    coeff_t constant = 0;
    std::vector<std::pair<uint32_t, coeff_t>> lin;
    std::vector<Pair> pairs;

    // Adds coeff * product of the literals (at most two distinct variables).
    void add_product(std::string_view tag, const coeff_t &coeff, const Literal *lits, size_t count,
                     uint32_t bin_count) {
        if (coeff == 0) return;
        // Each literal is s + t*x with (s, t) = (0, 1) or (1, -1).
        uint32_t vars[2];
        int s[2], t[2];
        size_t distinct = 0;
        for (size_t k = 0; k < count; ++k) {
            const Literal &l = lits[k];
            if (l.flat >= bin_count) fatal(tag, "integer variable in a binary model");
            const int ls = l.negated ? 1 : 0, lt = l.negated ? -1 : 1;
            size_t at = 0;
            while (at < distinct && vars[at] != l.flat) ++at;
            if (at < distinct) {
                // (s1 + t1 x)(s2 + t2 x) = s1 s2 + (s1 t2 + s2 t1 + t1 t2) x for binary x.
                const int ns = s[at] * ls, nt = s[at] * lt + ls * t[at] + t[at] * lt;
                s[at] = ns;
                t[at] = nt;
                continue;
            }
            if (distinct == 2) fatal(tag, "terms of more than two variables are not supported");
            vars[distinct] = l.flat;
            s[distinct] = ls;
            t[distinct] = lt;
            ++distinct;
        }
        if (distinct == 0) {
            constant += coeff;
        } else if (distinct == 1) {
            if (s[0] != 0) constant += coeff * s[0];
            if (t[0] != 0) lin.emplace_back(vars[0], coeff * t[0]);
        } else {
            if (s[0] * s[1] != 0) constant += coeff * (s[0] * s[1]);
            if (s[0] * t[1] != 0) lin.emplace_back(vars[1], coeff * (s[0] * t[1]));
            if (t[0] * s[1] != 0) lin.emplace_back(vars[0], coeff * (t[0] * s[1]));
            if (t[0] * t[1] != 0) {
                const uint32_t i = std::min(vars[0], vars[1]), j = std::max(vars[0], vars[1]);
                pairs.push_back({i, j, coeff * (t[0] * t[1])});
            }
        }
    }

    // Sorts and merges the linear list, dropping zeros.
    std::vector<std::pair<uint32_t, coeff_t>> merged_lin() {
        std::stable_sort(lin.begin(), lin.end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
        std::vector<std::pair<uint32_t, coeff_t>> out;
        for (auto &e : lin) {
            if (!out.empty() && out.back().first == e.first) {
                out.back().second += e.second;
            } else {
                if (!out.empty() && out.back().second == 0) out.pop_back();
                out.push_back(std::move(e));
            }
        }
        if (!out.empty() && out.back().second == 0) out.pop_back();
        lin.clear();
        return out;
    }

    // Sorts and merges the pair list, dropping zeros.
    std::vector<Pair> merged_pairs() {
        std::sort(pairs.begin(), pairs.end(), [](const Pair &a, const Pair &b) {
            return a.i != b.i ? a.i < b.i : a.j < b.j;
        });
        std::vector<Pair> out;
        for (Pair &p : pairs) {
            if (!out.empty() && out.back().i == p.i && out.back().j == p.j) {
                out.back().w += p.w;
            } else {
                if (!out.empty() && out.back().w == 0) out.pop_back();
                out.push_back(std::move(p));
            }
        }
        if (!out.empty() && out.back().w == 0) out.pop_back();
        pairs.clear();
        return out;
    }
};

}  // namespace

CanonicalModel canonicalize(std::string_view tag, const ModelArrays &a) {
    CanonicalModel m;
    m.n = a.bin_count;
    m.h.assign(m.n, coeff_t(0));
    PolyBuilder poly;
    poly.constant = a.constant;
    std::vector<Literal> lits;
    for (size_t d = 0; d < a.term_counts.size(); ++d) {
        lits.resize(d + 1);
        for (uint64_t t = 0; t < a.term_counts[d]; ++t) {
            for (size_t s = 0; s <= d; ++s) lits[s] = term_literal(a, a.var_lists[d][t * (d + 1) + s]);
            poly.add_product(tag, a.coef_lists[d][t], lits.data(), d + 1, a.bin_count);
        }
    }
    for (auto &[v, c] : poly.lin) m.h[v] += c;
    poly.lin.clear();
    m.c0 = poly.constant;
    m.pairs = poly.merged_pairs();

    for (const ConstraintRecord &c : a.constraints) {
        PolyBuilder body;
        body.constant = c.body_constant;
        for (size_t k = 0; k < c.vars.size(); ++k) {
            const Literal l = constraint_literal(a, c.vars[k]);
            body.add_product(tag, c.coeffs[k], &l, 1, a.bin_count);
        }
        std::vector<Literal> row;
        for (size_t r = 0; r < c.quad_coeffs.size(); ++r) {
            row.clear();
            for (uint64_t w = c.quad_head[r]; w < c.quad_head[r + 1]; ++w) {
                row.push_back(constraint_literal(a, c.quad_vars[w]));
            }
            body.add_product(tag, c.quad_coeffs[r], row.data(), row.size(), a.bin_count);
        }
        CanonicalConstraint cc;
        cc.weight = c.weight;
        cc.lower = c.lower;
        cc.upper = c.upper;
        cc.b0 = body.constant;
        cc.lin = body.merged_lin();
        cc.pairs = body.merged_pairs();
        cc.allowed = c.allowed;
        cc.exponent = c.shape_exponent;
        m.constraints.push_back(std::move(cc));
    }
    return m;
}

coeff_t objective_magnitude(const CanonicalModel &m) {
    coeff_t total = 0;
    for (const coeff_t &v : m.h) total += abs(v);
    for (const Pair &p : m.pairs) total += abs(p.w);
    return total;
}

}  // namespace vexa::mod

