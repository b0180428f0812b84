// TessixSolver through the exported interface, on the working test module:
// what each side of the module receives, results and their energies,
// callbacks, hints and stop requests from other threads, the GPU integer
// engine beside the native search, the unified engine, and every refusal.
#include <atomic>
#include <chrono>
#include <thread>

#include "mock/tessix_record.hpp"
#include "model/sol.hpp"
#include "solver/module_wiring.hpp"
#include "solver/modules.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

const std::string kMocks = VEXA_MOCKS;
std::string mock_dir(const std::string &variant) { return kMocks + "/" + variant; }

struct TessixDeleter {
    void operator()(vexa_tessix_wrapper *w) const { vexa_tessix_wrapper_destroy(w); }
};
using TessixPtr = std::unique_ptr<vexa_tessix_wrapper, TessixDeleter>;

mock::TessixRecord &tessix_record() {
    tessix_module();
    const std::string path = mock_dir("tessix_work") + "/tessix_cppint.so";
    void *h = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h == nullptr) std::abort();
    auto fn = reinterpret_cast<mock::TessixRecord *(*)()>(dlsym(h, "mock_tessix_record"));
    dlclose(h);
    return *fn();
}

std::vector<std::string> recorded_calls() {
    mock::TessixRecord &r = tessix_record();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.calls;
}

