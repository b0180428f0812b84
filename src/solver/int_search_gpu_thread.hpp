// The GPU thread of the native integer search: beside the CPU workers it
// keeps a small pool of elite states, sends the module batches of eight
// candidate rows made from the pool by four operators, and takes back the
// rows the module improved. Every returned row is priced again here, exactly,
// before it may count: an engine whose arithmetic disagrees with the model
// ends the process.
#pragma once

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "core/fatal.hpp"
#include "solver/int_search_engine.hpp"
#include "solver/int_search_worker.hpp"

namespace vexa::intsearch {

inline constexpr size_t kElitePoolCapacity = 10;
inline constexpr uint32_t kGpuBatchRows = 8;

// Operators of a candidate row. kFromBest marks a pool entry copied from the
// shared best; it never makes a row.
enum GpuOp : uint8_t { kFromBest = 0, kRandom = 1, kElite = 2, kKick = 3, kCross = 4 };

template <class T>
struct PoolEntry {
    T energy;
    std::vector<T> state;
    uint8_t op;
};

// At most ten distinct states, by ascending energy; among equal energies the
// earlier insertion stays first.
template <class T>
class ElitePool {
public:
    // False when the state is already in the pool, or the pool is full and
    // the energy is not below its last entry's.
    bool insert(const T &energy, const std::vector<T> &state, uint8_t op) {
        for (const PoolEntry<T> &e : entries_) {
            if (e.state == state) return false;
        }
        if (entries_.size() == kElitePoolCapacity && !(energy < entries_.back().energy)) return false;
        auto at = std::find_if(entries_.begin(), entries_.end(),
                               [&](const PoolEntry<T> &e) { return energy < e.energy; });
        entries_.insert(at, PoolEntry<T>{energy, state, op});
        if (entries_.size() > kElitePoolCapacity) entries_.pop_back();
        return true;
    }
    size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }
    const PoolEntry<T> &operator[](size_t i) const { return entries_[i]; }

private:
    std::vector<PoolEntry<T>> entries_;
};

// Makes the candidate state of one batch row from the pool. Rows 0 and 1,
// and every row while the pool is empty, are random states. Otherwise the
// operator is, one time in twenty, uniform in 1 to 4, else that of a random
// pool entry (uniform again for an entry taken from the shared best), so an
// operator reproduces in proportion to its share of the pool.
template <class T, class Draw>
uint8_t make_candidate(const IntSearchTables<T> &t, const ElitePool<T> &pool, uint32_t row, uint32_t stagnation,
                       Draw &draw, std::vector<T> &x) {
    auto uniform_op = [&draw] { return static_cast<uint8_t>((draw() & 3) + 1); };
    uint8_t op = kRandom;
    if (row >= 2 && !pool.empty()) {
        if (draw() % 20 == 0) {
            op = uniform_op();
        } else {
            op = pool[draw() % pool.size()].op;
            if (op == kFromBest) op = uniform_op();
        }
    }
    if (op == kCross && pool.size() < 2) op = kRandom;
    switch (op) {
        case kElite: x = pool[0].state; break;
        case kKick:
            x = pool[draw() % pool.size()].state;
            kick_state(t, draw, x, stagnation);
            break;
        case kCross: {
            const size_t a = draw() % pool.size();
            size_t b = draw() % (pool.size() - 1);
            if (b >= a) ++b;
            x = pool[a].state;
            const std::vector<T> &other = pool[b].state;
            for (uint32_t i = 0; i < t.p.total; ++i) {
                if (draw() & 1) x[i] = other[i];
            }
            break;
        }
        default: random_state(t, draw, x); break;
    }
    return op;
}

// The thread itself: one per search, when the driver lent a GPU engine.
template <class T>
class GpuThread {
public:
    explicit GpuThread(Engine<T> &engine)
        : e_(engine),
          t_(engine.tables_),
          p_(engine.tables_.p),
          rng_(engine.opts_.seed ^ 0xA24BAED4963EE407ull),
          wpr_(std::max<uint32_t>(1, (p_.n_bin + 63) / 64)),
          ipr_(std::max<uint32_t>(1, p_.n_int)),
          bits_in_(kGpuBatchRows * wpr_),
          ints_in_(kGpuBatchRows * ipr_),
          bits_out_(kGpuBatchRows * wpr_),
          ints_out_(kGpuBatchRows * ipr_),
          energies_out_(kGpuBatchRows),
          flags_out_(kGpuBatchRows),
          ops_(kGpuBatchRows),
          x_(p_.total, T(0)),
          bodies_(p_.cons.size()) {}

