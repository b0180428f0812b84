// The container's copying forms and text, written once and instantiated for
// the four element types.
#include "array/array.hpp"

#include <string>

#include "core/fatal.hpp"
#include "core/variable_table.hpp"
#include "expr/text.hpp"

namespace vexa {

void append_element_text(std::string &out, unsigned int v) { out += var_str(v); }
void append_element_text(std::string &out, const coeff_t &v) { out += coeff_text(v); }
void append_element_text(std::string &out, const TermImpl &v) { append_term_text(out, v); }
void append_element_text(std::string &out, const ExprImpl &v) { out += expr_text(v); }

namespace {

template <class T>
void append_axis(std::string &out, const ArrayImpl<T> &a, uint64_t axis, uint64_t offset) {
    if (axis == a.ndim()) {
        append_element_text(out, a.data[offset]);
        return;
    }
    out += '{';
    for (uint64_t i = 0; i < a.shape[axis]; ++i) {
        if (i > 0) out += ',';
        append_axis(out, a, axis + 1, offset + a.strides[axis] * i);
    }
    out += '}';
}

}  // namespace

template <class T>
std::string array_text(const ArrayImpl<T> &a) {
    if (a.ndim() == 0) return "{}";
    std::string out;
    append_axis(out, a, 0, 0);
    return out;
}

template <class T>
ArrayImpl<T> *array_clone(const ArrayImpl<T> &a) {
    return build_array<T>(a.shape, [&](uint64_t i) { return element_copy(a.data[i]); });
}

template <class T>
ArrayImpl<T> *array_subarray(const ArrayImpl<T> &a, uint64_t i) {
    if (a.ndim() == 0) return nullptr;
    const uint64_t base = i * a.strides[0];
    return build_array<T>(std::vector<uint64_t>(a.shape.begin() + 1, a.shape.end()),
                          [&](uint64_t j) { return element_copy(a.data[base + j]); });
}

template <class T>
ArrayImpl<T> *array_clone_subview(const ArrayImpl<T> &a, uint64_t offset, uint64_t n) {
    return build_array<T>(std::vector<uint64_t>(a.shape.end() - n, a.shape.end()),
                          [&](uint64_t j) { return element_copy(a.data[offset + j]); });
}

template <class T>
ArrayImpl<T> *do_view(const ArrayImpl<T> &a, const uint64_t *begin, const uint64_t *end, const uint8_t *drop,
                      uint64_t naxes) {
    uint64_t offset = 0;
    std::vector<uint64_t> shape;
    std::vector<uint64_t> kept;
    for (uint64_t k = 0; k < naxes; ++k) {
        offset += a.strides[k] * begin[k];
        if (drop[k] == 0) {
            shape.push_back(end[k] - begin[k]);
            kept.push_back(k);
        }
    }
    const std::vector<uint64_t> out_strides = row_major_strides(shape);
    return build_array_par<T>(std::move(shape), [&](uint64_t i) {
        uint64_t src = offset;
        for (uint64_t j = 0; j < kept.size(); ++j) {
            const uint64_t digit = i / out_strides[j];
            i %= out_strides[j];
            src += digit * a.strides[kept[j]];
        }
        return element_copy(a.data[src]);
    });
}

template <class T>
ArrayImpl<T> *do_concat(const ArrayImpl<T> &a, const ArrayImpl<T> &b, int axis) {
    std::vector<uint64_t> shape = a.shape;
    shape[axis] = a.shape[axis] + b.shape[axis];
    uint64_t inner = 1;
    for (uint64_t k = uint64_t(axis) + 1; k < a.ndim(); ++k) inner *= a.shape[k];
    const uint64_t block_a = a.shape[axis] * inner;
    const uint64_t block_b = b.shape[axis] * inner;
    const uint64_t block_out = block_a + block_b;
    return build_array_par<T>(std::move(shape), [&](uint64_t i) {
        const uint64_t outer = i / block_out;
        const uint64_t r = i % block_out;
        if (r < block_a) return element_copy(a.data[outer * block_a + r]);
        return element_copy(b.data[outer * block_b + (r - block_a)]);
    });
}

std::string shape_text(const std::vector<uint64_t> &shape) {
    std::string out = "(";
    for (uint64_t k = 0; k < shape.size(); ++k) {
        if (k > 0) out += ',';
        out += std::to_string(shape[k]);
    }
    out += ')';
    return out;
}

void check_same_shape(const std::vector<uint64_t> &a, const std::vector<uint64_t> &b, const char *op) {
    if (a == b) return;
    fatal(std::string("Array ") + op + ": shape mismatch " + shape_text(a) + " vs " + shape_text(b));
}

#define VEXA_INSTANTIATE_CONTAINER(word, T, tag)                                                               \
    template std::string array_text<T>(const ArrayImpl<T> &);                                                  \
    template ArrayImpl<T> *array_clone<T>(const ArrayImpl<T> &);                                               \
    template ArrayImpl<T> *array_subarray<T>(const ArrayImpl<T> &, uint64_t);                                  \
    template ArrayImpl<T> *array_clone_subview<T>(const ArrayImpl<T> &, uint64_t, uint64_t);                   \
    template ArrayImpl<T> *do_view<T>(const ArrayImpl<T> &, const uint64_t *, const uint64_t *, const uint8_t *, \
                                      uint64_t);                                                               \
    template ArrayImpl<T> *do_concat<T>(const ArrayImpl<T> &, const ArrayImpl<T> &, int);
VEXA_ARRAY_FAMILIES(VEXA_INSTANTIATE_CONTAINER)
#undef VEXA_INSTANTIATE_CONTAINER

}  // namespace vexa
