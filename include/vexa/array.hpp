// Vexa for C++: Array<T>, an N-dimensional row-major array of variables (Var),
// integers (Int), terms (Term) or expressions (Expr), over the arrays of
// vexa/array.h.
//
//   vexa::Array<vexa::Var> x("x", {4, 4});                 // 16 fresh variables x[i][j]
//   vexa::Array<vexa::Int> q({4, 4}, costs);               // from row-major data
//   vexa::Expr cost = vexa::einsum<0>("ij,ij->", q, x)();  // sum of q(i,j) * x(i,j)
//   vexa::Array<vexa::Expr> rows = x.sum(1) - 1;           // one expression per row
//   vexa::Array<vexa::Expr> one_hot = x.sum(1) == 1;       // one constraint per row
//
// Indices are multi-indices: operator() and at() check their count and every
// index against the shape, slice() checks every range, and binary operations
// check shapes, all before the library is called, since the C layer checks
// none of them. A bad index, range or axis throws std::out_of_range, a shape
// that does not fit throws std::invalid_argument; both messages name the
// shapes involved, as in "(2,3) vs (3,2)".
//
// Element types of results follow the library's table: a sum or difference
// with a variable or a term is an Expr array, a product of variables, terms
// and integers a Term array, anything with an Expr an Expr array, and Int with
// Int stays Int. Nothing broadcasts: the operands of an array operation have
// equal shapes, or one of them is a single value.
//
// Copies are deep (vexa_array_<f>_clone); a move leaves the source empty.
#ifndef VEXA_ARRAY_HPP
#define VEXA_ARRAY_HPP

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "vexa/array.h"
#include "vexa/common.h"
#include "vexa/expr.hpp"
#include "vexa/handle.hpp"
#include "vexa/int.hpp"
#include "vexa/operand.hpp"
#include "vexa/operators.hpp"
#include "vexa/sol.hpp"
#include "vexa/term.hpp"
#include "vexa/var.hpp"

