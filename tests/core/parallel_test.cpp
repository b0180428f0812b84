#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "core/parallel.hpp"

using namespace vexa;

namespace {

// Restores the process thread count after a test that changes it.
class ThreadCount {
public:
    explicit ThreadCount(uint32_t n) : saved_(hardware_threads()) { detail::override_hardware_threads(n); }
    ~ThreadCount() { detail::override_hardware_threads(saved_); }

private:
    uint32_t saved_;
};

TEST(ParallelThreads, FollowsTheSizeTable) {
    using detail::parallel_threads_for;
    EXPECT_EQ(parallel_threads_for(10, 1), 1u);
    EXPECT_EQ(parallel_threads_for(1'000'000'000'000ull, 1), 1u);
    EXPECT_EQ(parallel_threads_for(99'999'999, 64), 8u);
    EXPECT_EQ(parallel_threads_for(100'000'000, 64), 16u);
    EXPECT_EQ(parallel_threads_for(999'999'999, 64), 16u);
    EXPECT_EQ(parallel_threads_for(1'000'000'000, 64), 32u);
    EXPECT_EQ(parallel_threads_for(9'999'999'999ull, 64), 32u);
    EXPECT_EQ(parallel_threads_for(10'000'000'000ull, 128), 64u);
    EXPECT_EQ(parallel_threads_for(10'000'000'000ull, 3), 3u);
    EXPECT_EQ(parallel_threads_for(5, 2), 2u);
}

TEST(ParallelThreads, SettingParsesOnlyPositiveDecimals) {
    EXPECT_EQ(detail::threads_from_text("4", 7), 4u);
    EXPECT_EQ(detail::threads_from_text("1", 7), 1u);
    EXPECT_EQ(detail::threads_from_text("0", 7), 7u);
    EXPECT_EQ(detail::threads_from_text("-3", 7), 7u);
    EXPECT_EQ(detail::threads_from_text("abc", 7), 7u);
    EXPECT_EQ(detail::threads_from_text("", 7), 7u);
    EXPECT_EQ(detail::threads_from_text(nullptr, 7), 7u);
    EXPECT_EQ(detail::threads_from_text("12abc", 7), 12u);  // strtol reads the leading digits
    EXPECT_EQ(detail::threads_from_text(nullptr, 0), 1u);
}

TEST(ParPlan, EightThreadsOnTenThousandItemsMake32ChunksOf313) {
    const auto plan = detail::plan_par_for(10'000, 8, 7);
    EXPECT_EQ(plan.chunks, 32u);
    EXPECT_EQ(plan.chunk_size, 313u);
    EXPECT_EQ(plan.extra, 0u);
    EXPECT_LT(31 * plan.chunk_size, 10'000u);  // the last chunk is the shorter one
}

TEST(ParPlan, SixteenThreadsAbove1e8ItemsStartEightExtraThreads) {
    const uint32_t t = detail::parallel_threads_for(100'000'000, 16);
    EXPECT_EQ(t, 16u);
    const auto plan = detail::plan_par_for(100'000'000, t, 7);  // pool: 7 workers + caller
    EXPECT_EQ(plan.extra, 8u);
    EXPECT_EQ(plan.chunks, 64u);
    EXPECT_EQ(detail::plan_par_for(99'999'999, detail::parallel_threads_for(99'999'999, 16), 7).extra, 0u);
}

TEST(ParFor, BelowTheLimitRunsInOrderOnTheCaller) {
    ThreadCount threads(4);
    const auto before = detail::WorkerPool::instance().generation();
    std::vector<uint64_t> order;
    std::set<std::thread::id> ids;
    par_for(9'999, [&](uint64_t i) {
        order.push_back(i);
        ids.insert(std::this_thread::get_id());
    });
    ASSERT_EQ(order.size(), 9'999u);
    for (uint64_t i = 0; i < order.size(); ++i) ASSERT_EQ(order[i], i);
    EXPECT_EQ(ids.size(), 1u);
    EXPECT_EQ(*ids.begin(), std::this_thread::get_id());
    EXPECT_EQ(detail::WorkerPool::instance().generation(), before);
}

TEST(ParFor, AtTheLimitTheJobGoesToThePool) {
    ThreadCount threads(4);
    const auto before = detail::WorkerPool::instance().generation();
    std::vector<std::atomic<int>> hits(10'000);
    par_for(10'000, [&](uint64_t i) { hits[i].fetch_add(1); });
    for (auto &h : hits) ASSERT_EQ(h.load(), 1);
    EXPECT_EQ(detail::WorkerPool::instance().generation(), before + 1);
}

TEST(ParFor, OneThreadNeverUsesThePool) {
    ThreadCount threads(1);
    const auto before = detail::WorkerPool::instance().generation();
    std::set<std::thread::id> ids;
    par_for(50'000, [&](uint64_t) { ids.insert(std::this_thread::get_id()); });
    EXPECT_EQ(ids.size(), 1u);
    EXPECT_EQ(detail::WorkerPool::instance().generation(), before);
}

TEST(ParFor, ResultIsTheSameWithOneThreadAndMany) {
    auto run = [](uint32_t n_threads) {
        ThreadCount threads(n_threads);
        std::vector<uint64_t> out(123'457);
        par_for(out.size(), [&](uint64_t i) { out[i] = i * i % 1'000'003; });
        return out;
    };
    EXPECT_EQ(run(1), run(8));
    EXPECT_EQ(run(1), run(3));
}

TEST(ParFor, ExtraThreadsBeyondThePoolCoverEveryItemOnce) {
    // More executors than the pool has workers: the surplus runs on fresh threads.
    ThreadCount threads(12);
    std::vector<std::atomic<int>> hits(40'000);
    par_for(hits.size(), [&](uint64_t i) { hits[i].fetch_add(1); });
    for (auto &h : hits) ASSERT_EQ(h.load(), 1);
}

TEST(ParFor, ALoopInsideALoopBodyRunsSeriallyAndEnds) {
    // The pool takes one job at a time: an inner loop handed to it from a
    // job would wait for itself. It runs on the executor that started it.
    ThreadCount threads(4);
    constexpr uint64_t outer = 20'000, inner = 20'000;
    std::atomic<uint64_t> total{0};
    std::atomic<int> inner_not_marked{0};
    par_for(outer, [&](uint64_t i) {
        if (i % 1000 != 0) return;
        if (!detail::inside_pool_job()) inner_not_marked.fetch_add(1);
        const std::thread::id me = std::this_thread::get_id();
        std::atomic<int> elsewhere{0};
        par_for(inner, [&](uint64_t j) {
            if (std::this_thread::get_id() != me) elsewhere.fetch_add(1);
            total.fetch_add(j, std::memory_order_relaxed);
        });
        EXPECT_EQ(elsewhere.load(), 0);
    });
    EXPECT_EQ(inner_not_marked.load(), 0);
    EXPECT_EQ(total.load(), (outer / 1000) * (inner * (inner - 1) / 2));
    EXPECT_FALSE(detail::inside_pool_job());
}

TEST(ParFor, TwoUserThreadsTakeTurnsWithoutDeadlockOrInterleaving) {
    ThreadCount threads(2);
    // Jobs take turns on the pool; plain extra threads (only when the pool has
    // no worker at all) are outside that rule.
    if (detail::WorkerPool::instance().worker_count() == 0) GTEST_SKIP() << "pool without workers";
    std::atomic<int> inside[2] = {0, 0};
    std::atomic<bool> overlap{false};
    std::atomic<uint64_t> sums[2] = {0, 0};
    auto job = [&](int me) {
        for (int round = 0; round < 20; ++round) {
            par_for(200'000, [&](uint64_t i) {
                inside[me].fetch_add(1);
                if (inside[1 - me].load() != 0) overlap = true;
                sums[me].fetch_add(i, std::memory_order_relaxed);
                inside[me].fetch_sub(1);
            });
        }
    };
    std::thread a(job, 0), b(job, 1);
    a.join();
    b.join();
    EXPECT_FALSE(overlap.load());
    const uint64_t expected = 20ull * (200'000ull * 199'999ull / 2);
    EXPECT_EQ(sums[0].load(), expected);
    EXPECT_EQ(sums[1].load(), expected);
}

TEST(FreshThreads, EveryChunkRunsOnceAndTheCallerOnlyJoins) {
    std::vector<std::atomic<int>> hits(1'001);
    std::mutex m;
    std::set<uint32_t> thread_indices;
    run_on_fresh_threads(3, hits.size(), [&](uint32_t t, uint64_t, uint64_t b, uint64_t e) {
        {
            std::lock_guard<std::mutex> lock(m);
            thread_indices.insert(t);
        }
        for (uint64_t i = b; i < e; ++i) hits[i].fetch_add(1);
    });
    for (auto &h : hits) ASSERT_EQ(h.load(), 1);
    for (uint32_t t : thread_indices) EXPECT_LT(t, 3u);
}

}  // namespace
