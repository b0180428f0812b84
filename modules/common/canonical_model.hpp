// The binary model rewritten as a multilinear polynomial in the plain
// variables: f(x) = c0 + sum h_i x_i + sum_{i<j} J_ij x_i x_j, and each
// constraint body likewise. Negated literals are expanded (1 - x), squares of
// a binary variable become the variable, and duplicate monomials are merged,
// so for every binary assignment the value is exactly that of the arrays.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "core/number_type.hpp"
#include "model_arrays.hpp"

namespace vexa::mod {

struct Pair {
    uint32_t i, j;  // i < j
    coeff_t w;
};

struct CanonicalConstraint {
    coeff_t weight, lower, upper;
    coeff_t b0;  // body constant after expansion
    std::vector<std::pair<uint32_t, coeff_t>> lin;  // ascending variable, nonzero
    std::vector<Pair> pairs;                        // ascending (i, j), nonzero
    std::vector<std::pair<coeff_t, coeff_t>> allowed;
    uint8_t exponent = 2;  // shape_hinge plays no part in pricing
};

struct CanonicalModel {
    uint32_t n = 0;
    coeff_t c0;
    std::vector<coeff_t> h;   // n entries
    std::vector<Pair> pairs;  // ascending (i, j), nonzero
    std::vector<CanonicalConstraint> constraints;
};

// The objective in machine words, for models whose terms have at most two
// literals and coefficients below 2^60 in magnitude (the common case, and
// several times faster to build than the exact form on large models): the
// constant and h in 128 bits, J as pairs keyed i << 32 | j, ascending,
// merged, nonzero, each below 2^62 in magnitude. The constant excludes the
// model's own constant term (arrays.constant).
struct WordPair {
    uint64_t key;  // i << 32 | j
    int64_t w;
    WordPair() : key(0), w(0) {}
    WordPair(uint64_t k, int64_t weight) : key(k), w(weight) {}
};

struct WordObjective {
    uint32_t n = 0;
    int128 constant = 0;
    std::vector<int128> h;
    std::vector<WordPair> pairs;
};

// Asked now and then during long preparation: true when the search must end.
using StopCheck = std::function<bool()>;

// Sizes v to n new elements in steps, polling `stop` (optional) between
// them: on a fresh buffer of many megabytes the first writes fault in its
// pages, which takes long enough to matter against a time limit. False when
// `stop` answered true.
template <class V>
bool grow_polled(V &v, size_t n, const StopCheck *stop) {
    constexpr size_t kStep = size_t(1) << 17;
    v.reserve(v.size() + n);
    const size_t end = v.size() + n;
    while (v.size() < end) {
        if (stop != nullptr && (*stop)()) return false;
        v.resize(std::min(end, v.size() + kStep));
    }
    return true;
}

enum class WordResult { in_words, not_in_words, stopped };

// not_in_words when the model is outside that case, stopped when `stop`
// (optional) answered true; `out` is unspecified unless in_words.
WordResult objective_in_words(std::string_view tag, const ModelArrays &arrays, WordObjective &out,
                              const StopCheck *stop);

// The constraint bodies expanded and merged, in the order they were added.
std::vector<CanonicalConstraint> canonical_constraints(std::string_view tag, const ModelArrays &arrays);

// Fatal with `tag` on a term of more than two distinct variables or on an
// integer atom (this form is for binary handles only).
CanonicalModel canonicalize(std::string_view tag, const ModelArrays &arrays);
// The same, polling `stop` (may be null) through the long loops; false when
// it answered true, `out` then unspecified.
bool canonicalize(std::string_view tag, const ModelArrays &arrays, CanonicalModel &out, const StopCheck *stop);

// Sum of |h| and |J|: a bound on |f - c0| and on every one-flip change of f.
coeff_t objective_magnitude(const CanonicalModel &m);

}  // namespace vexa::mod
