// The CPU family of the accelerated module (tessix_cppint.so), driven through
// its exported C functions as the accelerated driver drives it: exact
// energies with constraints of every kind, optima of small models checked
// by enumeration, the stop byte and hints from another thread, callbacks,
// and seeded reproducibility.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>
#include <type_traits>

#include "solver/modules.hpp"
#include "support/bigint_util.hpp"
#include "test_model.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

using Params = std::vector<std::pair<std::string, std::string>>;
using Clock = std::chrono::steady_clock;

// The built file with every row it defines; a missing mandatory row aborts.
const TessixModuleTable &tessix() {
    static const TessixModuleTable table = [] {
        const std::string path = std::string(VEXA_TEST_MODULE_DIR) + "tessix_cppint.so";
        TessixModuleTable t;
        t.handle = dlopen(path.c_str(), RTLD_NOW);
        if (t.handle == nullptr) {
            std::fprintf(stderr, "test: cannot open %s: %s\n", path.c_str(), dlerror());
            std::abort();
        }
        t.each_slot([&](const SymbolRow &row, auto &slot) {
            void *p = dlsym(t.handle, (std::string(TessixModuleTable::prefix) + row.name).c_str());
            if (p == nullptr && row.need == SymbolNeed::mandatory) {
                std::fprintf(stderr, "test: missing symbol %s\n", row.name);
                std::abort();
            }
            slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(p);
        });
        return t;
    }();
    return table;
}

coeff_t from_record(const vexa_bigint &r) {
    coeff_t v = 0;
    for (uint32_t i = r.nlimbs; i-- > 0;) v = (v << 64) + r.limbs[i];
    return r.sign < 0 ? coeff_t(-v) : v;
}

// The callbacks are process-wide: one forwarder each, dispatching on the
// wrapper pointer, which the tests set to a Recorder.
struct Event {
    uint32_t kind;
    coeff_t energy;
    bool has_bits;
    std::vector<uint64_t> bits;
    std::vector<coeff_t> ints;
    double tts;
};

struct Recorder {
    uint32_t words = 0;
    double answer = -1.0;  // what the callback returns
    std::mutex mutex;
    std::vector<Event> events;
    std::function<void(const Event &)> also;

    double record(const vexa_bigint *e, const uint64_t *bits, const void *ints, uint64_t int_count, uint32_t kind,
                  double tts) {
        Event ev{kind, from_record(*e), bits != nullptr, {}, {}, tts};
        if (bits != nullptr) ev.bits.assign(bits, bits + words);
        if (ints != nullptr) {
            const auto *v = static_cast<const coeff_t *>(ints);
            ev.ints.assign(v, v + int_count);
        }
        if (also) also(ev);
        std::lock_guard<std::mutex> lock(mutex);
        events.push_back(std::move(ev));
        return answer;
    }
};

double binary_forwarder(void *w, const vexa_bigint *e, const uint64_t *bits, uint32_t kind, double tts) {
    if (w == nullptr) return -1.0;
    return static_cast<Recorder *>(w)->record(e, bits, nullptr, 0, kind, tts);
}

double int_forwarder(void *w, const vexa_bigint *e, const uint64_t *bits, const void *ints, uint64_t count,
                     uint32_t kind, double tts) {
    if (w == nullptr) return -1.0;
    return static_cast<Recorder *>(w)->record(e, bits, ints, count, kind, tts);
}

struct Result {
    coeff_t energy;
    std::vector<uint64_t> bits;
    std::vector<coeff_t> ints;
    double tts = 0.0;
    std::map<std::string, std::string> info;
    std::vector<std::pair<coeff_t, std::vector<uint64_t>>> list;
    double wall = 0.0;
};

// A handle with the model's terms and constraints, as the driver adds them.
struct Handle {
    const TestModel &m;
    bool integer;
    void *h = nullptr;
    volatile uint8_t stop = 0;
    std::vector<uint64_t> counts;
    std::vector<const uint32_t *> vars;
    std::vector<const void *> coefs;

