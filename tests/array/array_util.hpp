// Helpers for array tests: owning handles, typed access to the arrays behind
// handles, exact death-message patterns and brute-force index arithmetic.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "array/array.hpp"
#include "support/expr_util.hpp"
#include "vexa/array.h"

namespace vexa::test {

struct ArrayDeleter {
    void operator()(vexa_var_array *a) const { vexa_array_var_destroy(a); }
    void operator()(vexa_int_array *a) const { vexa_array_int_destroy(a); }
    void operator()(vexa_term_array *a) const { vexa_array_term_destroy(a); }
    void operator()(vexa_expr_array *a) const { vexa_array_expr_destroy(a); }
};
using VarArr = std::unique_ptr<vexa_var_array, ArrayDeleter>;
using IntArr = std::unique_ptr<vexa_int_array, ArrayDeleter>;
using TermArr = std::unique_ptr<vexa_term_array, ArrayDeleter>;
using ExprArr = std::unique_ptr<vexa_expr_array, ArrayDeleter>;

// The array behind a handle, for looking at fields the C interface hides.
inline const ArrayImpl<unsigned int> &raw(const vexa_var_array *a) {
    return *reinterpret_cast<const ArrayImpl<unsigned int> *>(a);
}
inline const ArrayImpl<coeff_t> &raw(const vexa_int_array *a) { return *reinterpret_cast<const ArrayImpl<coeff_t> *>(a); }
inline const ArrayImpl<TermImpl> &raw(const vexa_term_array *a) {
    return *reinterpret_cast<const ArrayImpl<TermImpl> *>(a);
}
inline const ArrayImpl<ExprImpl> &raw(const vexa_expr_array *a) {
    return *reinterpret_cast<const ArrayImpl<ExprImpl> *>(a);
}

inline std::vector<uint64_t> shape_vec(const uint64_t *shape, uint64_t ndim) {
    return std::vector<uint64_t>(shape, shape + ndim);
}

// A var array whose element i is the code i: handy to see where a copy read from.
inline VarArr index_array(const std::vector<uint64_t> &shape) {
    const uint64_t n = element_count(shape);
    std::vector<uint32_t> codes(n);
    for (uint64_t i = 0; i < n; ++i) codes[i] = static_cast<uint32_t>(i);
    return VarArr(vexa_array_var_create_data(codes.data(), shape.data(), shape.size()));
}

inline IntArr int_array(const std::vector<uint64_t> &shape, const std::vector<coeff_t> &values) {
    std::vector<In> recs(values.begin(), values.end());
    std::vector<vexa_bigint> data;
    for (const In &r : recs) data.push_back(*r.get());
    return IntArr(vexa_array_int_create_data(data.data(), shape.data(), shape.size()));
}

// The whole stderr of a fatal failure, as a death-test pattern.
inline std::string exact(const std::string &message) {
    std::string out = "^";
    for (char c : "vexa: " + message) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) out += '\\';
        out += c;
    }
    return out + "\n$";
}

// Multi-index of a flat row-major position.
inline std::vector<uint64_t> unflatten(uint64_t i, const std::vector<uint64_t> &shape) {
    std::vector<uint64_t> idx(shape.size());
    for (uint64_t k = shape.size(); k-- > 0;) {
        idx[k] = i % shape[k];
        i /= shape[k];
    }
    return idx;
}

inline uint64_t flatten(const std::vector<uint64_t> &idx, const std::vector<uint64_t> &shape) {
    uint64_t i = 0;
    for (uint64_t k = 0; k < shape.size(); ++k) i = i * shape[k] + idx[k];
    return i;
}

inline std::vector<uint64_t> random_shape(std::mt19937_64 &rng, uint64_t min_rank, uint64_t max_rank,
                                          uint64_t max_extent) {
    std::vector<uint64_t> shape(min_rank + rng() % (max_rank - min_rank + 1));
    for (uint64_t &e : shape) e = rng() % (max_extent + 1);
    return shape;
}

}  // namespace vexa::test
