// The GPU side through its exported functions, as the library's driver calls
// them. Without a device the same searches run on host threads, so these run
// everywhere; the device comparisons skip where no device is found.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "batch.hpp"
#include "compact_model.hpp"
#include "energy_record.hpp"
#include "gpu_test_model.hpp"
#include "support/bigint_util.hpp"
#include "vexa/solver_module.h"

extern "C" int32_t vexa_tessix_gpu_device_count(void);

#ifdef VEXA_TESSIX_CUDA
extern "C" {
void *vexa_tessix_solver_create(void *w, uint32_t bin_count, uint32_t degree_count, const void *constant,
                                const uint64_t *term_counts, const uint32_t *const *var_lists,
                                const void *const *coef_lists, int32_t gpu_mode);
void vexa_tessix_solver_destroy(void *h);
void vexa_tessix_add_constraint(void *h, const void *weight, const void *lower, const void *upper,
                                const void *body_constant, uint64_t n_vars, const uint32_t *vars, const void *coeffs);
void vexa_tessix_set_cons_shape(void *h, uint8_t shape_exponent, uint8_t shape_hinge);
void vexa_tessix_solver_set_external_stop(void *h, const volatile uint8_t *stop);
void vexa_tessix_hint_solution(void *h, const uint64_t *bits);
void vexa_tessix_register_callback(vexa_module_callback cb);
void *vexa_tessix_solver_search(void *h, TessixSolution *best, uint32_t bin_count, const vexa_param *params,
                                void *hint);
uint64_t vexa_tessix_sol_list_count(void *list);
void vexa_tessix_sol_list_get(void *list, uint64_t index, TessixSolution *out, uint32_t bin_count);
void vexa_tessix_sol_list_destroy(void *list);
void *vexa_tessix_int_create(uint32_t bin_count, uint32_t int_count, const void *int_lower, const void *int_upper,
                             uint32_t degree_count, const void *constant, const uint64_t *term_counts,
                             const uint32_t *const *var_lists, const void *const *coef_lists, int32_t reserved,
                             uint32_t replicas, uint32_t seed);
void vexa_tessix_int_add_cons(void *h, const void *weight, const void *lower, const void *upper,
                              const void *body_constant, uint64_t n_vars, const uint32_t *vars, const void *coeffs,
                              uint64_t n_quad, const uint64_t *quad_head, const uint32_t *quad_vars,
                              const void *quad_coeffs, uint64_t n_allowed, const void *allowed_low,
                              const void *allowed_high);
void vexa_tessix_int_set_cons_shape(void *h, uint8_t shape_exponent, uint8_t shape_hinge);
int vexa_tessix_int_round2(void *h, const uint64_t *bits_in, const void *ints_in, uint32_t count,
                           uint64_t *bits_out, void *ints_out, void *energies_out, uint8_t *flags_out);
void vexa_tessix_int_hint(void *h, const uint64_t *bits, const void *ints);
void vexa_tessix_int_destroy(void *h);
}
#endif

