// Helpers for tests of vexa.hpp: reading handles back through the C interface.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "vexa/vexa.hpp"

namespace vexa::test {

// One stored term as the C interface reports it.
struct StoredTerm {
    Int coeff;
    uint64_t vars;
    bool operator==(const StoredTerm &o) const { return coeff == o.coeff && vars == o.vars; }
};

inline std::vector<StoredTerm> stored_terms(const ExprImpl *e) {
    std::vector<StoredTerm> out;
    for (uint64_t i = 0; i < vexa_expr_term_count(e); ++i) {
        vexa_bigint c{0, 0, nullptr};
        uint64_t vars = 0, spare = 1;
        vexa_expr_term_at_data(e, i, &c, &vars, &spare);
        out.push_back(StoredTerm{Int::adopt(c), vars});
    }
    return out;
}

inline Int constant_of(const ExprImpl *e) {
    vexa_bigint c{0, 0, nullptr};
    vexa_expr_constant(e, &c);
    return Int::adopt(c);
}

// Equal constants and equal terms in equal order, index by index.
inline ::testing::AssertionResult same_expr(const ExprImpl *a, const ExprImpl *b) {
    if (a == nullptr || b == nullptr) return ::testing::AssertionFailure() << "null handle";
    const Int ca = constant_of(a), cb = constant_of(b);
    if (ca != cb) return ::testing::AssertionFailure() << "constants " << ca << " and " << cb;
    const auto ta = stored_terms(a), tb = stored_terms(b);
    if (ta.size() != tb.size()) {
        return ::testing::AssertionFailure() << ta.size() << " and " << tb.size() << " terms: " << vexa_expr_str(a)
                                             << " | " << vexa_expr_str(b);
    }
    for (std::size_t i = 0; i < ta.size(); ++i) {
        if (!(ta[i] == tb[i])) {
            return ::testing::AssertionFailure() << "term " << i << " differs: " << ta[i].coeff << " " << std::hex
                                                 << ta[i].vars << " vs " << std::dec << tb[i].coeff << " " << std::hex
                                                 << tb[i].vars;
        }
    }
    return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult same_term(const TermImpl *a, const TermImpl *b) {
    if (a == nullptr || b == nullptr) return ::testing::AssertionFailure() << "null handle";
    vexa_bigint ca{0, 0, nullptr}, cb{0, 0, nullptr};
    vexa_term_coeff(a, &ca);
    vexa_term_coeff(b, &cb);
    const Int ia = Int::adopt(ca), ib = Int::adopt(cb);
    if (ia != ib) return ::testing::AssertionFailure() << "coefficients " << ia << " and " << ib;
    const uint32_t da = vexa_term_degree(a);
    if (da != vexa_term_degree(b)) return ::testing::AssertionFailure() << "degrees differ";
    for (uint32_t k = 0; k < da; ++k) {
        if (vexa_term_var_at(a, k) != vexa_term_var_at(b, k)) return ::testing::AssertionFailure() << "slot " << k;
    }
    return ::testing::AssertionSuccess();
}

// A random integer: often small, sometimes zero, sometimes of several limbs.
inline Int random_int(std::mt19937_64 &rng) {
    switch (rng() % 6) {
        case 0:
            return 0;
        case 1: {
            std::string digits = rng() % 2 ? "-" : "";
            const unsigned n = 20 + rng() % 60;
            digits += static_cast<char>('1' + rng() % 9);
            for (unsigned i = 1; i < n; ++i) digits += static_cast<char>('0' + rng() % 10);
            return Int(digits);
        }
        default:
            return static_cast<long long>(rng() % 21) - 10;
    }
}

}  // namespace vexa::test
