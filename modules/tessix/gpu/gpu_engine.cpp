#include "gpu_engine.hpp"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "core/fatal.hpp"
#include "core/number_type.hpp"
#include "energy_record.hpp"
#include "exact_energy.hpp"
#include "module_output.hpp"
#include "packed_bits.hpp"
#include "rng.hpp"
#include "stopwatch.hpp"

namespace vexa::tessix {

namespace {

bool stop_requested(const volatile uint8_t *stop) { return stop != nullptr && *stop != 0; }

// Replicas of one batch on the device, and on the host per thread.
constexpr uint32_t kDeviceReplicas = 1024;
constexpr uint32_t kHostReplicasPerThread = 2;
constexpr uint32_t kMaxIntReplicas = 1u << 16;
constexpr double kKickMax = 0.3;

}  // namespace

bool Backend::prepare(const mod::ModelArrays &arrays, bool use_device) {
    if (!prepared) {
        build = build_compact_model(arrays);
        prepared = true;
    }
    if (build.ok && use_device && !device_tried) {
        session = device_session_open(build.model.view());
        device_tried = true;
    }
    return build.ok;
}

void Backend::invalidate() {
    prepared = false;
    device_tried = false;
    device_session_close(session);
    session = nullptr;
}

void refuse_binary_model(const std::string &reason) {
    fatal(kTag, "the GPU search takes only models whose energies fit in 64-bit integers and whose "
                "constraint bodies are linear (this one has " + reason + "); use gpu_mode 0.");
}

void Backend::run(const ReplicaJob &job, int64_t *states, int64_t *energies, uint32_t host_threads,
                  const volatile uint8_t *stop) {
    if (session != nullptr) {
        if (device_run_batch(session, job, states, energies)) return;
        // A failed launch leaves the rows as they were; the host takes over.
        device_session_close(session);
        session = nullptr;
    }
    run_batch_host(build.model.view(), job, states, energies, host_threads, stop);
}

std::string Backend::describe() const {
    if (session != nullptr) return std::string("cuda:") + device_name();
    return "host";
}

uint32_t adapt_sweeps(uint32_t sweeps, double batch_seconds) {
    if (batch_seconds < kBatchSeconds / 2 && sweeps < (1u << 14)) return sweeps * 2;
    if (batch_seconds > kBatchSeconds * 4 && sweeps > 1) return sweeps / 2;
    return sweeps;
}

void fill_tessix_solution(TessixSolution *out, const coeff_t &energy, const std::vector<uint64_t> &bits,
                          double tts) {
    if (out == nullptr) return;
    mod::coeff_to_out_record(energy, &out->energy);
    if (out->bits != nullptr) {
        for (uint32_t w = 0; w < out->word_count; ++w) out->bits[w] = w < bits.size() ? bits[w] : 0;
    }
    out->tts = tts;
}

BinaryOutcome binary_search(BinaryHandle &h, const mod::SearchParams &p, vexa_module_callback callback) {
    const mod::Stopwatch clock;
    if (!h.backend.prepare(h.arrays, true)) refuse_binary_model(h.backend.build.reason);
    const CompactModel &m = h.backend.build.model;
    const CompactView view = m.view();
    const uint32_t n = m.n;
    const uint32_t wc = mod::word_count_for(n);
    const double limit = p.has_time_limit ? p.time_limit : 10.0;
    const uint64_t seed = mod::resolve_seed(p);
    const uint32_t threads = p.threads != 0 ? p.threads : default_thread_count();
    const uint32_t replicas = h.backend.session != nullptr ? kDeviceReplicas : std::max(2u, threads * kHostReplicasPerThread);

    BinaryOutcome out;
    out.list = mod::list_for_params(p);
    std::vector<int64_t> states(static_cast<uint64_t>(replicas) * n), energies(replicas), best_x;
    std::vector<uint64_t> words(wc);
    bool have_best = false;
    mod::Rng rng(mod::thread_seed(seed, 0));
    uint32_t sweeps = h.backend.session != nullptr ? 64 : 8;

    auto offer = [&](const int64_t *x, int64_t e) {
        const coeff_t energy = m.c0 + e;
        for (uint32_t w = 0; w < wc; ++w) words[w] = 0;
        for (uint32_t i = 0; i < n; ++i) {
            if (x[i] != 0) words[i / 64] |= uint64_t(1) << (i % 64);
        }
        const double t = clock.seconds();
        if (out.list.active()) out.list.offer(energy, words.data(), wc, t);
        if (have_best && energy >= out.energy) return;
        if (mod::exact_energy(h.arrays, words.data(), nullptr) != energy) {
            fatal(kTag, "internal error — GPU state energy mismatch.");
        }
        have_best = true;
        out.energy = energy;
        out.bits = words;
        out.tts = t;
        best_x.assign(x, x + n);
        if (callback != nullptr) {
            vexa_bigint rec{0, 0, nullptr};
            mod::coeff_to_out_record(energy, &rec);
            callback(h.wrapper, &rec, out.bits.data(), 1, t);
            std::free(rec.limbs);
        }
    };

    uint64_t batch = 0;
    for (;; ++batch) {
        std::vector<uint64_t> hint;
        {
            std::lock_guard<std::mutex> lock(h.hint_mutex);
            if (h.hint_pending) hint.swap(h.hint);
            h.hint_pending = false;
        }
        for (uint32_t k = 0; k < replicas; ++k) {
            int64_t *row = states.data() + static_cast<uint64_t>(k) * n;
            if (k == 0 && !hint.empty()) {
                for (uint32_t i = 0; i < n; ++i) row[i] = (hint[i / 64] >> (i % 64)) & 1u;
            } else if (have_best && k % 4 != 3) {
                std::copy(best_x.begin(), best_x.end(), row);
            } else {
                for (uint32_t i = 0; i < n; ++i) row[i] = static_cast<int64_t>(rng.next() & 1u);
            }
        }
        ReplicaJob job;
        job.seed = seed;
        job.batch = batch;
        job.replicas = replicas;
        job.sweeps = sweeps;
        // Batches alternate between annealing from hot and a short, cool
        // re-annealing of the kicked best state.
        job.hot_scale = (have_best && batch % 2 == 1) ? 0.1 : 1.0;
        job.kick_max = have_best ? kKickMax : 0.0;
        const double t0 = clock.seconds();
        h.backend.run(job, states.data(), energies.data(), threads, h.stop);
        sweeps = adapt_sweeps(sweeps, clock.seconds() - t0);
        if (!hint.empty()) {
            // The hint itself competes as it came, before its replica moved it.
            std::vector<int64_t> x(n), field(n), body(m.constraint_count());
            for (uint32_t i = 0; i < n; ++i) x[i] = (hint[i / 64] >> (i % 64)) & 1u;
            ReplicaView r{x.data(), field.data(), body.data(), 1, 0};
            replica_load(view, r);
            offer(x.data(), r.energy);
        }
        for (uint32_t k = 0; k < replicas; ++k) offer(states.data() + static_cast<uint64_t>(k) * n, energies[k]);
        if (p.has_target && out.energy <= p.target_energy) break;
        if (stop_requested(h.stop) || clock.seconds() >= limit) break;
    }

    out.info.emplace_back("algorithm", "replica annealing");
    out.info.emplace_back("backend", h.backend.describe());
    out.info.emplace_back("replicas", std::to_string(replicas));
    out.info.emplace_back("batches", std::to_string(batch + 1));
    out.info.emplace_back("sweeps", std::to_string(sweeps));
    out.info.emplace_back("seed", std::to_string(seed));
    out.info.emplace_back("arithmetic", "int64");
    out.info.emplace_back("best_time", mod::fixed_text(out.tts));
    out.info.emplace_back("search_time", mod::fixed_text(clock.seconds()));
    return out;
}

int int_round(IntHandle &h, const uint64_t *bits_in, const coeff_t *ints_in, uint32_t count, uint64_t *bits_out,
              coeff_t *ints_out, coeff_t *energies_out, uint8_t *flags_out) {
    for (uint32_t s = 0; s < count; ++s) flags_out[s] = 0;
    if (h.declined || count == 0) return h.declined ? 1 : 0;
    if (!h.backend.prepare(h.arrays, true)) {
        h.declined = true;
        return 1;
    }
    const CompactModel &m = h.backend.build.model;
    const CompactView view = m.view();
    const uint32_t n = m.n, nb = h.arrays.bin_count, ni = h.arrays.int_count;
    const uint32_t wpr = std::max(1u, mod::word_count_for(nb)), ipr = std::max(1u, ni);
    const uint32_t per_row = std::max(1u, std::min(h.replicas, kMaxIntReplicas) / count);
    const uint32_t total = per_row * count;

    std::vector<uint64_t> hint_bits;
    std::vector<coeff_t> hint_ints;
    {
        std::lock_guard<std::mutex> lock(h.hint_mutex);
        if (h.hint_pending) {
            hint_bits.swap(h.hint_bits);
            hint_ints.swap(h.hint_ints);
        }
        h.hint_pending = false;
    }

    h.states.resize(static_cast<uint64_t>(total) * n);
    h.energies.resize(total);
    std::vector<int64_t> start(n), field(n), body(m.constraint_count()), start_energy(count);
    std::vector<uint8_t> valid(count, 1);
    for (uint32_t s = 0; s < count; ++s) {
        const bool hinted = s == 0 && !hint_bits.empty();
        const uint64_t *bits = hinted ? hint_bits.data() : bits_in + static_cast<uint64_t>(s) * wpr;
        const coeff_t *ints = hinted ? hint_ints.data() : ints_in + static_cast<uint64_t>(s) * ipr;
        for (uint32_t i = 0; i < nb; ++i) start[i] = (bits[i / 64] >> (i % 64)) & 1u;
        for (uint32_t k = 0; k < ni; ++k) {
            // A row value outside the bounds cannot be a search state.
            if (ints[k] < h.arrays.int_lower[k] || ints[k] > h.arrays.int_upper[k]) {
                valid[s] = 0;
                start[nb + k] = m.lower[nb + k];
            } else {
                start[nb + k] = from_coeff<int64_t>(ints[k]);
            }
        }
        ReplicaView r{start.data(), field.data(), body.data(), 1, 0};
        replica_load(view, r);
        start_energy[s] = r.energy;
        for (uint32_t k = 0; k < per_row; ++k) {
            std::copy(start.begin(), start.end(), h.states.begin() + static_cast<int64_t>((uint64_t(s) * per_row + k) * n));
        }
    }

    ReplicaJob job;
    job.seed = h.seed;
    job.batch = h.round++;
    job.replicas = total;
    job.sweeps = h.sweeps;
    job.kick_max = kKickMax;
    job.kick_period = per_row;
    const mod::Stopwatch clock;
    h.backend.run(job, h.states.data(), h.energies.data(), std::min(4u, default_thread_count()), nullptr);
    h.sweeps = adapt_sweeps(h.sweeps, clock.seconds());

    for (uint32_t s = 0; s < count; ++s) {
        if (!valid[s]) continue;
        uint32_t best = s * per_row;
        for (uint32_t k = best + 1; k < (s + 1) * per_row; ++k) {
            if (h.energies[k] < h.energies[best]) best = k;
        }
        if (h.energies[best] >= start_energy[s]) continue;
        const int64_t *x = h.states.data() + static_cast<uint64_t>(best) * n;
        uint64_t *bits = bits_out + static_cast<uint64_t>(s) * wpr;
        coeff_t *ints = ints_out + static_cast<uint64_t>(s) * ipr;
        for (uint32_t w = 0; w < wpr; ++w) bits[w] = 0;
        for (uint32_t i = 0; i < nb; ++i) {
            if (x[i] != 0) bits[i / 64] |= uint64_t(1) << (i % 64);
        }
        for (uint32_t k = 0; k < ni; ++k) ints[k] = x[nb + k];
        const coeff_t energy = m.c0 + h.energies[best];
        if (mod::exact_energy(h.arrays, bits, ints) != energy) {
            fatal(kTag, "internal error — GPU integer state energy mismatch.");
        }
        energies_out[s] = energy;
        flags_out[s] = 1;
    }
    return 0;
}

}  // namespace vexa::tessix
