// ArrayImpl<T>: the N-dimensional array of the library, and the helpers that
// every array operation builds its result with.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "constraint/attr.hpp"
#include "core/coeff.hpp"
#include "core/parallel.hpp"
#include "expr/expr.hpp"
#include "expr/term.hpp"

namespace vexa {

// The four element types and the family word each goes by in exported names.
// The number is the type tag by which einsum is told an input's element type.
//   X(word, element type, tag)
#define VEXA_ARRAY_FAMILIES(X) \
    X(var, unsigned int, 0)    \
    X(int, vexa::coeff_t, 1)   \
    X(term, TermImpl, 2)       \
    X(expr, ExprImpl, 3)

// Row-major strides of a shape: the last is 1, each earlier one the product
// of the extents behind it (so an extent 0 zeroes every stride before it).
inline std::vector<uint64_t> row_major_strides(const std::vector<uint64_t> &shape) {
    std::vector<uint64_t> strides(shape.size());
    uint64_t step = 1;
    for (uint64_t k = shape.size(); k-- > 0;) {
        strides[k] = step;
        step *= shape[k];
    }
    return strides;
}

// Element count of a shape; 1 for rank 0.
inline uint64_t element_count(const std::vector<uint64_t> &shape) {
    uint64_t n = 1;
    for (uint64_t e : shape) n *= e;
    return n;
}

}  // namespace vexa

// A row-major block of elements with its shape. The block comes from malloc
// and holds `size` constructed elements in `capacity` slots; every exported
// operation leaves size equal to the element count. Arrays never share
// storage: every operation that yields an array yields a new owner.
template <class T>
struct ArrayImpl {
    std::vector<uint64_t> shape;
    std::vector<uint64_t> strides;
    uint64_t capacity = 0;
    uint64_t size = 0;
    T *data = nullptr;

    ArrayImpl() = default;
    explicit ArrayImpl(std::vector<uint64_t> s) : shape(std::move(s)), strides(vexa::row_major_strides(shape)) {}
    ArrayImpl(const ArrayImpl &) = delete;
    ArrayImpl &operator=(const ArrayImpl &) = delete;
    ~ArrayImpl() {
        for (uint64_t i = 0; i < size; ++i) data[i].~T();
        std::free(data);
    }

    uint64_t ndim() const { return shape.size(); }
    uint64_t count() const { return vexa::element_count(shape); }

    // Regrows the block to exactly n slots, moving the live elements over.
    void reserve(uint64_t n) {
        if (n <= capacity) return;
        if (n > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
        T *block = static_cast<T *>(std::malloc(n * sizeof(T)));
        if (block == nullptr) throw std::bad_alloc();
        for (uint64_t i = 0; i < size; ++i) {
            new (&block[i]) T(std::move(data[i]));
            data[i].~T();
        }
        std::free(data);
        data = block;
        capacity = n;
    }
};

namespace vexa {

// A copy of one element for use inside an element loop. Expressions are
// copied serially (a loop body must not start a parallel loop of its own)
// with their attr word, and a constraint sum they name is marked shared.
inline unsigned int element_copy(const unsigned int &v) { return v; }
inline coeff_t element_copy(const coeff_t &v) { return v; }
inline TermImpl element_copy(const TermImpl &t) { return t; }
inline ExprImpl element_copy(const ExprImpl &e) {
    ExprImpl c = ExprImpl::plain_copy(e);
    c.attr = e.attr;
    mark_shared(c.attr);
    return c;
}

// A new array of `shape` whose element i is make(i), on the calling thread.
// A throw destroys what was built.
template <class T, class Make>
ArrayImpl<T> *build_array(std::vector<uint64_t> shape, Make &&make) {
    auto a = std::make_unique<ArrayImpl<T>>(std::move(shape));
    const uint64_t n = a->count();
    a->reserve(n);
    for (uint64_t i = 0; i < n; ++i) {
        new (&a->data[i]) T(make(i));
        ++a->size;
    }
    return a.release();
}

// The same through par_for: workers construct disjoint elements in place, and
// `size` is set once every element exists.
template <class T, class Make>
ArrayImpl<T> *build_array_par(std::vector<uint64_t> shape, Make &&make) {
    auto a = std::make_unique<ArrayImpl<T>>(std::move(shape));
    const uint64_t n = a->count();
    a->reserve(n);
    T *data = a->data;
    par_for(n, [&](uint64_t i) { new (&data[i]) T(make(i)); });
    a->size = n;
    return a.release();
}

// Text of one element: the variable's name, decimal, or the term and
// expression forms.
void append_element_text(std::string &out, unsigned int v);
void append_element_text(std::string &out, const coeff_t &v);
void append_element_text(std::string &out, const TermImpl &v);
void append_element_text(std::string &out, const ExprImpl &v);

// "{...}" nested once per axis, elements joined by ","; a rank-0 array is "{}".
template <class T>
std::string array_text(const ArrayImpl<T> &a);

// Copying forms. subarray is null for rank 0.
template <class T>
ArrayImpl<T> *array_clone(const ArrayImpl<T> &a);
template <class T>
ArrayImpl<T> *array_subarray(const ArrayImpl<T> &a, uint64_t i);
template <class T>
ArrayImpl<T> *array_clone_subview(const ArrayImpl<T> &a, uint64_t offset, uint64_t n);
// Ranges [begin[k], end[k]) over the first naxes axes; drop[k] nonzero fixes
// axis k at begin[k] and removes it. Nothing is checked.
template <class T>
ArrayImpl<T> *do_view(const ArrayImpl<T> &a, const uint64_t *begin, const uint64_t *end, const uint8_t *drop,
                      uint64_t naxes);
// a and b joined along `axis`; the other extents are a's, unchecked.
template <class T>
ArrayImpl<T> *do_concat(const ArrayImpl<T> &a, const ArrayImpl<T> &b, int axis);

// "(2,3)"; "()" for rank 0.
std::string shape_text(const std::vector<uint64_t> &shape);
// Ends the process unless both shapes are equal as whole vectors.
void check_same_shape(const std::vector<uint64_t> &a, const std::vector<uint64_t> &b, const char *op);

}  // namespace vexa