    Handle(const TestModel &model, bool int_handle, Recorder *w = nullptr) : m(model), integer(int_handle) {
        const TessixModuleTable &f = tessix();
        f.cpu_register_callback(binary_forwarder);
        f.cpu_register_callback_iv(int_forwarder);
        if (!m.coef1.empty() || !m.coef2.empty()) {
            counts.push_back(m.coef1.size());
            vars.push_back(m.vars1.data());
            coefs.push_back(m.coef1.data());
        }
        if (!m.coef2.empty()) {
            counts.push_back(m.coef2.size());
            vars.push_back(m.vars2.data());
            coefs.push_back(m.coef2.data());
        }
        const auto degrees = static_cast<uint32_t>(counts.size());
        if (integer) {
            h = f.cpu_solver_create_int(w, m.bin_count, m.int_count, m.int_lower.data(), m.int_upper.data(), degrees,
                                        &m.constant, counts.data(), vars.data(), coefs.data(), 0);
        } else {
            h = f.cpu_solver_create(w, m.bin_count, degrees, &m.constant, counts.data(), vars.data(), coefs.data());
        }
        f.cpu_solver_set_external_stop(h, &stop);
        for (const TestConstraint &c : m.constraints) {
            if (!c.quad_coeffs.empty()) {
                f.cpu_add_constraint_nl(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(),
                                        c.vars.data(), c.coeffs.data(), c.quad_coeffs.size(), c.quad_head.data(),
                                        c.quad_vars.data(), c.quad_coeffs.data());
            } else if (!c.allowed_low.empty()) {
                f.cpu_add_constraint_set(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(),
                                         c.vars.data(), c.coeffs.data(), c.allowed_low.size(), c.allowed_low.data(),
                                         c.allowed_high.data());
            } else {
                f.cpu_add_constraint(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(),
                                     c.vars.data(), c.coeffs.data());
            }
            if (c.exponent != 2 || c.hinge != 0) f.cpu_set_cons_shape(h, c.exponent, c.hinge);
        }
    }
    ~Handle() { tessix().cpu_solver_destroy(h); }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;

    Result search(const Params &p) {
        const TessixModuleTable &f = tessix();
        std::vector<vexa_param> list;
        for (const auto &[k, v] : p) list.push_back({k.c_str(), v.c_str()});
        list.push_back({nullptr, nullptr});
        const uint32_t words = (m.bin_count + 63) / 64;
        std::vector<uint64_t> bits(words + 1, 0);
        TessixSolution sol{};
        sol.bits = bits.data();
        sol.word_count = words;
        Result r;
        r.ints.assign(m.int_count, coeff_t(0));
        const auto t0 = Clock::now();
        void *sols = integer ? f.cpu_solver_search_int(h, &sol, m.bin_count, list.data(), r.ints.data())
                             : f.cpu_solver_search(h, &sol, m.bin_count, list.data(), nullptr);
        r.wall = std::chrono::duration<double>(Clock::now() - t0).count();
        r.energy = from_record(sol.energy);
        std::free(sol.energy.limbs);
        bits.resize(words);
        r.bits = bits;
        r.tts = sol.tts;
        if (sol.info != nullptr) {
            for (vexa_info_pair *q = sol.info; q->key != nullptr; ++q) {
                r.info[q->key] = q->value;
                std::free(q->key);
                std::free(q->value);
            }
            std::free(sol.info);
        }
        if (sols != nullptr) {
            for (uint64_t i = 0; i < f.cpu_sol_list_count(sols); ++i) {
                std::vector<uint64_t> item(words + 1, 0);
                TessixSolution s{};
                s.bits = item.data();
                s.word_count = words;
                f.cpu_sol_list_get(sols, i, &s, m.bin_count);
                item.resize(words);
                r.list.emplace_back(from_record(s.energy), item);
                std::free(s.energy.limbs);
            }
            f.cpu_sol_list_destroy(sols);
        }
        return r;
    }
};

