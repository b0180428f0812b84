// The GPU thread's elite pool and the candidate rows it makes from it.
#include <random>
#include <set>

#include "solver/int_search_gpu_thread.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;
using intsearch::ElitePool;

namespace {

using State = std::vector<int64_t>;

std::vector<int64_t> energies(const ElitePool<int64_t> &pool) {
    std::vector<int64_t> out;
    for (size_t i = 0; i < pool.size(); ++i) out.push_back(pool[i].energy);
    return out;
}

TEST(ElitePool, KeepsTenDistinctStatesByEnergy) {
    ElitePool<int64_t> pool;
    EXPECT_TRUE(pool.insert(5, {5}, 1));
    EXPECT_TRUE(pool.insert(3, {3}, 2));
    EXPECT_FALSE(pool.insert(1, {5}, 3)) << "a state already pooled is refused, whatever its energy";
    EXPECT_TRUE(pool.insert(5, {6}, 4));
    EXPECT_EQ(energies(pool), (std::vector<int64_t>{3, 5, 5}));
    // equal energies keep insertion order: the newer goes after the older
    EXPECT_EQ(pool[1].state, (State{5}));
    EXPECT_EQ(pool[2].state, (State{6}));
    EXPECT_EQ(pool[2].op, 4);
    for (int64_t e = 10; e < 17; ++e) EXPECT_TRUE(pool.insert(e, {e}, 1));
    ASSERT_EQ(pool.size(), 10u);
    EXPECT_FALSE(pool.insert(16, {100}, 1)) << "a full pool refuses an energy at its last";
    EXPECT_FALSE(pool.insert(17, {101}, 1));
    EXPECT_TRUE(pool.insert(4, {102}, 1)) << "a lower energy enters and the last entry drops out";
    EXPECT_EQ(energies(pool), (std::vector<int64_t>{3, 4, 5, 5, 10, 11, 12, 13, 14, 15}));
}

// Random pools on random models: every row is a state within bounds, rows 0
// and 1 are random, op 2 copies the best entry, op 4 takes each variable from
// one of two different entries, and the operators are those of the pool.
TEST(GpuBatch, CandidatesFollowTheirOperators) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        std::mt19937_64 rng(seed);
        RandomIntModel rm = random_int_model(rng, 8, false, 3, 4);
        const ModelImpl &m = *rm.model->ref;
        const IntSearchTables<int64_t> tables(m);
        const FlatProblem<int64_t> &p = tables.p;
        std::mt19937_64 draws(seed * 7);
        auto draw = [&draws] { return draws(); };
        ElitePool<int64_t> pool;
        State x(p.total);
        std::set<int> ops_seen;
        for (int batch = 0; batch < 30; ++batch) {
            for (uint32_t row = 0; row < intsearch::kGpuBatchRows; ++row) {
                const uint8_t op = intsearch::make_candidate(tables, pool, row, 0, draw, x);
                ops_seen.insert(op);
                ASSERT_GE(op, 1) << "seed " << seed;
                ASSERT_LE(op, 4) << "seed " << seed;
                if (row < 2 || pool.empty()) {
                    ASSERT_EQ(op, 1) << "seed " << seed << " row " << row;
                }
                for (uint32_t i = 0; i < p.n_bin; ++i) ASSERT_TRUE(x[i] == 0 || x[i] == 1) << "seed " << seed;
                for (uint32_t k = 0; k < p.n_int; ++k) {
                    ASSERT_GE(x[p.n_bin + k], p.lower[k]) << "seed " << seed;
                    ASSERT_LE(x[p.n_bin + k], p.upper[k]) << "seed " << seed;
                }
                if (op == 2) {
                    ASSERT_EQ(x, pool[0].state) << "seed " << seed;
                }
                if (op == 4) {
                    ASSERT_GE(pool.size(), 2u) << "seed " << seed;
                    // some pair of entries gives every variable
                    bool explained = false;
                    for (size_t a = 0; a < pool.size() && !explained; ++a) {
                        for (size_t b = 0; b < pool.size() && !explained; ++b) {
                            if (a == b) continue;
                            bool all = true;
                            for (uint32_t i = 0; i < p.total; ++i) {
                                all &= x[i] == pool[a].state[i] || x[i] == pool[b].state[i];
                            }
                            explained = all;
                        }
                    }
                    ASSERT_TRUE(explained) << "seed " << seed;
                }
                pool.insert(p.full_energy(x.data()), x, op);
            }
        }
        if (pool.size() >= 2) {
            EXPECT_GE(ops_seen.size(), 3u) << "seed " << seed;
        }
    }
}

// With a pool of one entry made from the shared best, no row copies it
// blindly as a crossover: op 4 falls back to a random state (op 1).
TEST(GpuBatch, OneEntryMakesNoCrossover) {
    std::mt19937_64 rng(3);
    RandomIntModel rm = random_int_model(rng, 8, false, 2, 2);
    const IntSearchTables<int64_t> tables(*rm.model->ref);
    ElitePool<int64_t> pool;
    State best(tables.p.total, 0);
    for (uint32_t k = 0; k < tables.p.n_int; ++k) best[tables.p.n_bin + k] = tables.p.lower[k];
    pool.insert(0, best, intsearch::kFromBest);
    std::mt19937_64 draws(11);
    auto draw = [&draws] { return draws(); };
    State x(tables.p.total);
    std::set<int> ops;
    for (int i = 0; i < 400; ++i) ops.insert(intsearch::make_candidate(tables, pool, 2 + i % 6, 0, draw, x));
    EXPECT_EQ(ops.count(4), 0u);
    EXPECT_EQ(ops, (std::set<int>{1, 2, 3}));
}

// The same seed gives the same rows.
TEST(GpuBatch, ASeedFixesTheRows) {
    std::mt19937_64 rng(5);
    RandomIntModel rm = random_int_model(rng, 8, false, 3, 3);
    const IntSearchTables<int64_t> tables(*rm.model->ref);
    auto run = [&tables](uint64_t seed) {
        std::mt19937_64 draws(seed);
        auto draw = [&draws] { return draws(); };
        ElitePool<int64_t> pool;
        State x(tables.p.total);
        std::vector<State> rows;
        for (int i = 0; i < 64; ++i) {
            const uint8_t op = intsearch::make_candidate(tables, pool, i % 8, 1, draw, x);
            rows.push_back(x);
            rows.back().push_back(op);
            pool.insert(tables.p.full_energy(x.data()), x, op);
        }
        return rows;
    };
    EXPECT_EQ(run(9), run(9));
    EXPECT_NE(run(9), run(10));
}

}  // namespace
