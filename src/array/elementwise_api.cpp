// Exported element-wise functions: each row of vexa/array_elementwise.def
// becomes one definition calling the template of its kind.
#include "array/compare.hpp"
#include "array/elementwise.hpp"
#include "core/bigint.hpp"
#include "vexa/array.h"

using namespace vexa;

namespace {

// Element types of the handle types, and back.
template <class H>
struct ElementOf;
template <class T>
struct HandleOf;
#define VEXA_HANDLE_TYPES(word, T, tag)                   \
    template <>                                          \
    struct ElementOf<vexa_##word##_array> {              \
        using type = T;                                  \
    };                                                   \
    template <>                                          \
    struct HandleOf<T> {                                 \
        using type = vexa_##word##_array;                \
    };
VEXA_ARRAY_FAMILIES(VEXA_HANDLE_TYPES)
#undef VEXA_HANDLE_TYPES

template <class H>
const ArrayImpl<typename ElementOf<H>::type> &in(const H *h) {
    return *reinterpret_cast<const ArrayImpl<typename ElementOf<H>::type> *>(h);
}
template <class H>
ArrayImpl<typename ElementOf<H>::type> &in(H *h) {
    return *reinterpret_cast<ArrayImpl<typename ElementOf<H>::type> *>(h);
}
template <class T>
typename HandleOf<T>::type *out(ArrayImpl<T> *a) {
    return reinterpret_cast<typename HandleOf<T>::type *>(a);
}

// Scalars as elements, converted once per call.
unsigned int scalar(uint32_t v) { return v; }
coeff_t scalar(const vexa_bigint *c) { return coeff_from_record(c); }
const TermImpl &scalar(const TermImpl *t) { return *t; }
const ExprImpl &scalar(const ExprImpl *e) { return *e; }

template <EwOp op, class H, class S>
auto scalar_form(const H *a, S s) {
    if constexpr (op == EwOp::div) {
        return out(ew_divided<op>(in(a), scalar(s)));
    } else {
        return out(ew_scalar<op>(in(a), scalar(s)));
    }
}

// A bound array that may be absent.
const ArrayImpl<coeff_t> *bound_array(const vexa_int_array *h) { return h != nullptr ? &in(h) : nullptr; }

}  // namespace

#define VEXA_EW_ARRAY(l, op, r, res)                                                                          \
    extern "C" vexa_##res##_array *vexa_array_##l##_##op##_array_##r(const vexa_##l##_array *a,                \
                                                                     const vexa_##r##_array *b) {              \
        return out(ew_array<EwOp::op>(in(a), in(b)));                                                          \
    }
#define VEXA_EW_SCALAR(l, op, r, res)                                                                         \
    extern "C" vexa_##res##_array *vexa_array_##l##_##op##_##r(const vexa_##l##_array *a,                      \
                                                               VEXA_EW_SCALAR_TYPE_##r b) {                    \
        return scalar_form<EwOp::op>(a, b);                                                                    \
    }
#define VEXA_EW_INPLACE_ARRAY(l, op, r)                                                                       \
    extern "C" void vexa_array_##l##_##op##_eq_array_##r(vexa_##l##_array *a, const vexa_##r##_array *b) {     \
        ew_update_array<EwOp::op>(in(a), in(b));                                                               \
    }
#define VEXA_EW_INPLACE_SCALAR(l, op, r)                                                                      \
    extern "C" void vexa_array_##l##_##op##_eq_##r(vexa_##l##_array *a, VEXA_EW_SCALAR_TYPE_##r b) {           \
        ew_update_scalar<EwOp::op>(in(a), scalar(b));                                                          \
    }
#define VEXA_EW_UNARY(l, op, res)                                                                             \
    extern "C" vexa_##res##_array *vexa_array_##l##_##op(const vexa_##l##_array *a) {                          \
        return out(ew_unary<EwOp::op>(in(a)));                                                                 \
    }
#define VEXA_EW_CMP(l, op)                                                                                    \
    extern "C" vexa_expr_array *vexa_array_##l##_##op##_int(const vexa_##l##_array *a, const vexa_bigint *c) {  \
        return out(ew_compare<CmpOp::op>(in(a), coeff_from_record(c)));                                       \
    }
#define VEXA_EW_CMP_ARRAY(l, op)                                                                              \
    extern "C" vexa_expr_array *vexa_array_##l##_##op##_array_int(const vexa_##l##_array *a,                   \
                                                                  const vexa_int_array *c) {                   \
        return out(ew_compare_array<CmpOp::op>(in(a), in(c)));                                                 \
    }
#define VEXA_EW_BETWEEN(l)                                                                                    \
    extern "C" vexa_expr_array *vexa_array_##l##_between(const vexa_##l##_array *a, const vexa_bigint *lo,     \
                                                         const vexa_bigint *hi) {                              \
        const coeff_t lower = coeff_from_record(lo), upper = coeff_from_record(hi);                            \
        return out(ew_range(in(a), RangeBound{&lower, nullptr}, RangeBound{&upper, nullptr}));                 \
    }                                                                                                          \
    extern "C" vexa_expr_array *vexa_array_##l##_between_array_int(                                            \
        const vexa_##l##_array *a, const vexa_int_array *lo, const vexa_int_array *hi) {                       \
        return out(ew_range(in(a), RangeBound{nullptr, bound_array(lo)}, RangeBound{nullptr, bound_array(hi)})); \
    }
#include "vexa/array_elementwise.def"
#undef VEXA_EW_ARRAY
#undef VEXA_EW_SCALAR
#undef VEXA_EW_INPLACE_ARRAY
#undef VEXA_EW_INPLACE_SCALAR
#undef VEXA_EW_UNARY
#undef VEXA_EW_CMP
#undef VEXA_EW_CMP_ARRAY
#undef VEXA_EW_BETWEEN

extern "C" void vexa_array_expr_replace(vexa_expr_array *a, const uint32_t *vars, const ExprImpl *const *values,
                                        uint64_t n) {
    ew_replace(in(a), vars, values, n);
}