coeff_t priced(const TestModel &m, const Result &r, bool integer) {
    return reference_energy(m, r.bits, r.ints, integer);
}

TestModel constrained_model(uint64_t seed, uint32_t vars, int64_t range = 20) {
    std::mt19937_64 rng(seed);
    TestModel m = random_model(rng, {vars, 0.8, 0.4, range, 0});
    for (int kind = 0; kind < 5; ++kind) add_random_constraint(rng, m, kind);
    return m;
}

// A dense model big enough that a short search cannot settle it.
TestModel big_model(uint64_t seed, uint32_t vars) {
    std::mt19937_64 rng(seed);
    return random_model(rng, {vars, 0.5, 0.3, 100, 0});
}

}  // namespace

TEST(TessixCpu, EnergiesAreExactWithConstraintsOfEveryKind) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
        TestModel m = constrained_model(seed, 30);
        if (seed % 2 == 0) m.constant = pow2(70) + 3;  // a constant beyond 64 bits stays outside the loops
        if (seed % 4 == 3) m.coef2[0] = pow2(66);      // a term beyond the machine word takes the exact path
        Handle h(m, false);
        const Result r = h.search({{"time_limit", "0.2"}, {"seed", std::to_string(seed)}, {"topk_sols", "5"}});
        EXPECT_EQ(r.energy, priced(m, r, false)) << "seed " << seed;
        EXPECT_EQ(r.info.at("arithmetic"), seed % 4 == 3 ? "bigint" : "int64") << "seed " << seed;
        ASSERT_FALSE(r.list.empty()) << "seed " << seed;
        EXPECT_EQ(r.list.front().first, r.energy) << "seed " << seed;
        for (const auto &[e, bits] : r.list) EXPECT_EQ(e, reference_energy(m, bits)) << "seed " << seed;
    }
}

// Sparse models run two ladders that trade clusters of differing variables
// between them; a dense one keeps a single ladder. Either way every returned
// energy is exact, with constraints (which join their variables into one
// cluster) and on the big-integer path too.
TEST(TessixCpu, SparseModelsTradeClustersBetweenPairedLaddersExactly) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        std::mt19937_64 rng(seed);
        TestModel m = sparse_model(rng, 400, 400);
        if (seed % 2 == 0) {
            for (int k = 0; k < 20; ++k) add_random_constraint(rng, m, k % 5);
        }
        if (seed % 3 == 0) m.coef2[0] = pow2(66);
        Handle h(m, false);
        const Result r = h.search({{"time_limit", "0.3"}, {"seed", std::to_string(seed)}, {"topk_sols", "5"}});
        EXPECT_GT(std::stoull(r.info.at("cluster_moves")), 0u) << "seed " << seed;
        EXPECT_EQ(r.energy, priced(m, r, false)) << "seed " << seed;
        ASSERT_FALSE(r.list.empty()) << "seed " << seed;
        for (const auto &[e, bits] : r.list) EXPECT_EQ(e, reference_energy(m, bits)) << "seed " << seed;
    }
    std::mt19937_64 rng(9);
    const TestModel dense = random_model(rng, {60, 0.5, 0.9, 50, 0});
    Handle h(dense, false);
    const Result r = h.search({{"time_limit", "0.2"}, {"seed", "3"}});
    EXPECT_EQ(r.info.at("cluster_moves"), "0");
    EXPECT_EQ(r.energy, priced(dense, r, false));
}

