// Exported functions of the array family. Functions that exist once per
// element type are generated from the family table in array/array.hpp; each
// is one line over a template of array.cpp or reduce.cpp.
#include <memory>

#include "array/array.hpp"
#include "array/einsum.hpp"
#include "array/reduce.hpp"
#include "core/bigint.hpp"
#include "core/text_buffer.hpp"
#include "core/variable_table.hpp"
#include "vexa/array.h"

using namespace vexa;

namespace {

// The C handle type of each element type, and back.
template <class T>
struct HandleOf;
#define VEXA_HANDLE_OF(word, T, tag)    \
    template <>                         \
    struct HandleOf<T> {                \
        using type = vexa_##word##_array; \
    };
VEXA_ARRAY_FAMILIES(VEXA_HANDLE_OF)
#undef VEXA_HANDLE_OF

template <class T>
typename HandleOf<T>::type *handle(ArrayImpl<T> *a) {
    return reinterpret_cast<typename HandleOf<T>::type *>(a);
}
template <class T, class H>
const ArrayImpl<T> &impl(const H *h) {
    return *reinterpret_cast<const ArrayImpl<T> *>(h);
}
template <class T, class H>
ArrayImpl<T> &impl(H *h) {
    return *reinterpret_cast<ArrayImpl<T> *>(h);
}

std::vector<uint64_t> shape_of(const uint64_t *shape, uint64_t ndim) { return std::vector<uint64_t>(shape, shape + ndim); }

template <class T>
ArrayImpl<T> *filled(const uint64_t *shape, uint64_t ndim) {
    return build_array<T>(shape_of(shape, ndim), [](uint64_t) { return T{}; });
}

// One text buffer per element type.
template <class T>
struct StrTag {};

template <class T>
const char *array_str(const ArrayImpl<T> &a) {
    return keep_text<StrTag<T>>(array_text(a));
}

ExprImpl *new_expr(ExprImpl &&e) { return new ExprImpl(std::move(e)); }

}  // namespace

// ---- per family ----
#define VEXA_FAMILY_API(word, T, tag)                                                                          \
    extern "C" vexa_##word##_array *vexa_array_##word##_create(const uint64_t *shape, uint64_t ndim) {         \
        return handle(filled<T>(shape, ndim));                                                                 \
    }                                                                                                          \
    extern "C" void vexa_array_##word##_destroy(vexa_##word##_array *a) {                                      \
        delete reinterpret_cast<ArrayImpl<T> *>(a);                                                            \
    }                                                                                                          \
    extern "C" uint64_t vexa_array_##word##_size(const vexa_##word##_array *a) { return impl<T>(a).count(); } \
    extern "C" uint64_t vexa_array_##word##_ndim(const vexa_##word##_array *a) { return impl<T>(a).ndim(); }  \
    extern "C" const uint64_t *vexa_array_##word##_shape(const vexa_##word##_array *a) {                       \
        return impl<T>(a).shape.data();                                                                        \
    }                                                                                                          \
    extern "C" uint64_t vexa_array_##word##_shape_at(const vexa_##word##_array *a, uint64_t axis) {            \
        return impl<T>(a).shape[axis];                                                                         \
    }                                                                                                          \
    extern "C" vexa_##word##_array *vexa_array_##word##_clone(const vexa_##word##_array *a) {                  \
        return handle(array_clone(impl<T>(a)));                                                                \
    }                                                                                                          \
    extern "C" vexa_##word##_array *vexa_array_##word##_subarray(const vexa_##word##_array *a, uint64_t i) {   \
        return handle(array_subarray(impl<T>(a), i));                                                          \
    }                                                                                                          \
    extern "C" vexa_##word##_array *vexa_array_##word##_view(const vexa_##word##_array *a,                     \
                                                              const uint64_t *begin, const uint64_t *end,      \
                                                              const uint8_t *drop, uint64_t naxes) {           \
        return handle(do_view(impl<T>(a), begin, end, drop, naxes));                                           \
    }                                                                                                          \
    extern "C" vexa_##word##_array *vexa_array_##word##_concat(const vexa_##word##_array *a,                   \
                                                                const vexa_##word##_array *b, int axis) {      \
        return handle(do_concat(impl<T>(a), impl<T>(b), axis));                                                \
    }                                                                                                          \
    extern "C" const char *vexa_array_##word##_str(const vexa_##word##_array *a) { return array_str(impl<T>(a)); } \
    extern "C" vexa_expr_array *vexa_array_##word##_vector_sum(const vexa_##word##_array *a, int axis) {       \
        return handle(do_vector_sum(impl<T>(a), axis));                                                        \
    }