double seconds_since(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

// The energy the model gives the result's own assignment.
coeff_t priced(const ModelImpl &m, const nimba_solver_result *r) {
    return reference_energy(m, flat_state(m, r->bits, r->int_vals));
}

// Collects what the user callback receives.
struct Progress {
    std::mutex mutex;
    std::vector<uint32_t> events;
    std::vector<coeff_t> energies;
    std::vector<std::vector<coeff_t>> states;  // flat states of the Sols with bits
    const ModelImpl *model = nullptr;

    static double callback(void *ctx, Sol *sol, uint32_t event) {
        auto &p = *static_cast<Progress *>(ctx);
        std::unique_ptr<Sol> owned(sol);
        std::lock_guard<std::mutex> lock(p.mutex);
        p.events.push_back(event);
        p.energies.push_back(owned->energy);
        if (!owned->bits.empty() || p.model->var_count() == 0) {
            p.states.push_back(flat_state(*p.model, owned->bits, owned->int_vals));
        } else {
            p.states.emplace_back();
        }
        return -1.0;
    }
};

class Tessix : public ::testing::Test {
public:
    void SetUp() override {
        vexa_var_reset();
        for (uint32_t &v : b) v = vexa_new_var(nullptr);
        n = vexa_new_int_var("n", In(-3).get(), In(4).get());
        k = vexa_new_int_var("k", In(0).get(), In(6).get());
    }

    // 1 + b0 - 2 b0 b1 + 3 b1 b2 - b2 b3, with constraints on request.
    ModelPtr binary_model(bool linear = false, bool nonlinear = false, bool allowed = false, bool shaped = false,
                          bool remainder = false) {
        ExprPtr objective(vexa_expr_create_int(In(1).get()));
        add_term(objective.get(), 1, b[0]);
        add_term(objective.get(), -2, b[0], b[1]);
        add_term(objective.get(), 3, b[1], b[2]);
        add_term(objective.get(), -1, b[2], b[3]);
        std::vector<ConsSpec> cons;
        lin.reset(vexa_expr_create_add_var_var(b[0], b[1]));
        nl.reset(vexa_expr_create_var(b[2]));
        add_term(nl.get(), 1, b[0], b[3]);
        set.reset(vexa_expr_create_add_var_var(b[1], b[3]));
        shape.reset(vexa_expr_create_var(b[0]));
        add_term(shape.get(), -1, b[2]);
        rem.reset(vexa_expr_create());
        add_term(rem.get(), 4, b[1], b[2]);
        if (linear) cons.push_back({lin.get(), 1, 1, 5});
        if (nonlinear) cons.push_back({nl.get(), 0, 1, 3});
        if (allowed) cons.push_back({set.get(), 0, 2, 2, {{0, 0}, {2, 2}}});
        if (shaped) cons.push_back({shape.get(), 0, 0, 7, {}, 1});
        return make_model(objective.get(), cons, remainder ? rem.get() : nullptr);
    }

    // 2 b0 n - k + n k, with a linear constraint, an allowed set and a
    // penalty shape on request.
    ModelPtr integer_model(bool constraints = true, bool shaped = true) {
        ExprPtr objective(vexa_expr_create());
        add_term(objective.get(), 2, b[0], n);
        add_term(objective.get(), -1, k);
        add_term(objective.get(), 1, n, k);
        lin.reset(vexa_expr_create_add_var_var(n, k));
        set.reset(vexa_expr_create_add_var_var(b[1], n));
        shape.reset(vexa_expr_create_var(n));
        add_term(shape.get(), -1, k);
        std::vector<ConsSpec> cons;
        if (constraints) {
            cons.push_back({lin.get(), 0, 5, 1});
            cons.push_back({set.get(), 1, 5, 2, {{1, 1}, {4, 5}}});
            if (shaped) cons.push_back({shape.get(), 0, 0, 3, {}, 1});
        }
        return make_model(objective.get(), cons);
    }

    EnvScope lib{"VEXA_LIB_DIR", mock_dir("tessix_work").c_str()};
    EnvScope devices{"MOCK_TESSIX_DEVICES", nullptr};
    EnvScope unified{"VEXA_INT_UNIFIED", nullptr};
    uint32_t b[4] = {};
    uint32_t n = 0, k = 0;
    ExprPtr lin, nl, set, shape, rem;
};

// ---- binary models ----

TEST_F(Tessix, BinaryModelRunsOnTheCpuSideWithItsOwnParameters) {
    ModelPtr m = binary_model(true, true, true, true, true);
    const ModelImpl &model = *m->ref;
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
    const std::vector<std::string> calls = recorded_calls();
    // the stop byte goes over at once, then the constraints in model order
    const std::vector<std::string> expected = {"cpu_solver_create",    "cpu_solver_set_external_stop",
                                               "cpu_add_constraint",   "cpu_add_constraint_set",
                                               "cpu_add_constraint",   "cpu_set_cons_shape",
                                               "cpu_add_constraint_nl", "cpu_set_remainder"};
    ASSERT_GE(calls.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(calls.end() - expected.size(), calls.end()), expected);
    EXPECT_EQ(tessix_record().create_w, w.get());

    Params params{{"time_limit", "0.1"}, {"seed", "3"}};
    ResultPtr r(vexa_tessix_wrapper_search(w.get(), params.get(), nullptr));
    EXPECT_EQ(tessix_record().last_params, (std::vector<std::pair<std::string, std::string>>{
                                               {"time_limit", "0.1"}, {"seed", "3"}}))
        << "nothing is added or renamed";
    EXPECT_EQ(info_keys(r.get()),
              (std::vector<std::string>{"run_time", "mock_side", "os", "cpu", "gpu", "ram"}));
    EXPECT_EQ(info_of(r.get(), "mock_side"), "cpu");
    EXPECT_EQ(r->scale, model.scale);
    ResultPtr bare(vexa_tessix_wrapper_search(w.get(), nullptr, nullptr));
    EXPECT_TRUE(tessix_record().last_params.empty()) << "a null list reaches the module as the null pair alone";
}

TEST_F(Tessix, ProfileLinesNameEachStageOfCreate) {
    ModelPtr m = binary_model();
    EnvScope profile("VEXA_MODEL_PROFILE", "1");
    testing::internal::CaptureStderr();
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
    const std::string err = testing::internal::GetCapturedStderr();
    const std::string number = "[0-9.e+-]+s\n";
    EXPECT_THAT(err, ::testing::MatchesRegex("  \\[Wrap\\] enter \\(after model copy\\): " + number +
                                             "  \\[Wrap\\] tessix_dispatch\\(\\): " + number +
                                             "  \\[Wrap\\] gpu_count \\+ has_gpu \\(CUDA init\\): " + number +
                                             "  \\[Wrap\\] set tv_ptrs \\+ ca_ptrs \\(no copy\\): " + number +
                                             "  \\[Wrap\\] gpu/cpu_create \\(DeltaModel \\+ DeviceDeltaModel\\): " +
                                             number));
}

// Every search on a binary model without constraints: the reported energy is
// the model's own price of the returned bits, and each callback Sol is
// priced right too.
TEST_F(Tessix, BinaryEnergiesAndCallbacksArePricesOfTheirStates) {
    ModelPtr m = binary_model();
    const ModelImpl &model = *m->ref;
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
    Progress progress;
    progress.model = &model;
    vexa_tessix_wrapper_set_callback(w.get(), &Progress::callback, &progress);
    Params params{{"time_limit", "0.1"}};
    ResultPtr r(vexa_tessix_wrapper_search(w.get(), params.get(), nullptr));
    EXPECT_EQ(result_energy(r.get()), priced(model, r.get()));
    coeff_t optimum = priced(model, r.get());
    for (const std::vector<coeff_t> &state : all_states(model)) {
        optimum = std::min(optimum, reference_energy(model, state));
    }
    EXPECT_EQ(result_energy(r.get()), optimum) << "the mock's sampling finds the optimum of four variables";
    ASSERT_FALSE(progress.events.empty());
    for (size_t i = 0; i < progress.events.size(); ++i) {
        EXPECT_EQ(progress.events[i], 1u);
        EXPECT_EQ(progress.energies[i], reference_energy(model, progress.states[i]));
    }
    EXPECT_EQ(progress.energies.back(), result_energy(r.get()));
    // without a callback nothing more arrives
    vexa_tessix_wrapper_set_callback(w.get(), nullptr, nullptr);
    const size_t seen = progress.events.size();
    ResultPtr again(vexa_tessix_wrapper_search(w.get(), params.get(), nullptr));
    EXPECT_EQ(progress.events.size(), seen);
}

TEST_F(Tessix, GpuModeChoosesTheSide) {
    EnvScope one("MOCK_TESSIX_DEVICES", "1");
    ModelPtr m = binary_model(true, false, false, true);
    Params params{{"time_limit", "0"}};
    {
        TessixPtr w(vexa_tessix_wrapper_create(m.get(), 3));
        EXPECT_EQ(tessix_record().create_gpu_mode, 3);
        const std::vector<std::string> calls = recorded_calls();
        const std::vector<std::string> expected = {"solver_create", "add_constraint", "add_constraint",
                                                   "set_cons_shape", "solver_set_external_stop"};
        EXPECT_EQ(std::vector<std::string>(calls.end() - expected.size(), calls.end()), expected);
        ResultPtr r(vexa_tessix_wrapper_search(w.get(), params.get(), nullptr));
        EXPECT_EQ(info_of(r.get(), "mock_side"), "gpu");
    }
    for (int32_t mode : {0, -1}) {
        TessixPtr w(vexa_tessix_wrapper_create(m.get(), mode));
        ResultPtr r(vexa_tessix_wrapper_search(w.get(), params.get(), nullptr));
        EXPECT_EQ(info_of(r.get(), "mock_side"), "cpu") << "gpu_mode " << mode;
    }
}

// The device count is the module's, asked afresh each time: what a caller
// checks before demanding the GPU with a positive gpu_mode.
TEST_F(Tessix, DeviceCountIsTheModules) {
    EXPECT_EQ(vexa_tessix_device_count(), 0);
    {
        EnvScope two("MOCK_TESSIX_DEVICES", "2");
        EXPECT_EQ(vexa_tessix_device_count(), 2);
    }
    EXPECT_EQ(vexa_tessix_device_count(), 0);
}

// ---- stop requests ----

// A stop request from another thread ends a long search quickly; one made
// before a search does not touch it.
TEST_F(Tessix, TerminateEndsARunningSearchAndOnlyThat) {
    ModelPtr bin = binary_model();
    ModelPtr ints = integer_model();
    for (Model *m : {bin.get(), ints.get()}) {
        const bool integer = m == ints.get();
        TessixPtr w(vexa_tessix_wrapper_create(m, 0));
        Params long_run{{"time_limit", "30"}, {"threads", "2"}};
        Params bin_run{{"time_limit", "30"}};
        std::atomic<double> stopped_at{0.0};
        const auto start = std::chrono::steady_clock::now();
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            stopped_at = seconds_since(start);
            vexa_tessix_wrapper_terminate(w.get());
        });
        ResultPtr r(integer ? vexa_tessix_wrapper_search_int(w.get(), long_run.get(), nullptr, nullptr, 0)
                            : vexa_tessix_wrapper_search(w.get(), bin_run.get(), nullptr));
        const double latency = seconds_since(start) - stopped_at;
        stopper.join();
        std::printf("[ terminate latency, %s model: %.1f ms ]\n", integer ? "integer" : "binary", latency * 1000.0);
        EXPECT_LT(latency, 0.5);
        EXPECT_EQ(result_energy(r.get()), priced(*m->ref, r.get()));

        vexa_tessix_wrapper_terminate(w.get());
        Params short_run{{"time_limit", "0.3"}, {"threads", "1"}};
        Params short_bin{{"time_limit", "0.3"}};
        const auto again = std::chrono::steady_clock::now();
        ResultPtr r2(integer ? vexa_tessix_wrapper_search_int(w.get(), short_run.get(), nullptr, nullptr, 0)
                             : vexa_tessix_wrapper_search(w.get(), short_bin.get(), nullptr));
        EXPECT_GE(seconds_since(again), 0.28) << "a stop request made between searches is forgotten";
    }
}