namespace vexa {

using Shape = std::vector<uint64_t>;

template <class T>
concept array_element = std::same_as<T, Var> || std::same_as<T, Int> || std::same_as<T, Term> || std::same_as<T, Expr>;

template <class T>
    requires array_element<T>
class Array;

// A half-open range [begin, end) of one axis, for Array::slice.
struct Range {
    int64_t begin;
    int64_t end;
};
inline constexpr Range range(int64_t begin, int64_t end) noexcept { return Range{begin, end}; }
// A whole axis, for Array::slice.
struct All {};
inline constexpr All all{};

namespace hpp_detail {

// "(2,3)"; "()" for rank 0.
inline std::string shape_text(const Shape &shape) {
    std::string s = "(";
    for (std::size_t k = 0; k < shape.size(); ++k) {
        if (k > 0) s += ",";
        s += std::to_string(shape[k]);
    }
    return s + ")";
}

// ---------------------------------------------------------------------------
// Families: one per element type, with the C functions that are not part of
// the element-wise table. The family words match those of the C names; the
// functions every family has come from one macro over the family word.
// ---------------------------------------------------------------------------
#define VEXA_HPP_ARRAY_FAMILY(f, elem_type, tag_value)                      \
    using elem = elem_type;                                                 \
    using c_array = vexa_##f##_array;                                       \
    static constexpr uint32_t tag = tag_value;                              \
    static constexpr const char *name = "Array<" #elem_type ">";            \
    static constexpr auto destroy = &vexa_array_##f##_destroy;              \
    static constexpr auto clone = &vexa_array_##f##_clone;                  \
    static constexpr auto create = &vexa_array_##f##_create;                \
    static constexpr auto size = &vexa_array_##f##_size;                    \
    static constexpr auto ndim = &vexa_array_##f##_ndim;                    \
    static constexpr auto shape = &vexa_array_##f##_shape;                  \
    static constexpr auto subarray = &vexa_array_##f##_subarray;            \
    static constexpr auto view = &vexa_array_##f##_view;                    \
    static constexpr auto concat = &vexa_array_##f##_concat;                \
    static constexpr auto str = &vexa_array_##f##_str;                      \
    static constexpr auto sum = &vexa_array_##f##_sum;                      \
    static constexpr auto vector_sum = &vexa_array_##f##_vector_sum

struct fam_var {
    VEXA_HPP_ARRAY_FAMILY(var, Var, VEXA_ARRAY_TAG_VAR);
    static Var get(const c_array *a, uint64_t i) { return Var::from_code(vexa_array_var_get(a, i)); }
    static void set(c_array *a, uint64_t i, const Var &v) { vexa_array_var_set(a, i, v.code()); }
    static c_array *from_data(const std::vector<Var> &data, const Shape &shape) {
        std::vector<uint32_t> codes;
        codes.reserve(data.size());
        for (const Var &v : data) codes.push_back(v.code());
        return vexa_array_var_create_data(codes.data(), shape.data(), shape.size());
    }
};

struct fam_int {
    VEXA_HPP_ARRAY_FAMILY(int, Int, VEXA_ARRAY_TAG_INT);
    static Int get(const c_array *a, uint64_t i) {
        return read_int([&](vexa_bigint *out) { vexa_array_int_get(a, i, out); });
    }
    static void set(c_array *a, uint64_t i, const Int &v) {
        const vexa_bigint r = v.record();
        vexa_array_int_set(a, i, &r);
    }
    static c_array *from_data(const std::vector<Int> &data, const Shape &shape) {
        std::vector<vexa_bigint> recs;
        recs.reserve(data.size());
        for (const Int &v : data) recs.push_back(v.record());
        return vexa_array_int_create_data(recs.data(), shape.data(), shape.size());
    }
};

struct fam_term {
    VEXA_HPP_ARRAY_FAMILY(term, Term, VEXA_ARRAY_TAG_TERM);
    static Term get(const c_array *a, uint64_t i) { return Term::adopt(vexa_array_term_get(a, i)); }
    static void set(c_array *a, uint64_t i, const Term &t) { vexa_array_term_set(a, i, t.handle()); }
    static c_array *from_data(const std::vector<Term> &data, const Shape &shape) {
        std::vector<const TermImpl *> ptrs;
        ptrs.reserve(data.size());
        for (const Term &t : data) ptrs.push_back(t.handle());
        return vexa_array_term_create_data(ptrs.data(), shape.data(), shape.size());
    }
};

struct fam_expr {
    VEXA_HPP_ARRAY_FAMILY(expr, Expr, VEXA_ARRAY_TAG_EXPR);
    static Expr get(const c_array *a, uint64_t i) { return Expr::adopt(vexa_array_expr_get(a, i)); }
    static void set(c_array *a, uint64_t i, const Expr &e) { vexa_array_expr_set(a, i, e.handle()); }
    static c_array *from_data(const std::vector<Expr> &data, const Shape &shape) {
        std::vector<const ExprImpl *> ptrs;
        ptrs.reserve(data.size());
        for (const Expr &e : data) ptrs.push_back(e.handle());
        return vexa_array_expr_create_data(ptrs.data(), shape.data(), shape.size());
    }
};

#undef VEXA_HPP_ARRAY_FAMILY

template <class T>
struct family_of;
template <>
struct family_of<Var> {
    using type = fam_var;
};
template <>
struct family_of<Int> {
    using type = fam_int;
};
template <>
struct family_of<Term> {
    using type = fam_term;
};
template <>
struct family_of<Expr> {
    using type = fam_expr;
};
template <class T>
using family_t = typename family_of<T>::type;

// The family of a single value standing beside an array: integers (built-in,
// Int, cpp_int) are `int`, literals `var`, and terms and expressions their own.
template <class S>
struct scalar_family {};
template <class S>
    requires(kind_v<S> == Kind::integer)
struct scalar_family<S> {
    using type = fam_int;
};
template <class S>
    requires(kind_v<S> == Kind::literal)
struct scalar_family<S> {
    using type = fam_var;
};
template <class S>
    requires(kind_v<S> == Kind::term)
struct scalar_family<S> {
    using type = fam_term;
};
template <class S>
    requires(kind_v<S> == Kind::expr)
struct scalar_family<S> {
    using type = fam_expr;
};
template <class S>
using scalar_family_t = typename scalar_family<std::remove_cvref_t<S>>::type;

// A single value in the C form of its family, for the duration of one call.
template <class F>
struct ScalarArg;
template <>
struct ScalarArg<fam_var> {
    explicit ScalarArg(const VarBase &v) : code(v.code()) {}
    uint32_t code;
    uint32_t get() const { return code; }
};
template <>
struct ScalarArg<fam_int> : Rec {  // one coefficient record for the call
    using Rec::Rec;
};
template <>
struct ScalarArg<fam_term> {
    explicit ScalarArg(const Term &t) : t(&t) {}
    const Term *t;
    const TermImpl *get() const { return t->handle(); }
};
template <>
struct ScalarArg<fam_expr> {
    explicit ScalarArg(const Expr &e) : e(&e) {}
    const Expr *e;
    const ExprImpl *get() const { return e->handle(); }
};

// ---------------------------------------------------------------------------
// The element-wise table: each row of vexa/array_elementwise.def becomes one
// specialisation that names its C function and the family of its result, so
// that an operator finds its function by (left family, operation, right
// family). A combination without a row has `exists` false.
// ---------------------------------------------------------------------------
struct op_add {
    static constexpr const char *text = "+";
};
struct op_sub {
    static constexpr const char *text = "-";
};
struct op_mul {
    static constexpr const char *text = "*";
};
struct op_div {
    static constexpr const char *text = "/";
};
struct op_eq {
    static constexpr const char *text = "==";
};
struct op_le {
    static constexpr const char *text = "<=";
};
struct op_ge {
    static constexpr const char *text = ">=";
};
struct op_coeffvec_mul {};
struct op_negate {};
struct op_invert {};
struct op_sqr {};
struct op_from_expr {};
struct op_simplify {};
struct op_simplify_as_binary {};
struct op_simplify_as_spin {};
struct op_reduce {};

template <class L, class Op, class R>
struct EwArray {
    static constexpr bool exists = false;
};
template <class L, class Op, class R>
struct EwScalar {
    static constexpr bool exists = false;
};
template <class L, class Op, class R>
struct EwInplaceArray {
    static constexpr bool exists = false;
};
template <class L, class Op, class R>
struct EwInplaceScalar {
    static constexpr bool exists = false;
};
template <class L, class Op>
struct EwUnary {
    static constexpr bool exists = false;
};
// Constraint forms: `op` with one integer, `op` with an Int array, and the
// range with two integers or two Int arrays.
template <class L, class Op>
struct EwCmp {
    static constexpr bool exists = false;
};
template <class L, class Op>
struct EwCmpArray {
    static constexpr bool exists = false;
};
template <class L>
struct EwBetween {
    static constexpr bool exists = false;
};

#define VEXA_EW_ARRAY(l, op, r, res)                                          \
    template <>                                                                \
    struct EwArray<fam_##l, op_##op, fam_##r> {                                \
        static constexpr bool exists = true;                                   \
        using result = fam_##res;                                              \
        static constexpr auto fn = &vexa_array_##l##_##op##_array_##r;         \
    };
#define VEXA_EW_SCALAR(l, op, r, res)                                         \
    template <>                                                                \
    struct EwScalar<fam_##l, op_##op, fam_##r> {                               \
        static constexpr bool exists = true;                                   \
        using result = fam_##res;                                              \
        static constexpr auto fn = &vexa_array_##l##_##op##_##r;               \
    };
#define VEXA_EW_INPLACE_ARRAY(l, op, r)                                       \
    template <>                                                                \
    struct EwInplaceArray<fam_##l, op_##op, fam_##r> {                         \
        static constexpr bool exists = true;                                   \
        static constexpr auto fn = &vexa_array_##l##_##op##_eq_array_##r;      \
    };
