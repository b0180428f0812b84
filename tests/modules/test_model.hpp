// Models in the form a solver module receives them, random model generators,
// and a reference energy written independently of the modules: the
// library's pricing of an assignment (constant, terms, native constraints).
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "core/coeff.hpp"

namespace vexa::test {

struct TestConstraint {
    coeff_t weight = 1, lower = 0, upper = 0, body_constant = 0;
    std::vector<uint32_t> vars;
    std::vector<coeff_t> coeffs;
    std::vector<uint64_t> quad_head;  // empty, or one entry more than quad_coeffs
    std::vector<uint32_t> quad_vars;
    std::vector<coeff_t> quad_coeffs;
    std::vector<coeff_t> allowed_low, allowed_high;
    uint8_t exponent = 2, hinge = 0;
};

struct TestModel {
    uint32_t bin_count = 0, int_count = 0;
    std::vector<coeff_t> int_lower, int_upper;
    coeff_t constant = 0;
    std::vector<uint32_t> vars1, vars2;  // degree 1: one word per term, degree 2: two
    std::vector<coeff_t> coef1, coef2;
    std::vector<TestConstraint> constraints;
    bool has_remainder = false;
    coeff_t remainder_constant = 0;
    std::vector<uint64_t> remainder_head{0};
    std::vector<uint32_t> remainder_vars;
    std::vector<coeff_t> remainder_coeffs;

    void add_linear(uint32_t word, coeff_t c) {
        vars1.push_back(word);
        coef1.push_back(std::move(c));
    }
    void add_quadratic(uint32_t a, uint32_t b, coeff_t c) {
        vars2.push_back(a);
        vars2.push_back(b);
        coef2.push_back(std::move(c));
    }
};

// Reference energy. `bits`: bit i of word i/64 is binary variable i; `ints`:
// the integer values. Term words: bit 31 a negated literal, bit 30 an integer
// atom (index + bin_count). Constraint words are flat indices when
// `flat_constraint_words` (integer handles), term words otherwise.
coeff_t reference_energy(const TestModel &m, const std::vector<uint64_t> &bits, const std::vector<coeff_t> &ints = {},
                         bool flat_constraint_words = false);

// Minimum over all 2^bin_count assignments (binary models).
struct BruteForce {
    coeff_t best;
    std::vector<coeff_t> sorted_energies;  // all energies, ascending
    uint64_t best_count = 0;               // states of the best energy
};
BruteForce brute_force(const TestModel &m);

// The energy of every state of an unconstrained model with small
// coefficients, indexed by state, in plain 64-bit arithmetic: a second
// evaluation, independent of reference_energy and fast enough for 2^20 states.
std::vector<int64_t> plain_energies(const TestModel &m);

// A large sparse binary model: a linear term on every variable and
// `couplers` products of random distinct pairs, weights in [-100, 100], one
// literal in eight negated.
TestModel sparse_model(std::mt19937_64 &rng, uint32_t vars, uint64_t couplers);

struct RandomModelShape {
    uint32_t vars = 10;
    double linear_density = 0.8;
    double quadratic_density = 0.4;
    int64_t coeff_range = 20;
    uint32_t constraints = 0;  // random constraints of every kind
};

// Merged, sorted terms over dense variables, as a library model holds them.
TestModel random_model(std::mt19937_64 &rng, const RandomModelShape &shape);

// Appends a random constraint of kind `kind` (0 linear, 1 nonlinear rows,
// 2 allowed set, 3 abs/relu-like shape, 4 lower above upper), with weights of
// either sign.
void add_random_constraint(std::mt19937_64 &rng, TestModel &m, int kind);

std::vector<uint64_t> bits_of(uint64_t state, uint32_t n);

// nb binary variables and ni integers in [lo, hi], random terms mixing them
// (including squares of integers) and constraints of several kinds on flat
// indices, as an integer handle receives them.
TestModel random_mixed(std::mt19937_64 &rng, uint32_t nb, uint32_t ni, int64_t lo, int64_t hi);

// Minimum over the whole (small) mixed domain; every integer shares the
// bounds of the first.
coeff_t mixed_brute_force(const TestModel &m);

}  // namespace vexa::test
