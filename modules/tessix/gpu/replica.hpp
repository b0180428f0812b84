// The search of one replica over a CompactView, written once for the host and
// the device. A replica keeps its values x, the local fields
//   field_i = h_i + sum_j J_ij x_j      (the self term s_i x_i^2 apart)
// and the constraint bodies, so that the exact change of moving x_v from a to
// b costs only the occurrences of v:
//   delta = (b - a) field_v + s_v (b^2 - a^2) + sum_c P_c(B_c + a_cv (b - a)) - P_c(B_c),
// and applying it costs v's adjacency list besides. All arithmetic is int64_t,
// which the model's build proved exact.
//
// Moves: a binary variable flips; an integer variable of range below 16 is
// redrawn uniformly among its other values; a wider one steps up or down by a
// power of two, 1, 2, 4, ... up to the first power above half its range (a
// step out of bounds is no move).
#pragma once

#include <cmath>
#include <cstdint>

#include "compact_view.hpp"
#include "counter_rng.hpp"
#include "hd.hpp"

namespace vexa::tessix {

// Where one replica keeps its arrays: entry i at [i * stride], so that the
// device can interleave replicas (stride = replica count) and the host keep
// each one contiguous (stride 1).
struct ReplicaView {
    int64_t *x = nullptr;      // n values
    int64_t *field = nullptr;  // n local fields
    int64_t *body = nullptr;   // one body per constraint
    uint32_t stride = 1;
    int64_t energy = 0;        // E - c0
};

// Offset of entry i of a replica's array (64-bit: the variables times the
// replicas of a large device batch may pass 2^32).
VEXA_HD uint64_t at(uint32_t i, uint32_t stride) { return static_cast<uint64_t>(i) * stride; }

// Ranges below this are searched by redrawing the value.
constexpr int64_t kDenseRange = 16;

// The penalty of constraint c at body value b: weight * D, times D again for
// the quadratic shape; D the distance from [lower, upper] (both gaps count
// when lower is above upper) or from the nearest allowed interval.
VEXA_HD int64_t compact_penalty(const CompactView &m, uint32_t c, int64_t b) {
    int64_t d = 0;
    const uint32_t a0 = m.c_allowed_start[c], a1 = m.c_allowed_start[c + 1];
    if (a0 == a1) {
        if (b < m.c_lower[c]) d = m.c_lower[c] - b;
        if (b > m.c_upper[c]) d += b - m.c_upper[c];
    } else {
        for (uint32_t k = a0; k < a1; ++k) {
            int64_t dk = 0;
            if (b < m.allowed_lo[k]) {
                dk = m.allowed_lo[k] - b;
            } else if (b > m.allowed_hi[k]) {
                dk = b - m.allowed_hi[k];
            }
            if (k == a0 || dk < d) d = dk;
            if (d == 0) break;
        }
    }
    if (d == 0) return 0;
    int64_t q = m.c_weight[c] * d;
    if (m.c_exponent[c] == 2) q *= d;
    return q;
}

// Number of power-of-two steps of a wide variable of range R: 1, 2, 4, ...,
// the last one the first power above R / 2.
VEXA_HD uint32_t step_count(int64_t range) {
    uint32_t k = 1;
    int64_t s = 1;
    while (s <= range / 2) {
        s *= 2;
        ++k;
    }
    return k;
}

// Loads the values already in r.x: fields, bodies and energy from scratch.
VEXA_HD void replica_load(const CompactView &m, ReplicaView &r) {
    const uint32_t st = r.stride;
    int64_t e = 0;
    for (uint32_t c = 0; c < m.n_cons; ++c) r.body[at(c, st)] = m.c_b0[c];
    for (uint32_t i = 0; i < m.n; ++i) {
        const int64_t xi = r.x[at(i, st)];
        int64_t f = m.h[i];
        for (uint64_t k = m.adj_start[i]; k < m.adj_start[i + 1]; ++k) {
            const uint32_t j = m.adj_var[k];
            const int64_t xj = r.x[at(j, st)];
            f += m.adj_w[k] * xj;
            // Each product once, from its smaller end.
            if (j > i) e += m.adj_w[k] * xi * xj;
        }
        r.field[at(i, st)] = f;
        if (xi != 0) {
            e += m.h[i] * xi + m.sq[i] * xi * xi;
            for (uint32_t o = m.occ_start[i]; o < m.occ_start[i + 1]; ++o) r.body[at(m.occ_cons[o], st)] += m.occ_a[o] * xi;
        }
    }
    for (uint32_t c = 0; c < m.n_cons; ++c) e += compact_penalty(m, c, r.body[at(c, st)]);
    r.energy = e;
}

// The exact energy change of setting x_v to nv.
VEXA_HD int64_t move_delta(const CompactView &m, const ReplicaView &r, uint32_t v, int64_t nv) {
    const uint32_t st = r.stride;
    const int64_t old = r.x[at(v, st)];
    const int64_t d = nv - old;
    if (d == 0) return 0;
    int64_t delta = d * r.field[at(v, st)];
    if (m.sq[v] != 0) delta += m.sq[v] * (nv * nv - old * old);
    for (uint32_t o = m.occ_start[v]; o < m.occ_start[v + 1]; ++o) {
        const uint32_t c = m.occ_cons[o];
        const int64_t b = r.body[at(c, st)];
        delta += compact_penalty(m, c, b + m.occ_a[o] * d) - compact_penalty(m, c, b);
    }
    return delta;
}

// Sets x_v to nv, whose change `delta` came from move_delta.
VEXA_HD void apply_move(const CompactView &m, ReplicaView &r, uint32_t v, int64_t nv, int64_t delta) {
    const uint32_t st = r.stride;
    const int64_t d = nv - r.x[at(v, st)];
    r.x[at(v, st)] = nv;
    for (uint64_t k = m.adj_start[v]; k < m.adj_start[v + 1]; ++k) r.field[at(m.adj_var[k], st)] += m.adj_w[k] * d;
    for (uint32_t o = m.occ_start[v]; o < m.occ_start[v + 1]; ++o) r.body[at(m.occ_cons[o], st)] += m.occ_a[o] * d;
    r.energy += delta;
}

// A random move of variable v from its value xv; false when there is none
// (a fixed variable, or a step that leaves the bounds).
VEXA_HD bool propose_move(const CompactView &m, uint32_t v, int64_t xv, CounterRng &rng, int64_t &nv) {
    if (v < m.n_bin) {
        nv = 1 - xv;
        return true;
    }
    const int64_t lo = m.lower[v], hi = m.upper[v];
    const int64_t range = hi - lo;
    if (range == 0) return false;
    if (range < kDenseRange) {
        // One of the other `range` values, uniformly.
        nv = lo + static_cast<int64_t>(rng.below(static_cast<uint64_t>(range)));
        if (nv >= xv) ++nv;
        return true;
    }
    const int64_t step = int64_t(1) << rng.below(step_count(range));
    nv = (rng.next() & 1u) ? xv + step : xv - step;
    return nv >= lo && nv <= hi;
}

// A uniformly random assignment within the bounds.
VEXA_HD void random_values(const CompactView &m, ReplicaView &r, CounterRng &rng) {
    for (uint32_t i = 0; i < m.n; ++i) {
        const uint64_t span = static_cast<uint64_t>(m.upper[i] - m.lower[i]) + 1;
        r.x[at(i, r.stride)] = m.lower[i] + static_cast<int64_t>(rng.below(span));
    }
}

// Applies a random move to each variable with probability p.
VEXA_HD void kick(const CompactView &m, ReplicaView &r, CounterRng &rng, double p) {
    for (uint32_t v = 0; v < m.n; ++v) {
        if (rng.unit() >= p) continue;
        int64_t nv;
        if (propose_move(m, v, r.x[at(v, r.stride)], rng, nv)) apply_move(m, r, v, nv, move_delta(m, r, v, nv));
    }
}

// A starting temperature: the largest |delta| among `tries` random moves
// (none applied), at least 1.
VEXA_HD double probe_temperature(const CompactView &m, const ReplicaView &r, CounterRng &rng, uint32_t tries) {
    double t = 1.0;
    for (uint32_t k = 0; k < tries && m.n > 0; ++k) {
        const uint32_t v = static_cast<uint32_t>(rng.below(m.n));
        int64_t nv;
        if (!propose_move(m, v, r.x[at(v, r.stride)], rng, nv)) continue;
        const double d = ::fabs(static_cast<double>(move_delta(m, r, v, nv)));
        if (d > t) t = d;
    }
    return t;
}

// One Metropolis sweep at temperature t: every variable in order gets one
// proposal, accepted when it does not raise the energy, otherwise with
// probability exp(-delta / t). At t = 0 only non-raising moves pass.
VEXA_HD uint32_t metropolis_sweep(const CompactView &m, ReplicaView &r, CounterRng &rng, double t) {
    uint32_t accepted = 0;
    for (uint32_t v = 0; v < m.n; ++v) {
        int64_t nv;
        if (!propose_move(m, v, r.x[at(v, r.stride)], rng, nv)) continue;
        const int64_t delta = move_delta(m, r, v, nv);
        bool take = delta <= 0;
        if (!take && t > 0.0) take = rng.unit() < ::exp(-static_cast<double>(delta) / t);
        if (take) {
            apply_move(m, r, v, nv, delta);
            ++accepted;
        }
    }
    return accepted;
}

// Greedy descent: passes over all variables and all their moves (the flip;
// every other value of a narrow integer; each power-of-two step up and down
// of a wide one), taking every strict improvement at once, until a pass
// takes none (a local minimum of the move set) or `max_passes` passes ran.
// Returns true when it ended in a local minimum.
VEXA_HD bool descend(const CompactView &m, ReplicaView &r, uint32_t max_passes) {
    const uint32_t st = r.stride;
    for (uint32_t pass = 0; pass < max_passes; ++pass) {
        bool improved = false;
        for (uint32_t v = 0; v < m.n; ++v) {
            if (v < m.n_bin) {
                const int64_t nv = 1 - r.x[at(v, st)];
                const int64_t delta = move_delta(m, r, v, nv);
                if (delta < 0) {
                    apply_move(m, r, v, nv, delta);
                    improved = true;
                }
                continue;
            }
            const int64_t lo = m.lower[v], hi = m.upper[v], range = hi - lo;
            if (range < kDenseRange) {
                for (int64_t nv = lo; nv <= hi; ++nv) {
                    if (nv == r.x[at(v, st)]) continue;
                    const int64_t delta = move_delta(m, r, v, nv);
                    if (delta < 0) {
                        apply_move(m, r, v, nv, delta);
                        improved = true;
                    }
                }
                continue;
            }
            const uint32_t steps = step_count(range);
            for (uint32_t k = 0; k < steps; ++k) {
                const int64_t s = int64_t(1) << k;
                for (int sign = 0; sign < 2; ++sign) {
                    const int64_t xv = r.x[at(v, st)];
                    const int64_t nv = sign == 0 ? xv + s : xv - s;
                    if (nv < lo || nv > hi) continue;
                    const int64_t delta = move_delta(m, r, v, nv);
                    if (delta < 0) {
                        apply_move(m, r, v, nv, delta);
                        improved = true;
                    }
                }
            }
        }
        if (!improved) return true;
    }
    return false;
}

// What one batch asks of each replica.
struct ReplicaJob {
    uint64_t seed = 0;
    uint64_t batch = 0;        // with seed and the replica index, the key of its random stream
    uint32_t replicas = 1;
    uint32_t sweeps = 32;      // annealing sweeps, geometric from the probed temperature
    double hot_scale = 1.0;    // first temperature / the probed one
    double cold_ratio = 1e-3;  // last temperature / first
    double kick_max = 0.0;     // replica k is first kicked with p = kick_max * (k % period) / period
    uint32_t kick_period = 0;  // 0: the replica count
    uint32_t descent_passes = 1000;
};

// The whole work of replica `k` on the start state already in r.x: kick
// (except the first of each period), anneal, descend. Leaves the final state in r.x and returns E - c0.
VEXA_HD int64_t run_replica(const CompactView &m, ReplicaView &r, const ReplicaJob &job, uint32_t k) {
    CounterRng rng{stream_key(job.seed, job.batch, k), 0};
    replica_load(m, r);
    const uint32_t period = job.kick_period > 0 ? job.kick_period : job.replicas;
    if (k % period != 0 && job.kick_max > 0.0) kick(m, r, rng, job.kick_max * (k % period) / period);
    if (job.sweeps > 0 && m.n > 0) {
        const double hot = probe_temperature(m, r, rng, 32) * job.hot_scale;
        const double alpha = job.sweeps > 1 ? ::pow(job.cold_ratio, 1.0 / (job.sweeps - 1)) : 1.0;
        double t = hot;
        for (uint32_t s = 0; s < job.sweeps; ++s) {
            metropolis_sweep(m, r, rng, t);
            t *= alpha;
        }
    }
    descend(m, r, job.descent_passes);
    return r.energy;
}

}  // namespace vexa::tessix
