// Benchmark of the solver modules on Beasley QUBO and G-set Max-Cut
// instances, and of the exhaustive module on a dense random model.
//
//   bench_solvers [--time-limit S] [--threads N] [--seed S] [--filter A,B]
//                 [--bench-dir DIR] [--module-dir DIR] [--no-target]
//                 [--exhaustive N] [--exhaustive-only] [--verbose] [--direct]
//                 [--module nimba|tessix]
//   bench_solvers --scale [--time-limit S] [--threads N] [--seed S] [--module nimba|tessix]
//   bench_solvers --quality [--seeds N] [--thread-counts 1,2] [--time-limit S]
//                 [--filter A,B] [--module nimba|tessix] [--no-target]
//
// Searches go through the library (expression, model, solver wrapper), which
// opens the modules beside it; --direct calls the module files instead.
// --module tessix runs the CPU search of the accelerated module, always
// through its file.
//
// By default each instance runs with the best known energy as target, so a
// run ends as soon as it is reached; tts is the time to the returned state.
//
// --scale compares the search on large sparse graphs (G62 and G65 when the
// bench folder has them, and generated toroidal, planar and random graphs
// of 10,000 and 20,000 vertices) with a simulated annealing given the same
// processor time: one annealer per search thread, for the same time limit.
//
// --quality runs every selected instance with seeds 1..N (default 3) and
// each thread count (default 1 and 2), and sets each row beside the best
// energy of the peers in peers.csv, marked where we are behind.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "annealing_baseline.hpp"
#include "best_known.hpp"
#include "large_graphs.hpp"
#include "flat_model.hpp"
#include "instance_reader.hpp"
#include "library_client.hpp"
#include "module_client.hpp"
#include "peers.hpp"
#include "quality_suite.hpp"
#include "report.hpp"

using namespace bench;

namespace {

struct Options {
    double time_limit = 10.0;
    uint32_t threads = 2;
    uint64_t seed = 1;
    std::vector<std::string> filters;
    std::string bench_dir = "/work/shared/bench";
    std::string module_dir;
    bool target = true;
    uint32_t exhaustive_vars = 0;
    bool heuristic = true;
    bool verbose = false;
    bool direct = false;
    bool tessix = false;
    bool quality = false;
    bool scale = false;
    SuiteOptions suite;
};

std::string exe_dir() {
    char buf[4096];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return "./";
    std::string p(buf, static_cast<size_t>(n));
    return p.substr(0, p.rfind('/') + 1);
}

Options parse(int argc, char **argv) {
    Options o;
    o.module_dir = exe_dir();
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto next = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "bench: %s needs a value\n", a.c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        if (a == "--time-limit") {
            o.time_limit = std::stod(next());
        } else if (a == "--threads") {
            o.threads = static_cast<uint32_t>(std::stoul(next()));
        } else if (a == "--seed") {
            o.seed = std::stoull(next());
        } else if (a == "--filter") {
            std::stringstream ss(next());
            std::string f;
            while (std::getline(ss, f, ',')) o.filters.push_back(f);
        } else if (a == "--bench-dir") {
            o.bench_dir = next();
        } else if (a == "--module-dir") {
            o.module_dir = next();
            if (o.module_dir.back() != '/') o.module_dir += '/';
        } else if (a == "--no-target") {
            o.target = false;
        } else if (a == "--exhaustive") {
            o.exhaustive_vars = static_cast<uint32_t>(std::stoul(next()));
        } else if (a == "--verbose") {
            o.verbose = true;
        } else if (a == "--direct") {
            o.direct = true;
        } else if (a == "--module") {
            const std::string m = next();
            if (m != "nimba" && m != "tessix") {
                std::fprintf(stderr, "bench: unknown module %s\n", m.c_str());
                std::exit(2);
            }
            o.tessix = m == "tessix";
        } else if (a == "--scale") {
            o.scale = true;
        } else if (a == "--quality") {
            o.quality = true;
        } else if (a == "--seeds") {
            o.suite.seeds = static_cast<uint32_t>(std::stoul(next()));
        } else if (a == "--thread-counts") {
            std::stringstream ss(next());
            std::string f;
            o.suite.thread_counts.clear();
            while (std::getline(ss, f, ',')) o.suite.thread_counts.push_back(static_cast<uint32_t>(std::stoul(f)));
        } else if (a == "--exhaustive-only") {
            o.heuristic = false;
        } else {
            std::fprintf(stderr, "bench: unknown option %s\n", a.c_str());
            std::exit(2);
        }
    }
    return o;
}