namespace vexa::test {
namespace {

TEST(TessixGpuDeath, DeviceCountIsZeroWhenNoDeviceIsVisible) {
    // In a child process, so that the runtime starts with the variable set.
    EXPECT_EXIT(
        {
            setenv("CUDA_VISIBLE_DEVICES", "", 1);
            std::exit(vexa_tessix_gpu_device_count());
        },
        testing::ExitedWithCode(0), "");
}

#ifdef VEXA_TESSIX_CUDA

using Params = std::vector<std::pair<std::string, std::string>>;

struct Found {
    coeff_t energy;
    std::vector<uint64_t> bits;
    double tts = 0.0;
};

struct Result {
    Found best;
    bool has_list = false;
    std::vector<Found> list;
    std::map<std::string, std::string> info;
    double wall = 0.0;
};

Found take(TessixSolution &s) {
    Found f;
    f.energy = mod::record_to_coeff(&s.energy);
    f.bits.assign(s.bits, s.bits + s.word_count);
    f.tts = s.tts;
    return f;
}

// A binary handle over m with its constraints, as the driver makes one.
void *create(const TestModel &m, void *wrapper = nullptr) {
    const ModelPointers p(m);
    void *h = vexa_tessix_solver_create(wrapper, m.bin_count, 2, &m.constant, p.term_counts.data(),
                                        p.var_lists.data(), p.coef_lists.data(), 1);
    for (const TestConstraint &c : m.constraints) {
        vexa_tessix_add_constraint(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), c.vars.data(),
                                   c.coeffs.data());
        if (c.exponent != 2 || c.hinge != 0) vexa_tessix_set_cons_shape(h, c.exponent, c.hinge);
    }
    return h;
}

Result search(void *h, const TestModel &m, const Params &params) {
    std::vector<vexa_param> list;
    for (const auto &[k, v] : params) list.push_back({k.c_str(), v.c_str()});
    list.push_back({nullptr, nullptr});
    const uint32_t wc = (m.bin_count + 63) / 64;
    std::vector<uint64_t> bits(wc, 0);
    TessixSolution best{{0, 0, nullptr}, bits.data(), 0.0, nullptr, wc};
    const auto t0 = std::chrono::steady_clock::now();
    void *sols = vexa_tessix_solver_search(h, &best, m.bin_count, list.data(), nullptr);
    Result r;
    r.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    r.best = take(best);
    std::free(best.energy.limbs);
    for (vexa_info_pair *p = best.info; p != nullptr && p->key != nullptr; ++p) {
        r.info[p->key] = p->value;
        std::free(p->key);
        std::free(p->value);
    }
    std::free(best.info);
    if (sols != nullptr) {
        r.has_list = true;
        for (uint64_t i = 0; i < vexa_tessix_sol_list_count(sols); ++i) {
            std::vector<uint64_t> b(wc, 0);
            TessixSolution s{{0, 0, nullptr}, b.data(), 0.0, nullptr, wc};
            vexa_tessix_sol_list_get(sols, i, &s, m.bin_count);
            r.list.push_back(take(s));
            std::free(s.energy.limbs);
        }
        vexa_tessix_sol_list_destroy(sols);
    }
    return r;
}

Result solve(const TestModel &m, const Params &params) {
    void *h = create(m);
    Result r = search(h, m, params);
    vexa_tessix_solver_destroy(h);
    return r;
}

TEST(TessixGpuBinary, FindsTheOptimumOfSmallConstrainedModels) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        const TestModel m = random_binary_model(rng, 10 + static_cast<uint32_t>(seed % 5), 3, false);
        const BruteForce bf = brute_force(m);
        const Result r = solve(m, {{"time_limit", "5"}, {"target_energy", bf.best.str()}, {"seed", "1"}});
        EXPECT_EQ(r.best.energy, bf.best);
        EXPECT_EQ(reference_energy(m, r.best.bits), r.best.energy);
        EXPECT_LT(r.wall, 4.0);
        EXPECT_EQ(r.info.at("arithmetic"), "int64");
        if (vexa_tessix_gpu_device_count() == 0) {
            EXPECT_EQ(r.info.at("backend"), "host");
        }
    }
}

TEST(TessixGpuBinary, TopListIsAscendingDistinctAndExactlyPriced) {
    std::mt19937_64 rng(21);
    const TestModel m = random_binary_model(rng, 60, 2, false);
    const Result r = solve(m, {{"time_limit", "1"}, {"topk_sols", "6"}, {"seed", "2"}, {"threads", "4"}});
    ASSERT_TRUE(r.has_list);
    ASSERT_EQ(r.list.size(), 6u);
    EXPECT_EQ(r.list.front().energy, r.best.energy);
    for (size_t i = 0; i < r.list.size(); ++i) {
        EXPECT_EQ(reference_energy(m, r.list[i].bits), r.list[i].energy);
        for (size_t j = 0; j < i; ++j) {
            EXPECT_LE(r.list[j].energy, r.list[i].energy);
            EXPECT_NE(r.list[j].bits, r.list[i].bits);
        }
    }
    const Result none = solve(m, {{"time_limit", "0.1"}});
    EXPECT_FALSE(none.has_list);
}

