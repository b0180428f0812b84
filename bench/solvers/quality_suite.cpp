#include "quality_suite.hpp"

#include <algorithm>
#include <cstdio>
#include <string>

#include "report.hpp"

namespace bench {

namespace {

template <class T>
T median_of(std::vector<T> v) {
    std::sort(v.begin(), v.end());
    const size_t k = v.size();
    if (k % 2 == 1) return v[k / 2];
    if constexpr (std::is_integral_v<T>) {
        // The upper middle: an energy that was reached, erring on the worse side.
        return v[k / 2];
    } else {
        return (v[k / 2 - 1] + v[k / 2]) / 2;
    }
}

double gap_percent(int64_t energy, int64_t best) {
    return 100.0 * static_cast<double>(energy - best) / static_cast<double>(best < 0 ? -best : best);
}

struct Summary {
    uint32_t rows = 0, behind = 0;
    double gset_gap_sum = 0, gset_gap_max = 0;
    uint32_t gset_rows = 0;
};

}  // namespace

int run_quality_suite(const std::vector<InstanceEntry> &instances, const std::map<std::string, PeerRow> &peers,
                      const SuiteOptions &options, const SolveFn &solve) {
    std::printf("%-10s %3s", "instance", "thr");
    for (uint32_t s = 1; s <= options.seeds; ++s) std::printf(" %10s", ("seed " + std::to_string(s)).c_str());
    std::printf(" %10s %10s %8s %8s %10s %-20s %s\n", "median", "best_known", "gap_%", "tts_med", "peer_best",
                "peer", "mark");
    std::map<uint32_t, Summary> summary;
    for (const InstanceEntry &e : instances) {
        const auto peer_it = peers.find(e.name);
        const std::optional<PeerResult> peer = peer_it == peers.end() ? std::nullopt : peer_it->second.best();
        for (const uint32_t threads : options.thread_counts) {
            std::vector<int64_t> energies;
            std::vector<double> tts;
            for (uint64_t seed = 1; seed <= options.seeds; ++seed) {
                const SuiteRun r = solve(e, threads, seed);
                energies.push_back(r.energy);
                tts.push_back(r.tts);
            }
            const int64_t median = median_of(energies);
            const double gap = gap_percent(median, e.best_known);
            const bool behind = peer && (energies[0] > peer->energy || median > peer->energy);
            std::printf("%-10s %3u", e.name.c_str(), threads);
            for (const int64_t v : energies) std::printf(" %10lld", static_cast<long long>(v));
            std::printf(" %10lld %10lld %8.4f %8.3f", static_cast<long long>(median),
                        static_cast<long long>(e.best_known), gap, median_of(tts));
            if (peer) {
                std::printf(" %10lld %-20s %s\n", static_cast<long long>(peer->energy), peer->peer.c_str(),
                            behind ? "BEHIND" : "");
            } else {
                std::printf(" %10s %-20s\n", "-", "");
            }
            std::fflush(stdout);
            Summary &s = summary[threads];
            ++s.rows;
            s.behind += behind ? 1 : 0;
            if (group_of(e.name) == "gset") {
                // The gset gap is taken over every seed's energy, not the median.
                for (const int64_t v : energies) {
                    const double g = gap_percent(v, e.best_known);
                    s.gset_gap_sum += g;
                    s.gset_gap_max = std::max(s.gset_gap_max, g);
                    ++s.gset_rows;
                }
            }
        }
    }
    int behind = 0;
    std::printf("\n%3s %6s %7s %14s %13s\n", "thr", "rows", "behind", "gset_mean_gap%", "gset_max_gap%");
    for (const auto &[threads, s] : summary) {
        std::printf("%3u %6u %7u %14.4f %13.4f\n", threads, s.rows, s.behind,
                    s.gset_rows ? s.gset_gap_sum / s.gset_rows : 0.0, s.gset_gap_max);
        behind += static_cast<int>(s.behind);
    }
    return behind;
}

}  // namespace bench