#define VEXA_EW_INPLACE_SCALAR(l, op, r)                                      \
    template <>                                                                \
    struct EwInplaceScalar<fam_##l, op_##op, fam_##r> {                        \
        static constexpr bool exists = true;                                   \
        static constexpr auto fn = &vexa_array_##l##_##op##_eq_##r;            \
    };
#define VEXA_EW_UNARY(l, op, res)                                             \
    template <>                                                                \
    struct EwUnary<fam_##l, op_##op> {                                         \
        static constexpr bool exists = true;                                   \
        using result = fam_##res;                                              \
        static constexpr auto fn = &vexa_array_##l##_##op;                     \
    };
#define VEXA_EW_CMP(l, op)                                                    \
    template <>                                                                \
    struct EwCmp<fam_##l, op_##op> {                                           \
        static constexpr bool exists = true;                                   \
        static constexpr auto fn = &vexa_array_##l##_##op##_int;               \
    };
#define VEXA_EW_CMP_ARRAY(l, op)                                              \
    template <>                                                                \
    struct EwCmpArray<fam_##l, op_##op> {                                      \
        static constexpr bool exists = true;                                   \
        static constexpr auto fn = &vexa_array_##l##_##op##_array_int;         \
    };
#define VEXA_EW_BETWEEN(l)                                                    \
    template <>                                                                \
    struct EwBetween<fam_##l> {                                                \
        static constexpr bool exists = true;                                   \
        static constexpr auto fn = &vexa_array_##l##_between;                  \
        static constexpr auto fn_array = &vexa_array_##l##_between_array_int;  \
    };
#include "vexa/array_elementwise.def"
#undef VEXA_EW_CMP
#undef VEXA_EW_CMP_ARRAY
#undef VEXA_EW_BETWEEN
#undef VEXA_EW_ARRAY
#undef VEXA_EW_SCALAR
#undef VEXA_EW_INPLACE_ARRAY
#undef VEXA_EW_INPLACE_SCALAR
#undef VEXA_EW_UNARY

template <class L, class Op, class R>
concept ew_array = EwArray<family_t<L>, Op, family_t<R>>::exists;
template <class L, class Op, class S>
concept ew_scalar = requires { typename scalar_family_t<S>; } && EwScalar<family_t<L>, Op, scalar_family_t<S>>::exists;
template <class L, class Op, class R>
concept ew_inplace_array = EwInplaceArray<family_t<L>, Op, family_t<R>>::exists;
template <class L, class Op, class S>
concept ew_inplace_scalar =
    requires { typename scalar_family_t<S>; } && EwInplaceScalar<family_t<L>, Op, scalar_family_t<S>>::exists;
template <class L, class Op>
concept ew_unary = EwUnary<family_t<L>, Op>::exists;

template <class L, class Op, class R>
using ew_array_result = typename EwArray<family_t<L>, Op, family_t<R>>::result::elem;
template <class L, class Op, class S>
using ew_scalar_result = typename EwScalar<family_t<L>, Op, scalar_family_t<S>>::result::elem;
template <class L, class Op>
using ew_unary_result = typename EwUnary<family_t<L>, Op>::result::elem;

// An axis number from the caller (negative counts from the end) as an index
// below `ndim`.
inline std::size_t normalize_axis(int64_t axis, const Shape &shape, const char *what) {
    const int64_t n = static_cast<int64_t>(shape.size());
    const int64_t k = axis < 0 ? axis + n : axis;
    if (k < 0 || k >= n) {
        throw std::out_of_range(std::string(what) + ": axis " + std::to_string(axis) + " out of range for shape " +
                                shape_text(shape));
    }
    return static_cast<std::size_t>(k);
}

template <class I>
std::string index_text(I i) {
    return std::to_string(i);
}

}  // namespace hpp_detail

// ---------------------------------------------------------------------------
// Array<T>: the owner of one C array of element type T.
// ---------------------------------------------------------------------------
template <class T>
    requires array_element<T>