// ---- integer models ----

// a * b = N for two primes: the search does not factor N in a second, so a
// hint with the factors is the only way to energy 0.
struct Factoring {
    ModelPtr model;
    uint32_t a = 0, c = 0;
    static constexpr int64_t p = 1000003, q = 999983;
};

Factoring factoring_model() {
    Factoring f;
    f.a = vexa_new_int_var("a", In(2).get(), In(int64_t(1) << 21).get());
    f.c = vexa_new_int_var("c", In(2).get(), In(int64_t(1) << 21).get());
    ExprPtr objective(vexa_expr_create());
    ExprPtr body(vexa_expr_create());
    add_term(body.get(), 1, f.a, f.c);
    ExprPtr simplified(vexa_expr_simplify_as_binary(body.get()));
    const coeff_t target = coeff_t(Factoring::p) * Factoring::q;
    f.model = make_model(objective.get(), {{simplified.get(), target, target, 1}});
    return f;
}

std::unique_ptr<Sol> int_sol(const std::shared_ptr<ModelImpl> &m, std::vector<coeff_t> ints) {
    auto s = std::make_unique<Sol>();
    s->model = m;
    s->bits.assign(word_count(m->var_count()), 0);
    s->int_vals = std::move(ints);
    return s;
}

TEST_F(Tessix, AHintFromAnotherThreadReachesTheRunningSearch) {
    Factoring f = factoring_model();
    const std::shared_ptr<ModelImpl> &m = f.model->ref;
    TessixPtr w(vexa_tessix_wrapper_create(f.model.get(), 0));
    // the model's integer order decides which value goes where
    const auto hint = int_sol(m, {Factoring::p, Factoring::q});
    std::thread helper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        vexa_tessix_wrapper_hint(w.get(), hint.get());
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        vexa_tessix_wrapper_terminate(w.get());
    });
    Params params{{"time_limit", "20"}, {"threads", "2"}};
    ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
    helper.join();
    EXPECT_EQ(result_energy(r.get()), 0);
    EXPECT_EQ(priced(*m, r.get()), 0);
    EXPECT_EQ(r->int_vals, (std::vector<coeff_t>{Factoring::p, Factoring::q}));
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-cpu");
}

