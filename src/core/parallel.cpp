#include "core/parallel.hpp"

#include <pthread.h>

#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

namespace vexa {

namespace {

std::atomic<uint32_t> g_threads{0};
std::once_flag g_threads_once;

// The pool lives behind a pointer so that a child process after fork() starts
// a new one instead of waiting on workers that do not exist there.
std::mutex g_pool_mutex;
detail::WorkerPool *g_pool = nullptr;

void destroy_pool_at_exit() {
    std::lock_guard<std::mutex> lock(g_pool_mutex);
    delete g_pool;
    g_pool = nullptr;
}

void forget_pool_in_child() {
    // The parent's workers were not copied; the old object is abandoned.
    new (&g_pool_mutex) std::mutex();
    g_pool = nullptr;
}

}  // namespace

uint32_t hardware_threads() {
    std::call_once(g_threads_once, [] {
        uint32_t expected = 0;
        g_threads.compare_exchange_strong(
            expected, detail::threads_from_text(std::getenv("VEXA_NUM_THREADS"), std::thread::hardware_concurrency()));
    });
    return g_threads.load(std::memory_order_relaxed);
}

uint32_t parallel_threads(uint64_t n) { return detail::parallel_threads_for(n, hardware_threads()); }

namespace detail {

uint32_t threads_from_text(const char *text, unsigned hw) {
    if (text != nullptr) {
        char *end = nullptr;
        errno = 0;
        const long value = std::strtol(text, &end, 10);
        if (end != text && errno == 0 && value > 0) {
            return value > 0x7FFFFFFFL ? 0x7FFFFFFFu : static_cast<uint32_t>(value);
        }
    }
    return hw == 0 ? 1u : hw;
}

void override_hardware_threads(uint32_t n) {
    hardware_threads();
    g_threads.store(n == 0 ? 1 : n, std::memory_order_relaxed);
}

uint32_t parallel_threads_for(uint64_t n, uint32_t hw) {
    if (hw < 2) return 1;
    uint32_t cap = 64;
    if (n <= 99'999'999ull) {
        cap = 8;
    } else if (n <= 999'999'999ull) {
        cap = 16;
    } else if (n <= 9'999'999'999ull) {
        cap = 32;
    }
    return std::min(hw, cap);
}

ParPlan plan_par_for(uint64_t n, uint32_t threads, uint32_t worker_count) {
    ParPlan plan;
    plan.threads = threads;
    plan.chunks = std::min<uint64_t>(4ull * threads, n);
    plan.chunk_size = plan.chunks == 0 ? 0 : (n + plan.chunks - 1) / plan.chunks;
    const int64_t extra = static_cast<int64_t>(threads) - (static_cast<int64_t>(worker_count) + 1);
    plan.extra = extra > 0 ? static_cast<uint32_t>(extra) : 0;
    return plan;
}

WorkerPool &WorkerPool::instance() {
    std::lock_guard<std::mutex> lock(g_pool_mutex);
    if (g_pool == nullptr) {
        static std::once_flag registered;
        std::call_once(registered, [] {
            std::atexit(destroy_pool_at_exit);
            pthread_atfork(nullptr, nullptr, forget_pool_in_child);
        });
        const uint32_t hw = hardware_threads();
        g_pool = new WorkerPool(hw <= 1 ? 0 : std::min<uint32_t>(hw - 1, 7));
    }
    return *g_pool;
}

WorkerPool::WorkerPool(uint32_t worker_count) : worker_count_(worker_count) {
    workers_.reserve(worker_count_);
    for (uint32_t i = 0; i < worker_count_; ++i) workers_.emplace_back([this] { worker_main(); });
}

WorkerPool::~WorkerPool() {
    {
        std::lock_guard<std::mutex> lock(state_mutex_);
        stop_ = true;
    }
    work_cv_.notify_all();
    for (auto &w : workers_) w.join();
}

uint64_t WorkerPool::generation() const {
    std::lock_guard<std::mutex> lock(state_mutex_);
    return generation_;
}

namespace {

thread_local bool t_in_pool_job = false;

// Marks the current thread as running a pool job for its lifetime.
struct PoolJobMark {
    bool outer;
    PoolJobMark() : outer(t_in_pool_job) { t_in_pool_job = true; }
    ~PoolJobMark() { t_in_pool_job = outer; }
    PoolJobMark(const PoolJobMark &) = delete;
    PoolJobMark &operator=(const PoolJobMark &) = delete;
};

}  // namespace

bool inside_pool_job() { return t_in_pool_job; }

void WorkerPool::worker_main() {
    uint64_t seen = 0;
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock<std::mutex> lock(state_mutex_);
            if (stop_) return;
            work_cv_.wait(lock, [&] { return generation_ != seen || stop_; });
            if (stop_) return;
            seen = generation_;
            job = job_;
        }
        {
            const PoolJobMark mark;
            job();
        }
        std::lock_guard<std::mutex> lock(state_mutex_);
        if (--pending_ == 0) done_cv_.notify_all();
    }
}

void WorkerPool::run(uint32_t extra, const std::function<void()> &loop) {
    std::vector<std::thread> extras;
    extras.reserve(extra);
    for (uint32_t i = 0; i < extra; ++i) {
        extras.emplace_back([&loop] {
            const PoolJobMark mark;
            loop();
        });
    }
    {
        std::lock_guard<std::mutex> run_lock(run_mutex_);
        {
            std::lock_guard<std::mutex> lock(state_mutex_);
            job_ = loop;
            pending_ = worker_count_;
            ++generation_;
        }
        work_cv_.notify_all();
        {
            const PoolJobMark mark;
            loop();
        }
        std::unique_lock<std::mutex> lock(state_mutex_);
        done_cv_.wait(lock, [&] { return pending_ == 0; });
        job_ = nullptr;
    }
    for (auto &t : extras) t.join();
}

}  // namespace detail
}  // namespace vexa