class Array : private hpp_detail::Handle<typename hpp_detail::family_t<T>::c_array, hpp_detail::family_t<T>::destroy,
                                         hpp_detail::family_t<T>::clone> {
    using F = hpp_detail::family_t<T>;
    using C = typename F::c_array;
    using Base = hpp_detail::Handle<C, F::destroy, F::clone>;
    using Base::h_;

public:
    using value_type = T;

    // Default elements of the given shape: variable code 0, zero, a zero term,
    // the zero expression. An empty shape is rank 0, with one element.
    explicit Array(const Shape &shape) : Base(F::create(shape.data(), shape.size())) {}
    // Elements from row-major data; data must hold exactly the element count.
    Array(const Shape &shape, const std::vector<T> &data) : Base(from_data(shape, data)) {}
    // Fresh variables, one group named `name` ("x[0][1]", ...); an empty name
    // takes an automatic one.
    Array(std::string_view name, const Shape &shape)
        requires std::same_as<T, Var>
        : Base(name.empty() ? vexa_array_var_create_unnamed(shape.data(), shape.size())
                            : vexa_array_var_create_named(std::string(name).c_str(), shape.data(), shape.size())) {}
    // Every element the constant c, or the expression 1 * v.
    static Array constant(const Shape &shape, const Int &c)
        requires std::same_as<T, Expr>
    {
        const vexa_bigint r = c.record();
        return adopt(vexa_array_expr_create_constant_int(shape.data(), shape.size(), &r));
    }
    static Array constant(const Shape &shape, const Var &v)
        requires std::same_as<T, Expr>
    {
        return adopt(vexa_array_expr_create_constant_var(shape.data(), shape.size(), v.code()));
    }
    // Every element equal to `value`.
    static Array full(const Shape &shape, const T &value) {
        Array a(shape);
        const uint64_t n = a.size();
        for (uint64_t i = 0; i < n; ++i) F::set(a.h_, i, value);
        return a;
    }

    // Takes ownership of an array from the C interface.
    static Array adopt(C *a) noexcept { return Array(a, 0); }
    using Base::handle;
    using Base::release;

    Shape shape() const {
        const uint64_t n = F::ndim(h_);
        const uint64_t *s = F::shape(h_);
        return Shape(s, s + n);
    }
    uint64_t ndim() const { return F::ndim(h_); }
    // Number of elements: the product of the extents, 1 for rank 0.
    uint64_t size() const { return F::size(h_); }
    uint64_t extent(int64_t axis) const {
        const Shape s = shape();
        return s[hpp_detail::normalize_axis(axis, s, "vexa::Array::extent")];
    }

    // The element at a multi-index, one index per axis, each below its extent.
    template <std::integral... I>
    T operator()(I... idx) const {
        return F::get(h_, flat(idx...));
    }
    template <std::integral... I>
    T at(I... idx) const {
        return F::get(h_, flat(idx...));
    }
    // set(i, j, ..., value): writes the element at (i, j, ...).
    template <class... A>
        requires(sizeof...(A) >= 1)
    void set(A &&...args) {
        auto tup = std::forward_as_tuple(std::forward<A>(args)...);
        constexpr std::size_t n = sizeof...(A) - 1;
        const uint64_t i = [&]<std::size_t... K>(std::index_sequence<K...>) {
            return flat(std::get<K>(tup)...);
        }(std::make_index_sequence<n>{});
        const auto &value = std::get<n>(tup);
        if constexpr (std::same_as<std::remove_cvref_t<decltype(value)>, T>) {
            F::set(h_, i, value);
        } else {
            F::set(h_, i, T(value));
        }
    }

    // A copy of the part that the arguments pick: one argument per leading
    // axis, each a range (kept, with extent end - begin), vexa::all (kept
    // whole) or an index (the axis is removed). Axes without an argument are
    // kept whole.
    template <class... S>
    Array slice(const S &...axes) const {
        const Shape s = shape();
        if (sizeof...(S) > s.size()) {
            throw std::out_of_range("vexa::Array::slice: " + std::to_string(sizeof...(S)) +
                                    " axis arguments for shape " + hpp_detail::shape_text(s));
        }
        std::vector<uint64_t> begin(s.size(), 0), end(s);
        std::vector<uint8_t> drop(s.size(), 0);
        std::size_t k = 0;
        (take_axis(s, k++, axes, begin, end, drop), ...);
        return adopt(F::view(h_, begin.data(), end.data(), drop.data(), s.size()));
    }
    // The part at index i of the first axis, with that axis removed.
    Array subarray(int64_t i) const {
        const Shape s = shape();
        if (s.empty()) throw std::out_of_range("vexa::Array::subarray: a rank-0 array has no axis to index");
        check_index(s, 0, i);
        return adopt(F::subarray(h_, static_cast<uint64_t>(i)));
    }

    // One expression: the sum of every element (unmerged).
    Expr sum() const { return Expr::adopt(F::sum(h_)); }
    // The sums along `axis` (negative counts from the end), which the result lacks.
    Array<Expr> sum(int64_t axis) const {
        const Shape s = shape();
        const std::size_t k = hpp_detail::normalize_axis(axis, s, "vexa::Array::sum");
        return Array<Expr>::adopt(F::vector_sum(h_, static_cast<int>(k)));
    }

    std::string str() const { return F::str(h_); }
    friend std::ostream &operator<<(std::ostream &os, const Array &a) { return os << F::str(a.h_); }

private:
    Array(C *a, int) noexcept : Base(a) {}

    static C *from_data(const Shape &shape, const std::vector<T> &data) {
        if (data.size() != hpp_detail::shape_size(shape)) {
            throw std::invalid_argument(std::string("vexa::") + F::name + ": " + std::to_string(data.size()) +
                                        " values for shape " + hpp_detail::shape_text(shape) + " of " +
                                        std::to_string(hpp_detail::shape_size(shape)) + " elements");
        }
        return F::from_data(data, shape);
    }

    template <class I>
    static void check_index(const Shape &s, std::size_t axis, I i) {
        bool bad = false;
        if constexpr (std::is_signed_v<I>) {
            bad = i < 0 || static_cast<uint64_t>(i) >= s[axis];
        } else {
            bad = static_cast<uint64_t>(i) >= s[axis];
        }
        if (bad) {
            throw std::out_of_range("vexa::Array: index " + std::to_string(i) + " on axis " + std::to_string(axis) +
                                    " out of range for shape " + hpp_detail::shape_text(s));
        }
    }

    template <class... I>
    uint64_t flat(I... idx) const {
        const Shape s = shape();
        if (sizeof...(I) != s.size()) {
            throw std::out_of_range("vexa::Array: " + std::to_string(sizeof...(I)) + " indices for shape " +
                                    hpp_detail::shape_text(s));
        }
        uint64_t f = 0;
        std::size_t k = 0;
        auto step = [&](auto i) {
            static_assert(std::is_integral_v<decltype(i)>, "vexa::Array: indices are integers");
            check_index(s, k, i);
            f = f * s[k] + static_cast<uint64_t>(i);
            ++k;
        };
        (step(idx), ...);
        (void)step;  // unused for rank 0
        return f;
    }

    template <class P>
    static void take_axis(const Shape &s, std::size_t k, const P &axis, std::vector<uint64_t> &begin,
                          std::vector<uint64_t> &end, std::vector<uint8_t> &drop) {
        if constexpr (std::same_as<P, All>) {
            // the whole axis: the defaults
        } else if constexpr (std::same_as<P, Range>) {
            if (axis.begin < 0 || axis.end < axis.begin || static_cast<uint64_t>(axis.end) > s[k]) {
                throw std::out_of_range("vexa::Array::slice: range [" + std::to_string(axis.begin) + "," +
                                        std::to_string(axis.end) + ") on axis " + std::to_string(k) +
                                        " outside extent " + std::to_string(s[k]) + " of shape " +
                                        hpp_detail::shape_text(s));
            }
            begin[k] = static_cast<uint64_t>(axis.begin);
            end[k] = static_cast<uint64_t>(axis.end);
        } else {
            static_assert(std::is_integral_v<P>, "vexa::Array::slice takes ranges, vexa::all and indices");
            check_index(s, k, axis);
            begin[k] = static_cast<uint64_t>(axis);
            end[k] = begin[k] + 1;
            drop[k] = 1;
        }
    }
};

