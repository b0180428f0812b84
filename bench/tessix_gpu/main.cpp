// bench_tessix_gpu [--time-limit S] [--seed S] [--filter A,B] [--no-target]
//                  [--bench-dir DIR] [--repeat N]
//
// Runs the GPU binary search of tessix_cppint.so on each instance of
// best_known.csv, with the best known energy as target unless --no-target,
// and prints per run: energy, gap to the best known, time to that energy,
// batches and where they ran. Without a CUDA build it says so and stops.
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "best_known.hpp"
#include "flat_model.hpp"
#include "vexa/solver_module.h"

extern "C" int32_t vexa_tessix_gpu_device_count(void);

#ifdef VEXA_TESSIX_CUDA
extern "C" {
void *vexa_tessix_solver_create(void *w, uint32_t bin_count, uint32_t degree_count, const void *constant,
                                const uint64_t *term_counts, const uint32_t *const *var_lists,
                                const void *const *coef_lists, int32_t gpu_mode);
void vexa_tessix_solver_destroy(void *h);
void *vexa_tessix_solver_search(void *h, TessixSolution *best, uint32_t bin_count, const vexa_param *params,
                                void *hint);
}
#endif

namespace {

struct Options {
    std::string bench_dir = "/work/shared/bench";
    std::string time_limit = "10";
    std::string seed = "1";
    std::vector<std::string> filter;
    bool target = true;
    int repeat = 1;
};

Options parse(int argc, char **argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "missing value after %s\n", a.c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        if (a == "--time-limit") {
            o.time_limit = value();
        } else if (a == "--seed") {
            o.seed = value();
        } else if (a == "--bench-dir") {
            o.bench_dir = value();
        } else if (a == "--repeat") {
            o.repeat = std::atoi(value().c_str());
        } else if (a == "--no-target") {
            o.target = false;
        } else if (a == "--filter") {
            std::stringstream ss(value());
            for (std::string item; std::getline(ss, item, ',');) o.filter.push_back(item);
        } else {
            std::fprintf(stderr, "unknown option %s\n", a.c_str());
            std::exit(2);
        }
    }
    return o;
}

bool wanted(const Options &o, const std::string &name) {
    if (o.filter.empty()) return true;
    for (const std::string &f : o.filter) {
        if (name.rfind(f, 0) == 0) return true;
    }
    return false;
}

}  // namespace

int main(int argc, char **argv) {
    const Options o = parse(argc, argv);
    std::printf("devices: %d\n", vexa_tessix_gpu_device_count());
#ifndef VEXA_TESSIX_CUDA
    std::printf("built without CUDA: nothing to run\n");
    return 0;
#else
    const auto table = bench::read_best_known(o.bench_dir + "/best_known.csv");
    std::printf("%-12s %6s %12s %12s %8s %9s %8s  %s\n", "instance", "n", "best_known", "energy", "gap", "tts_s",
                "batches", "backend");
    for (const bench::InstanceEntry &e : table) {
        if (!wanted(o, e.name)) continue;
        const bench::FlatModel m = bench::flatten(bench::read_instance(o.bench_dir + "/" + e.file, e.kind));
        const auto vl = m.var_lists();
        const auto cl = m.coef_lists();
        for (int rep = 0; rep < o.repeat; ++rep) {
            void *h = vexa_tessix_solver_create(nullptr, m.var_count, static_cast<uint32_t>(m.term_counts.size()),
                                                &m.constant, m.term_counts.data(), vl.data(), cl.data(), 1);
            const std::string target = std::to_string(e.best_known);
            const std::string seed = std::to_string(std::strtoull(o.seed.c_str(), nullptr, 10) + rep);
            std::vector<vexa_param> params{{"time_limit", o.time_limit.c_str()}, {"seed", seed.c_str()}};
            if (o.target) params.push_back({"target_energy", target.c_str()});
            params.push_back({nullptr, nullptr});
            const uint32_t wc = (m.var_count + 63) / 64;
            std::vector<uint64_t> bits(wc, 0);
            TessixSolution best{{0, 0, nullptr}, bits.data(), 0.0, nullptr, wc};
            vexa_tessix_solver_search(h, &best, m.var_count, params.data(), nullptr);
            long long energy = 0;
            if (best.energy.sign != 0 && best.energy.nlimbs > 0) {
                energy = static_cast<long long>(best.energy.limbs[0]);
                if (best.energy.sign < 0) energy = -energy;
            }
            std::string batches = "?", backend = "?";
            for (vexa_info_pair *p = best.info; p != nullptr && p->key != nullptr; ++p) {
                if (std::string(p->key) == "batches") batches = p->value;
                if (std::string(p->key) == "backend") backend = p->value;
                std::free(p->key);
                std::free(p->value);
            }
            std::free(best.info);
            std::free(best.energy.limbs);
            const double gap = e.best_known != 0 ? 100.0 * double(energy - e.best_known) / double(-e.best_known) : 0.0;
            std::printf("%-12s %6u %12lld %12lld %7.3f%% %9.3f %8s  %s\n", e.name.c_str(), m.var_count,
                        static_cast<long long>(e.best_known), energy, gap, best.tts, batches.c_str(), backend.c_str());
            std::fflush(stdout);
            vexa_tessix_solver_destroy(h);
        }
    }
    return 0;
#endif
}