VEXA_ARRAY_FAMILIES(VEXA_FAMILY_API)
#undef VEXA_FAMILY_API

// ---- constructors of one family ----
extern "C" vexa_var_array *vexa_array_var_create_data(const uint32_t *data, const uint64_t *shape, uint64_t ndim) {
    return handle(build_array<unsigned int>(shape_of(shape, ndim), [&](uint64_t i) { return data[i]; }));
}

extern "C" vexa_var_array *vexa_array_var_create_named(const char *name, const uint64_t *shape, uint64_t ndim) {
    const uint32_t first = new_var_array(name, shape, ndim);
    return handle(build_array<unsigned int>(shape_of(shape, ndim), [&](uint64_t i) { return first + uint32_t(i); }));
}

extern "C" vexa_var_array *vexa_array_var_create_unnamed(const uint64_t *shape, uint64_t ndim) {
    return vexa_array_var_create_named(nullptr, shape, ndim);
}

extern "C" vexa_int_array *vexa_array_int_create_zero(const uint64_t *shape, uint64_t ndim) {
    return vexa_array_int_create(shape, ndim);
}

extern "C" vexa_int_array *vexa_array_int_create_data(const vexa_bigint *data, const uint64_t *shape, uint64_t ndim) {
    return handle(build_array<coeff_t>(shape_of(shape, ndim), [&](uint64_t i) { return coeff_from_record(&data[i]); }));
}

extern "C" vexa_term_array *vexa_array_term_create_data(const TermImpl *const *data, const uint64_t *shape,
                                                        uint64_t ndim) {
    return handle(build_array<TermImpl>(shape_of(shape, ndim), [&](uint64_t i) { return *data[i]; }));
}

extern "C" vexa_expr_array *vexa_array_expr_create_zero(const uint64_t *shape, uint64_t ndim) {
    return vexa_array_expr_create(shape, ndim);
}

extern "C" vexa_expr_array *vexa_array_expr_create_data(const ExprImpl *const *data, const uint64_t *shape,
                                                        uint64_t ndim) {
    return handle(build_array<ExprImpl>(shape_of(shape, ndim), [&](uint64_t i) { return ExprImpl(*data[i]); }));
}

extern "C" vexa_expr_array *vexa_array_expr_create_constant_int(const uint64_t *shape, uint64_t ndim,
                                                                const vexa_bigint *c) {
    const coeff_t value = coeff_from_record(c);
    return handle(build_array_par<ExprImpl>(shape_of(shape, ndim), [&](uint64_t) { return ExprImpl(value); }));
}

extern "C" vexa_expr_array *vexa_array_expr_create_constant_var(const uint64_t *shape, uint64_t ndim, uint32_t var) {
    return handle(build_array_par<ExprImpl>(shape_of(shape, ndim), [&](uint64_t) { return literal_expr(1, var); }));
}

// ---- element access ----
extern "C" const uint32_t *vexa_array_var_data(const vexa_var_array *a) { return impl<unsigned int>(a).data; }
extern "C" uint32_t vexa_array_var_get(const vexa_var_array *a, uint64_t i) { return impl<unsigned int>(a).data[i]; }
extern "C" void vexa_array_var_set(vexa_var_array *a, uint64_t i, uint32_t code) { impl<unsigned int>(a).data[i] = code; }

extern "C" void vexa_array_int_get(const vexa_int_array *a, uint64_t i, vexa_bigint *out) {
    coeff_to_record(impl<coeff_t>(a).data[i], out);
}
extern "C" void vexa_array_int_set(vexa_int_array *a, uint64_t i, const vexa_bigint *v) {
    impl<coeff_t>(a).data[i] = coeff_from_record(v);
}

