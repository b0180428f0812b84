// Helpers for solver tests: test modules, isolated runs, models.
#pragma once

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "mock/mock_record.hpp"
#include "solver/result.hpp"
#include "support/model_util.hpp"
#include "vexa/solver.h"
#include "vexa/var.h"

namespace vexa::test {

// Sets an environment variable for one scope (unset when value is null).
class EnvScope {
public:
    EnvScope(const char *name, const char *value) : name_(name) {
        if (const char *old = std::getenv(name)) saved_ = old;
        if (value != nullptr) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }
    ~EnvScope() {
        if (saved_) {
            setenv(name_.c_str(), saved_->c_str(), 1);
        } else {
            unsetenv(name_.c_str());
        }
    }
    EnvScope(const EnvScope &) = delete;
    EnvScope &operator=(const EnvScope &) = delete;

private:
    std::string name_;
    std::optional<std::string> saved_;
};

// The record of a test module the library has opened, by its path.
inline mock::Record &mock_at(const std::string &path) {
    void *h = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h == nullptr) {
        ADD_FAILURE() << "module not loaded: " << path;
        std::abort();
    }
    auto fn = reinterpret_cast<mock::Record *(*)()>(dlsym(h, "mock_record"));
    dlclose(h);  // drops only the reference taken here
    return *fn();
}

// The text dlopen gives for a file that cannot be opened.
inline std::string dlopen_failure(const std::string &path) {
    void *h = dlopen(path.c_str(), RTLD_NOW);
    if (h != nullptr) {
        dlclose(h);
        return "(opened)";
    }
    return dlerror();
}

// A regular expression that matches exactly this text.
inline std::string exactly(const std::string &text) {
    std::string out = "^";
    for (char c : text) {
        if (std::strchr("\\^$.|?*+()[]{}", c) != nullptr) out.push_back('\\');
        out.push_back(c);
    }
    return out + "\n$";
}

// A fatal message as the library writes it.
inline std::string fatal_text(const std::string &message) { return exactly("vexa: " + message); }

// Runs fn in a fresh copy of this program (a death-test child), where
// process-wide module tables start empty. fn returns "" on success or what
// went wrong.
#define EXPECT_IN_CHILD(...)                                                                  \
    EXPECT_EXIT(                                                                                  \
        {                                                                                         \
            const std::string failure_ = (__VA_ARGS__)();                                             \
            if (!failure_.empty()) std::fprintf(stderr, "%s\n", failure_.c_str());                \
            std::fflush(stderr);                                                                  \
            _exit(failure_.empty() ? 0 : 1);                                                      \
        },                                                                                        \
        ::testing::ExitedWithCode(0), "")

struct WrapperDeleter {
    void operator()(vexa_nimba_solver_wrapper *w) const { vexa_nimba_solver_wrapper_destroy(w); }
    void operator()(vexa_exhaustive_wrapper *w) const { vexa_exhaustive_wrapper_destroy(w); }
};
using NimbaPtr = std::unique_ptr<vexa_nimba_solver_wrapper, WrapperDeleter>;
using ExhaustivePtr = std::unique_ptr<vexa_exhaustive_wrapper, WrapperDeleter>;

struct ResultDeleter {
    void operator()(nimba_solver_result *r) const { vexa_nimba_solver_result_destroy(r); }
};
using ResultPtr = std::unique_ptr<nimba_solver_result, ResultDeleter>;

// A parameter list from pairs, ended by the null pair.
class Params {
public:
    Params(std::initializer_list<std::pair<std::string, std::string>> pairs) : text_(pairs) {
        for (const auto &[k, v] : text_) list_.push_back(vexa_param{k.c_str(), v.c_str()});
        list_.push_back(vexa_param{nullptr, nullptr});
    }
    const vexa_param *get() const { return list_.data(); }

private:
    std::vector<std::pair<std::string, std::string>> text_;
    std::vector<vexa_param> list_;
};

inline std::string info_of(const nimba_solver_result *r, const std::string &key) {
    for (uint64_t i = 0; i < vexa_nimba_solver_result_info_count(r); ++i) {
        if (key == vexa_nimba_solver_result_info_key(r, i)) return vexa_nimba_solver_result_info_value(r, i);
    }
    return "(absent)";
}

inline std::vector<std::string> info_keys(const nimba_solver_result *r) {
    std::vector<std::string> keys;
    for (uint64_t i = 0; i < vexa_nimba_solver_result_info_count(r); ++i) {
        keys.push_back(vexa_nimba_solver_result_info_key(r, i));
    }
    return keys;
}

inline coeff_t result_energy(const nimba_solver_result *r) {
    Out out;
    vexa_nimba_solver_result_energy(r, &out);
    return out.value();
}