// A hint the model cannot take is dropped without a word; handed to
// search_int it is fatal. A hint kept from before a search is taken by it.
TEST_F(Tessix, HintsThatDoNotFitAreDroppedSilently) {
    Factoring f = factoring_model();
    const std::shared_ptr<ModelImpl> &m = f.model->ref;
    TessixPtr w(vexa_tessix_wrapper_create(f.model.get(), 0));
    const auto outside = int_sol(m, {coeff_t(1), coeff_t(Factoring::q)});
    const auto short_sol = int_sol(m, {coeff_t(Factoring::p)});
    vexa_tessix_wrapper_hint(w.get(), outside.get());
    vexa_tessix_wrapper_hint(w.get(), short_sol.get());
    vexa_tessix_wrapper_hint(w.get(), nullptr);
    Params params{{"time_limit", "0.3"}, {"threads", "1"}};
    ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
    EXPECT_GT(result_energy(r.get()), 0) << "no hint was stored";
    const uint64_t bits = 0;
    EXPECT_DEATH(vexa_tessix_wrapper_search_int(w.get(), params.get(), &bits, outside->int_vals.data(), 2),
                 fatal_text("TessixSolver: hint value outside the integer variable's bounds."));

    const auto good = int_sol(m, {Factoring::q, Factoring::p});
    vexa_tessix_wrapper_hint(w.get(), good.get());
    ResultPtr hinted(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
    EXPECT_EQ(result_energy(hinted.get()), 0) << "a hint stored between searches waits for the next one";
}

// The GPU integer engine beside the native search: the module gets the
// model and its constraints in flat indices, rounds run, every submission is
// checked, and the result is priced right.
TEST_F(Tessix, GpuIntegerEngineRunsBesideTheNativeSearch) {
    EnvScope one("MOCK_TESSIX_DEVICES", "1");
    EnvScope debug("VEXA_TESSIX_INT_DEBUG", "1");
    ModelPtr m = integer_model();
    const ModelImpl &model = *m->ref;
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), -1));
    Params params{{"time_limit", "0.3"}, {"threads", "1"}, {"seed", "4"}};
    testing::internal::CaptureStderr();
    ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-cpu+gpu");
    EXPECT_EQ(result_energy(r.get()), priced(model, r.get()));
    mock::TessixRecord &rec = tessix_record();
    {
        std::lock_guard<std::mutex> lock(rec.mutex);
        EXPECT_EQ(rec.int_cons, model.native_constraints.size());
        // n is flat index 2 (after the model's two binary variables), k is 3
        EXPECT_EQ(rec.int_cons_vars[0], (std::vector<uint32_t>{2, 3}));
        ASSERT_FALSE(rec.batch_bits.empty());
        for (const auto &batch : rec.batch_ints) {
            ASSERT_EQ(batch.size(), 8u);
            for (const auto &row : batch) {
                ASSERT_EQ(row.size(), 2u);
                EXPECT_TRUE(row[0] >= -3 && row[0] <= 4 && row[1] >= 0 && row[1] <= 6);
            }
        }
    }
    const uint64_t rounds = rec.rounds.load();
    EXPECT_GT(rounds, 0u);
    unsigned long seen_rounds = 0, seen_submissions = 0;
    ASSERT_EQ(std::sscanf(err.c_str(), "[tessix-int-gpu] rounds=%lu submissions=%lu", &seen_rounds,
                          &seen_submissions),
              2)
        << err;
    EXPECT_GT(seen_rounds, 0u);
    EXPECT_EQ(seen_submissions, seen_rounds * 8) << "the mock flags every row";
    EXPECT_EQ(recorded_calls().back(), "int_destroy");
}