TEST(TessixCpu, FindsTheOptimumOfSmallModelsCheckedByEnumeration) {
    for (uint64_t seed = 1; seed <= 10; ++seed) {
        const TestModel m = constrained_model(100 + seed, 14);
        const BruteForce bf = brute_force(m);
        Handle h(m, false);
        const Result r = h.search({{"time_limit", "5"}, {"target_energy", bf.best.str()}, {"threads", "2"}});
        EXPECT_EQ(r.energy, bf.best) << "seed " << seed;
        EXPECT_EQ(priced(m, r, false), bf.best) << "seed " << seed;
        EXPECT_EQ(r.info.at("target_reached"), "1") << "seed " << seed;
    }
}

TEST(TessixCpu, FindsTheOptimumOfSmallIntegerModelsCheckedByEnumeration) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
        std::mt19937_64 rng(seed);
        const TestModel m = random_mixed(rng, 3, 2, -3, 4);
        const coeff_t best = mixed_brute_force(m);
        Handle h(m, true);
        const Result r = h.search({{"time_limit", "5"}, {"target_energy", best.str()}, {"thread_count", "2"}});
        EXPECT_EQ(r.energy, best) << "seed " << seed;
        EXPECT_EQ(priced(m, r, true), best) << "seed " << seed;
        for (const coeff_t &v : r.ints) {
            EXPECT_GE(v, -3);
            EXPECT_LE(v, 4);
        }
    }
}

TEST(TessixCpu, WideIntegersStayExactAndInBounds) {
    std::mt19937_64 rng(9);
    TestModel m = random_mixed(rng, 4, 3, 0, 1);
    for (uint32_t k = 0; k < m.int_count; ++k) {
        m.int_lower[k] = -pow2(80);
        m.int_upper[k] = pow2(80) + 7;
    }
    Handle h(m, true);
    const Result r = h.search({{"time_limit", "0.3"}});
    EXPECT_EQ(r.energy, priced(m, r, true));
    for (uint32_t k = 0; k < m.int_count; ++k) {
        EXPECT_GE(r.ints[k], m.int_lower[k]);
        EXPECT_LE(r.ints[k], m.int_upper[k]);
    }
}

TEST(TessixCpu, StopByteFromAnotherThreadEndsTheSearchAtOnce) {
    // Variants: a dense binary model (whose final re-pricing of 96000 terms
    // is part of the figure), the same with a callback (the caller
    // watches the timer while the threads search), a mixed integer model,
    // and a sparse binary model of 5000 variables.
    const TestModel dense = big_model(5, 800);
    std::mt19937_64 rng(6);
    const TestModel mixed = random_mixed(rng, 200, 100, -50, 50);
    const TestModel sparse = random_model(rng, {5000, 0.5, 0.001, 100, 0});
    for (int variant = 0; variant < 4; ++variant) {
        Recorder rec;
        const bool integer = variant == 2;
        const TestModel &model = variant == 2 ? mixed : variant == 3 ? sparse : dense;
        Handle h(model, integer, variant == 1 ? &rec : nullptr);
        // The first search of a handle prepares its model, which no stop
        // interrupts; the latency below is that of the running search.
        h.search({{"time_limit", "0"}, {"threads", "1"}});
        Clock::time_point stopped_at;
        std::thread stopper([&]() {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            stopped_at = Clock::now();
            h.stop = 1;
        });
        const Result r = h.search({{"time_limit", "60"}, {"threads", "2"}});
        const double latency = std::chrono::duration<double>(Clock::now() - stopped_at).count();
        stopper.join();
        std::printf("variant %d: search returned %.1f ms after the stop byte was set\n", variant, latency * 1e3);
        EXPECT_LT(latency, 0.5) << "variant " << variant;
        EXPECT_EQ(r.energy, priced(h.m, r, integer)) << "variant " << variant;
    }
}