namespace hpp_detail {

template <class A>
struct is_array : std::false_type {};
template <class T>
struct is_array<Array<T>> : std::true_type {};
template <class A>
concept array_type = is_array<std::remove_cvref_t<A>>::value;

// Throws unless a and b have equal shapes; `op` is the operator's text.
template <class L, class R>
void check_same_shape(const Array<L> &a, const Array<R> &b, const char *op) {
    const Shape sa = a.shape(), sb = b.shape();
    if (sa != sb) {
        throw std::invalid_argument(std::string("vexa::Array ") + op + ": shape mismatch " + shape_text(sa) + " vs " +
                                    shape_text(sb));
    }
}

template <class Op, class L, class R>
Array<ew_array_result<L, Op, R>> ew_array_call(const Array<L> &a, const Array<R> &b) {
    check_same_shape(a, b, Op::text);
    using Row = EwArray<family_t<L>, Op, family_t<R>>;
    return Array<ew_array_result<L, Op, R>>::adopt(Row::fn(a.handle(), b.handle()));
}

template <class Op, class L, class S>
Array<ew_scalar_result<L, Op, S>> ew_scalar_call(const Array<L> &a, const S &s) {
    using SF = scalar_family_t<S>;
    using Row = EwScalar<family_t<L>, Op, SF>;
    const ScalarArg<SF> arg(s);
    return Array<ew_scalar_result<L, Op, S>>::adopt(Row::fn(a.handle(), arg.get()));
}

template <class S>
void check_divisor(const S &d, const char *op) {
    if (to_int(d).is_zero()) throw std::domain_error(std::string("vexa::Array ") + op + ": division by zero");
}

}  // namespace hpp_detail

// ---------------------------------------------------------------------------
// Element-wise operators. Array with array needs equal shapes; a single
// value applies to every element. A value on the left is moved to the right
// where that gives the same elements: s + a is a + s, s * a is a * s, and
// s - a is (-a) + s.
// ---------------------------------------------------------------------------
template <class L, class R>
    requires hpp_detail::ew_array<L, hpp_detail::op_add, R>
auto operator+(const Array<L> &a, const Array<R> &b) {
    return hpp_detail::ew_array_call<hpp_detail::op_add>(a, b);
}
template <class L, class R>
    requires hpp_detail::ew_array<L, hpp_detail::op_sub, R>
auto operator-(const Array<L> &a, const Array<R> &b) {
    return hpp_detail::ew_array_call<hpp_detail::op_sub>(a, b);
}
template <class L, class R>
    requires hpp_detail::ew_array<L, hpp_detail::op_mul, R>
auto operator*(const Array<L> &a, const Array<R> &b) {
    return hpp_detail::ew_array_call<hpp_detail::op_mul>(a, b);
}

template <class L, class S>
    requires hpp_detail::ew_scalar<L, hpp_detail::op_add, S>
auto operator+(const Array<L> &a, const S &s) {
    return hpp_detail::ew_scalar_call<hpp_detail::op_add>(a, s);
}
template <class L, class S>
    requires hpp_detail::ew_scalar<L, hpp_detail::op_sub, S>
auto operator-(const Array<L> &a, const S &s) {
    return hpp_detail::ew_scalar_call<hpp_detail::op_sub>(a, s);
}
template <class L, class S>
    requires hpp_detail::ew_scalar<L, hpp_detail::op_mul, S>
auto operator*(const Array<L> &a, const S &s) {
    return hpp_detail::ew_scalar_call<hpp_detail::op_mul>(a, s);
}
template <class L, class S>
    requires hpp_detail::ew_scalar<L, hpp_detail::op_div, S>
auto operator/(const Array<L> &a, const S &d) {
    hpp_detail::check_divisor(d, "/");
    return hpp_detail::ew_scalar_call<hpp_detail::op_div>(a, d);
}

template <class S, class R>
    requires(!hpp_detail::array_type<S>) && hpp_detail::ew_scalar<R, hpp_detail::op_add, S>
auto operator+(const S &s, const Array<R> &a) {
    return hpp_detail::ew_scalar_call<hpp_detail::op_add>(a, s);
}
template <class S, class R>
    requires(!hpp_detail::array_type<S>) && hpp_detail::ew_scalar<R, hpp_detail::op_mul, S>
auto operator*(const S &s, const Array<R> &a) {
    return hpp_detail::ew_scalar_call<hpp_detail::op_mul>(a, s);
}
template <class S, class R>
    requires(!hpp_detail::array_type<S>) && hpp_detail::ew_unary<R, hpp_detail::op_negate> &&
            hpp_detail::ew_scalar<hpp_detail::ew_unary_result<R, hpp_detail::op_negate>, hpp_detail::op_add, S>
auto operator-(const S &s, const Array<R> &a) {
    return hpp_detail::ew_scalar_call<hpp_detail::op_add>(-a, s);
}