TEST(TessixGpuBinary, StopByteEndsASearchWithinMilliseconds) {
    std::mt19937_64 rng(31);
    const TestModel m = random_binary_model(rng, 200, 4, false);
    void *h = create(m);
    volatile uint8_t stop = 0;
    vexa_tessix_solver_set_external_stop(h, &stop);
    std::thread stopper([&stop] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        stop = 1;
    });
    const Result r = search(h, m, {{"time_limit", "30"}});
    stopper.join();
    EXPECT_GT(r.wall, 0.14);
    EXPECT_LT(r.wall, 1.0);
    EXPECT_EQ(reference_energy(m, r.best.bits), r.best.energy);
    vexa_tessix_solver_destroy(h);
}

TEST(TessixGpuBinary, HintTakesPartAsItCame) {
    std::mt19937_64 rng(41);
    const TestModel m = random_binary_model(rng, 300, 0, false);
    const Result good = solve(m, {{"time_limit", "1.5"}, {"seed", "3"}});
    const Result quick = solve(m, {{"time_limit", "0"}, {"seed", "4"}});
    // On host threads one batch is far from a long search; a device batch may
    // already match it.
    if (vexa_tessix_gpu_device_count() == 0) {
        ASSERT_LT(good.best.energy, quick.best.energy) << "the hint must be better than one batch finds";
    }
    void *h = create(m);
    vexa_tessix_hint_solution(h, good.best.bits.data());
    const Result hinted = search(h, m, {{"time_limit", "0"}, {"seed", "4"}});
    EXPECT_LE(hinted.best.energy, good.best.energy);
    // A hint is used once.
    const Result after = search(h, m, {{"time_limit", "0"}, {"seed", "4"}});
    EXPECT_EQ(after.best.energy, quick.best.energy);
    vexa_tessix_solver_destroy(h);
}

struct Heard {
    void *wrapper = nullptr;
    std::vector<coeff_t> energies;
    std::vector<uint32_t> events;
    bool bits_exact = true;
    const TestModel *model = nullptr;
};
Heard *g_heard = nullptr;

double listen(void *w, const vexa_bigint *energy, const uint64_t *bits, uint32_t event, double) {
    g_heard->wrapper = w;
    g_heard->energies.push_back(mod::record_to_coeff(energy));
    g_heard->events.push_back(event);
    const uint32_t wc = (g_heard->model->bin_count + 63) / 64;
    if (reference_energy(*g_heard->model, std::vector<uint64_t>(bits, bits + wc)) != g_heard->energies.back()) {
        g_heard->bits_exact = false;
    }
    return -1.0;
}

TEST(TessixGpuBinary, CallbackHearsEachNewBestInDescendingOrder) {
    std::mt19937_64 rng(51);
    const TestModel m = random_binary_model(rng, 120, 3, false);
    Heard heard;
    heard.model = &m;
    g_heard = &heard;
    vexa_tessix_register_callback(listen);
    int tag = 0;
    void *h = create(m, &tag);
    const Result r = search(h, m, {{"time_limit", "0.5"}, {"seed", "5"}});
    vexa_tessix_solver_destroy(h);
    vexa_tessix_register_callback(nullptr);
    ASSERT_FALSE(heard.energies.empty());
    EXPECT_EQ(heard.wrapper, &tag);
    EXPECT_TRUE(heard.bits_exact);
    for (size_t i = 0; i < heard.energies.size(); ++i) {
        EXPECT_EQ(heard.events[i], 1u);
        if (i > 0) {
            EXPECT_LT(heard.energies[i], heard.energies[i - 1]);
        }
    }
    EXPECT_EQ(heard.energies.back(), r.best.energy);
}

