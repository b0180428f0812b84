// A working accelerated module for tests. Its searches draw random states
// until their time limit ("time_limit", 0.5 s by default) or the stop byte,
// price each exactly (objective and constraint penalties), and report
// improvements to the registered callbacks. Hints are tried at the next
// draw. The integer GPU engine flags every row it receives with its exact
// energy, the stored hint in place of row 0 when there is one; built with
// MOCK_TESSIX_BAD_ENERGY it reports every energy one too high. Devices:
// the number in MOCK_TESSIX_DEVICES, 0 without it. Variants without some
// functions hide them at link time.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "constraint/pricing.hpp"
#include "core/literal.hpp"
#include "tessix_record.hpp"
#include "vexa/solver_module.h"

#define MOCK_EXPORT extern "C" __attribute__((visibility("default")))

using vexa::coeff_t;

namespace {

mock::TessixRecord g_record;
vexa_module_callback g_cpu_callback = nullptr;
vexa_module_callback g_gpu_callback = nullptr;
vexa_module_int_callback g_int_callback = nullptr;

void note(const char *call) {
    std::lock_guard<std::mutex> lock(g_record.mutex);
    g_record.calls.push_back(call);
}

struct Term {
    coeff_t coeff;
    std::vector<uint32_t> lits;  // flat literals
};

struct Cons {
    coeff_t weight, lower, upper, body_constant;
    std::vector<uint32_t> vars;
    std::vector<coeff_t> coeffs;
    std::vector<uint64_t> quad_head;
    std::vector<uint32_t> quad_vars;
    std::vector<coeff_t> quad_coeffs;
    std::vector<std::pair<coeff_t, coeff_t>> allowed;
    uint8_t shape_exponent = 2, shape_hinge = 0;
};

// One model instance: the flat problem over binary variables, then integer
// ones.
struct Instance {
    void *w = nullptr;
    bool gpu_side = false;
    uint32_t n_bin = 0, n_int = 0;
    std::vector<coeff_t> lower, upper;
    coeff_t constant;
    std::vector<Term> terms;
    std::vector<Cons> cons;
    const volatile uint8_t *stop = nullptr;
    std::mutex hint_mutex;
    bool hint_pending = false;
    std::vector<coeff_t> hint;  // a flat state
    std::mt19937_64 rng{12345};

    uint32_t total() const { return n_bin + n_int; }

    coeff_t energy(const std::vector<coeff_t> &x) const {
        auto times = [&x](coeff_t &p, uint32_t lit) { return vexa::times_flat_literal(p, lit, x.data()); };
        coeff_t e = constant;
        for (const Term &t : terms) {
            coeff_t p = t.coeff;
            if (vexa::times_all(p, t.lits.data(), t.lits.size(), times)) e += p;
        }
        for (const Cons &c : cons) e += vexa::constraint_penalty(c, vexa::constraint_body<coeff_t>(c, times));
        return e;
    }

    void random_state(std::vector<coeff_t> &x) {
        x.assign(total(), 0);
        for (uint32_t i = 0; i < n_bin; ++i) x[i] = rng() & 1;
        for (uint32_t k = 0; k < n_int; ++k) {
            const coeff_t range = upper[k] - lower[k] + 1;
            x[n_bin + k] = lower[k] + coeff_t(rng() % static_cast<uint64_t>(range));
        }
    }

    void offer_hint(const uint64_t *bits, const coeff_t *ints) {
        std::lock_guard<std::mutex> lock(hint_mutex);
        hint.assign(total(), 0);
        for (uint32_t i = 0; i < n_bin; ++i) hint[i] = (bits[i / 64] >> (i % 64)) & 1;
        for (uint32_t k = 0; k < n_int; ++k) hint[n_bin + k] = ints[k];
        hint_pending = true;
    }