// Compound assignment, where the library has the in-place form: on Expr
// arrays (+=, -=, *= with any array or value, /= by an integer), on Int arrays
// (+=, -=, *= with Int arrays or integers, /= by an integer, truncating) and
// on Term arrays (*=, /= by an integer).
namespace hpp_detail {

template <class Op, class L, class R>
Array<L> &ew_inplace_array_call(Array<L> &a, const Array<R> &b, const char *text) {
    check_same_shape(a, b, text);
    using Row = EwInplaceArray<family_t<L>, Op, family_t<R>>;
    if constexpr (std::same_as<L, R>) {
        if (&a == &b) {  // a op= a: the operand is read while the element is written
            const Array<R> copy(b);
            Row::fn(a.handle(), copy.handle());
            return a;
        }
    }
    Row::fn(a.handle(), b.handle());
    return a;
}

template <class Op, class L, class S>
Array<L> &ew_inplace_scalar_call(Array<L> &a, const S &s) {
    using SF = scalar_family_t<S>;
    const ScalarArg<SF> arg(s);
    EwInplaceScalar<family_t<L>, Op, SF>::fn(a.handle(), arg.get());
    return a;
}

}  // namespace hpp_detail

template <class L, class R>
    requires hpp_detail::ew_inplace_array<L, hpp_detail::op_add, R>
Array<L> &operator+=(Array<L> &a, const Array<R> &b) {
    return hpp_detail::ew_inplace_array_call<hpp_detail::op_add>(a, b, "+=");
}
template <class L, class R>
    requires hpp_detail::ew_inplace_array<L, hpp_detail::op_sub, R>
Array<L> &operator-=(Array<L> &a, const Array<R> &b) {
    return hpp_detail::ew_inplace_array_call<hpp_detail::op_sub>(a, b, "-=");
}
template <class L, class R>
    requires hpp_detail::ew_inplace_array<L, hpp_detail::op_mul, R>
Array<L> &operator*=(Array<L> &a, const Array<R> &b) {
    return hpp_detail::ew_inplace_array_call<hpp_detail::op_mul>(a, b, "*=");
}
template <class L, class S>
    requires hpp_detail::ew_inplace_scalar<L, hpp_detail::op_add, S>
Array<L> &operator+=(Array<L> &a, const S &s) {
    return hpp_detail::ew_inplace_scalar_call<hpp_detail::op_add>(a, s);
}
template <class L, class S>
    requires hpp_detail::ew_inplace_scalar<L, hpp_detail::op_sub, S>
Array<L> &operator-=(Array<L> &a, const S &s) {
    return hpp_detail::ew_inplace_scalar_call<hpp_detail::op_sub>(a, s);
}
template <class L, class S>
    requires hpp_detail::ew_inplace_scalar<L, hpp_detail::op_mul, S>
Array<L> &operator*=(Array<L> &a, const S &s) {
    return hpp_detail::ew_inplace_scalar_call<hpp_detail::op_mul>(a, s);
}
template <class L, class S>
    requires hpp_detail::ew_inplace_scalar<L, hpp_detail::op_div, S>
Array<L> &operator/=(Array<L> &a, const S &d) {
    hpp_detail::check_divisor(d, "/=");
    return hpp_detail::ew_inplace_scalar_call<hpp_detail::op_div>(a, d);
}

// One operand: -a (an Expr array for every element type), ~x on variables
// (each literal negated), and the square and canonical forms of Expr arrays.
namespace hpp_detail {
template <class Op, class L>
Array<ew_unary_result<L, Op>> ew_unary_call(const Array<L> &a) {
    return Array<ew_unary_result<L, Op>>::adopt(EwUnary<family_t<L>, Op>::fn(a.handle()));
}
}  // namespace hpp_detail

template <class L>
    requires hpp_detail::ew_unary<L, hpp_detail::op_negate>
auto operator-(const Array<L> &a) {
    return hpp_detail::ew_unary_call<hpp_detail::op_negate>(a);
}
template <class L>
    requires hpp_detail::ew_unary<L, hpp_detail::op_invert>
auto operator~(const Array<L> &a) {
    return hpp_detail::ew_unary_call<hpp_detail::op_invert>(a);
}
template <class L>
    requires hpp_detail::ew_unary<L, hpp_detail::op_sqr>
auto sqr(const Array<L> &a) {
    return hpp_detail::ew_unary_call<hpp_detail::op_sqr>(a);
}
template <class L>
    requires hpp_detail::ew_unary<L, hpp_detail::op_simplify>
auto simplify(const Array<L> &a) {
    return hpp_detail::ew_unary_call<hpp_detail::op_simplify>(a);
}
template <class L>
    requires hpp_detail::ew_unary<L, hpp_detail::op_simplify_as_binary>
auto simplify_as_binary(const Array<L> &a) {
    return hpp_detail::ew_unary_call<hpp_detail::op_simplify_as_binary>(a);
}
template <class L>
    requires hpp_detail::ew_unary<L, hpp_detail::op_simplify_as_spin>
auto simplify_as_spin(const Array<L> &a) {
    return hpp_detail::ew_unary_call<hpp_detail::op_simplify_as_spin>(a);
}

// ---------------------------------------------------------------------------
// Constraints on every element: a == c, a <= c, a >= c with c an integer or
// an Int array of a's shape, and between(lo, a, hi) with two integers or two
// Int arrays. Each element of the result is a classic constraint value: its
// polynomial is the penalty, zero exactly where the element satisfies the
// relation, and it remembers its body and bounds. A bound of <= (>=) alone
// pairs with the least (greatest) value the element can take. Range forms
// may create slack variables, numbered in element order. An integer on the
// left reads as the mirrored relation.
// ---------------------------------------------------------------------------
namespace hpp_detail {

template <class L, class Op>
concept ew_cmp = EwCmp<family_t<L>, Op>::exists;
template <class L, class Op>
concept ew_cmp_array = EwCmpArray<family_t<L>, Op>::exists;
template <class L>
concept ew_between = EwBetween<family_t<L>>::exists;
template <class S>
concept integer_value = kind_v<S> == Kind::integer;

template <class Op, class L, class S>
Array<Expr> ew_cmp_call(const Array<L> &a, const S &c) {
    const ScalarArg<fam_int> arg(c);
    return Array<Expr>::adopt(EwCmp<family_t<L>, Op>::fn(a.handle(), arg.get()));
}
template <class Op, class L>
Array<Expr> ew_cmp_array_call(const Array<L> &a, const Array<Int> &c) {
    check_same_shape(a, c, Op::text);
    return Array<Expr>::adopt(EwCmpArray<family_t<L>, Op>::fn(a.handle(), c.handle()));
}

}  // namespace hpp_detail

