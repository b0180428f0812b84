// Thread fan-out for element loops: the thread budget, the worker pool and
// par_for. Nothing here outlives a call except the pool's idle workers.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vexa {

// Loops shorter than this run on the calling thread and never touch a mutex.
inline constexpr uint64_t kParallelMin = 10000;

// VEXA_NUM_THREADS if it parses as a positive decimal number, else the
// hardware concurrency (1 when unknown). Computed once per process.
uint32_t hardware_threads();

// Threads allowed for a job of n items: 8 up to 10^8 - 1 items, 16 up to
// 10^9 - 1, 32 up to 10^10 - 1, then 64; never more than hardware_threads().
uint32_t parallel_threads(uint64_t n);

namespace detail {

// Replaces the thread count for the rest of the process. Tests use it to run
// the same input with one thread and with many in one process.
void override_hardware_threads(uint32_t n);

// The thread count for a VEXA_NUM_THREADS text (may be null) and a hardware
// concurrency (0 when unknown).
uint32_t threads_from_text(const char *text, unsigned hw);

// Pure form of parallel_threads, for a given hardware thread count.
uint32_t parallel_threads_for(uint64_t n, uint32_t hw);

// How a par_for job of n items is cut: `threads` executors, `chunks` chunks of
// `chunk_size` items (the last one shorter), and `extra` plain threads started
// beside the pool when the budget exceeds the pool's workers plus the caller.
struct ParPlan {
    uint32_t threads = 1;
    uint64_t chunks = 0;
    uint64_t chunk_size = 0;
    uint32_t extra = 0;
};
ParPlan plan_par_for(uint64_t n, uint32_t threads, uint32_t worker_count);

// Process-wide pool of min(hardware_threads() - 1, 7) workers. Jobs run one at
// a time behind run_mutex; a job body must therefore never start a job itself.
class WorkerPool {
public:
    static WorkerPool &instance();

    uint32_t worker_count() const { return worker_count_; }
    // Number of jobs handed to the workers so far.
    uint64_t generation() const;

    // Runs `loop` on every worker, on `extra` fresh threads and on the caller,
    // and returns when all of them have finished it.
    void run(uint32_t extra, const std::function<void()> &loop);

    explicit WorkerPool(uint32_t worker_count);
    ~WorkerPool();
    WorkerPool(const WorkerPool &) = delete;
    WorkerPool &operator=(const WorkerPool &) = delete;

private:
    void worker_main();

    uint32_t worker_count_;
    std::vector<std::thread> workers_;
    std::mutex run_mutex_;
    mutable std::mutex state_mutex_;
    std::condition_variable work_cv_;
    std::condition_variable done_cv_;
    std::function<void()> job_;
    uint32_t pending_ = 0;
    uint64_t generation_ = 0;
    bool stop_ = false;
};

// True on a thread that is running a pool job (a worker, an extra thread or
// the caller inside WorkerPool::run). A loop started there runs serially: the
// pool takes one job at a time, so handing it a second would never return.
bool inside_pool_job();

// Runs body(i) for i in [0, n) with `threads` executors: serially below two
// or inside a pool job, otherwise on the pool (plus extra threads), whatever
// n is.
template <class Body>
void run_with_threads(uint64_t n, uint32_t threads, Body &body) {
    if (n == 0) return;
    if (threads < 2 || inside_pool_job()) {
        for (uint64_t i = 0; i < n; ++i) body(i);
        return;
    }
    WorkerPool &pool = WorkerPool::instance();
    const ParPlan plan = plan_par_for(n, threads, pool.worker_count());
    std::atomic<uint64_t> next{0};
    auto loop = [&]() {
        for (;;) {
            const uint64_t c = next.fetch_add(1, std::memory_order_relaxed);
            if (c >= plan.chunks) return;
            const uint64_t end = std::min(n, (c + 1) * plan.chunk_size);
            for (uint64_t i = c * plan.chunk_size; i < end; ++i) body(i);
        }
    };
    pool.run(plan.extra, loop);
}

template <class Body>
void par_for_impl(uint64_t n, Body &body) {
    run_with_threads(n, n < kParallelMin ? 1 : parallel_threads(n), body);
}

}  // namespace detail

// body(i) for i in [0, n). Serial below kParallelMin items, otherwise chunks go
// to the pool. A body must not throw on the parallel path and must write only
// to slots of its own index.
template <class Body>
void par_for(uint64_t n, Body &&body) {
    detail::par_for_impl(n, body);
}

// A job of a few items (one per thread) whose size limit was tested on a
// larger count: `threads` executors take the items, one each.
template <class Body>
void par_items(uint64_t items, uint32_t threads, Body &&body) {
    detail::run_with_threads(items, threads, body);
}

// The fresh-thread pattern of the multiplying and evaluating loops: `threads`
// new threads share fresh_chunk_count(threads, len) chunks through one
// counter, and the caller only joins. fn(thread, chunk, begin, end) is called
// once per chunk.
inline uint64_t fresh_chunk_count(uint32_t threads, uint64_t len) { return std::min<uint64_t>(4ull * threads, len); }

template <class Fn>
void run_on_fresh_threads(uint32_t threads, uint64_t len, Fn &&fn) {
    if (len == 0) return;
    const uint64_t chunks = fresh_chunk_count(threads, len);
    const uint64_t chunk_size = (len + chunks - 1) / chunks;
    std::atomic<uint64_t> next{0};
    std::vector<std::thread> pool;
    pool.reserve(threads);
    for (uint32_t t = 0; t < threads; ++t) {
        pool.emplace_back([&, t]() {
            for (;;) {
                const uint64_t c = next.fetch_add(1, std::memory_order_relaxed);
                if (c >= chunks) return;
                fn(t, c, c * chunk_size, std::min(len, (c + 1) * chunk_size));
            }
        });
    }
    for (auto &th : pool) th.join();
}

}  // namespace vexa