    bool take_hint(std::vector<coeff_t> &x) {
        std::lock_guard<std::mutex> lock(hint_mutex);
        if (!hint_pending) return false;
        x = hint;
        hint_pending = false;
        return true;
    }
};

Instance *instance(void *h) { return static_cast<Instance *>(h); }

void read_model(Instance &in, uint32_t n_bin, uint32_t n_int, const void *lower, const void *upper,
                uint32_t degree_count, const void *constant, const uint64_t *term_counts,
                const uint32_t *const *var_lists, const void *const *coef_lists) {
    in.n_bin = n_bin;
    in.n_int = n_int;
    for (uint32_t k = 0; k < n_int; ++k) {
        in.lower.push_back(static_cast<const coeff_t *>(lower)[k]);
        in.upper.push_back(static_cast<const coeff_t *>(upper)[k]);
    }
    in.constant = *static_cast<const coeff_t *>(constant);
    for (uint32_t d = 1; d <= degree_count; ++d) {
        const auto *coeffs = static_cast<const coeff_t *>(coef_lists[d - 1]);
        for (uint64_t i = 0; i < term_counts[d - 1]; ++i) {
            Term t{coeffs[i], {}};
            for (uint32_t k = 0; k < d; ++k) t.lits.push_back(vexa::flat_literal(var_lists[d - 1][i * d + k], n_bin));
            in.terms.push_back(std::move(t));
        }
    }
}

// Constraint words: dense words on the binary paths, flat indices on the
// integer ones; both read as flat literals here.
Cons read_cons(const Instance &in, const void *weight, const void *lower, const void *upper,
               const void *body_constant, uint64_t n_vars, const uint32_t *vars, const void *coeffs) {
    Cons c;
    c.weight = *static_cast<const coeff_t *>(weight);
    c.lower = *static_cast<const coeff_t *>(lower);
    c.upper = *static_cast<const coeff_t *>(upper);
    c.body_constant = *static_cast<const coeff_t *>(body_constant);
    for (uint64_t i = 0; i < n_vars; ++i) {
        c.vars.push_back(vexa::flat_literal(vars[i], in.n_bin));
        c.coeffs.push_back(static_cast<const coeff_t *>(coeffs)[i]);
    }
    return c;
}

void read_quad(const Instance &in, Cons &c, uint64_t n_quad, const uint64_t *head, const uint32_t *qvars,
               const void *qcoeffs) {
    if (n_quad == 0) return;
    c.quad_head.assign(head, head + n_quad + 1);
    for (uint64_t k = 0; k < head[n_quad]; ++k) c.quad_vars.push_back(vexa::flat_literal(qvars[k], in.n_bin));
    for (uint64_t r = 0; r < n_quad; ++r) c.quad_coeffs.push_back(static_cast<const coeff_t *>(qcoeffs)[r]);
}

void read_allowed(Cons &c, uint64_t n, const void *low, const void *high) {
    for (uint64_t i = 0; i < n; ++i) {
        c.allowed.emplace_back(static_cast<const coeff_t *>(low)[i], static_cast<const coeff_t *>(high)[i]);
    }
}

void write_energy(vexa_bigint &rec, const coeff_t &value) {
    coeff_t mag = abs(value);
    std::vector<uint64_t> limbs;
    while (mag != 0) {
        limbs.push_back(static_cast<uint64_t>(mag & 0xFFFFFFFFFFFFFFFFull));
        mag >>= 64;
    }
    std::free(rec.limbs);
    rec.sign = value.sign();
    rec.nlimbs = static_cast<uint32_t>(limbs.size());
    rec.limbs = nullptr;
    if (!limbs.empty()) {
        rec.limbs = static_cast<uint64_t *>(std::malloc(limbs.size() * 8));
        std::memcpy(rec.limbs, limbs.data(), limbs.size() * 8);
    }
}

char *text(const std::string &s) {
    char *out = static_cast<char *>(std::malloc(s.size() + 1));
    std::memcpy(out, s.c_str(), s.size() + 1);
    return out;
}

std::vector<uint64_t> pack(const Instance &in, const std::vector<coeff_t> &x) {
    std::vector<uint64_t> bits((in.n_bin + 63) / 64, 0);
    for (uint32_t i = 0; i < in.n_bin; ++i) {
        if (x[i] != 0) bits[i / 64] |= uint64_t(1) << (i % 64);
    }
    return bits;
}

double param_seconds(const vexa_param *params, const char *key, double fallback) {
    for (const vexa_param *p = params; p->key != nullptr; ++p) {
        if (std::strcmp(p->key, key) == 0) return std::strtod(p->value, nullptr);
    }
    return fallback;
}

// The search of every family: random states (or a hint) until the time limit
// or the stop byte; the best goes to `best`, the integers to out_ints.
void run_search(Instance &in, TessixSolution *best, const vexa_param *params, coeff_t *out_ints) {
    {
        std::lock_guard<std::mutex> lock(g_record.mutex);
        g_record.last_params.clear();
        for (const vexa_param *p = params; p->key != nullptr; ++p) g_record.last_params.emplace_back(p->key, p->value);
    }
    const double limit = param_seconds(params, "time_limit", 0.5);
    const auto start = std::chrono::steady_clock::now();
    auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
    std::vector<coeff_t> x, best_x;
    coeff_t best_e;
    bool have = false;
    double best_tts = 0.0;
    uint64_t draws = 0;
    do {
        if (!in.take_hint(x)) in.random_state(x);
        const coeff_t e = in.energy(x);
        if (!have || e < best_e) {
            have = true;
            best_e = e;
            best_x = x;
            best_tts = elapsed();
            const std::vector<uint64_t> bits = pack(in, x);
            vexa_bigint rec{};
            write_energy(rec, e);
            if (out_ints != nullptr && g_int_callback != nullptr) {
                g_int_callback(in.w, &rec, bits.data(), x.data() + in.n_bin, in.n_int, 1, best_tts);
            } else if (out_ints == nullptr) {
                vexa_module_callback cb = in.gpu_side ? g_gpu_callback : g_cpu_callback;
                if (cb != nullptr) cb(in.w, &rec, bits.data(), 1, best_tts);
            }
            std::free(rec.limbs);
        }
        if (++draws % 64 == 0) std::this_thread::sleep_for(std::chrono::microseconds(20));
    } while (elapsed() < limit && !(in.stop != nullptr && *in.stop));
    write_energy(best->energy, best_e);
    const std::vector<uint64_t> bits = pack(in, best_x);
    for (uint32_t i = 0; i < best->word_count && i < bits.size(); ++i) best->bits[i] = bits[i];
    best->tts = best_tts;
    if (out_ints != nullptr) {
        for (uint32_t k = 0; k < in.n_int; ++k) out_ints[k] = best_x[in.n_bin + k];
    }
    best->info = static_cast<vexa_info_pair *>(std::calloc(2, sizeof(vexa_info_pair)));
    best->info[0].key = text("mock_side");
    best->info[0].value = text(in.gpu_side ? "gpu" : "cpu");
}

void *new_binary(void *w, bool gpu_side, uint32_t bin_count, uint32_t degree_count, const void *constant,
                 const uint64_t *term_counts, const uint32_t *const *var_lists, const void *const *coef_lists) {
    auto *in = new Instance;
    in->w = w;
    in->gpu_side = gpu_side;
    read_model(*in, bin_count, 0, nullptr, nullptr, degree_count, constant, term_counts, var_lists, coef_lists);
    return in;
}

}  // namespace