template <class L, class S>
    requires hpp_detail::integer_value<S> && hpp_detail::ew_cmp<L, hpp_detail::op_eq>
Array<Expr> operator==(const Array<L> &a, const S &c) {
    return hpp_detail::ew_cmp_call<hpp_detail::op_eq>(a, c);
}
template <class L, class S>
    requires hpp_detail::integer_value<S> && hpp_detail::ew_cmp<L, hpp_detail::op_le>
Array<Expr> operator<=(const Array<L> &a, const S &c) {
    return hpp_detail::ew_cmp_call<hpp_detail::op_le>(a, c);
}
template <class L, class S>
    requires hpp_detail::integer_value<S> && hpp_detail::ew_cmp<L, hpp_detail::op_ge>
Array<Expr> operator>=(const Array<L> &a, const S &c) {
    return hpp_detail::ew_cmp_call<hpp_detail::op_ge>(a, c);
}
template <class S, class R>
    requires hpp_detail::integer_value<S> && hpp_detail::ew_cmp<R, hpp_detail::op_eq>
Array<Expr> operator==(const S &c, const Array<R> &a) {
    return hpp_detail::ew_cmp_call<hpp_detail::op_eq>(a, c);
}
template <class S, class R>
    requires hpp_detail::integer_value<S> && hpp_detail::ew_cmp<R, hpp_detail::op_ge>
Array<Expr> operator<=(const S &c, const Array<R> &a) {
    return hpp_detail::ew_cmp_call<hpp_detail::op_ge>(a, c);
}
template <class S, class R>
    requires hpp_detail::integer_value<S> && hpp_detail::ew_cmp<R, hpp_detail::op_le>
Array<Expr> operator>=(const S &c, const Array<R> &a) {
    return hpp_detail::ew_cmp_call<hpp_detail::op_le>(a, c);
}

// Element by element against an Int array of the same shape. (No == for two
// Int arrays: the library has no such form.)
template <class L>
    requires hpp_detail::ew_cmp_array<L, hpp_detail::op_eq>
Array<Expr> operator==(const Array<L> &a, const Array<Int> &c) {
    return hpp_detail::ew_cmp_array_call<hpp_detail::op_eq>(a, c);
}
template <class L>
    requires hpp_detail::ew_cmp_array<L, hpp_detail::op_le>
Array<Expr> operator<=(const Array<L> &a, const Array<Int> &c) {
    return hpp_detail::ew_cmp_array_call<hpp_detail::op_le>(a, c);
}
template <class L>
    requires hpp_detail::ew_cmp_array<L, hpp_detail::op_ge>
Array<Expr> operator>=(const Array<L> &a, const Array<Int> &c) {
    return hpp_detail::ew_cmp_array_call<hpp_detail::op_ge>(a, c);
}

// lo <= a <= hi on every element. With lo above hi the element's penalty is
// empty and it keeps the bounds given.
template <class L, class Lo, class Hi>
    requires hpp_detail::integer_value<Lo> && hpp_detail::integer_value<Hi> && hpp_detail::ew_between<L>
Array<Expr> between(const Lo &lo, const Array<L> &a, const Hi &hi) {
    const hpp_detail::ScalarArg<hpp_detail::fam_int> l(lo), h(hi);
    return Array<Expr>::adopt(hpp_detail::EwBetween<hpp_detail::family_t<L>>::fn(a.handle(), l.get(), h.get()));
}
template <class L>
    requires hpp_detail::ew_between<L>
Array<Expr> between(const Array<Int> &lo, const Array<L> &a, const Array<Int> &hi) {
    const Shape s = a.shape(), sl = lo.shape(), sh = hi.shape();
    if (sl != s || sh != s) {
        throw std::invalid_argument("vexa::between: bounds of shapes " + hpp_detail::shape_text(sl) + " and " +
                                    hpp_detail::shape_text(sh) + " for an array of shape " +
                                    hpp_detail::shape_text(s));
    }
    return Array<Expr>::adopt(
        hpp_detail::EwBetween<hpp_detail::family_t<L>>::fn_array(a.handle(), lo.handle(), hi.handle()));
}

// ---------------------------------------------------------------------------
// concat: a then b along `axis` (negative counts from the end). Ranks and the
// extents of every other axis must agree.
// ---------------------------------------------------------------------------
template <class T>
Array<T> concat(const Array<T> &a, const Array<T> &b, int64_t axis = 0) {
    using F = hpp_detail::family_t<T>;
    const Shape sa = a.shape(), sb = b.shape();
    if (sa.size() != sb.size()) {
        throw std::invalid_argument("vexa::concat: ranks differ: " + hpp_detail::shape_text(sa) + " vs " +
                                    hpp_detail::shape_text(sb));
    }
    const std::size_t k = hpp_detail::normalize_axis(axis, sa, "vexa::concat");
    for (std::size_t j = 0; j < sa.size(); ++j) {
        if (j != k && sa[j] != sb[j]) {
            throw std::invalid_argument("vexa::concat: extents differ on axis " + std::to_string(j) + ": " +
                                        hpp_detail::shape_text(sa) + " vs " + hpp_detail::shape_text(sb));
        }
    }
    return Array<T>::adopt(F::concat(a.handle(), b.handle(), static_cast<int>(k)));
}