// The GPU thread draws from the search's seed: the two random rows that
// open its first batch repeat with the seed and change with it.
TEST_F(Tessix, TheSeedFixesTheGpuThreadsFirstRows) {
    EnvScope one("MOCK_TESSIX_DEVICES", "1");
    const int64_t wide = int64_t(1) << 40;
    const uint32_t u = vexa_new_int_var("u", In(0).get(), In(wide).get());
    ExprPtr objective(vexa_expr_create_var(u));
    add_term(objective.get(), 1, b[0], u);
    ModelPtr m = make_model(objective.get());
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), -1));
    auto first_rows = [&](const char *seed) {
        Params params{{"time_limit", "0.05"}, {"threads", "1"}, {"seed", seed}};
        ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
        mock::TessixRecord &rec = tessix_record();
        std::lock_guard<std::mutex> lock(rec.mutex);
        EXPECT_FALSE(rec.batch_ints.empty());
        if (rec.batch_ints.empty()) return std::vector<coeff_t>{};
        return std::vector<coeff_t>{coeff_t(rec.batch_bits[0][0][0]), rec.batch_ints[0][0][0],
                                    coeff_t(rec.batch_bits[0][1][0]), rec.batch_ints[0][1][0]};
    };
    const std::vector<coeff_t> a = first_rows("42");
    EXPECT_EQ(first_rows("42"), a);
    EXPECT_NE(first_rows("43"), a);
}

// A hint during a search reaches both channels: the workers and the GPU
// engine's int_hint; a search_int hint reaches int_hint at the start.
TEST_F(Tessix, HintsReachTheGpuEngine) {
    EnvScope one("MOCK_TESSIX_DEVICES", "1");
    Factoring f = factoring_model();
    TessixPtr w(vexa_tessix_wrapper_create(f.model.get(), -1));
    mock::TessixRecord &rec = tessix_record();
    const uint64_t before = rec.int_hints.load();
    const auto hint = int_sol(f.model->ref, {Factoring::p, Factoring::q});
    std::thread helper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        vexa_tessix_wrapper_hint(w.get(), hint.get());
    });
    Params params{{"time_limit", "0.5"}, {"threads", "1"}};
    ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
    helper.join();
    EXPECT_EQ(rec.int_hints.load(), before + 1);
    EXPECT_EQ(result_energy(r.get()), 0);
    const uint64_t bits = 0;
    ResultPtr r2(vexa_tessix_wrapper_search_int(w.get(), params.get(), &bits, hint->int_vals.data(), 2));
    EXPECT_EQ(rec.int_hints.load(), before + 2);
}

TEST_F(Tessix, ReplicasComeFromTheEnvironment) {
    EnvScope one("MOCK_TESSIX_DEVICES", "1");
    ModelPtr m = integer_model();
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), -1));
    Params params{{"time_limit", "0"}, {"threads", "1"}};
    for (const auto &[env, replicas] : std::vector<std::pair<const char *, uint32_t>>{
             {nullptr, 2048}, {"0", 2048}, {"abc", 2048}, {"77", 77}, {"12x", 12}}) {
        EnvScope setting("VEXA_TESSIX_INT_REPLICAS", env);
        ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
        EXPECT_EQ(tessix_record().replicas, replicas) << (env ? env : "(unset)");
    }
}

// Without a device, or with gpu_mode 0, the native search runs alone.
TEST_F(Tessix, NoGpuEngineWithoutADeviceOrWhenNotAsked) {
    ModelPtr m = integer_model();
    Params params{{"time_limit", "0"}, {"threads", "1"}};
    {
        TessixPtr w(vexa_tessix_wrapper_create(m.get(), -1));
        ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
        EXPECT_EQ(info_of(r.get(), "engine"), "integer-cpu");
    }
    EnvScope one("MOCK_TESSIX_DEVICES", "1");
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
    ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-cpu");
}