TEST(TessixGpuDeath, ModelsBeyondMachineWordsAreRefused) {
    const char *text =
        "^vexa: TessixSolver: the GPU search takes only models whose energies fit in 64-bit integers and "
        "whose constraint bodies are linear \\(this one has coefficients too large for 64-bit "
        "arithmetic\\); use gpu_mode 0\\.\n$";
    std::mt19937_64 rng(61);
    // The objective at create.
    TestModel m = random_binary_model(rng, 8, 0, false);
    m.add_linear(3, pow2(62));
    EXPECT_DEATH(create(m), text);
    // A constraint's penalty at the search.
    TestModel c = random_binary_model(rng, 8, 1, false);
    c.constraints[0].weight = pow2(59);
    void *h = create(c);
    EXPECT_DEATH(search(h, c, {{"time_limit", "0.1"}}), text);
    vexa_tessix_solver_destroy(h);
}

// ---- integer rounds ----

struct IntRows {
    uint32_t wpr, ipr;
    std::vector<uint64_t> bits_in, bits_out;
    std::vector<coeff_t> ints_in, ints_out, energies_out;
    std::vector<uint8_t> flags;
    IntRows(const TestModel &m, uint32_t count)
        : wpr(std::max(1u, (m.bin_count + 63) / 64)), ipr(std::max(1u, m.int_count)),
          bits_in(count * wpr), bits_out(count * wpr), ints_in(count * ipr), ints_out(count * ipr),
          energies_out(count), flags(count) {}
    std::vector<uint64_t> bits(const std::vector<uint64_t> &v, uint32_t s) const {
        return {v.begin() + s * wpr, v.begin() + (s + 1) * wpr};
    }
    std::vector<coeff_t> ints(const std::vector<coeff_t> &v, uint32_t s, uint32_t n) const {
        return {v.begin() + s * ipr, v.begin() + s * ipr + n};
    }
};

void *create_int(const TestModel &m, uint32_t replicas, uint32_t seed) {
    const ModelPointers p(m);
    void *h = vexa_tessix_int_create(m.bin_count, m.int_count, m.int_lower.data(), m.int_upper.data(), 2,
                                     &m.constant, p.term_counts.data(), p.var_lists.data(), p.coef_lists.data(), 0,
                                     replicas, seed);
    for (const TestConstraint &c : m.constraints) {
        vexa_tessix_int_add_cons(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), c.vars.data(),
                                 c.coeffs.data(), c.quad_coeffs.size(), c.quad_head.data(), c.quad_vars.data(),
                                 c.quad_coeffs.data(), c.allowed_low.size(), c.allowed_low.data(),
                                 c.allowed_high.data());
        if (c.exponent != 2 || c.hinge != 0) vexa_tessix_int_set_cons_shape(h, c.exponent, c.hinge);
    }
    return h;
}

void random_rows(std::mt19937_64 &rng, const TestModel &m, IntRows &rows, uint32_t count) {
    for (uint32_t s = 0; s < count; ++s) {
        for (uint32_t i = 0; i < m.bin_count; ++i) {
            if (rng() & 1u) rows.bits_in[s * rows.wpr + i / 64] |= uint64_t(1) << (i % 64);
        }
        for (uint32_t k = 0; k < m.int_count; ++k) {
            const int64_t lo = m.int_lower[k].convert_to<int64_t>(), hi = m.int_upper[k].convert_to<int64_t>();
            rows.ints_in[s * rows.ipr + k] = lo + static_cast<int64_t>(rng() % static_cast<uint64_t>(hi - lo + 1));
        }
    }
}

