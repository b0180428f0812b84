// Native constraints against expanded penalties, through the C++ front end.
//
//   vexa_bench_native_constraints [seconds per search] [runs] [threads]
//
// Generated constrained instances of at most 28 variables, each with an
// optimum certified by exhaustive search of the declared model:
//   qkp-n      quadratic knapsack: n items, profits on items and pairs, one
//              capacity row (a range, so its penalty needs slack bits)
//   gap-t-a    generalised assignment: t tasks to a agents, each task to one
//              agent (equalities), each agent within its capacity (ranges)
// Each instance is solved by NimbaSolver in two forms: the declared model,
// whose constraints reach the solver module as native rows, and the model of
// vexa_expr_expand_cons of the same value, a plain QUBO with slack bits. A
// run stops at the optimum (target_energy) or at the time limit; the table
// gives the runs that reached it, the median time to the optimum (tts of the
// result; runs that missed count as the limit) and the median time of the
// whole search call. "+slack" is the number of slack bits the expansion adds.
//
// First, as a measure of the declaring path itself: 10^5 one-hot rows of 10
// variables each, declared through the front end (cons(row == 1)), summed,
// and built into a model.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "common/measure.hpp"
#include "vexa/vexa.hpp"

namespace {

struct Instance {
    std::string name;
    vexa::Expr declared;  // objective + weighted cons(...) parts
};

// Profits and weights drawn from `rng`; capacity half the total weight.
Instance quadratic_knapsack(std::mt19937_64 &rng, uint64_t n) {
    const vexa::Vars x("q" + std::to_string(n), n);
    vexa::Expr profit, load;
    long long total_profit = 0, total_weight = 0;
    for (uint64_t i = 0; i < n; ++i) {
        const long long p = 1 + static_cast<long long>(rng() % 20), w = 1 + static_cast<long long>(rng() % 10);
        profit += vexa::Term(p, x[i]);
        load += vexa::Term(w, x[i]);
        total_profit += p;
        total_weight += w;
        for (uint64_t j = i + 1; j < n; ++j) {
            if (rng() % 3 == 0) {
                const long long q = static_cast<long long>(rng() % 10);
                profit += vexa::Term(q, x[i], x[j]);
                total_profit += q;
            }
        }
    }
    const long long capacity = total_weight / 2;
    // Any overload must cost more than all profit together.
    vexa::Expr declared = -profit + (total_profit + 1) * vexa::cons(load <= capacity);
    return {"qkp-" + std::to_string(n), std::move(declared)};
}

Instance generalised_assignment(std::mt19937_64 &rng, uint64_t tasks, uint64_t agents) {
    const vexa::Vars x("g" + std::to_string(tasks) + "_" + std::to_string(agents), {tasks, agents});
    vexa::Expr cost, constraints;
    long long total_cost = 0;
    std::vector<vexa::Expr> load(agents);
    std::vector<long long> total_size(agents, 0);
    for (uint64_t t = 0; t < tasks; ++t) {
        vexa::Expr one;
        for (uint64_t a = 0; a < agents; ++a) {
            const long long c = 1 + static_cast<long long>(rng() % 30), s = 1 + static_cast<long long>(rng() % 9);
            cost += vexa::Term(c, x(t, a));
            load[a] += vexa::Term(s, x(t, a));
            total_cost += c;
            total_size[a] += s;
            one += x(t, a);
        }
        constraints += vexa::cons(one == 1);
    }
    for (uint64_t a = 0; a < agents; ++a) constraints += vexa::cons(load[a] <= total_size[a] * 2 / 5);
    return {"gap-" + std::to_string(tasks) + "-" + std::to_string(agents),
            cost + (total_cost + 1) * std::move(constraints)};
}

struct Runs {
    int solved = 0;
    double median_tts = 0.0;   // seconds
    double median_wall = 0.0;  // seconds, the whole search call
};

Runs time_to_optimum(const vexa::Model &model, const vexa::Int &optimum, double limit, int runs, uint32_t threads) {
    std::vector<double> times, walls;
    Runs out;
    const vexa::NimbaSolver solver(model);
    for (int r = 0; r < runs; ++r) {
        const auto t0 = std::chrono::steady_clock::now();
        const vexa::Result res = solver.search(
            {.time_limit = limit, .seed = static_cast<uint64_t>(101 + r), .threads = threads, .target_energy = optimum});
        walls.push_back(vexa::bench::seconds_since(t0));
        if (res.energy() == optimum) {
            ++out.solved;
            times.push_back(std::max(res.tts(), 0.0));
        } else {
            times.push_back(limit);
        }
    }
    std::sort(times.begin(), times.end());
    std::sort(walls.begin(), walls.end());
    out.median_tts = times[times.size() / 2];
    out.median_wall = walls[walls.size() / 2];
    return out;
}

}  // namespace