MOCK_EXPORT mock::TessixRecord *mock_tessix_record() { return &g_record; }

MOCK_EXPORT int32_t vexa_tessix_gpu_device_count() {
    const char *env = std::getenv("MOCK_TESSIX_DEVICES");
    return env != nullptr ? std::atoi(env) : 0;
}

// ---- CPU family ----
MOCK_EXPORT void *vexa_tessix_cpu_solver_create(void *w, uint32_t bin_count, uint32_t degree_count,
                                                const void *constant, const uint64_t *term_counts,
                                                const uint32_t *const *var_lists, const void *const *coef_lists) {
    note("cpu_solver_create");
    {
        std::lock_guard<std::mutex> lock(g_record.mutex);
        g_record.create_w = w;
    }
    return new_binary(w, false, bin_count, degree_count, constant, term_counts, var_lists, coef_lists);
}
MOCK_EXPORT void *vexa_tessix_cpu_solver_create_int(void *w, uint32_t bin_count, uint32_t int_count,
                                                    const void *int_lower, const void *int_upper,
                                                    uint32_t degree_count, const void *constant,
                                                    const uint64_t *term_counts, const uint32_t *const *var_lists,
                                                    const void *const *coef_lists, int32_t gpu_mode) {
    note("cpu_solver_create_int");
    {
        std::lock_guard<std::mutex> lock(g_record.mutex);
        g_record.create_gpu_mode = gpu_mode;
        g_record.create_w = w;
    }
    auto *in = new Instance;
    in->w = w;
    read_model(*in, bin_count, int_count, int_lower, int_upper, degree_count, constant, term_counts, var_lists,
               coef_lists);
    return in;
}
MOCK_EXPORT void *vexa_tessix_cpu_solver_search_int(void *h, TessixSolution *best, uint32_t,
                                                    const vexa_param *params, void *out_ints) {
    note("cpu_solver_search_int");
    run_search(*instance(h), best, params, static_cast<coeff_t *>(out_ints));
    return nullptr;
}
MOCK_EXPORT void vexa_tessix_cpu_register_callback_iv(vexa_module_int_callback cb) {
    note("cpu_register_callback_iv");
    g_int_callback = cb;
}
MOCK_EXPORT void vexa_tessix_cpu_hint_iv(void *h, const uint64_t *bits, const void *ints, uint64_t) {
    g_record.hints.fetch_add(1);
    instance(h)->offer_hint(bits, static_cast<const coeff_t *>(ints));
}