TEST(TessixGpuInteger, RoundsReturnImprovedRowsWithExactEnergiesWithinBounds) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        const TestModel m = random_integer_model(rng, 5, 6, 3);
        void *h = create_int(m, 64, static_cast<uint32_t>(seed));
        uint32_t flagged = 0;
        for (int round = 0; round < 3; ++round) {
            IntRows rows(m, 8);
            random_rows(rng, m, rows, 8);
            ASSERT_EQ(vexa_tessix_int_round2(h, rows.bits_in.data(), rows.ints_in.data(), 8, rows.bits_out.data(),
                                             rows.ints_out.data(), rows.energies_out.data(), rows.flags.data()),
                      0);
            for (uint32_t s = 0; s < 8; ++s) {
                if (!rows.flags[s]) continue;
                ++flagged;
                const std::vector<coeff_t> ints = rows.ints(rows.ints_out, s, m.int_count);
                for (uint32_t k = 0; k < m.int_count; ++k) {
                    EXPECT_GE(ints[k], m.int_lower[k]);
                    EXPECT_LE(ints[k], m.int_upper[k]);
                }
                const coeff_t e = reference_energy(m, rows.bits(rows.bits_out, s), ints, true);
                EXPECT_EQ(e, rows.energies_out[s]);
                EXPECT_LT(e, reference_energy(m, rows.bits(rows.bits_in, s), rows.ints(rows.ints_in, s, m.int_count),
                                              true));
            }
        }
        EXPECT_GT(flagged, 0u);
        vexa_tessix_int_destroy(h);
    }
}

TEST(TessixGpuInteger, AHintReplacesTheFirstRowOnce) {
    std::mt19937_64 rng(71);
    const TestModel m = random_integer_model(rng, 4, 4, 2);
    void *h = create_int(m, 64, 9);
    // A well-searched state: the best of a few rounds.
    IntRows rows(m, 8);
    random_rows(rng, m, rows, 8);
    coeff_t best_e;
    std::vector<uint64_t> best_bits;
    std::vector<coeff_t> best_ints;
    for (int round = 0; round < 4; ++round) {
        ASSERT_EQ(vexa_tessix_int_round2(h, rows.bits_in.data(), rows.ints_in.data(), 8, rows.bits_out.data(),
                                         rows.ints_out.data(), rows.energies_out.data(), rows.flags.data()),
                  0);
        for (uint32_t s = 0; s < 8; ++s) {
            if (rows.flags[s] && (best_bits.empty() || rows.energies_out[s] < best_e)) {
                best_e = rows.energies_out[s];
                best_bits = rows.bits(rows.bits_out, s);
                best_ints = rows.ints(rows.ints_out, s, m.int_count);
            }
        }
    }
    ASSERT_FALSE(best_bits.empty());
    // Row 0 is the worst state there is of a few hundred random ones.
    IntRows poor(m, 8);
    coeff_t worst;
    for (int k = 0; k < 300; ++k) {
        IntRows one(m, 1);
        random_rows(rng, m, one, 1);
        const coeff_t e = reference_energy(m, one.bits_in, one.ints(one.ints_in, 0, m.int_count), true);
        if (k == 0 || e > worst) {
            worst = e;
            std::copy(one.bits_in.begin(), one.bits_in.end(), poor.bits_in.begin());
            std::copy(one.ints_in.begin(), one.ints_in.begin() + one.ipr, poor.ints_in.begin());
        }
    }
    vexa_tessix_int_hint(h, best_bits.data(), best_ints.data());
    ASSERT_EQ(vexa_tessix_int_round2(h, poor.bits_in.data(), poor.ints_in.data(), 1, poor.bits_out.data(),
                                     poor.ints_out.data(), poor.energies_out.data(), poor.flags.data()),
              0);
    // Started from the hint, the row can only be flagged below the hint.
    if (poor.flags[0]) {
        EXPECT_LT(poor.energies_out[0], best_e);
    }
    // Without the hint the poor row itself improves.
    ASSERT_EQ(vexa_tessix_int_round2(h, poor.bits_in.data(), poor.ints_in.data(), 1, poor.bits_out.data(),
                                     poor.ints_out.data(), poor.energies_out.data(), poor.flags.data()),
              0);
    EXPECT_EQ(poor.flags[0], 1);
    EXPECT_LT(poor.energies_out[0], worst);
    vexa_tessix_int_destroy(h);
}

