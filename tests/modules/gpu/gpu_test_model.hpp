// Models for the GPU side's tests: the shared random binary models (with
// negated literals added), random mixed binary/integer models, and their
// arrays as the module receives them.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "model_arrays.hpp"
#include "test_model.hpp"

namespace vexa::test {

// A binary model with negated literals and linear, shaped, crossed-bounds
// and (with `allowed_sets`) allowed-set constraints; no product rows.
TestModel random_binary_model(std::mt19937_64 &rng, uint32_t vars, uint32_t constraints, bool allowed_sets = true);

// n_bin binary and n_int integer variables (ranges from 0 to 40, some of them
// narrow, some fixed, some negative), linear terms, products of every kind
// (squares of integers included), and linear constraints over flat indices.
TestModel random_integer_model(std::mt19937_64 &rng, uint32_t n_bin, uint32_t n_int, uint32_t constraints);

// The arrays of a binary handle (constraint words as the model keeps them) or
// of an integer handle (flat indices).
mod::ModelArrays arrays_of(const TestModel &m);

// Calls the exported create/constraint functions' arguments: pointers into m.
struct ModelPointers {
    std::vector<uint64_t> term_counts;
    std::vector<const uint32_t *> var_lists;
    std::vector<const void *> coef_lists;
    explicit ModelPointers(const TestModel &m);
};

}  // namespace vexa::test