TEST(TessixCpu, HintPostedWhileRunningShowsUpInTheResult) {
    const TestModel m = big_model(11, 1200);
    Result good;
    {
        Handle h(m, false);
        good = h.search({{"time_limit", "1.5"}, {"threads", "2"}, {"seed", "3"}});
    }
    for (int delay_ms : {50, 0}) {
        // The search is stopped 30 ms after the hint: far too early to get
        // near the hinted state on its own, so only the hint can bring it.
        // The handle's model is prepared first, so the hint meets running
        // threads.
        Handle h(m, false);
        h.search({{"time_limit", "0"}, {"threads", "1"}});
        std::thread helper([&]() {
            std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
            tessix().cpu_hint_solution(h.h, good.bits.data());
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            h.stop = 1;
        });
        const Result r = h.search({{"time_limit", "30"}, {"threads", "1"}, {"seed", "4"}});
        helper.join();
        std::printf("hint after %d ms: %s taken by the search threads\n", delay_ms, r.info.at("hints").c_str());
        EXPECT_LE(r.energy, good.energy) << "delay " << delay_ms;
        EXPECT_EQ(r.energy, priced(m, r, false)) << "delay " << delay_ms;
    }
}

TEST(TessixCpu, IntegerHintsThatDoNotFitAreDroppedSilently) {
    // Energy -y for y in [0, 10], plus a binary variable: the optimum is -10.
    // A hint with y = 1000 would price at -1000 if it were taken.
    TestModel m;
    m.bin_count = 1;
    m.int_count = 1;
    m.int_lower = {coeff_t(0)};
    m.int_upper = {coeff_t(10)};
    m.add_linear(0x40000000u, -1);
    m.add_linear(0, 1);
    Handle h(m, true);
    const uint64_t bits = 0;
    const std::vector<coeff_t> outside{coeff_t(1000)}, two{coeff_t(3), coeff_t(4)}, inside{coeff_t(10)};
    std::thread helper([&]() {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        tessix().cpu_hint_iv(h.h, &bits, outside.data(), 1);
        tessix().cpu_hint_iv(h.h, &bits, two.data(), 2);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        h.stop = 1;
    });
    const Result r = h.search({{"time_limit", "20"}, {"threads", "1"}});
    helper.join();
    EXPECT_EQ(r.energy, -10);
    EXPECT_EQ(r.ints[0], 10);
    EXPECT_EQ(r.info.at("hints"), "0");
    // A fitting hint is taken by the next search.
    tessix().cpu_hint_iv(h.h, &bits, inside.data(), 1);
    h.stop = 0;
    const Result again = h.search({{"time_limit", "0.1"}, {"threads", "1"}});
    EXPECT_EQ(again.energy, -10);
    EXPECT_NE(again.info.at("hints"), "0");
}

TEST(TessixCpu, CallbackEventsCarryExactEnergies) {
    const TestModel m = constrained_model(21, 60);
    Recorder rec;
    rec.words = (m.bin_count + 63) / 64;
    rec.answer = 0.05;  // a timer event every 50 ms
    Handle h(m, false, &rec);
    const Result r = h.search({{"time_limit", "0.6"}, {"threads", "2"}});
    ASSERT_GE(rec.events.size(), 3u);
    const Event &first = rec.events.front();
    EXPECT_EQ(first.kind, 0u);
    EXPECT_EQ(first.tts, 0.0);
    EXPECT_EQ(first.energy, reference_energy(m, std::vector<uint64_t>(rec.words, 0)));
    coeff_t last_best = 0;
    bool have_best = false;
    size_t timer_events = 0;
    std::vector<coeff_t> bests;
    for (size_t i = 1; i < rec.events.size(); ++i) {
        const Event &e = rec.events[i];
        ASSERT_TRUE(e.kind == 1 || e.kind == 2) << "event " << i;
        if (!e.has_bits) {
            // A tick before the first state: energy 0 and no state.
            EXPECT_EQ(e.kind, 2u) << "event " << i;
            EXPECT_FALSE(have_best) << "event " << i;
            EXPECT_EQ(e.energy, 0) << "event " << i;
            continue;
        }
        EXPECT_EQ(e.energy, reference_energy(m, e.bits)) << "event " << i;
        if (e.kind == 1) {
            if (have_best) {
                EXPECT_LT(e.energy, last_best) << "event " << i;
            }
            last_best = e.energy;
            have_best = true;
            bests.push_back(e.energy);
        } else {
            // The best at the tick: a new best may be reported between the
            // tick's snapshot and its call, so any best reported so far.
            ++timer_events;
            EXPECT_TRUE(std::find(bests.begin(), bests.end(), e.energy) != bests.end()) << "event " << i;
        }
    }
    EXPECT_GE(timer_events, 2u);
    EXPECT_EQ(last_best, r.energy);
}