void add_linear(void *h, const void *weight, const void *lower, const void *upper, const void *body_constant,
                uint64_t n_vars, const uint32_t *vars, const void *coeffs) {
    Instance &in = *instance(h);
    in.cons.push_back(read_cons(in, weight, lower, upper, body_constant, n_vars, vars, coeffs));
}
void add_nl(void *h, const void *weight, const void *lower, const void *upper, const void *body_constant,
            uint64_t n_vars, const uint32_t *vars, const void *coeffs, uint64_t n_quad, const uint64_t *quad_head,
            const uint32_t *quad_vars, const void *quad_coeffs) {
    Instance &in = *instance(h);
    Cons c = read_cons(in, weight, lower, upper, body_constant, n_vars, vars, coeffs);
    read_quad(in, c, n_quad, quad_head, quad_vars, quad_coeffs);
    in.cons.push_back(std::move(c));
}
void add_set(void *h, const void *weight, const void *lower, const void *upper, const void *body_constant,
             uint64_t n_vars, const uint32_t *vars, const void *coeffs, uint64_t n_allowed, const void *low,
             const void *high) {
    Instance &in = *instance(h);
    Cons c = read_cons(in, weight, lower, upper, body_constant, n_vars, vars, coeffs);
    read_allowed(c, n_allowed, low, high);
    in.cons.push_back(std::move(c));
}
void set_shape(void *h, uint8_t exponent, uint8_t hinge) {
    Instance &in = *instance(h);
    in.cons.back().shape_exponent = exponent;
    in.cons.back().shape_hinge = hinge;
}

