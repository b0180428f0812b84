// The per-replica logic that the kernels run, compiled here as host code:
// exact move deltas and bookkeeping against the reference pricing, the
// annealing and descent guarantees, the move set's bounds, the random
// streams, and the compact model's refusals.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "batch.hpp"
#include "compact_model.hpp"
#include "exact_energy.hpp"
#include "gpu_test_model.hpp"
#include "replica.hpp"

namespace vexa::test {
namespace {

using tessix::CompactModel;
using tessix::CompactView;
using tessix::CounterRng;
using tessix::ReplicaView;

// A replica with its own arrays over a compact model.
struct Replica {
    std::vector<int64_t> x, field, body;
    ReplicaView view;
    explicit Replica(const CompactModel &m) : x(m.n), field(m.n), body(m.constraint_count()) {
        view = ReplicaView{x.data(), field.data(), body.data(), 1, 0};
    }
};

// The reference energy of a replica's values over the caller's arrays.
coeff_t reference(const mod::ModelArrays &a, const std::vector<int64_t> &x) {
    std::vector<uint64_t> bits(a.bin_count / 64 + 1, 0);
    for (uint32_t i = 0; i < a.bin_count; ++i) {
        if (x[i] != 0) bits[i / 64] |= uint64_t(1) << (i % 64);
    }
    std::vector<coeff_t> ints;
    for (uint32_t k = 0; k < a.int_count; ++k) ints.emplace_back(x[a.bin_count + k]);
    return mod::exact_energy(a, bits.data(), ints.data());
}

coeff_t energy_of(const CompactModel &m, const Replica &r) { return m.c0 + r.view.energy; }

struct Case {
    TestModel model;
    mod::ModelArrays arrays;
    CompactModel compact;
};

// Half binary models, half mixed ones.
Case make_case(uint64_t seed) {
    std::mt19937_64 rng(seed);
    Case c;
    if (seed % 2 == 0) {
        c.model = random_binary_model(rng, 6 + static_cast<uint32_t>(rng() % 10), 1 + static_cast<uint32_t>(rng() % 5));
    } else {
        c.model = random_integer_model(rng, 1 + static_cast<uint32_t>(rng() % 6), 2 + static_cast<uint32_t>(rng() % 5),
                                       static_cast<uint32_t>(rng() % 4));
    }
    c.arrays = arrays_of(c.model);
    tessix::CompactBuild b = tessix::build_compact_model(c.arrays);
    EXPECT_TRUE(b.ok) << b.reason;
    c.compact = std::move(b.model);
    return c;
}

TEST(TessixGpuReplica, MovesPriceExactlyAndBookkeepingMatchesRecomputation) {
    for (uint64_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Case c = make_case(seed);
        const CompactView v = c.compact.view();
        Replica r(c.compact);
        CounterRng rng{tessix::stream_key(seed, 0, 0), 0};
        tessix::random_values(v, r.view, rng);
        tessix::replica_load(v, r.view);
        ASSERT_EQ(energy_of(c.compact, r), reference(c.arrays, r.x));
        for (int step = 0; step < 300; ++step) {
            const uint32_t var = static_cast<uint32_t>(rng.below(v.n));
            int64_t nv;
            if (!tessix::propose_move(v, var, r.x[var], rng, nv)) continue;
            ASSERT_GE(nv, v.lower[var]);
            ASSERT_LE(nv, v.upper[var]);
            ASSERT_NE(nv, r.x[var]);
            const coeff_t before = reference(c.arrays, r.x);
            const int64_t delta = tessix::move_delta(v, r.view, var, nv);
            std::vector<int64_t> moved = r.x;
            moved[var] = nv;
            ASSERT_EQ(coeff_t(delta), reference(c.arrays, moved) - before) << "variable " << var;
            tessix::apply_move(v, r.view, var, nv, delta);
            ASSERT_EQ(energy_of(c.compact, r), reference(c.arrays, r.x));
        }
        // Fields and bodies after many moves equal a fresh load.
        Replica fresh(c.compact);
        fresh.x = r.x;
        tessix::replica_load(v, fresh.view);
        EXPECT_EQ(fresh.field, r.field);
        EXPECT_EQ(fresh.body, r.body);
        for (uint32_t k = 0; k < c.arrays.constraints.size(); ++k) {
            std::vector<uint64_t> bits(1, 0);
            for (uint32_t i = 0; i < c.arrays.bin_count; ++i) bits[0] |= uint64_t(r.x[i] != 0) << i;
            std::vector<coeff_t> ints;
            for (uint32_t q = 0; q < c.arrays.int_count; ++q) ints.emplace_back(r.x[c.arrays.bin_count + q]);
            EXPECT_EQ(coeff_t(r.body[k]), mod::exact_body(c.arrays, c.arrays.constraints[k], bits.data(), ints.data()))
                << "constraint " << k;
        }
    }
}

TEST(TessixGpuReplica, ColdSweepsNeverRaiseTheEnergyAndDescentEndsInALocalMinimum) {
    for (uint64_t seed = 100; seed < 140; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Case c = make_case(seed);
        const CompactView v = c.compact.view();
        Replica r(c.compact);
        CounterRng rng{tessix::stream_key(seed, 1, 0), 0};
        tessix::random_values(v, r.view, rng);
        tessix::replica_load(v, r.view);
        for (int s = 0; s < 5; ++s) {
            const int64_t before = r.view.energy;
            tessix::metropolis_sweep(v, r.view, rng, 0.0);
            ASSERT_LE(r.view.energy, before);
        }
        ASSERT_TRUE(tessix::descend(v, r.view, 100000));
        const coeff_t e = reference(c.arrays, r.x);
        ASSERT_EQ(energy_of(c.compact, r), e);
        // No move of the move set improves: every flip, every value of a
        // narrow integer, every power-of-two step of a wide one.
        for (uint32_t var = 0; var < v.n; ++var) {
            std::vector<int64_t> cands;
            if (var < v.n_bin) {
                cands.push_back(1 - r.x[var]);
            } else if (v.upper[var] - v.lower[var] < tessix::kDenseRange) {
                for (int64_t val = v.lower[var]; val <= v.upper[var]; ++val) cands.push_back(val);
            } else {
                for (uint32_t k = 0; k < tessix::step_count(v.upper[var] - v.lower[var]); ++k) {
                    cands.push_back(r.x[var] + (int64_t(1) << k));
                    cands.push_back(r.x[var] - (int64_t(1) << k));
                }
            }
            for (int64_t val : cands) {
                if (val < v.lower[var] || val > v.upper[var]) continue;
                std::vector<int64_t> moved = r.x;
                moved[var] = val;
                EXPECT_GE(reference(c.arrays, moved), e) << "variable " << var << " value " << val;
            }
        }
    }
}

TEST(TessixGpuReplica, StepListsEndAtTheFirstPowerAboveHalfTheRange) {
    EXPECT_EQ(tessix::step_count(16), 5u);  // 1 2 4 8 16
    EXPECT_EQ(tessix::step_count(17), 5u);
    EXPECT_EQ(tessix::step_count(15), 4u);  // 1 2 4 8
    EXPECT_EQ(tessix::step_count(1), 1u);
    EXPECT_EQ(tessix::step_count(int64_t(1) << 40), 41u);
}

TEST(TessixGpuReplica, RandomStreamsDependOnlyOnSeedBatchAndReplica) {
    CounterRng a{tessix::stream_key(7, 3, 11), 0}, b{tessix::stream_key(7, 3, 11), 0};
    CounterRng other_replica{tessix::stream_key(7, 3, 12), 0}, other_batch{tessix::stream_key(7, 4, 11), 0};
    int same_as_other = 0;
    for (int k = 0; k < 1000; ++k) {
        const uint64_t x = a.next();
        ASSERT_EQ(x, b.next());
        same_as_other += (x == other_replica.next()) + (x == other_batch.next());
    }
    EXPECT_EQ(same_as_other, 0);
    // below(n) stays below n and reaches every value of a small range.
    std::vector<int> seen(7, 0);
    for (int k = 0; k < 2000; ++k) {
        const uint64_t x = a.below(7);
        ASSERT_LT(x, 7u);
        ++seen[x];
    }
    for (int s : seen) EXPECT_GT(s, 200);
}

TEST(TessixGpuReplica, BatchRowsDoNotDependOnTheThreadCount) {
    for (uint64_t seed : {3u, 4u}) {
        Case c = make_case(seed);
        const CompactView v = c.compact.view();
        tessix::ReplicaJob job;
        job.seed = seed;
        job.batch = 5;
        job.replicas = 12;
        job.sweeps = 8;
        job.kick_max = 0.3;
        job.kick_period = 4;
        std::vector<int64_t> start(static_cast<size_t>(job.replicas) * v.n);
        CounterRng rng{seed, 0};
        for (uint32_t k = 0; k < job.replicas; ++k) {
            ReplicaView r{start.data() + static_cast<size_t>(k) * v.n, nullptr, nullptr, 1, 0};
            tessix::random_values(v, r, rng);
        }
        std::vector<int64_t> one = start, three = start, e1(job.replicas), e3(job.replicas);
        tessix::run_batch_host(v, job, one.data(), e1.data(), 1, nullptr);
        tessix::run_batch_host(v, job, three.data(), e3.data(), 3, nullptr);
        EXPECT_EQ(one, three);
        EXPECT_EQ(e1, e3);
        for (uint32_t k = 0; k < job.replicas; ++k) {
            std::vector<int64_t> row(one.begin() + static_cast<long>(k) * v.n, one.begin() + static_cast<long>(k + 1) * v.n);
            EXPECT_EQ(c.compact.c0 + e1[k], reference(c.arrays, row)) << "replica " << k;
        }
    }
}

TEST(TessixGpuReplica, ModelsBeyondMachineWordsOrWithProductBodiesAreDeclined) {
    std::mt19937_64 rng(5);
    TestModel big = random_binary_model(rng, 8, 0);
    big.add_linear(2, coeff_t(1) << 61);
    tessix::CompactBuild b = tessix::build_compact_model(arrays_of(big));
    EXPECT_FALSE(b.ok);
    EXPECT_EQ(b.reason, "coefficients too large for 64-bit arithmetic");

    TestModel wide = random_integer_model(rng, 2, 3, 0);
    wide.int_upper[0] = coeff_t(1) << 40;
    wide.add_quadratic(kIntAtomBit, kIntAtomBit, 1);  // x0^2 up to 2^80
    b = tessix::build_compact_model(arrays_of(wide));
    EXPECT_FALSE(b.ok);
    EXPECT_EQ(b.reason, "coefficients or bounds too large for 64-bit arithmetic");

    TestModel nl = random_binary_model(rng, 8, 0);
    add_random_constraint(rng, nl, 1);
    b = tessix::build_compact_model(arrays_of(nl));
    EXPECT_FALSE(b.ok);
    EXPECT_EQ(b.reason, "constraint bodies with products");
}

}  // namespace
}  // namespace vexa::test