TEST(TessixCpu, IntegerCallbackCarriesTheIntegers) {
    std::mt19937_64 rng(31);
    const TestModel m = random_mixed(rng, 5, 3, -4, 6);
    Recorder rec;
    rec.words = 1;
    Handle h(m, true, &rec);
    const Result r = h.search({{"time_limit", "0.2"}, {"threads", "2"}});
    ASSERT_GE(rec.events.size(), 2u);
    EXPECT_EQ(rec.events.front().kind, 0u);
    EXPECT_EQ(rec.events.front().ints, m.int_lower);
    for (const Event &e : rec.events) {
        ASSERT_EQ(e.ints.size(), m.int_count);
        EXPECT_EQ(e.energy, reference_energy(m, e.bits, e.ints, true));
    }
    EXPECT_EQ(rec.events.back().energy, r.energy);
}

TEST(TessixCpu, OneThreadWithASeedRepeatsItsRun) {
    const TestModel m = big_model(41, 300);
    Result target_run;
    {
        Handle h(m, false);
        target_run = h.search({{"time_limit", "0.1"}, {"threads", "2"}});
    }
    // Up to the target the run depends on the seed only, not on the clock.
    const Params p{{"time_limit", "20"}, {"threads", "1"}, {"seed", "77"}, {"target_energy", target_run.energy.str()}};
    Handle a(m, false), b(m, false);
    const Result ra = a.search(p), rb = b.search(p);
    EXPECT_EQ(ra.energy, rb.energy);
    EXPECT_EQ(ra.bits, rb.bits);
    EXPECT_EQ(ra.info.at("moves"), rb.info.at("moves"));
    EXPECT_EQ(ra.info.at("sweeps"), rb.info.at("sweeps"));
}

TEST(TessixCpu, ZeroTimeLimitStillReturnsAnEvaluatedState) {
    const TestModel m = constrained_model(51, 40);
    Handle h(m, false);
    const Result r = h.search({{"time_limit", "0"}});
    EXPECT_EQ(r.energy, priced(m, r, false));
    EXPECT_LT(r.wall, 0.5);
}

using TessixCpuDeath = ::testing::Test;


namespace {

// Searches a handle of the other kind: a binary search on an integer handle.
void search_integer_handle_as_binary(const TestModel &mixed) {
    Handle h(mixed, true);
    TessixSolution s{};
    uint64_t w = 0;
    s.bits = &w;
    s.word_count = 1;
    vexa_param end{nullptr, nullptr};
    tessix().cpu_solver_search(h.h, &s, mixed.bin_count, &end, nullptr);
}

void search_with(const TestModel &m, const Params &p) {
    Handle h(m, false);
    h.search(p);
}

}  // namespace

TEST(TessixCpuDeath, MisuseIsFatal) {
    std::mt19937_64 rng(61);
    const TestModel mixed = random_mixed(rng, 2, 1, 0, 3);
    const TestModel bin = constrained_model(62, 8);
    EXPECT_DEATH(search_integer_handle_as_binary(mixed),
                 "^vexa: TessixSolver: search called on a handle made by create_int \\(use search_int\\)\n$");
    EXPECT_DEATH(search_with(bin, {{"threads", "0"}}), "^vexa: TessixSolver: threads must be >= 1\\.\n$");
}