#define MOCK_CONSTRAINT_FAMILY(prefix)                                                                              \
    MOCK_EXPORT void vexa_tessix_##prefix##add_constraint(void *h, const void *w, const void *lo, const void *up,   \
                                                          const void *bc, uint64_t n, const uint32_t *v,           \
                                                          const void *c) {                                         \
        note(#prefix "add_constraint");                                                                             \
        add_linear(h, w, lo, up, bc, n, v, c);                                                                      \
    }                                                                                                               \
    MOCK_EXPORT void vexa_tessix_##prefix##add_constraint_nl(                                                       \
        void *h, const void *w, const void *lo, const void *up, const void *bc, uint64_t n, const uint32_t *v,     \
        const void *c, uint64_t nq, const uint64_t *qh, const uint32_t *qv, const void *qc) {                      \
        note(#prefix "add_constraint_nl");                                                                          \
        add_nl(h, w, lo, up, bc, n, v, c, nq, qh, qv, qc);                                                          \
    }                                                                                                               \
    MOCK_EXPORT void vexa_tessix_##prefix##add_constraint_set(                                                      \
        void *h, const void *w, const void *lo, const void *up, const void *bc, uint64_t n, const uint32_t *v,     \
        const void *c, uint64_t na, const void *al, const void *ah) {                                              \
        note(#prefix "add_constraint_set");                                                                         \
        add_set(h, w, lo, up, bc, n, v, c, na, al, ah);                                                             \
    }                                                                                                               \
    MOCK_EXPORT void vexa_tessix_##prefix##set_cons_shape(void *h, uint8_t e, uint8_t g) {                          \
        note(#prefix "set_cons_shape");                                                                             \
        set_shape(h, e, g);                                                                                         \
    }                                                                                                               \
    MOCK_EXPORT void vexa_tessix_##prefix##set_remainder(void *, const void *, uint64_t, const uint64_t *,          \
                                                         const uint32_t *, const void *) {                         \
        note(#prefix "set_remainder");                                                                              \
    }
MOCK_CONSTRAINT_FAMILY(cpu_)
MOCK_CONSTRAINT_FAMILY()

MOCK_EXPORT void vexa_tessix_cpu_solver_destroy(void *h) {
    g_record.destroyed.fetch_add(1);
    delete instance(h);
}
MOCK_EXPORT void *vexa_tessix_cpu_solver_search(void *h, TessixSolution *best, uint32_t, const vexa_param *params,
                                                void *) {
    note("cpu_solver_search");
    run_search(*instance(h), best, params, nullptr);
    return nullptr;
}
MOCK_EXPORT void vexa_tessix_cpu_register_callback(vexa_module_callback cb) {
    note("cpu_register_callback");
    g_cpu_callback = cb;
}
MOCK_EXPORT uint64_t vexa_tessix_cpu_sol_list_count(void *) { return 0; }
MOCK_EXPORT void vexa_tessix_cpu_sol_list_get(void *, uint64_t, TessixSolution *, uint32_t) {}
MOCK_EXPORT void vexa_tessix_cpu_sol_list_destroy(void *) {}
MOCK_EXPORT void vexa_tessix_cpu_hint_solution(void *h, const uint64_t *bits) {
    g_record.hints.fetch_add(1);
    instance(h)->offer_hint(bits, nullptr);
}
MOCK_EXPORT void vexa_tessix_cpu_solver_set_external_stop(void *h, const volatile uint8_t *stop) {
    note("cpu_solver_set_external_stop");
    instance(h)->stop = stop;
}

// ---- GPU binary family: the same searches, marked as the GPU side ----
MOCK_EXPORT void *vexa_tessix_solver_create(void *w, uint32_t bin_count, uint32_t degree_count, const void *constant,
                                            const uint64_t *term_counts, const uint32_t *const *var_lists,
                                            const void *const *coef_lists, int32_t gpu_mode) {
    note("solver_create");
    {
        std::lock_guard<std::mutex> lock(g_record.mutex);
        g_record.create_gpu_mode = gpu_mode;
        g_record.create_w = w;
    }
    return new_binary(w, true, bin_count, degree_count, constant, term_counts, var_lists, coef_lists);
}
MOCK_EXPORT void vexa_tessix_init() {}
MOCK_EXPORT void vexa_tessix_solver_destroy(void *h) { vexa_tessix_cpu_solver_destroy(h); }
MOCK_EXPORT void *vexa_tessix_solver_search(void *h, TessixSolution *best, uint32_t n, const vexa_param *params,
                                            void *hint) {
    note("solver_search");
    run_search(*instance(h), best, params, nullptr);
    (void)n;
    (void)hint;
    return nullptr;
}
MOCK_EXPORT void vexa_tessix_register_callback(vexa_module_callback cb) {
    note("register_callback");
    g_gpu_callback = cb;
}
MOCK_EXPORT uint64_t vexa_tessix_sol_list_count(void *) { return 0; }
MOCK_EXPORT void vexa_tessix_sol_list_get(void *, uint64_t, TessixSolution *, uint32_t) {}
MOCK_EXPORT void vexa_tessix_sol_list_destroy(void *) {}
MOCK_EXPORT void vexa_tessix_hint_solution(void *h, const uint64_t *bits) { vexa_tessix_cpu_hint_solution(h, bits); }
MOCK_EXPORT void vexa_tessix_solver_set_external_stop(void *h, const volatile uint8_t *stop) {
    note("solver_set_external_stop");
    instance(h)->stop = stop;
}

// ---- integer GPU engine ----
MOCK_EXPORT void *vexa_tessix_int_create(uint32_t bin_count, uint32_t int_count, const void *int_lower,
                                         const void *int_upper, uint32_t degree_count, const void *constant,
                                         const uint64_t *term_counts, const uint32_t *const *var_lists,
                                         const void *const *coef_lists, int32_t, uint32_t replicas, uint32_t) {
    note("int_create");
    {
        std::lock_guard<std::mutex> lock(g_record.mutex);
        g_record.replicas = replicas;
        g_record.batch_bits.clear();
        g_record.batch_ints.clear();
        g_record.int_cons_vars.clear();
        g_record.int_cons = 0;
    }
    auto *in = new Instance;
    read_model(*in, bin_count, int_count, int_lower, int_upper, degree_count, constant, term_counts, var_lists,
               coef_lists);
    return in;
}
MOCK_EXPORT void vexa_tessix_int_add_cons(void *h, const void *weight, const void *lower, const void *upper,
                                          const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                          const void *coeffs, uint64_t n_quad, const uint64_t *quad_head,
                                          const uint32_t *quad_vars, const void *quad_coeffs, uint64_t n_allowed,
                                          const void *allowed_low, const void *allowed_high) {
    Instance &in = *instance(h);
    Cons c = read_cons(in, weight, lower, upper, body_constant, n_vars, vars, coeffs);
    read_quad(in, c, n_quad, quad_head, quad_vars, quad_coeffs);
    read_allowed(c, n_allowed, allowed_low, allowed_high);
    in.cons.push_back(std::move(c));
    std::lock_guard<std::mutex> lock(g_record.mutex);
    ++g_record.int_cons;
    g_record.int_cons_vars.emplace_back(vars, vars + n_vars);
}
MOCK_EXPORT void vexa_tessix_int_set_cons_shape(void *h, uint8_t exponent, uint8_t hinge) {
    note("int_set_cons_shape");
    set_shape(h, exponent, hinge);
}
MOCK_EXPORT int vexa_tessix_int_round2(void *h, const uint64_t *bits_in, const void *ints_in, uint32_t count,
                                       uint64_t *bits_out, void *ints_out, void *energies_out, uint8_t *flags_out) {
    Instance &in = *instance(h);
    const uint32_t wpr = in.n_bin > 0 ? (in.n_bin + 63) / 64 : 1;
    const uint32_t ipr = in.n_int > 0 ? in.n_int : 1;
    const auto *ints = static_cast<const coeff_t *>(ints_in);
    auto *iout = static_cast<coeff_t *>(ints_out);
    auto *eout = static_cast<coeff_t *>(energies_out);
    {
        std::lock_guard<std::mutex> lock(g_record.mutex);
        if (g_record.batch_bits.size() < 16) {
            auto &bb = g_record.batch_bits.emplace_back();
            auto &bi = g_record.batch_ints.emplace_back();
            for (uint32_t s = 0; s < count; ++s) {
                bb.emplace_back(bits_in + s * wpr, bits_in + (s + 1) * wpr);
                bi.emplace_back(ints + s * ipr, ints + s * ipr + in.n_int);
            }
        }
    }
    std::vector<coeff_t> hint;
    const bool hinted = in.take_hint(hint);
    for (uint32_t s = 0; s < count; ++s) {
        std::vector<coeff_t> x(in.total());
        if (s == 0 && hinted) {
            x = hint;
        } else {
            for (uint32_t i = 0; i < in.n_bin; ++i) x[i] = (bits_in[s * wpr + i / 64] >> (i % 64)) & 1;
            for (uint32_t k = 0; k < in.n_int; ++k) x[in.n_bin + k] = ints[s * ipr + k];
        }
        const std::vector<uint64_t> packed = pack(in, x);
        for (uint32_t j = 0; j < wpr; ++j) bits_out[s * wpr + j] = j < packed.size() ? packed[j] : 0;
        for (uint32_t k = 0; k < in.n_int; ++k) iout[s * ipr + k] = x[in.n_bin + k];
        eout[s] = in.energy(x);
#ifdef MOCK_TESSIX_BAD_ENERGY
        eout[s] += 1;
#endif
        flags_out[s] = 1;
    }
    g_record.rounds.fetch_add(1);
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    return 0;
}
MOCK_EXPORT void vexa_tessix_int_hint(void *h, const uint64_t *bits, const void *ints) {
    g_record.int_hints.fetch_add(1);
    instance(h)->offer_hint(bits, static_cast<const coeff_t *>(ints));
}
MOCK_EXPORT void vexa_tessix_int_destroy(void *h) {
    note("int_destroy");
    delete instance(h);
}
