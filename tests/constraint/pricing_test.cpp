// Constraint pricing: every consumer prices random constraints of every shape
// as a solution does (comp_energy), and all agree with a plain computation
// of B, D = max(lower - B, 0) + max(B - upper, 0) (or the least gap to an
// allowed range) and Q = weight * D^k written out here.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "canonical_model.hpp"
#include "constraint/pricing.hpp"
#include "exact_energy.hpp"
#include "flip_model.hpp"
#include "flip_state.hpp"
#include "overlap_cluster.hpp"
#include "model/sol.hpp"
#include "solver/flat_problem.hpp"
#include "support/model_util.hpp"
#include "vexa/var.h"

namespace {

using vexa::coeff_t;
using vexa::NativeConstraint;

struct Assignment {
    std::vector<uint64_t> bits;  // by dense index
    std::vector<coeff_t> ints;   // by dense integer index
    std::vector<coeff_t> flat;   // binary values, then integer values
};

// A model of nb binary and ni integer variables (bounds [-3, 3]) with a
// random objective over them; its constraints are set by the test.
struct Fixture {
    vexa::test::ModelPtr model;
    uint32_t nb = 0, ni = 0;

    vexa::ModelImpl &impl() { return *model->ref; }
};

Fixture make_fixture(std::mt19937_64 &rng, uint32_t nb, uint32_t ni) {
    vexa_var_reset();
    std::vector<uint32_t> words;
    for (uint32_t i = 0; i < nb; ++i) words.push_back(vexa_new_var(nullptr));
    for (uint32_t i = 0; i < ni; ++i) {
        words.push_back(vexa_new_int_var(nullptr, vexa::test::In(-3).get(), vexa::test::In(3).get()));
    }
    vexa::test::ExprPtr e(vexa_expr_create_int(vexa::test::In(static_cast<int>(rng() % 9) - 4).get()));
    for (size_t i = 0; i < words.size(); ++i) {
        // a nonzero linear term keeps every variable in the model
        const uint32_t one[1] = {words[i]};
        const int c = 1 + static_cast<int>(rng() % 5);
        vexa_expr_iadd_raw_term(e.get(), vexa::test::In(rng() % 2 ? c : -c).get(), one, 1);
        // a binary square would merge into the linear term and might cancel it
        const uint32_t a = words[i], b = words[rng() % words.size()];
        if (a == b && i < nb) continue;
        const uint32_t two[2] = {std::min(a, b), std::max(a, b)};
        vexa_expr_iadd_raw_term(e.get(), vexa::test::In(static_cast<int>(rng() % 7) - 3).get(), two, 2);
    }
    vexa::test::ExprPtr simplified(vexa_expr_simplify_as_binary(e.get()));
    Fixture f;
    f.model.reset(vexa_model_create(simplified.get()));
    f.nb = static_cast<uint32_t>(f.impl().var_count());
    f.ni = static_cast<uint32_t>(f.impl().int_count());
    return f;
}

struct ConstraintShape {
    bool ints = true;         // integer atoms in bodies
    bool negated = true;      // negated binary literals in bodies
    uint32_t max_row = 3;     // words in a product row
};

// A random dense word: a binary variable, maybe negated, or an integer atom.
uint32_t random_word(std::mt19937_64 &rng, const Fixture &f, const ConstraintShape &shape) {
    const bool want_int = shape.ints && f.ni > 0 && (f.nb == 0 || rng() % 2 == 0);
    if (want_int) return vexa::kIntAtomBit | static_cast<uint32_t>(rng() % f.ni);
    const uint32_t w = static_cast<uint32_t>(rng() % f.nb);
    return shape.negated && rng() % 3 == 0 ? (w | vexa::kNegatedBit) : w;
}

NativeConstraint random_constraint(std::mt19937_64 &rng, const Fixture &f, const ConstraintShape &shape) {
    auto small = [&](int span) { return coeff_t(static_cast<int>(rng() % (2 * span + 1)) - span); };
    NativeConstraint c;
    c.weight = rng() % 5 == 0 ? small(4) : coeff_t(1 + rng() % 9);  // sometimes zero or negative
    c.lower = small(8);
    c.upper = small(8);  // lower above upper about half of the time
    c.body_constant = small(5);
    for (uint32_t k = 0, n = static_cast<uint32_t>(rng() % 4); k < n; ++k) {
        c.vars.push_back(random_word(rng, f, shape));
        c.coeffs.push_back(small(4));
    }
    const uint32_t rows = static_cast<uint32_t>(rng() % 3);
    if (rows > 0) c.quad_head.push_back(0);
    for (uint32_t r = 0; r < rows; ++r) {
        const uint32_t len = static_cast<uint32_t>(rng() % (shape.max_row + 1));  // an empty row adds its coefficient
        for (uint32_t k = 0; k < len; ++k) c.quad_vars.push_back(random_word(rng, f, shape));
        c.quad_head.push_back(c.quad_vars.size());
        c.quad_coeffs.push_back(small(3));
    }
    if (rng() % 3 == 0) {
        for (uint32_t k = 0, n = 1 + static_cast<uint32_t>(rng() % 3); k < n; ++k) {
            const coeff_t lo = small(8);
            c.allowed.emplace_back(lo, lo + coeff_t(rng() % 4));
        }
    }
    c.shape_exponent = 1 + static_cast<uint8_t>(rng() % 2);
    c.shape_hinge = static_cast<uint8_t>(rng() % 2);
    return c;
}

Assignment random_assignment(std::mt19937_64 &rng, const Fixture &f) {
    Assignment a;
    a.bits.assign(vexa::word_count(f.nb), 0);
    for (uint32_t i = 0; i < f.nb; ++i) {
        const uint64_t b = rng() & 1;
        a.bits[i >> 6] |= b << (i & 63);
        a.flat.emplace_back(b);
    }
    for (uint32_t k = 0; k < f.ni; ++k) {
        a.ints.emplace_back(static_cast<int>(rng() % 7) - 3);
        a.flat.push_back(a.ints.back());
    }
    return a;
}

// The plain computation, independent of the shared header.
coeff_t plain_value(const Assignment &a, uint32_t w) {
    if ((w & 0xC0000000u) == 0x40000000u) return a.ints[w & 0x3FFFFFFFu];
    const coeff_t bit = a.flat[w & 0x7FFFFFFFu];
    return (w & 0x80000000u) ? coeff_t(1 - bit) : bit;
}

coeff_t plain_penalty(const NativeConstraint &c, const Assignment &a) {
    coeff_t b = c.body_constant;
    for (size_t i = 0; i < c.vars.size(); ++i) b += c.coeffs[i] * plain_value(a, c.vars[i]);
    for (size_t r = 0; r + 1 < c.quad_head.size(); ++r) {
        coeff_t p = c.quad_coeffs[r];
        for (uint64_t k = c.quad_head[r]; k < c.quad_head[r + 1]; ++k) p *= plain_value(a, c.quad_vars[k]);
        b += p;
    }
    coeff_t d;
    if (c.allowed.empty()) {
        d = std::max(coeff_t(c.lower - b), coeff_t(0)) + std::max(coeff_t(b - c.upper), coeff_t(0));
    } else {
        for (size_t i = 0; i < c.allowed.size(); ++i) {
            const auto &[lo, hi] = c.allowed[i];
            const coeff_t g = std::max(coeff_t(lo - b), coeff_t(0)) + std::max(coeff_t(b - hi), coeff_t(0));
            if (i == 0 || g < d) d = g;
        }
    }
    return c.shape_exponent == 2 ? coeff_t(c.weight * d * d) : coeff_t(c.weight * d);
}

template <class T>
coeff_t flat_energy(const vexa::ModelImpl &m, const Assignment &a) {
    const vexa::FlatProblem<T> p(m);
    std::vector<T> x;
    for (const coeff_t &v : a.flat) x.push_back(vexa::from_coeff<T>(v));
    return vexa::to_coeff(p.full_energy(x.data()));
}

// The module form of the model: term arrays borrowed from the model, the
// constraints copied. With `flat_words`, an integer handle's form, whose
// constraint words are flat indices.
vexa::mod::ModelArrays module_arrays(const vexa::ModelImpl &m, bool flat_words) {
    vexa::mod::ModelArrays a;
    a.bin_count = static_cast<uint32_t>(m.var_count());
    a.int_count = static_cast<uint32_t>(m.int_count());
    a.integer_mode = flat_words;
    a.int_lower = m.int_lower;
    a.int_upper = m.int_upper;
    a.constant = m.constant;
    for (uint32_t d = 1; d <= m.max_degree; ++d) {
        a.term_counts.push_back(m.term_counts[d - 1]);
        a.var_lists.push_back(m.term_vars[d - 1].data());
        a.coef_lists.push_back(m.term_coeffs[d - 1].data());
    }
    for (const NativeConstraint &c : m.native_constraints) {
        vexa::mod::ConstraintRecord r;
        r.weight = c.weight;
        r.lower = c.lower;
        r.upper = c.upper;
        r.body_constant = c.body_constant;
        r.coeffs = c.coeffs;
        r.quad_head = c.quad_head;
        r.quad_coeffs = c.quad_coeffs;
        r.allowed = c.allowed;
        r.shape_exponent = c.shape_exponent;
        r.shape_hinge = c.shape_hinge;
        for (uint32_t w : c.vars) r.vars.push_back(flat_words ? vexa::flat_index(w, a.bin_count) : w);
        for (uint32_t w : c.quad_vars) r.quad_vars.push_back(flat_words ? vexa::flat_index(w, a.bin_count) : w);
        a.constraints.push_back(std::move(r));
    }
    return a;
}

TEST(ConstraintPricing, EveryConsumerPricesAsASolution) {
    for (uint64_t seed = 1; seed <= 300; ++seed) {
        std::mt19937_64 rng(seed);
        Fixture f = make_fixture(rng, 1 + static_cast<uint32_t>(rng() % 5), static_cast<uint32_t>(rng() % 4));
        vexa::ModelImpl &m = f.impl();
        // Integer handles carry flat indices in their constraints, with no
        // room for a negation bit: every other seed builds bodies without one.
        ConstraintShape shape;
        shape.negated = seed % 2 == 0;
        for (uint32_t k = 0, n = 1 + static_cast<uint32_t>(rng() % 4); k < n; ++k) {
            m.native_constraints.push_back(random_constraint(rng, f, shape));
        }
        for (int trial = 0; trial < 8; ++trial) {
            const Assignment a = random_assignment(rng, f);
            const coeff_t sol = vexa::comp_energy(m, a.bits.data(), a.ints.data());

            std::vector<NativeConstraint> cons;
            cons.swap(m.native_constraints);
            coeff_t expected = vexa::comp_energy(m, a.bits.data(), a.ints.data());
            cons.swap(m.native_constraints);
            for (const NativeConstraint &c : m.native_constraints) expected += plain_penalty(c, a);

            const std::string where = "seed " + std::to_string(seed) + " trial " + std::to_string(trial);
            ASSERT_EQ(sol, expected) << where;
            EXPECT_EQ(flat_energy<int64_t>(m, a), sol) << where;
            EXPECT_EQ(flat_energy<vexa::int128>(m, a), sol) << where;
            EXPECT_EQ(flat_energy<coeff_t>(m, a), sol) << where;
            EXPECT_EQ(vexa::mod::exact_energy(module_arrays(m, false), a.bits.data(), a.ints.data()), sol) << where;
            if (!shape.negated) {
                EXPECT_EQ(vexa::mod::exact_energy(module_arrays(m, true), a.bits.data(), a.ints.data()), sol) << where;
            }
        }
    }
}

// The edges of the rule: a body between lower > upper pays
// both gaps, and only an exponent of 2 squares.
TEST(ConstraintPricing, LowerAboveUpperPaysBothGaps) {
    NativeConstraint c;
    c.weight = 1;
    c.lower = 4;
    c.upper = 1;
    for (int b = -2; b <= 8; ++b) {
        const coeff_t expected_d = std::max(4 - b, 0) + std::max(b - 1, 0);
        EXPECT_EQ(vexa::constraint_distance(c, coeff_t(b)), expected_d) << b;
        vexa::FlatCons<int64_t> fc;
        fc.weight = 1;
        fc.lower = 4;
        fc.upper = 1;
        EXPECT_EQ(vexa::constraint_penalty(fc, int64_t(b)), (expected_d * expected_d).convert_to<int64_t>()) << b;
        c.shape_exponent = 2;
        EXPECT_EQ(vexa::constraint_penalty(c, coeff_t(b)), expected_d * expected_d) << b;
        c.shape_exponent = 1;
        EXPECT_EQ(vexa::constraint_penalty(c, coeff_t(b)), expected_d) << b;
        c.shape_exponent = 3;  // anything but 2 is linear
        EXPECT_EQ(vexa::constraint_penalty(c, coeff_t(b)), expected_d) << b;
    }
    EXPECT_EQ(vexa::constraint_distance(c, coeff_t(3)), 3);
}

// Adds `constraints` random binary constraints to the fixture's model and
// returns the modules' canonical form of it (products of two variables).
vexa::mod::CanonicalModel binary_canonical_form(std::mt19937_64 &rng, Fixture &f, uint32_t constraints) {
    vexa::ModelImpl &m = f.impl();
    ConstraintShape shape;
    shape.ints = false;
    shape.max_row = 2;  // the canonical form holds products of two variables
    for (uint32_t k = 0; k < constraints; ++k) m.native_constraints.push_back(random_constraint(rng, f, shape));
    return vexa::mod::canonicalize("test", module_arrays(m, false));
}

// One-flip moves of the modules' binary state: after every flip the kept
// energy and every kept gain equal the energies a solution computes.
template <class T>
void check_flip_state(uint64_t seed) {
    std::mt19937_64 rng(seed);
    Fixture f = make_fixture(rng, 2 + static_cast<uint32_t>(rng() % 6), 0);
    vexa::ModelImpl &m = f.impl();
    const vexa::mod::CanonicalModel canon = binary_canonical_form(rng, f, 1 + static_cast<uint32_t>(rng() % 3));
    const vexa::mod::FlipModel<T> fm = vexa::mod::compile_flip_model<T>(canon);
    vexa::mod::FlipState<T> st(fm);
    Assignment a = random_assignment(rng, f);
    std::vector<uint8_t> x(f.nb);
    for (uint32_t i = 0; i < f.nb; ++i) x[i] = a.flat[i] != 0;
    st.load(x.data());
    auto energy_of = [&](const std::vector<uint8_t> &y) {
        std::vector<uint64_t> bits(vexa::word_count(f.nb), 0);
        for (uint32_t i = 0; i < f.nb; ++i) bits[i >> 6] |= uint64_t(y[i]) << (i & 63);
        return vexa::comp_energy(m, bits.data(), nullptr);
    };
    for (int step = 0; step < 40; ++step) {
        const coeff_t now = energy_of(x);
        ASSERT_EQ(canon.c0 + vexa::to_coeff(st.energy), now) << "seed " << seed << " step " << step;
        for (uint32_t i = 0; i < f.nb; ++i) {
            std::vector<uint8_t> y = x;
            y[i] ^= 1;
            ASSERT_EQ(vexa::to_coeff(st.gain[i]), energy_of(y) - now) << "seed " << seed << " step " << step << " var " << i;
        }
        const uint32_t k = static_cast<uint32_t>(rng() % f.nb);
        st.flip(k);
        x[k] ^= 1;
    }
}

TEST(ConstraintPricing, FlipStateGainsMatchSolutionEnergies) {
    for (uint64_t seed = 1; seed <= 60; ++seed) {
        check_flip_state<int64_t>(seed);
        check_flip_state<coeff_t>(seed + 1000);
    }
}

// Trading one overlap cluster between two states keeps the sum of their
// energies, with products and constraints of every kind, and each state's
// kept energy stays its true energy.
template <class T>
void check_cluster_trade(uint64_t seed) {
    std::mt19937_64 rng(seed);
    Fixture f = make_fixture(rng, 4 + static_cast<uint32_t>(rng() % 5), 0);
    const vexa::mod::CanonicalModel canon = binary_canonical_form(rng, f, static_cast<uint32_t>(rng() % 3));
    const vexa::mod::FlipModel<T> fm = vexa::mod::compile_flip_model<T>(canon);
    vexa::mod::FlipState<T> a(fm), b(fm);
    vexa::mod::OverlapCluster<T> cluster(fm);
    std::vector<uint8_t> xa(f.nb), xb(f.nb);
    for (uint32_t i = 0; i < f.nb; ++i) {
        xa[i] = rng() & 1u;
        xb[i] = rng() & 1u;
    }
    a.load(xa.data());
    b.load(xb.data());
    for (int step = 0; step < 20; ++step) {
        std::vector<uint32_t> differing;
        for (uint32_t i = 0; i < f.nb; ++i) {
            if (a.x[i] != b.x[i]) differing.push_back(i);
        }
        if (differing.empty()) return;
        const T sum = a.energy + b.energy;
        cluster.grow(a.x.data(), b.x.data(), differing[rng() % differing.size()]);
        for (uint32_t i : cluster.members) {
            ASSERT_NE(a.x[i], b.x[i]);
            a.flip(i);
            b.flip(i);
        }
        ASSERT_EQ(vexa::to_coeff(a.energy + b.energy), vexa::to_coeff(sum)) << "seed " << seed << " step " << step;
        vexa::mod::FlipState<T> fresh(fm);
        fresh.load(a.x.data());
        ASSERT_EQ(vexa::to_coeff(fresh.energy), vexa::to_coeff(a.energy)) << "seed " << seed;
        // A random flip of one state gives the next step a different overlap.
        a.flip(static_cast<uint32_t>(rng() % f.nb));
    }
}

TEST(ConstraintPricing, TradingAnOverlapClusterKeepsTheEnergySum) {
    for (uint64_t seed = 1; seed <= 200; ++seed) {
        check_cluster_trade<int64_t>(seed);
        check_cluster_trade<coeff_t>(seed + 5000);
    }
}

}  // namespace