    void run() {
        const IntSearchOpts &o = e_.opts_;
        if (o.hint_bits != nullptr && o.gpu_hint != nullptr) o.gpu_hint(o.gpu_handle, o.hint_bits, o.hint_ints);
        for (;;) {
            if (e_.stopped() || e_.timed_out()) return;
            poll_hint();
            take_shared_best();
            fill_batch();
            std::fill(flags_out_.begin(), flags_out_.end(), 0);
            if (o.gpu_round(o.gpu_handle, bits_in_.data(), ints_in_.data(), kGpuBatchRows, bits_out_.data(),
                            ints_out_.data(), energies_out_.data(), flags_out_.data()) != 0) {
                return;
            }
            e_.gpu_rounds_.fetch_add(1);
            for (uint32_t s = 0; s < kGpuBatchRows; ++s) {
                if (flags_out_[s] != 0) take_submission(s);
            }
        }
    }

private:
    Engine<T> &e_;
    const IntSearchTables<T> &t_;
    const FlatProblem<T> &p_;
    std::mt19937_64 rng_;
    const uint32_t wpr_, ipr_;
    std::vector<uint64_t> bits_in_;
    std::vector<coeff_t> ints_in_;
    std::vector<uint64_t> bits_out_;
    std::vector<coeff_t> ints_out_;
    std::vector<coeff_t> energies_out_;
    std::vector<uint8_t> flags_out_;
    std::vector<uint8_t> ops_;
    std::vector<T> x_;
    std::vector<T> bodies_;
    ElitePool<T> pool_;
    Stagnation<T> stagnation_;

    void poll_hint() {
        const IntSearchOpts &o = e_.opts_;
        if (o.hint_poll == nullptr || o.gpu_hint == nullptr) return;
        std::vector<uint64_t> bits;
        std::vector<coeff_t> ints;
        if (!o.hint_poll(o.hint_poll_ctx, 1, bits, ints)) return;
        bits.resize(wpr_, 0);
        ints.resize(ipr_, coeff_t(0));
        o.gpu_hint(o.gpu_handle, bits.data(), ints.data());
    }

    void take_shared_best() {
        std::lock_guard<std::mutex> lock(e_.mutex_);
        if (!e_.has_best_) return;
        stagnation_.note(e_.best_energy_);
        pool_.insert(e_.best_energy_, e_.best_state_, kFromBest);
    }

    void fill_batch() {
        std::fill(bits_in_.begin(), bits_in_.end(), 0);
        auto draw = [this] { return rng_(); };
        for (uint32_t s = 0; s < kGpuBatchRows; ++s) {
            ops_[s] = make_candidate(t_, pool_, s, stagnation_.count, draw, x_);
            uint64_t *bits = bits_in_.data() + s * wpr_;
            for (uint32_t i = 0; i < p_.n_bin; ++i) {
                if (!is_zero(x_[i])) bits[i >> 6] |= uint64_t(1) << (i & 63);
            }
            for (uint32_t k = 0; k < p_.n_int; ++k) ints_in_[s * ipr_ + k] = to_coeff(x_[p_.n_bin + k]);
        }
    }

    void take_submission(uint32_t s) {
        const uint64_t *bits = bits_out_.data() + s * wpr_;
        for (uint32_t i = 0; i < p_.n_bin; ++i) x_[i] = T((bits[i >> 6] >> (i & 63)) & 1);
        for (uint32_t k = 0; k < p_.n_int; ++k) x_[p_.n_bin + k] = from_coeff<T>(ints_out_[s * ipr_ + k]);
        const T energy = p_.full_energy(x_.data());
        if (to_coeff(energy) != energies_out_[s]) {
            fatal(std::string(e_.opts_.solver_name) +
                  ": internal error \xe2\x80\x94 GPU integer engine energy mismatch.");
        }
        e_.gpu_submissions_.fetch_add(1);
        pool_.insert(energy, x_, ops_[s]);
        for (size_t k = 0; k < p_.cons.size(); ++k) bodies_[k] = p_.body(p_.cons[k], x_.data());
        e_.record(x_, energy, bodies_);
    }
};

}  // namespace vexa::intsearch
