// Enumeration of one partition: the top `fixed_bits` variables hold the bits
// of the partition index, the others run through all their values.
//
// Block path (models without constraints): the low L variables form a block
// whose own energies q[y] are tabulated once; the remaining free variables
// follow a Gray code, one flip per step, keeping per-variable local fields,
// the energy of the high part and the linear fields l it puts on the block.
// For each high state the whole block is priced at once, e = base + q[y] +
// sum of l over y, a few word operations per state. Enumeration order:
// high states in Gray order, within each the block in ascending y.
//
// Gray path (any model): a Gray code over all free variables; each step
// flips one variable, its energy change comes from its local field plus the
// exact penalty change of each constraint that holds it (bodies kept per
// constraint), and the fields of its neighbours are updated.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "block_kernel.hpp"
#include "constraint/pricing.hpp"
#include "enumeration_model.hpp"
#include "partition_collector.hpp"

namespace vexa::mod {

// What a partition's loop needs to know about the whole search.
template <class T>
struct EnumerationControl {
    std::atomic<bool> *stop = nullptr;
    const Stopwatch *clock = nullptr;
    double time_limit = -1.0;  // below 0: none
    bool has_target = false;
    T target_rel = 0;          // target energy minus the model constant
    std::atomic<bool> *target_reached = nullptr;
    const volatile uint8_t *external_stop = nullptr;  // the caller's stop byte, null if none
    std::atomic<bool> *stop_requested = nullptr;      // set when that byte ended the search