namespace vexa::test {
namespace {

// The reference pricing splits a big model's terms among threads; integer
// sums do not depend on the order, so every thread count gives the energy a
// plain serial sum gives, with integer atoms and wide coefficients too.
TEST(ExactEnergy, ThreadsShareTheTermsOfBigModelsWithoutChangingTheSum) {
    std::mt19937_64 rng(8080);
    const uint32_t bins = 3000, ints = 3;
    const uint64_t lin = 2000, quad = 700000;
    std::vector<uint32_t> lin_vars, quad_vars;
    std::vector<coeff_t> lin_coefs, quad_coefs;
    auto word = [&](bool allow_int) -> uint32_t {
        if (allow_int && rng() % 50 == 0) return kIntAtomBit | static_cast<uint32_t>(rng() % ints);
        const auto v = static_cast<uint32_t>(rng() % bins);
        return rng() % 4 == 0 ? (v | kNegatedBit) : v;
    };
    auto coef = [&]() {
        coeff_t c = static_cast<int64_t>(rng() % 2001) - 1000;
        if (rng() % 1000 == 0) c <<= 100;
        return c;
    };
    for (uint64_t t = 0; t < lin; ++t) lin_vars.push_back(word(true)), lin_coefs.push_back(coef());
    for (uint64_t t = 0; t < quad; ++t) {
        quad_vars.push_back(word(true));
        quad_vars.push_back(word(false));
        quad_coefs.push_back(coef());
    }
    for (const bool with_ints : {false, true}) {
        SCOPED_TRACE(with_ints ? "integer atoms" : "binary only");
        mod::ModelArrays a;
        a.bin_count = bins;
        a.int_count = with_ints ? ints : 0;
        a.constant = 17;
        std::vector<uint32_t> lv = lin_vars, qv = quad_vars;
        if (!with_ints) {
            for (uint32_t &w : lv) w = (w & kIntAtomBit) != 0 ? literal_var_index(w) % bins : w;
            for (uint32_t &w : qv) w = (w & kIntAtomBit) != 0 ? literal_var_index(w) % bins : w;
        }
        a.term_counts = {lin, quad};
        a.var_lists = {lv.data(), qv.data()};
        a.coef_lists = {lin_coefs.data(), quad_coefs.data()};
        std::vector<uint64_t> bits(bins / 64 + 1);
        for (uint64_t &w : bits) w = rng();
        const std::vector<coeff_t> values = {coeff_t(-3), coeff_t(0), coeff_t(5)};
        // The plain sum, term by term.
        auto value = [&](uint32_t w) -> coeff_t {
            if ((w & kIntAtomBit) != 0 && !literal_negated(w)) return values[literal_int_index(w)];
            const uint32_t v = literal_var_index(w);
            const bool bit = ((bits[v / 64] >> (v % 64)) & 1u) != 0;
            return (bit != literal_negated(w)) ? 1 : 0;
        };
        coeff_t want = a.constant;
        for (uint64_t t = 0; t < lin; ++t) want += lin_coefs[t] * value(lv[t]);
        for (uint64_t t = 0; t < quad; ++t) want += quad_coefs[t] * value(qv[2 * t]) * value(qv[2 * t + 1]);
        const coeff_t *iv = with_ints ? values.data() : nullptr;
        for (const uint32_t threads : {1u, 2u, 3u, 8u}) {
            EXPECT_EQ(mod::exact_energy(a, bits.data(), iv, threads), want) << threads << " threads";
        }
    }
}

}  // namespace
}  // namespace vexa::test
