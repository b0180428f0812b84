// The canonical model in the enumeration's number type T, with a dense copy
// of the quadratic coefficients (n <= 48, so n x n is small).
#pragma once

#include <cstdint>
#include <vector>

#include "flip_model.hpp"

namespace vexa::mod {

template <class T>
struct EnumerationModel {
    uint32_t n = 0;
    FlipModel<T> flip;    // adjacency lists and constraint occurrences
    std::vector<T> dense; // n x n, J_ij at [i * n + j] and [j * n + i], zero diagonal
};

template <class T>
EnumerationModel<T> make_enumeration_model(const CanonicalModel &m) {
    EnumerationModel<T> e;
    e.n = m.n;
    e.flip = compile_flip_model<T>(m);
    e.dense.assign(static_cast<size_t>(m.n) * m.n, T(0));
    for (const Pair &p : m.pairs) {
        e.dense[static_cast<size_t>(p.i) * m.n + p.j] = from_coeff<T>(p.w);
        e.dense[static_cast<size_t>(p.j) * m.n + p.i] = from_coeff<T>(p.w);
    }
    return e;
}

}  // namespace vexa::mod