// ---- the unified engine ----

// On small random models with constraints, the module's engine (here the
// mock's sampling, pricing what it was handed) reaches the enumerated
// optimum: the model and every constraint arrived intact.
TEST_F(Tessix, UnifiedEngineReachesTheEnumeratedOptimum) {
    EnvScope on("VEXA_INT_UNIFIED", "1");
    for (uint64_t seed = 1; seed <= 10; ++seed) {
        std::mt19937_64 rng(seed * 7919);
        RandomIntModel rm = random_int_model(rng, 12, true);
        const ModelImpl &m = *rm.model->ref;
        if (any_nonlinear(m)) continue;
        ExhaustivePtr exact_w(vexa_exhaustive_wrapper_create(rm.model.get()));
        ResultPtr exact(vexa_exhaustive_wrapper_search(exact_w.get(), nullptr));
        TessixPtr w(vexa_tessix_wrapper_create(rm.model.get(), 0));
        Progress progress;
        progress.model = &m;
        vexa_tessix_wrapper_set_callback(w.get(), &Progress::callback, &progress);
        Params params{{"time_limit", "0.2"}};
        ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), params.get(), nullptr, nullptr, 0));
        EXPECT_EQ(info_of(r.get(), "engine"), "integer-unified") << "seed " << seed;
        EXPECT_EQ(info_keys(r.get()), (std::vector<std::string>{"run_time", "mock_side", "engine", "os", "cpu",
                                                                 "gpu", "ram"}))
            << "seed " << seed;
        EXPECT_EQ(result_energy(r.get()), result_energy(exact.get())) << "seed " << seed;
        EXPECT_EQ(result_energy(r.get()), priced(m, r.get())) << "seed " << seed;
        ASSERT_FALSE(progress.events.empty()) << "seed " << seed;
        for (size_t i = 0; i < progress.events.size(); ++i) {
            EXPECT_EQ(progress.energies[i], reference_energy(m, progress.states[i])) << "seed " << seed;
        }
    }
}

TEST_F(Tessix, UnifiedEngineOnlyWhenItApplies) {
    EnvScope on("VEXA_INT_UNIFIED", "1");
    ModelPtr m = integer_model();
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
    auto engine = [&](const Params &p, bool hint) {
        const uint64_t bits = 0;
        const coeff_t ints[2] = {0, 0};
        ResultPtr r(hint ? vexa_tessix_wrapper_search_int(w.get(), p.get(), &bits, ints, 2)
                         : vexa_tessix_wrapper_search_int(w.get(), p.get(), nullptr, nullptr, 0));
        return info_of(r.get(), "engine");
    };
    EXPECT_EQ(engine(Params{{"time_limit", "0"}}, false), "integer-unified");
    EXPECT_EQ(engine(Params{{"time_limit", "0"}, {"topk_sols", "2"}}, false), "integer-cpu");
    EXPECT_EQ(engine(Params{{"time_limit", "0"}, {"best_energy_sols", "1"}}, false), "integer-cpu");
    EXPECT_EQ(engine(Params{{"time_limit", "0"}}, true), "integer-cpu") << "a hint skips the unified engine";
    ResultPtr r(vexa_tessix_wrapper_search(w.get(), Params{{"time_limit", "0"}}.get(), nullptr));
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-unified");
}

TEST_F(Tessix, UnifiedEngineGetsTheGpuModeAndLiveHints) {
    EnvScope on("VEXA_INT_UNIFIED", "1");
    ModelPtr small = integer_model();
    for (const auto &[mode, passed] : std::vector<std::pair<int32_t, int32_t>>{{0, 0}, {-7, -1}}) {
        TessixPtr w(vexa_tessix_wrapper_create(small.get(), mode));
        ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), Params{{"time_limit", "0"}}.get(), nullptr, nullptr, 0));
        EXPECT_EQ(info_of(r.get(), "engine"), "integer-unified");
        EXPECT_EQ(tessix_record().create_gpu_mode, passed);
    }
    // u + v = 2^40 + 12345 over two wide ranges: the mock's sampling does not
    // meet it, a hint does
    const int64_t wide = int64_t(1) << 40;
    const uint32_t u = vexa_new_int_var("u", In(0).get(), In(wide).get());
    const uint32_t v = vexa_new_int_var("v", In(0).get(), In(wide).get());
    ExprPtr objective(vexa_expr_create());
    ExprPtr body(vexa_expr_create_add_var_var(u, v));
    ModelPtr m = make_model(objective.get(), {{body.get(), wide + 12345, wide + 12345, 1}});
    TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
    const auto hint = int_sol(m->ref, {coeff_t(wide), coeff_t(12345)});
    const uint64_t before = tessix_record().hints.load();
    std::thread helper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        vexa_tessix_wrapper_hint(w.get(), hint.get());
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        vexa_tessix_wrapper_terminate(w.get());
    });
    ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), Params{{"time_limit", "20"}}.get(), nullptr, nullptr, 0));
    helper.join();
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-unified");
    EXPECT_EQ(tessix_record().hints.load(), before + 1);
    EXPECT_EQ(result_energy(r.get()), 0);
    EXPECT_EQ(r->int_vals, (std::vector<coeff_t>{coeff_t(wide), coeff_t(12345)}));
    EXPECT_LT(std::stod(info_of(r.get(), "run_time")), 5.0) << "the stop byte reached the module";
}

