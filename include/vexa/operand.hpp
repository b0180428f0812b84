// Vexa for C++: the kinds of operand that the arithmetic operators take.
#ifndef VEXA_OPERAND_HPP
#define VEXA_OPERAND_HPP

#include <concepts>
#include <type_traits>
#include <utility>

#include "vexa/int.hpp"
#include "vexa/var.hpp"

namespace vexa {

class Term;
class Expr;
class Constraint;

// ---------------------------------------------------------------------------
// Operand kinds, for the operators of operators.hpp.
// ---------------------------------------------------------------------------
namespace hpp_detail {

enum class Kind { none, integer, literal, term, expr };

template <class T>
constexpr Kind kind_of() {
    using U = std::remove_cvref_t<T>;
    if constexpr (builtin_integer<U> || std::same_as<U, Int>) {
        return Kind::integer;
#ifdef VEXA_HPP_HAS_CPP_INT
    } else if constexpr (std::same_as<U, boost::multiprecision::cpp_int>) {
        return Kind::integer;
#endif
    } else if constexpr (std::derived_from<U, VarBase>) {
        return Kind::literal;
    } else if constexpr (std::same_as<U, Term>) {
        return Kind::term;
    } else if constexpr (std::same_as<U, Expr> || std::same_as<U, Constraint>) {
        return Kind::expr;
    } else if constexpr (std::is_class_v<U> && std::derived_from<U, Expr>) {  // IntVar
        return Kind::expr;
    } else {
        return Kind::none;
    }
}

template <class T>
inline constexpr Kind kind_v = kind_of<T>();

template <class T>
concept operand = kind_v<T> != Kind::none;

// Two operands of which at least one is a variable, a term or an expression.
template <class L, class R>
concept algebra_pair = operand<L> && operand<R> && (kind_v<L> != Kind::integer || kind_v<R> != Kind::integer);

// The operand as the C calls take it. An expression of a derived class (an
// encoded IntVar) is read as a const Expr, so that no operator consumes it or
// changes it in place: its record stays with it. A Constraint is its penalty
// expression, a fresh value that may be consumed.
template <class T>
decltype(auto) operand_of(T &&x) {
    using U = std::remove_cvref_t<T>;
    if constexpr (std::same_as<U, Constraint>) {
        return x.penalty();
    } else if constexpr (kind_of<U>() == Kind::expr && !std::same_as<U, Expr>) {
        return static_cast<const Expr &>(x);
    } else {
        return std::forward<T>(x);
    }
}

// The value type of an operation on T alone (negation, division): Term for a
// term, Expr for every kind of expression.
template <class T>
using value_of = std::conditional_t<kind_of<T>() == Kind::term, Term, Expr>;

// An integer times a Constraint scales its weight (constraint.hpp), rather
// than multiplying its penalty expression.
template <class L, class R>
concept constraint_weight =
    (std::same_as<std::remove_cvref_t<L>, Constraint> && kind_v<R> == Kind::integer) ||
    (std::same_as<std::remove_cvref_t<R>, Constraint> && kind_v<L> == Kind::integer);

// An argument whose object may be taken over: a non-const rvalue.
template <class T>
inline constexpr bool movable = !std::is_lvalue_reference_v<T> && !std::is_const_v<std::remove_reference_t<T>>;

template <class T>
Int to_int(const T &v) {
    return Int(v);
}
inline const Int &to_int(const Int &v) { return v; }

}  // namespace hpp_detail

}  // namespace vexa

#endif
