#include "gpu_test_model.hpp"

#include "core/literal.hpp"

namespace vexa::test {

TestModel random_binary_model(std::mt19937_64 &rng, uint32_t vars, uint32_t constraints, bool allowed_sets) {
    RandomModelShape shape;
    shape.vars = vars;
    TestModel m = random_model(rng, shape);
    std::uniform_int_distribution<uint32_t> var(0, vars - 1);
    std::uniform_int_distribution<int64_t> coef(-9, 9);
    for (int k = 0; k < 3; ++k) {
        m.add_linear(var(rng) | kNegatedBit, coef(rng));
        m.add_quadratic(var(rng) | kNegatedBit, var(rng), coef(rng));
    }
    const int kinds[] = {0, 3, 4, 2};
    const uint32_t kind_count = allowed_sets ? 4 : 3;
    for (uint32_t k = 0; k < constraints; ++k) add_random_constraint(rng, m, kinds[k % kind_count]);
    return m;
}

TestModel random_integer_model(std::mt19937_64 &rng, uint32_t n_bin, uint32_t n_int, uint32_t constraints) {
    TestModel m;
    m.bin_count = n_bin;
    m.int_count = n_int;
    std::uniform_int_distribution<int64_t> coef(-7, 7);
    for (uint32_t k = 0; k < n_int; ++k) {
        int64_t lo = static_cast<int64_t>(rng() % 7) - 3;
        int64_t span = k % 3 == 0 ? 40 : static_cast<int64_t>(rng() % 12);
        if (k == 1) span = 0;  // a fixed variable
        m.int_lower.push_back(lo);
        m.int_upper.push_back(lo + span);
    }
    const uint32_t n = n_bin + n_int;
    auto word = [&](uint32_t flat) -> uint32_t {
        if (flat < n_bin) return (rng() % 4 == 0) ? (flat | kNegatedBit) : flat;
        return (flat - n_bin) | kIntAtomBit;
    };
    std::uniform_int_distribution<uint32_t> any(0, n - 1);
    m.constant = coef(rng);
    for (uint32_t i = 0; i < n; ++i) m.add_linear(word(i), coef(rng));
    for (uint32_t t = 0; t < 2 * n; ++t) m.add_quadratic(word(any(rng)), word(any(rng)), coef(rng));
    for (uint32_t k = 0; k < n_int; k += 2) m.add_quadratic(word(n_bin + k), word(n_bin + k), coef(rng));
    for (uint32_t c = 0; c < constraints; ++c) {
        TestConstraint tc;
        tc.weight = 1 + static_cast<int64_t>(rng() % 3);
        tc.body_constant = coef(rng);
        for (uint32_t k = 0; k < 3; ++k) {
            tc.vars.push_back(any(rng));
            tc.coeffs.push_back(coef(rng) == 0 ? 1 : coef(rng));
        }
        tc.lower = static_cast<int64_t>(rng() % 5) - 2;
        tc.upper = tc.lower + static_cast<int64_t>(rng() % 3);
        if (c % 3 == 1) tc.exponent = 1;
        if (c % 3 == 2) {
            tc.allowed_low = {-20, 3};
            tc.allowed_high = {-10, 5};
        }
        m.constraints.push_back(tc);
    }
    return m;
}

ModelPointers::ModelPointers(const TestModel &m) {
    term_counts = {m.coef1.size(), m.coef2.size()};
    var_lists = {m.vars1.data(), m.vars2.data()};
    coef_lists = {m.coef1.data(), m.coef2.data()};
}

mod::ModelArrays arrays_of(const TestModel &m) {
    const ModelPointers p(m);
    const bool integer = m.int_count > 0;
    mod::ModelArrays a = mod::make_model_arrays("TessixSolver", m.bin_count, m.int_count, m.int_lower.data(),
                                                m.int_upper.data(), 2, &m.constant, p.term_counts.data(),
                                                p.var_lists.data(), p.coef_lists.data(), integer);
    for (const TestConstraint &c : m.constraints) {
        mod::add_constraint_record("TessixSolver", a, &c.weight, &c.lower, &c.upper, &c.body_constant,
                                   c.vars.size(), c.vars.data(), c.coeffs.data(), c.quad_coeffs.size(),
                                   c.quad_head.data(), c.quad_vars.data(), c.quad_coeffs.data(),
                                   c.allowed_low.size(), c.allowed_low.data(), c.allowed_high.data());
        if (c.exponent != 2 || c.hinge != 0) mod::set_last_constraint_shape("TessixSolver", a, c.exponent, c.hinge);
    }
    return a;
}

}  // namespace vexa::test
