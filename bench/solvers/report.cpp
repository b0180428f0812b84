#include "report.hpp"

#include <algorithm>
#include <cstdio>
#include <map>

namespace bench {

std::string group_of(const std::string &name) {
    if (name.rfind("bqp", 0) == 0) return name.substr(0, name.find('_'));
    if (!name.empty() && name[0] == 'G') return "gset";
    return "other";
}

void print_header() {
    std::printf("%-10s %6s %12s %12s %8s %9s %9s %10s %7s\n", "instance", "vars", "energy", "best_known",
                "gap_%", "tts_s", "wall_s", "seed", "arith");
}

void print_row(const Row &r) {
    std::printf("%-10s %6u %12lld %12lld %8.4f %9.4f %9.3f %10llu %7s\n", r.name.c_str(), r.vars,
                static_cast<long long>(r.energy), static_cast<long long>(r.best_known), r.gap_percent, r.tts,
                r.wall, static_cast<unsigned long long>(r.seed), r.arithmetic.c_str());
    std::fflush(stdout);
}

void print_summary(const std::vector<Row> &rows) {
    std::map<std::string, std::vector<const Row *>> groups;
    for (const Row &r : rows) groups[r.group].push_back(&r);
    std::printf("\n%-8s %5s %9s %12s %10s %10s %10s\n", "group", "count", "at_best", "median_tts", "max_tts",
                "mean_gap%", "max_gap%");
    for (auto &[g, list] : groups) {
        std::vector<double> tts;
        double gap_sum = 0, gap_max = 0;
        size_t at_best = 0;
        for (const Row *r : list) {
            tts.push_back(r->tts);
            gap_sum += r->gap_percent;
            gap_max = std::max(gap_max, r->gap_percent);
            if (r->energy <= r->best_known) ++at_best;
        }
        std::sort(tts.begin(), tts.end());
        const size_t k = tts.size();
        const double median = k % 2 ? tts[k / 2] : 0.5 * (tts[k / 2 - 1] + tts[k / 2]);
        std::printf("%-8s %5zu %5zu/%-3zu %12.4f %10.4f %10.4f %10.4f\n", g.c_str(), k, at_best, k, median,
                    tts.back(), gap_sum / k, gap_max);
    }
}

}  // namespace bench
