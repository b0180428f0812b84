// Helpers for expression tests: owning handles, random expressions, an
// independent evaluator and a canonical-form check.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/parallel.hpp"
#include "expr/expr.hpp"
#include "support/bigint_util.hpp"
#include "vexa/expr.h"
#include "vexa/term.h"

namespace vexa::test {

struct ExprDeleter {
    void operator()(ExprImpl *e) const { vexa_expr_destroy(e); }
};
using ExprPtr = std::unique_ptr<ExprImpl, ExprDeleter>;

struct TermDeleter {
    void operator()(TermImpl *t) const { vexa_term_destroy(t); }
};
using TermPtr = std::unique_ptr<TermImpl, TermDeleter>;

// Sets the process thread count for one scope.
class ThreadScope {
public:
    explicit ThreadScope(uint32_t n) : saved_(hardware_threads()) { detail::override_hardware_threads(n); }
    ~ThreadScope() { detail::override_hardware_threads(saved_); }
    ThreadScope(const ThreadScope &) = delete;
    ThreadScope &operator=(const ThreadScope &) = delete;

private:
    uint32_t saved_;
};

// One stored term, as (coefficient, slot 0, slot 1).
struct FlatTerm {
    coeff_t coeff;
    uint32_t s0, s1;
    bool operator==(const FlatTerm &o) const { return coeff == o.coeff && s0 == o.s0 && s1 == o.s1; }
};

inline std::vector<FlatTerm> flat(const ExprImpl *e) {
    std::vector<FlatTerm> out;
    for (uint64_t i = 0; i < e->term_count(); ++i) {
        const TermImpl &t = e->term(i);
        out.push_back(FlatTerm{t.coeff, t.vars.slot[0], t.vars.slot[1]});
    }
    return out;
}

inline coeff_t constant_of(const ExprImpl *e) {
    Out out;
    vexa_expr_constant(e, &out);
    return out.value();
}

// Value of e with literal values taken from `value_of(variable code)`; a
// negated literal is 1 - v under the binary reading and -v under the spin one.
template <class ValueOf>
coeff_t evaluate(const ExprImpl *e, ValueOf &&value_of, bool spin) {
    coeff_t total = e->constant;
    for (uint64_t i = 0; i < e->term_count(); ++i) {
        const TermImpl &t = e->term(i);
        coeff_t v = t.coeff;
        for (uint32_t k = 0; k < t.vars.degree(); ++k) {
            const uint32_t code = t.vars.slot[k];
            const coeff_t x = value_of(code & 0x7FFFFFFFu);
            if (code & 0x80000000u) {
                v *= spin ? coeff_t(-x) : coeff_t(1 - x);
            } else {
                v *= x;
            }
        }
        total += v;
    }
    return total;
}

// Strictly increasing by term order, no zero coefficient, no constant term,
// head filled whenever there are terms.
inline ::testing::AssertionResult is_canonical(const ExprImpl *e) {
    if (e->size > 0 && !e->has_head()) return ::testing::AssertionFailure() << "terms without a head";
    for (uint64_t i = 0; i < e->term_count(); ++i) {
        const TermImpl &t = e->term(i);
        if (t.coeff == 0) return ::testing::AssertionFailure() << "zero coefficient at " << i;
        if (t.vars.degree() == 0) return ::testing::AssertionFailure() << "constant term at " << i;
        if (i > 0 && !TermOrder{}(e->term(i - 1).vars, t.vars)) {
            return ::testing::AssertionFailure() << "order broken at " << i;
        }
    }
    return ::testing::AssertionSuccess();
}

// An expression from (coefficient, literals) pairs and a constant.
inline ExprImpl *expr_of(std::initializer_list<std::pair<int, std::vector<uint32_t>>> terms, int constant = 0) {
    ExprImpl *e = vexa_expr_create_int(In(constant).get());
    for (const auto &[c, vars] : terms) {
        vexa_expr_iadd_raw_term(e, In(c).get(), vars.data(), static_cast<uint32_t>(vars.size()));
    }
    return e;
}

// Random expressions over the binary variables [0, nvars): random literals,
// negations, repeated monomials, zero coefficients and big coefficients.
struct RandomExprShape {
    uint64_t terms = 50;
    uint32_t nvars = 6;
    unsigned max_bits = 300;
    bool negations = true;
    bool constant_terms = true;
};

inline coeff_t random_coeff(std::mt19937_64 &rng, unsigned max_bits) {
    const unsigned kind = rng() % 10;
    if (kind == 0) return 0;
    coeff_t v;
    if (kind < 6) {
        v = static_cast<int64_t>(rng() % 21) - 10;
    } else {
        const unsigned bits = 1 + rng() % max_bits;
        v = 0;
        for (unsigned b = 0; b < bits; b += 64) v = (v << 64) | coeff_t(rng());
        v >>= ((bits + 63) / 64) * 64 - bits;
        if (rng() % 2) v = -v;
    }
    return v;
}

inline ExprImpl *random_expr(std::mt19937_64 &rng, const RandomExprShape &shape) {
    ExprImpl *e = vexa_expr_create_int(In(random_coeff(rng, shape.max_bits)).get());
    for (uint64_t i = 0; i < shape.terms; ++i) {
        const uint32_t degree = shape.constant_terms ? rng() % 3 : 1 + rng() % 2;
        uint32_t vars[2];
        for (uint32_t k = 0; k < degree; ++k) {
            vars[k] = static_cast<uint32_t>(rng() % shape.nvars);
            if (shape.negations && rng() % 3 == 0) vars[k] |= 0x80000000u;
        }
        vexa_expr_iadd_raw_term(e, In(random_coeff(rng, shape.max_bits)).get(), vars, degree);
    }
    return e;
}

}  // namespace vexa::test
