#include "exhaustive_search.hpp"

#include <thread>

#include "canonical_model.hpp"
#include "enumeration.hpp"
#include "word_fit.hpp"

namespace vexa::mod {

namespace {

constexpr uint32_t kBlockBits = 12;     // the low block: 4096 states priced at once
constexpr uint32_t kPartitionBits = 8;  // at most 256 partitions, shared out among the threads

template <class T>
ExhaustiveOutcome run_typed(const CanonicalModel &canon, const SearchParams &params, uint32_t threads,
                            const Stopwatch &clock, const volatile uint8_t *external_stop) {
    ExhaustiveOutcome out;
    out.machine_word = std::is_same_v<T, int64_t>;
    out.threads = threads;
    const EnumerationModel<T> m = make_enumeration_model<T>(canon);
    const uint32_t n = m.n;
    out.block_path = !m.flip.has_constraints() && n > 0;
    const uint32_t low = out.block_path ? std::min(n, kBlockBits) : 0;
    // The partition count depends on n only, so that the enumeration order,
    // and with it every tie, is the same for any thread count.
    const uint32_t rest = n - low;
    const uint32_t fixed = rest >= 6 ? std::min<uint32_t>(kPartitionBits, rest - 4) : 0;
    const uint64_t partitions = uint64_t(1) << fixed;
    out.partitions = static_cast<uint32_t>(partitions);

    std::atomic<bool> stop{false}, target_reached{false}, stop_requested{false};
    EnumerationControl<T> ctl;
    ctl.stop = &stop;
    ctl.external_stop = external_stop;
    ctl.stop_requested = &stop_requested;
    ctl.clock = &clock;
    ctl.time_limit = params.has_time_limit ? std::max(0.0, params.time_limit) : -1.0;
    ctl.has_target = params.has_target;
    if (params.has_target) ctl.target_rel = clamp_from_coeff<T>(params.target_energy - canon.c0);
    ctl.target_reached = &target_reached;

    BlockTable<T> table;
    if (out.block_path) table = make_block_table(m, low);

    std::vector<PartitionCollector<T>> parts(partitions);
    for (auto &p : parts) {
        p.c0 = &canon.c0;
        p.clock = &clock;
        p.list = list_for_params(params);
    }
    std::atomic<uint64_t> next{0};
    auto worker = [&]() {
        std::vector<T> scratch;
        EnumerationControl<T> local = ctl;
        while (true) {
            const uint64_t q = next.fetch_add(1);
            if (q >= partitions) break;
            // Partition 0 always runs, so even a zero time limit yields a state.
            if (q > 0 && local.out_of_time()) break;
            if (out.block_path) {
                enumerate_block_partition(m, table, fixed, q, parts[q], local, scratch);
            } else {
                enumerate_gray_partition(m, fixed, q, parts[q], local);
            }
        }
    };
    const uint32_t spawn = static_cast<uint32_t>(std::min<uint64_t>(threads, partitions));
    std::vector<std::thread> others;
    for (uint32_t t = 1; t < spawn; ++t) others.emplace_back(worker);
    worker();
    for (std::thread &th : others) th.join();
    out.seconds = clock.seconds();

    // Merge in partition order: the first state of the least energy wins, and
    // the lists see the states in enumeration order.
    out.list = list_for_params(params);
    bool have = false;
    T best = 0;
    out.complete = true;
    for (const PartitionCollector<T> &p : parts) {
        out.states += p.states;
        out.complete = out.complete && p.complete;
        if (p.have_best && (!have || p.best < best)) {
            have = true;
            best = p.best;
            out.best_state = p.best_state;
            out.best_tts = p.best_tts;
        }
        for (const ListEntry &e : p.list.entries) out.list.offer(e.energy, e.state.data(), e.state.size(), e.tts);
        out.list.truncated = out.list.truncated || p.list.truncated || p.skipped_equal;
    }
    out.best_energy = canon.c0 + to_coeff(best);
    out.target_reached = target_reached.load();
    out.stop_requested = !out.complete && !out.target_reached && stop_requested.load();
    out.time_limit_reached = !out.complete && !out.target_reached && !out.stop_requested;
    return out;
}

}  // namespace

ExhaustiveOutcome run_exhaustive(const ModelArrays &arrays, const SearchParams &params, const Stopwatch &clock,
                                 const volatile uint8_t *external_stop) {
    const CanonicalModel canon = canonicalize(kExhaustiveTag, arrays);
    const uint32_t threads = params.threads != 0 ? params.threads : default_thread_count();
    if (fits_machine_word(canon)) return run_typed<int64_t>(canon, params, threads, clock, external_stop);
    return run_typed<coeff_t>(canon, params, threads, clock, external_stop);
}

}  // namespace vexa::mod