// Filters match instance names exactly or as a prefix followed by '_'
// ("bqp50" selects bqp50_1..10, "G1" selects only G1).
bool selected(const Options &o, const std::string &name) {
    if (o.filters.empty()) return true;
    for (const std::string &f : o.filters) {
        if (name == f || name.rfind(f + "_", 0) == 0) return true;
        if (f == "gset" && group_of(name) == "gset") return true;
    }
    return false;
}

std::string info_value(const ModuleRun &r, const std::string &key) {
    for (const auto &[k, v] : r.info) {
        if (k == key) return v;
    }
    return "";
}

// The module a heuristic run uses: tessix's CPU search or nimba, through its
// file or through the library.
struct Solver {
    const Options &o;
    bool direct;
    ModuleClient client;

    explicit Solver(const Options &opts)
        : o(opts),
          direct(opts.direct || opts.tessix),
          client(opts.tessix   ? ModuleClient(opts.module_dir + "tessix_cppint.so", Family::accelerated)
                 : opts.direct ? ModuleClient(opts.module_dir + "nimbasolver_cppint.so", Family::heuristic)
                               : ModuleClient()) {}

    ModuleRun run(const InstanceEntry &e, const Qubo &qubo, const FlatModel &model, uint32_t threads,
                  uint64_t seed) {
        TextPairs params = {{"time_limit", std::to_string(o.time_limit)},
                            {"threads", std::to_string(threads)},
                            {"seed", std::to_string(seed)}};
        if (o.target) params.emplace_back("target_energy", std::to_string(e.best_known));
        return direct ? client.solve(model, params) : solve_through_library(qubo, params, Family::heuristic);
    }
};

void run_heuristic(const Options &o) {
    const auto table = read_best_known(o.bench_dir + "/best_known.csv");
    Solver solver(o);
    std::printf("%s module (%s): time limit %.2f s, %u threads, seed %llu, target %s\n",
                o.tessix ? "accelerated (CPU)" : "heuristic", solver.direct ? "direct" : "through the library",
                o.time_limit, o.threads, static_cast<unsigned long long>(o.seed), o.target ? "best known" : "none");
    print_header();
    std::vector<Row> rows;
    for (const InstanceEntry &e : table) {
        if (!selected(o, e.name)) continue;
        const Qubo qubo = read_instance(o.bench_dir + "/" + e.file, e.kind);
        const FlatModel model = flatten(qubo);
        const ModuleRun run = solver.run(e, qubo, model, o.threads, o.seed);
        Row r;
        r.name = e.name;
        r.group = group_of(e.name);
        r.vars = model.var_count;
        r.energy = run.energy.convert_to<int64_t>();
        r.best_known = e.best_known;
        r.gap_percent = 100.0 * static_cast<double>(r.energy - r.best_known) /
                        static_cast<double>(r.best_known < 0 ? -r.best_known : r.best_known);
        r.tts = run.tts;
        r.wall = run.wall;
        r.seed = o.seed;
        r.arithmetic = info_value(run, "arithmetic");
        print_row(r);
        if (o.verbose) {
            for (const auto &[k, v] : run.info) std::printf("    %s = %s\n", k.c_str(), v.c_str());
        }
        rows.push_back(r);
    }
    print_summary(rows);
}

int run_quality(const Options &o) {
    std::vector<InstanceEntry> selected_entries;
    for (const InstanceEntry &e : read_best_known(o.bench_dir + "/best_known.csv")) {
        if (selected(o, e.name)) selected_entries.push_back(e);
    }
    const auto peers = read_peers(o.bench_dir + "/peers.csv");
    Solver solver(o);
    std::printf("quality suite, %s module (%s): time limit %.2f s, seeds 1..%u, target %s\n",
                o.tessix ? "accelerated (CPU)" : "heuristic", solver.direct ? "direct" : "through the library",
                o.time_limit, o.suite.seeds, o.target ? "best known" : "none");
    // The instance last read stays loaded across its seeds and thread counts.
    std::string loaded;
    Qubo qubo;
    FlatModel model;
    const int behind = run_quality_suite(selected_entries, peers, o.suite,
                                         [&](const InstanceEntry &e, uint32_t threads, uint64_t seed) {
                                             if (loaded != e.name) {
                                                 qubo = read_instance(o.bench_dir + "/" + e.file, e.kind);
                                                 model = flatten(qubo);
                                                 loaded = e.name;
                                             }
                                             const ModuleRun run = solver.run(e, qubo, model, threads, seed);
                                             return SuiteRun{run.energy.convert_to<int64_t>(), run.tts};
                                         });
    return behind == 0 ? 0 : 1;
}