int main(int argc, char **argv) {
    const double limit = argc > 1 ? std::atof(argv[1]) : 5.0;
    const int runs = argc > 2 ? std::atoi(argv[2]) : 5;
    const uint32_t threads = argc > 3 ? static_cast<uint32_t>(std::atoi(argv[3])) : 2;

    {
        const uint64_t rows = 100000, cols = 10;
        const vexa::Vars x("onehot", {rows, cols});
        const auto t0 = std::chrono::steady_clock::now();
        vexa::Expr all;
        for (uint64_t r = 0; r < rows; ++r) {
            vexa::Expr row;
            for (uint64_t c = 0; c < cols; ++c) row += x(r, c);
            all += vexa::cons(std::move(row) == 1);
        }
        const double declare_s = vexa::bench::seconds_since(t0);
        const auto t1 = std::chrono::steady_clock::now();
        const vexa::Model model = vexa::Model::from(all);
        const double model_s = vexa::bench::seconds_since(t1);
        std::printf("declaring %llu one-hot rows of %llu variables: %.3f s, model (simplify and build): %.3f s, "
                    "%llu native rows\n\n",
                    static_cast<unsigned long long>(rows), static_cast<unsigned long long>(cols), declare_s, model_s,
                    static_cast<unsigned long long>(model.native_constraint_count()));
    }

    std::mt19937_64 rng(2026);
    std::vector<Instance> instances;
    for (uint64_t n : {16, 20, 24, 28}) instances.push_back(quadratic_knapsack(rng, n));
    instances.push_back(generalised_assignment(rng, 6, 3));
    instances.push_back(generalised_assignment(rng, 8, 3));
    instances.push_back(generalised_assignment(rng, 7, 4));

    std::printf("time to the certified optimum, NimbaSolver, %d runs of at most %.1f s, %u threads\n", runs, limit,
                threads);
    std::printf("%-10s %5s %6s %5s %8s %9s | %6s %9s %9s | %6s %9s %9s\n", "instance", "vars", "+slack", "rows",
                "optimum", "exhaust s", "native", "tts ms", "wall ms", "expand", "tts ms", "wall ms");
    for (Instance &inst : instances) {
        const vexa::Model native = vexa::Model::from(inst.declared);
        const vexa::Model expanded =
            vexa::Model::from(vexa::Expr::adopt(vexa_expr_expand_cons(inst.declared.handle())));

        const auto t0 = std::chrono::steady_clock::now();
        const vexa::Result exact = vexa::ExhaustiveSolver(native).search();
        const double exhaustive_s = vexa::bench::seconds_since(t0);
        const vexa::Int optimum = exact.energy();

        const Runs a = time_to_optimum(native, optimum, limit, runs, threads);
        const Runs b = time_to_optimum(expanded, optimum, limit, runs, threads);
        std::printf("%-10s %5llu %6llu %5llu %8s %9.3f | %3d/%-2d %9.3f %9.3f | %3d/%-2d %9.3f %9.3f\n",
                    inst.name.c_str(), static_cast<unsigned long long>(native.var_count()),
                    static_cast<unsigned long long>(expanded.var_count() - native.var_count()),
                    static_cast<unsigned long long>(native.native_constraint_count()), optimum.str().c_str(),
                    exhaustive_s, a.solved, runs, 1e3 * a.median_tts, 1e3 * a.median_wall, b.solved, runs,
                    1e3 * b.median_tts, 1e3 * b.median_wall);
        std::fflush(stdout);
    }
    return 0;
}
