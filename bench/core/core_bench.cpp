// Costs of the core frame: what a par_for job costs beyond its body, and what
// a term product costs in time and heap allocations for coefficients of 1, 2
// and 8 limbs.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "alloc_count.hpp"
#include "core/parallel.hpp"
#include "vexa/term.h"
#include "vexa/var.h"

using vexa::bench::alloc_count;

namespace {

// ---- par_for --------------------------------------------------------------

// Threads that run a job of n items: the caller alone below the limit,
// otherwise every pool worker, the caller and any extra threads.
uint32_t executors(uint64_t n) {
    const uint32_t t = n < vexa::kParallelMin ? 1 : vexa::parallel_threads(n);
    if (t < 2) return 1;
    const uint32_t workers = vexa::detail::WorkerPool::instance().worker_count();
    return workers + 1 + vexa::detail::plan_par_for(n, t, workers).extra;
}

// An almost empty body: the index is only kept alive, so the time is the
// loop driver's own.
void par_for_overhead(benchmark::State &state, uint32_t threads) {
    const uint64_t n = static_cast<uint64_t>(state.range(0));
    vexa::detail::override_hardware_threads(threads);
    uint64_t allocs = 0;
    for (auto _ : state) {
        const uint64_t before = alloc_count();
        vexa::par_for(n, [](uint64_t i) { benchmark::DoNotOptimize(i); });
        allocs += alloc_count() - before;
    }
    state.counters["threads"] = threads;
    state.counters["executors"] = executors(n);
    state.counters["time_per_item"] =
        benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
    state.counters["allocs_per_job"] = benchmark::Counter(static_cast<double>(allocs), benchmark::Counter::kAvgIterations);
}

// ---- term products ---------------------------------------------------------

// A coefficient of exactly `limbs` limbs with every limb large, so that the
// product of two of them has 2 * limbs limbs.
class Coefficient {
public:
    Coefficient(int limbs, uint64_t seed) {
        for (int i = 0; i < limbs; ++i) words_.push_back(0xF000000000000000ull | (seed * 0x9E3779B97F4A7C15ull + i));
        record_ = {1, static_cast<uint32_t>(words_.size()), words_.data()};
    }
    const vexa_bigint *get() const { return &record_; }

private:
    std::vector<uint64_t> words_;
    vexa_bigint record_{};
};

struct TermPair {
    TermImpl *a;
    TermImpl *b;
    ~TermPair() {
        vexa_term_destroy(a);
        vexa_term_destroy(b);
    }
};

TermPair make_pair(int limbs) {
    static const uint32_t x = vexa_new_var("bench_x");
    static const uint32_t y = vexa_new_var("bench_y");
    return {vexa_term_create_var(Coefficient(limbs, 1).get(), x), vexa_term_create_var(Coefficient(limbs, 2).get(), y)};
}

void report_allocs(benchmark::State &state, uint64_t allocs) {
    state.counters["allocs_per_call"] = benchmark::Counter(static_cast<double>(allocs), benchmark::Counter::kAvgIterations);
}

// a * b into a new term; the product is destroyed again (not counted, frees only).
void term_mul_term(benchmark::State &state) {
    const TermPair p = make_pair(static_cast<int>(state.range(0)));
    uint64_t allocs = 0;
    for (auto _ : state) {
        const uint64_t before = alloc_count();
        TermImpl *product = vexa_term_mul_term(p.a, p.b);
        allocs += alloc_count() - before;
        benchmark::DoNotOptimize(product);
        vexa_term_destroy(product);
    }
    report_allocs(state, allocs);
}

// a *= b in place on fresh copies of a, so that each product is the same
// limbs-by-limbs multiplication. One iteration is a batch of kBatch products,
// timed by hand so that making the copies is neither timed nor counted; the
// batch is small enough to stay in cache.
constexpr size_t kBatch = 256;

void term_mul_term_move(benchmark::State &state) {
    const TermPair p = make_pair(static_cast<int>(state.range(0)));
    std::vector<TermImpl *> copies(kBatch, nullptr);
    uint64_t allocs = 0;
    for (auto _ : state) {
        for (TermImpl *&t : copies) {
            vexa_term_destroy(t);
            t = vexa_term_clone(p.a);
        }
        const uint64_t before = alloc_count();
        const auto start = std::chrono::steady_clock::now();
        for (TermImpl *t : copies) benchmark::DoNotOptimize(vexa_term_mul_term_move(t, p.b));
        const auto stop = std::chrono::steady_clock::now();
        allocs += alloc_count() - before;
        state.SetIterationTime(std::chrono::duration<double>(stop - start).count());
    }
    for (TermImpl *t : copies) vexa_term_destroy(t);
    state.counters["allocs_per_call"] = static_cast<double>(allocs) / (static_cast<double>(state.iterations()) * kBatch);
    state.counters["time_per_call"] = benchmark::Counter(
        kBatch, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// a *= -1 in place, over and over: the coefficient keeps its size.
void term_mul_term_move_same_size(benchmark::State &state) {
    const TermPair p = make_pair(static_cast<int>(state.range(0)));
    uint64_t one = 1;
    const vexa_bigint minus_one{-1, 1, &one};
    TermImpl *unit = vexa_term_create(&minus_one);
    uint64_t allocs = 0;
    for (auto _ : state) {
        const uint64_t before = alloc_count();
        benchmark::DoNotOptimize(vexa_term_mul_term_move(p.a, unit));
        allocs += alloc_count() - before;
    }
    vexa_term_destroy(unit);
    report_allocs(state, allocs);
}

}  // namespace

int main(int argc, char **argv) {
    // 1 and 2 threads always, and the whole machine when it has more. The pool
    // is built first at the largest count, so its workers do not depend on
    // which case runs first.
    std::vector<uint32_t> thread_counts = {1, 2};
    const uint32_t hw = std::thread::hardware_concurrency();
    if (hw > 2) thread_counts.push_back(hw);
    vexa::detail::override_hardware_threads(thread_counts.back());
    vexa::detail::WorkerPool::instance();

    for (const uint32_t threads : thread_counts) {
        auto *b = benchmark::RegisterBenchmark(("par_for/threads:" + std::to_string(threads)).c_str(),
                                               [threads](benchmark::State &s) { par_for_overhead(s, threads); });
        for (const int64_t n : {100, 9'999, 10'000, 100'000, 1'000'000, 10'000'000}) b->Arg(n);
        b->ArgName("n")->UseRealTime();
    }
    benchmark::RegisterBenchmark("term_mul_term", term_mul_term)->ArgName("limbs")->Arg(1)->Arg(2)->Arg(8);
    benchmark::RegisterBenchmark("term_mul_term_move/batch:256", term_mul_term_move)
        ->ArgName("limbs")
        ->Arg(1)
        ->Arg(2)
        ->Arg(8)
        ->UseManualTime();
    benchmark::RegisterBenchmark("term_mul_term_move_same_size", term_mul_term_move_same_size)
        ->ArgName("limbs")
        ->Arg(1)
        ->Arg(2)
        ->Arg(8);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