int run_scale(const Options &o) {
    Solver solver(o);
    std::printf("large sparse graphs, %s module (%s): time limit %.2f s, %u threads, seed %llu, no target;\n"
                "annealing: %u annealer(s) of %.2f s each\n",
                o.tessix ? "accelerated (CPU)" : "heuristic", solver.direct ? "direct" : "through the library",
                o.time_limit, o.threads, static_cast<unsigned long long>(o.seed), o.threads, o.time_limit);
    std::printf("%-12s %7s %7s %10s %10s %9s %8s %s\n", "instance", "vars", "edges", "cut", "anneal_cut", "ahead",
                "reads", "mark");
    std::vector<GeneratedGraph> graphs;
    for (const std::string name : {"G62", "G65"}) {
        try {
            GeneratedGraph g;
            g.name = name;
            g.qubo = read_gset(o.bench_dir + "/gset/" + name + ".txt");
            g.edges = g.qubo.quadratic.size();
            graphs.push_back(std::move(g));
        } catch (const std::exception &) {
            // not in this bench folder
        }
    }
    graphs.push_back(toroidal_graph(100, 100, o.seed));
    graphs.push_back(toroidal_graph(100, 200, o.seed));
    graphs.push_back(planar_graph(100, 200, o.seed));
    graphs.push_back(random_sparse_graph(10000, 10000, o.seed));
    int behind = 0;
    Options no_target = o;
    no_target.target = false;
    Solver untargeted(no_target);
    for (const GeneratedGraph &g : graphs) {
        const FlatModel model = flatten(g.qubo);
        const InstanceEntry e{g.name, "", InstanceKind::maxcut, 0};
        const ModuleRun run = untargeted.run(e, g.qubo, model, o.threads, o.seed);
        const int64_t ours = -run.energy.convert_to<int64_t>();
        const AnnealingResult sa = anneal_baseline(g.qubo, o.time_limit, o.threads, o.seed);
        const int64_t theirs = -sa.energy;
        behind += ours < theirs ? 1 : 0;
        std::printf("%-12s %7u %7llu %10lld %10lld %9lld %8llu %s\n", g.name.c_str(), g.qubo.n,
                    static_cast<unsigned long long>(g.edges), static_cast<long long>(ours),
                    static_cast<long long>(theirs), static_cast<long long>(ours - theirs),
                    static_cast<unsigned long long>(sa.reads), ours < theirs ? "BEHIND" : "");
        std::fflush(stdout);
    }
    return behind == 0 ? 0 : 1;
}

// A dense model of n variables, coefficients uniform in [-100, 100].
Qubo dense_random(uint32_t n, uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_int_distribution<int64_t> coef(-100, 100);
    Qubo q;
    q.n = n;
    for (uint32_t i = 0; i < n; ++i) {
        q.linear[i] = coef(rng);
        for (uint32_t j = i + 1; j < n; ++j) q.quadratic[{i, j}] = coef(rng);
    }
    return q;
}

void run_exhaustive(const Options &o) {
    const Qubo qubo = dense_random(o.exhaustive_vars, o.seed);
    const FlatModel model = flatten(qubo);
    const TextPairs params = {{"threads", std::to_string(o.threads)}};
    const ModuleRun run = o.direct ? ModuleClient(o.module_dir + "exhaustive_cppint.so", Family::exhaustive)
                                         .solve(model, params)
                                   : solve_through_library(qubo, params, Family::exhaustive);
    const double states = std::strtod(info_value(run, "states").c_str(), nullptr);
    std::printf("\nexhaustive module: dense random model, %u variables, seed %llu, %u threads\n", model.var_count,
                static_cast<unsigned long long>(o.seed), o.threads);
    std::printf("  best energy %s, states %.0f, complete %s, wall %.3f s, %.3g states/s, path %s\n",
                run.energy.str().c_str(), states, info_value(run, "complete").c_str(), run.wall,
                states / run.wall, info_value(run, "algorithm").c_str());
}

}  // namespace

int main(int argc, char **argv) {
    const Options o = parse(argc, argv);
    try {
        if (o.quality) return run_quality(o);
        if (o.scale) return run_scale(o);
        if (o.heuristic) run_heuristic(o);
        if (o.exhaustive_vars > 0) run_exhaustive(o);
    } catch (const std::exception &ex) {
        std::fprintf(stderr, "bench: %s\n", ex.what());
        return 2;
    }
    return 0;
}