// ---------------------------------------------------------------------------
// einsum<OutDim>("ij,j->i", a, b, ...): the contraction of arrays of any
// element types. Each input subscript gives one label per axis; a label
// repeated across inputs (or within one) is multiplied along, labels missing
// from the output are summed. Without "->" the output is every label that
// occurs exactly once, in byte order. Blanks are ignored. The result is an
// Expr array of rank OutDim (an unmerged sum of products), or an Int array
// when Out is Int, which takes Int inputs only. Subscripts that do not fit
// the arrays throw std::invalid_argument before anything is computed.
// ---------------------------------------------------------------------------
namespace hpp_detail {

struct EinsumPlan {
    std::vector<std::string> inputs;
    std::string output;
};

inline bool einsum_blank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

inline EinsumPlan einsum_parse(const std::string &sub, std::size_t n_inputs) {
    EinsumPlan plan;
    const std::size_t len = sub.size();
    std::size_t pos = 0;
    auto fail = [&](const std::string &why) {
        throw std::invalid_argument("vexa::einsum: " + why + " in subscript \"" + sub + "\"");
    };
    for (std::size_t k = 0; k < n_inputs; ++k) {
        std::string labels;
        while (pos < len) {
            const char c = sub[pos];
            if (einsum_blank(c)) {
                ++pos;
                continue;
            }
            if (c == ',' || (c == '-' && pos + 1 < len && sub[pos + 1] == '>')) break;
            labels += c;
            ++pos;
        }
        plan.inputs.push_back(labels);
        if (k + 1 < n_inputs) {
            if (pos >= len || sub[pos] != ',') {
                fail("expected " + std::to_string(n_inputs) + " input subscripts separated by ','");
            }
            ++pos;
        }
    }
    bool explicit_output = false;
    if (pos < len && sub[pos] != ',') {  // "->" (a ',' ends the parse with an implicit output)
        explicit_output = true;
        for (pos += 2; pos < len; ++pos) {
            if (!einsum_blank(sub[pos])) plan.output += sub[pos];
        }
    }
    // Extents are checked by the caller; here the implicit output: labels
    // seen exactly once, ascending as signed bytes.
    if (!explicit_output) {
        std::map<signed char, int> count;
        for (const std::string &in : plan.inputs) {
            for (char c : in) ++count[static_cast<signed char>(c)];
        }
        for (const auto &[c, n] : count) {
            if (n == 1) plan.output += static_cast<char>(c);
        }
    }
    return plan;
}

inline std::string label_text(char c) { return std::string("'") + c + "'"; }

// Checks the subscript against the shapes; returns the output rank.
inline std::size_t einsum_check(const std::string &sub, const std::vector<Shape> &shapes) {
    const EinsumPlan plan = einsum_parse(sub, shapes.size());
    std::map<signed char, uint64_t> extent;
    for (std::size_t k = 0; k < shapes.size(); ++k) {
        const std::string &labels = plan.inputs[k];
        if (labels.size() != shapes[k].size()) {
            throw std::invalid_argument("vexa::einsum: input " + std::to_string(k) + " of shape " +
                                        shape_text(shapes[k]) + " has " + std::to_string(shapes[k].size()) +
                                        " axes but \"" + labels + "\" names " + std::to_string(labels.size()) +
                                        " in subscript \"" + sub + "\"");
        }
        for (std::size_t j = 0; j < labels.size(); ++j) {
            const auto [it, fresh] = extent.emplace(static_cast<signed char>(labels[j]), shapes[k][j]);
            if (!fresh && it->second != shapes[k][j]) {
                throw std::invalid_argument("vexa::einsum: label " + label_text(labels[j]) + " has extent " +
                                            std::to_string(it->second) + " and " + std::to_string(shapes[k][j]) +
                                            " (input " + std::to_string(k) + " of shape " + shape_text(shapes[k]) +
                                            ") in subscript \"" + sub + "\"");
            }
        }
    }
    for (char c : plan.output) {
        if (extent.find(static_cast<signed char>(c)) == extent.end()) {
            throw std::invalid_argument("vexa::einsum: output label " + label_text(c) +
                                        " is in no input in subscript \"" + sub + "\"");
        }
    }
    return plan.output.size();
}

}  // namespace hpp_detail

template <std::size_t OutDim, class Out = Expr, class... A>
    requires(sizeof...(A) >= 1) && (std::same_as<Out, Expr> || (std::same_as<Out, Int> && (std::same_as<A, Int> && ...)))
Array<Out> einsum(std::string_view subscript, const Array<A> &...arrays) {
    const std::string sub(subscript);
    const std::vector<Shape> shapes{arrays.shape()...};
    const std::size_t rank = hpp_detail::einsum_check(sub, shapes);
    if (rank != OutDim) {
        throw std::invalid_argument("vexa::einsum: subscript \"" + sub + "\" gives " + std::to_string(rank) +
                                    " output axes, but the call was einsum<" + std::to_string(OutDim) + ">");
    }
    const std::array<uint32_t, sizeof...(A)> tags{hpp_detail::family_t<A>::tag...};
    const std::array<const void *, sizeof...(A)> handles{static_cast<const void *>(arrays.handle())...};
    void *out = vexa_einsum(sub.c_str(), static_cast<int>(sizeof...(A)), tags.data(), handles.data(),
                            std::same_as<Out, Expr> ? 1u : 0u, OutDim);
    return Array<Out>::adopt(static_cast<typename hpp_detail::family_t<Out>::c_array *>(out));
}

// ---------------------------------------------------------------------------
// Reading solutions.
// ---------------------------------------------------------------------------

// The value (0 or 1) of each variable of x in s, in x's shape; a variable that
// the model does not hold reads as 0 (its negation as 1).
inline Array<Int> values(const Sol &s, const Array<Var> &x) {
    return Array<Int>::adopt(vexa_array_int_from_sol(s.handle(), x.handle()));
}

// For each line along `axis` (negative counts from the end): the position of
// its single 1 when every other entry is 0, else -1. The result has the shape
// without that axis, or (1) for a rank-1 input.
inline Array<Int> onehot_to_int(const Array<Int> &a, int64_t axis = -1) {
    const Shape s = a.shape();
    const std::size_t k = hpp_detail::normalize_axis(axis, s, "vexa::onehot_to_int");
    return Array<Int>::adopt(vexa_array_int_onehot_to_int(a.handle(), static_cast<int>(k)));
}

}  // namespace vexa

#endif