TEST(TessixGpuInteger, ModelsItCannotSearchEndTheRoundsQuietly) {
    std::mt19937_64 rng(81);
    TestModel m = random_integer_model(rng, 3, 3, 1);
    TestConstraint nl;
    nl.vars = {0};
    nl.coeffs = {1};
    nl.quad_head = {0, 2};
    nl.quad_vars = {1, 3};
    nl.quad_coeffs = {2};
    m.constraints.push_back(nl);
    void *h = create_int(m, 16, 1);
    IntRows rows(m, 8);
    random_rows(rng, m, rows, 8);
    EXPECT_NE(vexa_tessix_int_round2(h, rows.bits_in.data(), rows.ints_in.data(), 8, rows.bits_out.data(),
                                     rows.ints_out.data(), rows.energies_out.data(), rows.flags.data()),
              0);
    for (uint8_t f : rows.flags) EXPECT_EQ(f, 0);
    vexa_tessix_int_destroy(h);
}

// ---- on a device ----

TEST(TessixGpuDevice, DeviceRowsEqualHostRows) {
    if (vexa_tessix_gpu_device_count() == 0) GTEST_SKIP() << "no CUDA device";
    std::mt19937_64 rng(91);
    for (int kind = 0; kind < 2; ++kind) {
        const TestModel m = kind == 0 ? random_binary_model(rng, 150, 6) : random_integer_model(rng, 20, 30, 5);
        const mod::ModelArrays a = arrays_of(m);
        const tessix::CompactBuild b = tessix::build_compact_model(a);
        ASSERT_TRUE(b.ok);
        const tessix::CompactView v = b.model.view();
        tessix::ReplicaJob job;
        job.seed = 17;
        job.replicas = 300;
        job.sweeps = 20;
        job.kick_max = 0.3;
        job.kick_period = 30;
        std::vector<int64_t> start(static_cast<size_t>(job.replicas) * v.n);
        tessix::CounterRng r{5, 0};
        for (uint32_t k = 0; k < job.replicas; ++k) {
            tessix::ReplicaView row{start.data() + static_cast<size_t>(k) * v.n, nullptr, nullptr, 1, 0};
            tessix::random_values(v, row, r);
        }
        std::vector<int64_t> host = start, dev = start, eh(job.replicas), ed(job.replicas);
        tessix::run_batch_host(v, job, host.data(), eh.data(), 4, nullptr);
        tessix::DeviceSession *s = tessix::device_session_open(v);
        ASSERT_NE(s, nullptr);
        ASSERT_TRUE(tessix::device_run_batch(s, job, dev.data(), ed.data()));
        tessix::device_session_close(s);
        EXPECT_EQ(host, dev);
        EXPECT_EQ(eh, ed);
    }
}

TEST(TessixGpuDevice, DeviceSearchFindsSmallOptimaAndSaysSo) {
    if (vexa_tessix_gpu_device_count() == 0) GTEST_SKIP() << "no CUDA device";
    for (uint64_t seed = 1; seed <= 4; ++seed) {
        std::mt19937_64 rng(seed);
        const TestModel m = random_binary_model(rng, 16, 3, false);
        const BruteForce bf = brute_force(m);
        const Result r = solve(m, {{"time_limit", "5"}, {"target_energy", bf.best.str()}});
        EXPECT_EQ(r.best.energy, bf.best);
        EXPECT_EQ(r.info.at("backend").rfind("cuda:", 0), 0u);
    }
}

#endif

}  // namespace
}  // namespace vexa::test