    // The search must end: time limit, target, or the caller's stop request.
    bool out_of_time() const {
        if (stop->load(std::memory_order_relaxed)) return true;
        if (external_stop != nullptr && *external_stop != 0) {
            stop_requested->store(true);
            stop->store(true);
            return true;
        }
        if (time_limit >= 0.0 && clock->seconds() >= time_limit) {
            stop->store(true);
            return true;
        }
        return false;
    }
    void reached() {
        target_reached->store(true);
        stop->store(true);
    }
};

template <class T>
struct BlockTable {
    uint32_t low_bits = 0;
    std::vector<T> q;  // energy of the block alone, for each y
};

template <class T>
BlockTable<T> make_block_table(const EnumerationModel<T> &m, uint32_t low_bits) {
    BlockTable<T> t;
    t.low_bits = low_bits;
    const uint64_t size = uint64_t(1) << low_bits;
    t.q.assign(size, T(0));
    std::vector<T> lin(size, T(0));
    for (uint32_t b = 0; b < low_bits; ++b) {
        const uint64_t half = uint64_t(1) << b;
        // lin[y] = sum of J_bj over the bits j of y (j < b).
        lin[0] = 0;
        for (uint64_t y = 1; y < half; ++y) {
            const uint32_t j = static_cast<uint32_t>(__builtin_ctzll(y));
            lin[y] = lin[y & (y - 1)] + m.dense[static_cast<size_t>(b) * m.n + j];
        }
        for (uint64_t y = 0; y < half; ++y) t.q[half + y] = t.q[y] + m.flip.h[b] + lin[y];
    }
    return t;
}

template <class T>
void enumerate_block_partition(const EnumerationModel<T> &m, const BlockTable<T> &table, uint32_t fixed_bits,
                               uint64_t partition, PartitionCollector<T> &col, EnumerationControl<T> &ctl,
                               std::vector<T> &s) {
    const uint32_t n = m.n, low = table.low_bits;
    const uint32_t free_bits = n - fixed_bits;
    const uint32_t mid = free_bits - low;
    uint64_t z = partition << free_bits;  // high part of the state (low block bits 0)
    const FlipModel<T> &f = m.flip;

    // Fields of the high variables, linear fields on the block, energy of the high part.
    std::vector<T> field(n, T(0)), l(low, T(0));
    T base = 0;
    for (uint32_t v = low; v < n; ++v) {
        field[v] = f.h[v];
        for (uint32_t j = low; j < n; ++j) {
            if ((z >> j) & 1u) field[v] += m.dense[static_cast<size_t>(v) * n + j];
        }
    }
    for (uint32_t i = 0; i < low; ++i) {
        for (uint32_t j = low; j < n; ++j) {
            if ((z >> j) & 1u) l[i] += m.dense[static_cast<size_t>(i) * n + j];
        }
    }
    for (uint32_t v = low; v < n; ++v) {
        if (!((z >> v) & 1u)) continue;
        base += f.h[v];
        for (uint32_t j = v + 1; j < n; ++j) {
            if ((z >> j) & 1u) base += m.dense[static_cast<size_t>(v) * n + j];
        }
    }
    const uint64_t block = uint64_t(1) << low;
    s.resize(block);
    const uint64_t steps = uint64_t(1) << mid;
    for (uint64_t u = 0; u < steps; ++u) {
        if (u > 0) {
            const uint32_t v = low + static_cast<uint32_t>(__builtin_ctzll(u));
            const bool was = (z >> v) & 1u;
            if (was) {
                base -= field[v];
            } else {
                base += field[v];
            }
            z ^= uint64_t(1) << v;
            for (uint64_t e = f.adj_start[v]; e < f.adj_start[v + 1]; ++e) {
                const uint32_t j = f.adj_var[e];
                T &target = j >= low ? field[j] : l[j];
                if (was) {
                    target -= f.adj_w[e];
                } else {
                    target += f.adj_w[e];
                }
            }
            if ((u & 63) == 0 && ctl.out_of_time()) return;
        }
        T minimum;
        if constexpr (std::is_same_v<T, int64_t>) {
            minimum = block_minimum(table.q.data(), s.data(), l.data(), low);
        } else {
            s[0] = 0;
            for (uint32_t b = 0; b < low; ++b) {
                const uint64_t half = uint64_t(1) << b;
                for (uint64_t y = 0; y < half; ++y) s[half + y] = s[y] + l[b];
            }
            minimum = table.q[0] + s[0];
            for (uint64_t y = 1; y < block; ++y) {
                T e = table.q[y] + s[y];
                if (e < minimum) minimum = std::move(e);
            }
        }
        col.states += block;
        if (col.wants(T(base + minimum))) {
            for (uint64_t y = 0; y < block; ++y) {
                T e = base + table.q[y] + s[y];
                if (col.wants(e)) col.offer(e, z | y);
            }
            if (ctl.has_target && col.best <= ctl.target_rel) {
                ctl.reached();
                return;
            }
        }
    }
    col.complete = true;
}

template <class T>
void enumerate_gray_partition(const EnumerationModel<T> &m, uint32_t fixed_bits, uint64_t partition,
                              PartitionCollector<T> &col, EnumerationControl<T> &ctl) {
    const uint32_t n = m.n;
    const uint32_t free_bits = n - fixed_bits;
    const FlipModel<T> &f = m.flip;
    uint64_t x = free_bits >= 64 ? 0 : partition << free_bits;
    auto bit = [&x](uint32_t i) { return static_cast<bool>((x >> i) & 1u); };

    // Full evaluation of the start state.
    std::vector<T> field(n, T(0));
    T energy = 0;
    for (uint32_t v = 0; v < n; ++v) {
        field[v] = f.h[v];
        for (uint64_t e = f.adj_start[v]; e < f.adj_start[v + 1]; ++e) {
            if (bit(f.adj_var[e])) field[v] += f.adj_w[e];
        }
        if (bit(v)) {
            energy += f.h[v];
            for (uint64_t e = f.adj_start[v]; e < f.adj_start[v + 1]; ++e) {
                if (f.adj_var[e] > v && bit(f.adj_var[e])) energy += f.adj_w[e];
            }
        }
    }
    const uint32_t cons = f.constraint_count();
    std::vector<T> body(cons), pen(cons);
    for (uint32_t c = 0; c < cons; ++c) {
        T b = f.b0[c];
        for (uint32_t o = f.cons_occ_start[c]; o < f.cons_occ_start[c + 1]; ++o) {
            const uint32_t i = f.occ_var[o];
            if (!bit(i)) continue;
            b += f.occ_a[o];
            for (uint32_t p = f.occ_pair_start[o]; p < f.occ_pair_start[o + 1]; ++p) {
                if (f.pair_var[p] > i && bit(f.pair_var[p])) b += f.pair_w[p];
            }
        }
        body[c] = b;
        pen[c] = constraint_penalty(f.shape[c], body[c]);
        energy += pen[c];
    }
    auto visit = [&]() -> bool {
        if (col.wants(energy)) {
            col.offer(energy, x);
            if (ctl.has_target && energy <= ctl.target_rel) {
                ctl.reached();
                return false;
            }
        }
        return true;
    };
    col.states += 1;
    if (!visit()) return;
    const uint64_t steps = free_bits >= 64 ? 0 : uint64_t(1) << free_bits;
    for (uint64_t t = 1; t < steps; ++t) {
        const uint32_t k = static_cast<uint32_t>(__builtin_ctzll(t));
        const bool was = bit(k);
        T delta = was ? T(-field[k]) : field[k];
        for (uint32_t q = f.var_occ_start[k]; q < f.var_occ_start[k + 1]; ++q) {
            const uint32_t o = f.var_occ[q];
            const uint32_t c = f.occ_cons[o];
            T d = f.occ_a[o];
            for (uint32_t p = f.occ_pair_start[o]; p < f.occ_pair_start[o + 1]; ++p) {
                if (bit(f.pair_var[p])) d += f.pair_w[p];
            }
            if (was) {
                body[c] -= d;
            } else {
                body[c] += d;
            }
            T np = constraint_penalty(f.shape[c], body[c]);
            delta += np;
            delta -= pen[c];
            pen[c] = std::move(np);
        }
        x ^= uint64_t(1) << k;
        energy += delta;
        for (uint64_t e = f.adj_start[k]; e < f.adj_start[k + 1]; ++e) {
            if (was) {
                field[f.adj_var[e]] -= f.adj_w[e];
            } else {
                field[f.adj_var[e]] += f.adj_w[e];
            }
        }
        col.states += 1;
        if (!visit()) return;
        if ((t & 0x3FFF) == 0 && ctl.out_of_time()) return;
    }
    col.complete = true;
}

}  // namespace vexa::mod