extern "C" TermImpl *vexa_array_term_get(const vexa_term_array *a, uint64_t i) {
    return new TermImpl(impl<TermImpl>(a).data[i]);
}
extern "C" void vexa_array_term_set(vexa_term_array *a, uint64_t i, const TermImpl *t) { impl<TermImpl>(a).data[i] = *t; }

extern "C" ExprImpl *vexa_array_expr_get(const vexa_expr_array *a, uint64_t i) {
    return new ExprImpl(impl<ExprImpl>(a).data[i]);
}
extern "C" const ExprImpl *vexa_array_expr_ref(const vexa_expr_array *a, uint64_t i) {
    return &impl<ExprImpl>(a).data[i];
}
// Copy assignment marks a constraint sum the word names as shared.
extern "C" void vexa_array_expr_set(vexa_expr_array *a, uint64_t i, const ExprImpl *e) { impl<ExprImpl>(a).data[i] = *e; }

extern "C" ExprImpl *vexa_array_varint_get_expr(const vexa_expr_array *a, uint64_t i) {
    return new_expr(ExprImpl::plain_copy(impl<ExprImpl>(a).data[i]));
}
extern "C" ExprImpl *vexa_array_exprexpr_get_penalty(const vexa_expr_array *a, uint64_t i) {
    return vexa_array_varint_get_expr(a, i);
}

extern "C" vexa_int_array *vexa_array_int_clone_subview(const vexa_int_array *a, uint64_t offset, uint64_t n) {
    return handle(array_clone_subview(impl<coeff_t>(a), offset, n));
}
extern "C" vexa_expr_array *vexa_array_expr_clone_subview(const vexa_expr_array *a, uint64_t offset, uint64_t n) {
    return handle(array_clone_subview(impl<ExprImpl>(a), offset, n));
}

// ---- reductions ----
extern "C" ExprImpl *vexa_array_var_sum(const vexa_var_array *a) {
    const ArrayImpl<unsigned int> &x = impl<unsigned int>(a);
    return new_expr(serial_sum(x.data, x.count()));
}
extern "C" ExprImpl *vexa_array_int_sum(const vexa_int_array *a) {
    const ArrayImpl<coeff_t> &x = impl<coeff_t>(a);
    return new_expr(serial_sum(x.data, x.count()));
}
extern "C" ExprImpl *vexa_array_term_sum(const vexa_term_array *a) {
    const ArrayImpl<TermImpl> &x = impl<TermImpl>(a);
    return new_expr(serial_sum(x.data, x.count()));
}
extern "C" ExprImpl *vexa_array_expr_sum(const vexa_expr_array *a) { return new_expr(sum_expr_array(impl<ExprImpl>(a))); }
extern "C" ExprImpl *vexa_array_sum(const ExprImpl *const *items, uint64_t n) { return new_expr(sum_exprs(items, n)); }

extern "C" void vexa_array_vector_sum(const void *elements, uint32_t kind, const uint64_t *shape, uint64_t ndim,
                                      int axis, ExprImpl **out) {
    raw_vector_sum(elements, kind, shape, ndim, axis, out);
}

extern "C" void vexa_onehot_to_int(const int32_t *values, const uint64_t *shape, uint64_t ndim, int32_t *out) {
    onehot_rows(values, shape, ndim, out);
}
extern "C" vexa_int_array *vexa_array_int_onehot_to_int(const vexa_int_array *a, int axis) {
    return handle(onehot_to_index(impl<coeff_t>(a), axis));
}
extern "C" void vexa_array_int_to_ints(const vexa_int_array *a, int32_t *out) { to_int32(impl<coeff_t>(a), out); }
extern "C" vexa_int_array *vexa_array_int_from_sol(const Sol *sol, const vexa_var_array *vars) {
    return handle(values_from_sol(*sol, impl<unsigned int>(vars)));
}

// ---- contraction ----
extern "C" void *vexa_einsum(const char *subscript, int n_inputs, const uint32_t *tags, const void *const *arrays,
                             uint32_t expr_output, uint64_t out_dim) {
    return einsum(subscript, n_inputs, tags, arrays, expr_output, out_dim);
}