// Model from an expression: simplified, with optional declared constraints
// and remainder.
inline ModelPtr make_model(const ExprImpl *objective, const std::vector<ConsSpec> &cons = {},
                           const ExprImpl *remainder = nullptr) {
    ExprPtr canonical(vexa_expr_simplify_as_binary(objective));
    if (!cons.empty() || remainder != nullptr) canonical->attr = declared_sum_word(cons, remainder);
    return ModelPtr(vexa_model_create(canonical.get()));
}

// Adds coeff * a * b (b may be VEXA_EMPTY_VAR for a linear term).
inline void add_term(ExprImpl *e, const coeff_t &coeff, uint32_t a, uint32_t b = VEXA_EMPTY_VAR) {
    const uint32_t vars[2] = {a, b};
    vexa_expr_iadd_raw_term(e, In(coeff).get(), vars, b == VEXA_EMPTY_VAR ? 1 : 2);
}

}  // namespace vexa::test

namespace vexa::test {

// A small random model with binary and integer variables, quadratic terms
// (integer squares among them) and, on request, constraints of every kind.
// Coefficients have up to coeff_bits bits. Every state can be enumerated.
struct RandomIntModel {
    ModelPtr model;
    std::vector<uint32_t> bin, ints;
};

inline coeff_t random_signed(std::mt19937_64 &rng, unsigned bits) {
    coeff_t v = 0;
    for (unsigned b = 0; b < bits; b += 64) v = (v << 64) | coeff_t(rng());
    v >>= ((bits + 63) / 64) * 64 - bits;
    return rng() % 2 ? coeff_t(-v) : v;
}

inline RandomIntModel random_int_model(std::mt19937_64 &rng, unsigned coeff_bits, bool constraints,
                                       uint32_t max_bin = 2, uint32_t max_int = 3) {
    vexa_var_reset();
    RandomIntModel out;
    const uint32_t nb = static_cast<uint32_t>(rng() % (max_bin + 1));
    const uint32_t ni = 1 + static_cast<uint32_t>(rng() % max_int);
    for (uint32_t i = 0; i < nb; ++i) out.bin.push_back(vexa_new_var(nullptr));
    for (uint32_t i = 0; i < ni; ++i) {
        const int lo = static_cast<int>(rng() % 7) - 3;
        const int hi = lo + 1 + static_cast<int>(rng() % 5);
        out.ints.push_back(vexa_new_int_var(nullptr, In(lo).get(), In(hi).get()));
    }
    std::vector<uint32_t> all = out.bin;
    all.insert(all.end(), out.ints.begin(), out.ints.end());
    auto pick = [&]() { return all[rng() % all.size()]; };
    ExprPtr objective(vexa_expr_create_int(In(random_signed(rng, coeff_bits)).get()));
    const int terms = 3 + static_cast<int>(rng() % 6);
    for (int t = 0; t < terms; ++t) {
        const coeff_t c = random_signed(rng, coeff_bits);
        if (rng() % 3 == 0) {
            add_term(objective.get(), c, pick());
        } else {
            const uint32_t a = pick(), b = pick();
            add_term(objective.get(), c, std::min(a, b), std::max(a, b));
        }
    }
    std::vector<ExprPtr> bodies;
    std::vector<ConsSpec> cons_list;
    const int ncons = constraints ? 1 + static_cast<int>(rng() % 3) : 0;
    for (int i = 0; i < ncons; ++i) {
        ExprPtr body(vexa_expr_create_int(In(static_cast<int>(rng() % 5) - 2).get()));
        std::vector<uint32_t> chosen = all;
        std::shuffle(chosen.begin(), chosen.end(), rng);
        chosen.resize(1 + rng() % chosen.size());
        for (uint32_t v : chosen) add_term(body.get(), static_cast<int>(rng() % 7) - 3, v);
        const unsigned kind = rng() % 4;
        if (kind == 3) {
            const uint32_t a = pick(), b = pick();
            add_term(body.get(), 1 + static_cast<int>(rng() % 2), std::min(a, b), std::max(a, b));
        }
        ExprPtr simplified(vexa_expr_simplify_as_binary(body.get()));
        const int lo = static_cast<int>(rng() % 7) - 3;
        const int hi = lo + static_cast<int>(rng() % 4);
        const coeff_t weight = 1 + abs(random_signed(rng, coeff_bits));
        ConsSpec cons{simplified.get(), lo, hi, weight};
        if (kind == 1) cons.allowed = {{lo, lo}, {hi + 2, hi + 3}};
        const bool linear = vexa_expr_max_degree(simplified.get()) <= 1;
        if (kind == 2 && linear) cons.shape = 1 + static_cast<uint8_t>(rng() % 2);
        if (vexa_expr_term_count(simplified.get()) == 0) continue;
        cons_list.push_back(cons);
        bodies.push_back(std::move(simplified));
    }
    out.model = make_model(objective.get(), cons_list);
    return out;
}

// Value of a dense model word in a flat state (binary variables first).
inline coeff_t reference_value(const ModelImpl &m, const std::vector<coeff_t> &flat, uint32_t w) {
    if (w & 0x40000000u) return flat[m.var_count() + (w & 0x3FFFFFFFu)];
    const coeff_t v = flat[w & 0x7FFFFFFFu];
    return (w & 0x80000000u) ? coeff_t(1 - v) : v;
}

inline coeff_t reference_body(const ModelImpl &m, const NativeConstraint &c, const std::vector<coeff_t> &flat) {
    coeff_t b = c.body_constant;
    for (size_t i = 0; i < c.vars.size(); ++i) b += c.coeffs[i] * reference_value(m, flat, c.vars[i]);
    for (size_t r = 0; r + 1 < c.quad_head.size(); ++r) {
        coeff_t p = c.quad_coeffs[r];
        for (uint64_t k = c.quad_head[r]; k < c.quad_head[r + 1]; ++k) p *= reference_value(m, flat, c.quad_vars[k]);
        b += p;
    }
    return b;
}

// Distance of a body from [lower, upper], or from the nearest allowed range.
inline coeff_t reference_distance(const NativeConstraint &c, const coeff_t &b) {
    if (c.allowed.empty()) {
        // both gaps: lower above upper costs lower - upper between them
        return (b < c.lower ? coeff_t(c.lower - b) : coeff_t(0)) + (b > c.upper ? coeff_t(b - c.upper) : coeff_t(0));
    }
    coeff_t d = 0;
    bool first = true;
    for (const auto &[lo, hi] : c.allowed) {
        const coeff_t g = b < lo ? coeff_t(lo - b) : (b > hi ? coeff_t(b - hi) : coeff_t(0));
        if (first || g < d) d = g;
        first = false;
    }
    return d;
}

// The energy of a flat state as the integer engines define it, computed here
// on the model's arrays.
inline coeff_t reference_energy(const ModelImpl &m, const std::vector<coeff_t> &flat) {
    coeff_t e = m.constant;
    for (uint32_t d = 1; d <= m.max_degree; ++d) {
        for (uint64_t i = 0; i < m.term_counts[d - 1]; ++i) {
            coeff_t p = m.term_coeffs[d - 1][i];
            for (uint32_t k = 0; k < d; ++k) p *= reference_value(m, flat, m.term_vars[d - 1][i * d + k]);
            e += p;
        }
    }
    for (const NativeConstraint &c : m.native_constraints) {
        const coeff_t d = reference_distance(c, reference_body(m, c, flat));
        e += c.shape_exponent == 1 ? coeff_t(c.weight * d) : coeff_t(c.weight * d * d);
    }
    return e;
}

// Every constraint that is not a penalty shape holds in this state.
inline bool reference_feasible(const ModelImpl &m, const std::vector<coeff_t> &flat) {
    for (const NativeConstraint &c : m.native_constraints) {
        if (c.shape_hinge == 0 && reference_distance(c, reference_body(m, c, flat)) != 0) return false;
    }
    return true;
}

// Every state of the model (binary first, then integer), in odometer order.
inline std::vector<std::vector<coeff_t>> all_states(const ModelImpl &m) {
    const uint64_t nb = m.var_count();
    std::vector<coeff_t> lo(nb, 0), hi(nb, 1);
    for (uint64_t k = 0; k < m.int_count(); ++k) {
        lo.push_back(m.int_lower[k]);
        hi.push_back(m.int_upper[k]);
    }
    std::vector<std::vector<coeff_t>> out;
    std::vector<coeff_t> cur = lo;
    for (;;) {
        out.push_back(cur);
        size_t i = 0;
        while (i < cur.size() && cur[i] == hi[i]) cur[i] = lo[i], ++i;
        if (i == cur.size()) break;
        ++cur[i];
    }
    return out;
}

// The flat state of a result (or result entry).
inline std::vector<coeff_t> flat_state(const ModelImpl &m, const std::vector<uint64_t> &bits,
                                       const std::vector<coeff_t> &ints) {
    std::vector<coeff_t> out;
    for (uint64_t i = 0; i < m.var_count(); ++i) out.push_back((bits[i / 64] >> (i % 64)) & 1);
    out.insert(out.end(), ints.begin(), ints.end());
    return out;
}

}  // namespace vexa::test
