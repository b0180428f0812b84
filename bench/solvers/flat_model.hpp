// A QUBO laid out as the library hands a model to a solver module: dense
// variable numbering in ascending order of the variables that occur, one
// array of words and one of coefficients per degree, merged monomials, terms
// of each degree in ascending variable order.
#pragma once

#include <cstdint>
#include <vector>

#include "core/coeff.hpp"
#include "instance_reader.hpp"

namespace bench {

struct FlatModel {
    uint32_t var_count = 0;
    std::vector<uint32_t> dense_to_var;
    vexa::coeff_t constant = 0;
    std::vector<uint64_t> term_counts;  // one per degree present (0, 1 or 2 entries)
    std::vector<uint32_t> vars1, vars2;
    std::vector<vexa::coeff_t> coef1, coef2;

    // Pointer arrays in the form of the module contract; valid while the model lives.
    std::vector<const uint32_t *> var_lists() const;
    std::vector<const void *> coef_lists() const;
};

FlatModel flatten(const Qubo &q);

}  // namespace bench