// ---- refusals ----

struct Refusal {
    const char *variant;
    const char *devices;  // MOCK_TESSIX_DEVICES, null for none
    int32_t gpu_mode;
    std::function<ModelPtr(Tessix &)> model;
    std::string message;
};

class TessixRefusals : public Tessix {
protected:
    void expect_refusals(const std::vector<Refusal> &cases) {
        for (const Refusal &c : cases) {
            EXPECT_DEATH(
                {
                    EnvScope dir("VEXA_LIB_DIR", mock_dir(c.variant).c_str());
                    EnvScope dev("MOCK_TESSIX_DEVICES", c.devices);
                    ModelPtr m = c.model(*this);
                    vexa_tessix_wrapper_create(m.get(), c.gpu_mode);
                },
                fatal_text(c.message))
                << c.variant << " " << c.message;
        }
    }
};

TEST_F(TessixRefusals, CreateOnABinaryModel) {
    auto plain = [](Tessix &t) { return t.binary_model(); };
    auto linear = [](Tessix &t) { return t.binary_model(true); };
    auto nonlinear = [](Tessix &t) { return t.binary_model(false, true); };
    auto allowed = [](Tessix &t) { return t.binary_model(false, false, true); };
    auto shaped = [](Tessix &t) { return t.binary_model(false, false, false, true); };
    auto remainder = [](Tessix &t) { return t.binary_model(false, false, false, false, true); };
    const std::string update = " \xe2\x80\x94 update the solver .so.";
    expect_refusals({
        {"tessix_work", nullptr, 1, plain, "TessixSolver: GPU mode requested but no GPU available"},
        {"tessix_work", "1", 1, nonlinear,
         "TessixSolver: this tessix .so does not support nonlinear native constraint bodies on the GPU (rebuild it)"},
        {"tessix_work", "1", 2, allowed,
         "TessixSolver: this tessix .so does not support allowed-value set constraints (equal{...}) on the GPU "
         "(rebuild it)"},
        {"tessix_work_no_cpu_add_constraint_nl", nullptr, 0, nonlinear,
         "TessixSolver: this solver .so does not support nonlinear native constraint bodies (rebuild it)"},
        {"tessix_work_no_cpu_add_constraint_set", nullptr, -1, allowed,
         "TessixSolver: this solver .so does not support allowed-value set constraints (equal{...}); rebuild it"},
        {"tessix_work_no_cpu_set_cons_shape", nullptr, 0, shaped,
         "TessixSolver: this tessix .so predates vexa::abs/relu (missing vexa_tessix_cpu_set_cons_shape)" + update},
        {"tessix_work_no_cpu_add_constraint", nullptr, 0, linear,
         "TessixSolver: this tessix .so does not support native constraints (rebuild it)"},
        {"tessix_work_no_cpu_set_remainder", nullptr, 0, remainder,
         "TessixSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
        {"tessix_work_no_set_cons_shape", "1", 1, shaped,
         "TessixSolver: this tessix .so predates vexa::abs/relu (missing vexa_tessix_set_cons_shape)" + update},
        {"tessix_work_no_add_constraint", "1", 1, linear,
         "TessixSolver: this tessix .so does not support native constraints on the GPU path (rebuild it)"},
        {"tessix_work_no_set_remainder", "1", 1, remainder,
         "TessixSolver: this solver .so does not support free-form penalty constraints (rebuild it)"},
    });
}

TEST_F(TessixRefusals, CreateOnAnIntegerModel) {
    auto model = [](Tessix &t) { return t.integer_model(); };
    auto unshaped = [](Tessix &t) { return t.integer_model(true, false); };
    const std::string unavailable =
        "TessixSolver: GPU mode requested but the integer GPU engine is unavailable (no CUDA device, or this tessix "
        ".so has no integer kernels).";
    expect_refusals({
        {"tessix_work", nullptr, 1, model, unavailable},
        {"tessix_work_no_int_hint", "1", 1, unshaped, unavailable},
        {"tessix_work_no_int_set_cons_shape", "1", 1, model,
         "TessixSolver: this tessix .so predates vexa::abs/relu on the integer GPU engine (missing "
         "vexa_tessix_int_set_cons_shape) \xe2\x80\x94 update the solver .so."},
    });
}

// What a negative gpu_mode and a gpu_mode of 0 accept where a positive one
// refuses; gpu_mode 0 never opens the module for an integer model.
TEST_F(TessixRefusals, WeakerModesFallBackQuietly) {
    const Params quick{{"time_limit", "0"}};
    EXPECT_EXIT(
        {
            EnvScope dir("VEXA_LIB_DIR", mock_dir("tessix_work_no_int_set_cons_shape").c_str());
            EnvScope dev("MOCK_TESSIX_DEVICES", "1");
            ModelPtr m = integer_model();
            TessixPtr w(vexa_tessix_wrapper_create(m.get(), -1));
            ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), quick.get(), nullptr, nullptr, 0));
            _exit(info_of(r.get(), "engine") == "integer-cpu" ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            EnvScope dir("VEXA_LIB_DIR", mock_dir("nowhere").c_str());
            ModelPtr m = integer_model();
            TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
            ResultPtr r(vexa_tessix_wrapper_search_int(w.get(), quick.get(), nullptr, nullptr, 0));
            _exit(info_of(r.get(), "engine") == "integer-cpu" ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(TessixRefusals, SearchMisuse) {
    ModelPtr bin = binary_model();
    ModelPtr ints = integer_model();
    TessixPtr wb(vexa_tessix_wrapper_create(bin.get(), 0));
    TessixPtr wi(vexa_tessix_wrapper_create(ints.get(), 0));
    int hint = 0;
    EXPECT_DEATH(vexa_tessix_wrapper_search(wi.get(), nullptr, &hint),
                 fatal_text("TessixSolver: hint on a native integer model requires the int-aware search path (update "
                            "the vexa header)."));
    EXPECT_DEATH(vexa_tessix_wrapper_search_int(wb.get(), nullptr, nullptr, nullptr, 0),
                 fatal_text("TessixSolver: search_int called on a binary model."));
}

TEST_F(TessixRefusals, UnifiedEngine) {
    const std::string lacks =
        "TessixSolver: VEXA_INT_UNIFIED=1 but the tessix solver .so lacks the unified integer engine (rebuild the "
        "solver .so)";
    struct Case {
        const char *variant;
        bool shaped;
        std::string message;
    };
    for (const Case &c : std::vector<Case>{
             {"tessix_work_no_cpu_solver_create_int", false, lacks},
             {"tessix_work_no_cpu_register_callback_iv", false, lacks},
             {"tessix_work_no_cpu_add_constraint", false,
              "TessixSolver: this tessix .so does not support native constraints (rebuild it)"},
             {"tessix_work_no_cpu_add_constraint_set", false,
              "TessixSolver: this tessix .so does not support allowed-value set constraints (rebuild it)"},
             {"tessix_work_no_cpu_set_cons_shape", true,
              "TessixSolver: this tessix .so predates vexa::abs/relu (missing vexa_tessix_cpu_set_cons_shape)"},
         }) {
        EXPECT_DEATH(
            {
                EnvScope dir("VEXA_LIB_DIR", mock_dir(c.variant).c_str());
                EnvScope on("VEXA_INT_UNIFIED", "1");
                ModelPtr m = integer_model(true, c.shaped);
                TessixPtr w(vexa_tessix_wrapper_create(m.get(), 0));
                vexa_tessix_wrapper_search_int(w.get(), Params{{"time_limit", "0"}}.get(), nullptr, nullptr, 0);
            },
            fatal_text(c.message))
            << c.variant;
    }
}

TEST_F(TessixRefusals, GpuEnergyMismatchIsFatal) {
    EXPECT_DEATH(
        {
            EnvScope dir("VEXA_LIB_DIR", mock_dir("tessix_bad_energy").c_str());
            EnvScope dev("MOCK_TESSIX_DEVICES", "1");
            ModelPtr m = integer_model();
            TessixPtr w(vexa_tessix_wrapper_create(m.get(), 1));
            vexa_tessix_wrapper_search_int(w.get(), Params{{"time_limit", "2"}}.get(), nullptr, nullptr, 0);
        },
        fatal_text("TessixSolver: internal error \xe2\x80\x94 GPU integer engine energy mismatch."));
}

}  // namespace
