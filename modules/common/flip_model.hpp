// The canonical binary model laid out for one-flip moves in number type T:
// the quadratic part as symmetric adjacency lists (CSR), the constraints as
// "occurrences" (one per variable of a constraint body: its linear
// coefficient and its product partners inside that body), and per variable
// the list of its occurrences.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "canonical_model.hpp"
#include "constraint/pricing.hpp"
#include "core/number_type.hpp"

namespace vexa::mod {

template <class T>
struct FlipModel {
    uint32_t n = 0;
    std::vector<T> h;
    std::vector<uint64_t> adj_start;  // n + 1 entries
    std::vector<uint32_t> adj_var;
    std::vector<T> adj_w;

    // Constraints.
    std::vector<PenaltyShape<T>> shape;
    std::vector<T> b0;
    std::vector<uint32_t> cons_occ_start;  // constraint c owns occurrences [start[c], start[c+1])
    std::vector<uint32_t> occ_var;
    std::vector<uint32_t> occ_cons;
    std::vector<T> occ_a;                   // linear coefficient of the variable in the body
    std::vector<uint32_t> occ_pair_start;   // partners of occurrence o: [start[o], start[o+1])
    std::vector<uint32_t> pair_var;
    std::vector<T> pair_w;
    std::vector<uint32_t> var_occ_start;    // n + 1 entries
    std::vector<uint32_t> var_occ;

    bool has_constraints() const { return !shape.empty(); }
    uint32_t constraint_count() const { return static_cast<uint32_t>(shape.size()); }
};

// The quadratic part as CSR adjacency from pairs ascending by (i, j):
// ends(p, i, j) gives the two variables of a pair, weight(p) its weight in T.
// False when `stop` (optional, polled now and then) ended it early.
template <class T, class Pairs, class Ends, class Weight>
bool fill_adjacency(FlipModel<T> &f, const Pairs &pairs, Ends ends, Weight weight, const StopCheck *stop) {
    constexpr uint64_t kPoll = 1 << 14;
    std::vector<uint64_t> degree;
    if (!grow_polled(degree, size_t(f.n) + 1, stop)) return false;
    uint64_t step = 0;
    for (const auto &p : pairs) {
        if (stop != nullptr && step++ % kPoll == 0 && (*stop)()) return false;
        uint32_t i, j;
        ends(p, i, j);
        ++degree[i];
        ++degree[j];
    }
    f.adj_start.assign(f.n + 1, 0);
    for (uint32_t i = 0; i < f.n; ++i) f.adj_start[i + 1] = f.adj_start[i] + degree[i];
    if (!grow_polled(f.adj_var, f.adj_start[f.n], stop) || !grow_polled(f.adj_w, f.adj_start[f.n], stop)) {
        return false;
    }
    std::vector<uint64_t> fill(f.adj_start.begin(), f.adj_start.end() - 1);
    for (const auto &p : pairs) {
        if (stop != nullptr && step++ % kPoll == 0 && (*stop)()) return false;
        uint32_t i, j;
        ends(p, i, j);
        const T w = weight(p);
        f.adj_var[fill[i]] = j;
        f.adj_w[fill[i]++] = w;
        f.adj_var[fill[j]] = i;
        f.adj_w[fill[j]++] = w;
    }
    return true;
}

// Constraints: one occurrence per distinct variable of each body. False when
// `stop` (optional, polled between constraints) ended it early.
template <class T>
bool fill_constraints(FlipModel<T> &f, const std::vector<CanonicalConstraint> &constraints, const StopCheck *stop) {
    f.cons_occ_start.push_back(0);
    f.occ_pair_start.push_back(0);
    std::vector<std::vector<uint32_t>> per_var(f.n);
    for (uint32_t c = 0; c < constraints.size(); ++c) {
        if (stop != nullptr && c % 1024 == 0 && (*stop)()) return false;
        const CanonicalConstraint &cc = constraints[c];
        PenaltyShape<T> s;
        s.weight = from_coeff<T>(cc.weight);
        s.lower = from_coeff<T>(cc.lower);
        s.upper = from_coeff<T>(cc.upper);
        for (const auto &[lo, hi] : cc.allowed) s.allowed.emplace_back(from_coeff<T>(lo), from_coeff<T>(hi));
        s.shape_exponent = cc.exponent;
        f.shape.push_back(std::move(s));
        f.b0.push_back(from_coeff<T>(cc.b0));

        // Variables of the body in ascending order with their coefficient and partners.
        std::vector<uint32_t> vars;
        for (const auto &[v, a] : cc.lin) vars.push_back(v);
        for (const Pair &p : cc.pairs) {
            vars.push_back(p.i);
            vars.push_back(p.j);
        }
        std::sort(vars.begin(), vars.end());
        vars.erase(std::unique(vars.begin(), vars.end()), vars.end());
        std::vector<std::vector<std::pair<uint32_t, T>>> partners(vars.size());
        std::vector<T> lin(vars.size(), T(0));
        auto index_of = [&](uint32_t v) {
            return static_cast<size_t>(std::lower_bound(vars.begin(), vars.end(), v) - vars.begin());
        };
        for (const auto &[v, a] : cc.lin) lin[index_of(v)] = from_coeff<T>(a);
        for (const Pair &p : cc.pairs) {
            const T w = from_coeff<T>(p.w);
            partners[index_of(p.i)].emplace_back(p.j, w);
            partners[index_of(p.j)].emplace_back(p.i, w);
        }
        for (size_t k = 0; k < vars.size(); ++k) {
            const uint32_t o = static_cast<uint32_t>(f.occ_var.size());
            f.occ_var.push_back(vars[k]);
            f.occ_cons.push_back(c);
            f.occ_a.push_back(lin[k]);
            for (auto &[j, w] : partners[k]) {
                f.pair_var.push_back(j);
                f.pair_w.push_back(w);
            }
            f.occ_pair_start.push_back(static_cast<uint32_t>(f.pair_var.size()));
            per_var[vars[k]].push_back(o);
        }
        f.cons_occ_start.push_back(static_cast<uint32_t>(f.occ_var.size()));
    }
    f.var_occ_start.assign(f.n + 1, 0);
    for (uint32_t i = 0; i < f.n; ++i) {
        f.var_occ_start[i + 1] = f.var_occ_start[i] + static_cast<uint32_t>(per_var[i].size());
        f.var_occ.insert(f.var_occ.end(), per_var[i].begin(), per_var[i].end());
    }
    return true;
}

// The flip model of a canonical form in number type T; false when `stop`
// (may be null) ended it early.
template <class T>
bool compile_flip_model(const CanonicalModel &m, FlipModel<T> &f, const StopCheck *stop) {
    f.n = m.n;
    f.h.reserve(m.n);
    for (const coeff_t &v : m.h) f.h.push_back(from_coeff<T>(v));
    return fill_adjacency(
               f, m.pairs,
               [](const Pair &p, uint32_t &i, uint32_t &j) {
                   i = p.i;
                   j = p.j;
               },
               [](const Pair &p) { return from_coeff<T>(p.w); }, stop) &&
           fill_constraints(f, m.constraints, stop);
}

// The same, to the end.
template <class T>
FlipModel<T> compile_flip_model(const CanonicalModel &m) {
    FlipModel<T> f;
    compile_flip_model(m, f, nullptr);
    return f;
}

}  // namespace vexa::mod
