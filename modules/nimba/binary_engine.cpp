#include "binary_engine.hpp"

#include <thread>

namespace vexa::mod {

template <class T>
void run_binary_search(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared,
                       uint32_t threads, uint64_t seed, const SearchSchedule &schedule,
                       TemperingStats &tempering) {
    bool buckets = false;
    if constexpr (std::is_same_v<T, int64_t>) buckets = BucketSelector::suitable(fm);
    // Tempering threads take no hints here.
    HintBox no_hints;
    // A breakout or tabu/relinking worker, with bucketed move selection
    // where the model allows it.
    auto local_search = [&](uint64_t worker_seed, bool breakout, bool from_best, double until) {
        if constexpr (std::is_same_v<T, int64_t>) {
            if (buckets) {
                BinaryWorker<T, BucketSelector>(fm, c0, shared, worker_seed, schedule, breakout, from_best, until).run();
                return;
            }
        }
        BinaryWorker<T, ScanSelector<T>>(fm, c0, shared, worker_seed, schedule, breakout, from_best, until).run();
    };
    // The end of a phase that takes `share` of the time left, at most `longest` seconds.
    auto phase_end = [&](double share, double longest) {
        const double now = shared.clock.seconds();
        const double left = std::max(0.0, shared.time_limit - shared.finish_reserve - now);
        return now + std::min(longest, share * left);
    };
    if (threads == 1 && schedule.portfolio == 2) {
        // One thread takes turns: tempering for a share of the time left,
        // then breakout local search from the best state found, and so on.
        for (uint64_t turn = 0; !shared.stopped(); ++turn) {
            run_tempering_thread(fm, c0, shared, no_hints, 0, thread_seed(seed, 2 * turn + 1), tempering,
                                 TemperingSchedule{}, phase_end(schedule.one_thread_tempering_share, schedule.longest_phase));
            if (shared.stopped()) break;
            local_search(thread_seed(seed, 2 * turn), true, true, phase_end(1.0, schedule.longest_phase));
        }
        return;
    }
    auto body = [&](uint32_t t) {
        if (schedule.portfolio == 2 && t % 3 == 1) {
            local_search(thread_seed(seed, t + threads), false, false, phase_end(schedule.tempering_prelude_share, schedule.longest_prelude));
            if (!shared.stopped()) run_tempering_thread(fm, c0, shared, no_hints, 0, thread_seed(seed, t), tempering);
            return;
        }
        const bool breakout = schedule.portfolio == 1 || (schedule.portfolio == 2 && t % 3 == 0);
        local_search(thread_seed(seed, t), breakout, false, kNoTimeLimit);
    };
    std::vector<std::thread> others;
    for (uint32_t t = 1; t < threads; ++t) others.emplace_back(body, t);
    body(0);
    for (std::thread &th : others) th.join();
}

template void run_binary_search<int64_t>(const FlipModel<int64_t> &, const coeff_t &, SearchShared &,
                                         uint32_t, uint64_t, const SearchSchedule &, TemperingStats &);
template void run_binary_search<coeff_t>(const FlipModel<coeff_t> &, const coeff_t &, SearchShared &,
                                         uint32_t, uint64_t, const SearchSchedule &, TemperingStats &);

}  // namespace vexa::mod
