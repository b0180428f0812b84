// An assignment of a binary model with the exact energy change of every
// one-flip move kept up to date:
//   gain[i] = E(x with i flipped) - E(x),
// objective part (1 - 2 x_i)(h_i + sum_j J_ij x_j) plus, per constraint c
// that holds i, P_c(B_c + dB_i) - P_c(B_c) ("contrib" of the occurrence).
// A flip costs the variable's adjacency plus the occurrences of the
// constraints that hold it.
#pragma once

#include <cstdint>
#include <vector>

#include "flip_model.hpp"

namespace vexa::mod {

template <class T>
struct FlipState {
    const FlipModel<T> *m = nullptr;
    std::vector<uint8_t> x;
    std::vector<T> gain;
    std::vector<T> body, pen;  // per constraint
    std::vector<T> contrib;    // per occurrence
    T energy = 0;              // E - c0

    explicit FlipState(const FlipModel<T> &model) : m(&model) {
        x.assign(model.n, 0);
        gain.assign(model.n, T(0));
        body.assign(model.constraint_count(), T(0));
        pen.assign(model.constraint_count(), T(0));
        contrib.assign(model.occ_var.size(), T(0));
    }

    // Body change of occurrence o if its variable flipped now.
    T body_change(uint32_t o) const {
        T d = m->occ_a[o];
        for (uint32_t p = m->occ_pair_start[o]; p < m->occ_pair_start[o + 1]; ++p) {
            if (x[m->pair_var[p]]) d += m->pair_w[p];
        }
        if (x[m->occ_var[o]]) d = -d;
        return d;
    }

    // Recomputes the penalty of constraint c and the contributions of all its
    // occurrences after its body changed.
    void refresh_constraint(uint32_t c) {
        refresh_constraint(c, [](uint32_t) {});
    }

    template <class OnChange>
    void refresh_constraint(uint32_t c, OnChange &&changed) {
        const PenaltyShape<T> &s = m->shape[c];
        pen[c] = constraint_penalty(s, body[c]);
        for (uint32_t o = m->cons_occ_start[c]; o < m->cons_occ_start[c + 1]; ++o) {
            T nc = constraint_penalty(s, T(body[c] + body_change(o)));
            nc -= pen[c];
            const uint32_t i = m->occ_var[o];
            gain[i] += nc;
            gain[i] -= contrib[o];
            contrib[o] = nc;
            changed(i);
        }
    }

    // Sets the assignment and recomputes every quantity from scratch.
    void load(const uint8_t *x0) {
        const FlipModel<T> &f = *m;
        energy = 0;
        for (uint32_t i = 0; i < f.n; ++i) x[i] = x0[i] ? 1 : 0;
        for (uint32_t i = 0; i < f.n; ++i) {
            T field = f.h[i];
            for (uint64_t e = f.adj_start[i]; e < f.adj_start[i + 1]; ++e) {
                if (x[f.adj_var[e]]) field += f.adj_w[e];
            }
            if (x[i]) {
                // Each product x_i x_j is counted from both ends: take half of
                // the quadratic part by adding h_i and the pairs with j > i.
                energy += f.h[i];
                for (uint64_t e = f.adj_start[i]; e < f.adj_start[i + 1]; ++e) {
                    if (f.adj_var[e] > i && x[f.adj_var[e]]) energy += f.adj_w[e];
                }
                gain[i] = -field;
            } else {
                gain[i] = field;
            }
        }
        for (uint32_t c = 0; c < f.constraint_count(); ++c) {
            T b = f.b0[c];
            for (uint32_t o = f.cons_occ_start[c]; o < f.cons_occ_start[c + 1]; ++o) {
                const uint32_t i = f.occ_var[o];
                if (!x[i]) continue;
                b += f.occ_a[o];
                // Pairs are listed at both occurrences; count each at its smaller end.
                for (uint32_t p = f.occ_pair_start[o]; p < f.occ_pair_start[o + 1]; ++p) {
                    if (f.pair_var[p] > i && x[f.pair_var[p]]) b += f.pair_w[p];
                }
            }
            body[c] = b;
            for (uint32_t o = f.cons_occ_start[c]; o < f.cons_occ_start[c + 1]; ++o) contrib[o] = 0;
            refresh_constraint(c);
            energy += pen[c];
        }
    }

    // Flips variable k; energy and every gain stay exact.
    void flip(uint32_t k) {
        flip(k, [](uint32_t) {});
    }

    // The same; `changed(j)` is called for every variable whose gain was
    // touched (possibly more than once).
    template <class OnChange>
    void flip(uint32_t k, OnChange &&changed) {
        const FlipModel<T> &f = *m;
        energy += gain[k];
        const uint8_t was = x[k];
        x[k] = was ^ 1u;
        if (f.has_constraints()) {
            T s = 0;
            for (uint32_t q = f.var_occ_start[k]; q < f.var_occ_start[k + 1]; ++q) s += contrib[f.var_occ[q]];
            // gain[k] = objective part O + s becomes -O + s (the constraint
            // contributions are refreshed below).
            gain[k] = s + s - gain[k];
        } else {
            gain[k] = -gain[k];
        }
        changed(k);
        const uint32_t *av = f.adj_var.data();
        const T *aw = f.adj_w.data();
        for (uint64_t e = f.adj_start[k], end = f.adj_start[k + 1]; e < end; ++e) {
            const uint32_t j = av[e];
            // d gain_j = (1 - 2 x_j) * J_jk * (x_k' - x_k): positive exactly when x_j == old x_k.
            if (x[j] == was) {
                gain[j] += aw[e];
            } else {
                gain[j] -= aw[e];
            }
            changed(j);
        }
        if (f.has_constraints()) {
            for (uint32_t q = f.var_occ_start[k]; q < f.var_occ_start[k + 1]; ++q) {
                const uint32_t o = f.var_occ[q];
                const uint32_t c = f.occ_cons[o];
                // The change of the body: x_k's new value times its linear
                // coefficient and partners (partners unchanged by this flip).
                T d = f.occ_a[o];
                for (uint32_t p = f.occ_pair_start[o]; p < f.occ_pair_start[o + 1]; ++p) {
                    if (x[f.pair_var[p]]) d += f.pair_w[p];
                }
                if (was) {
                    body[c] -= d;
                } else {
                    body[c] += d;
                }
                refresh_constraint(c, changed);
            }
        }
    }
};

}  // namespace vexa::mod
