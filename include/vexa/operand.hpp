// Vexa for C++: the kinds of operand that the arithmetic operators take.
#ifndef VEXA_OPERAND_HPP
#define VEXA_OPERAND_HPP

#include <concepts>
#include <type_traits>

#include "vexa/int.hpp"
#include "vexa/var.hpp"

namespace vexa {

class Term;
class Expr;

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
    } else if constexpr (std::same_as<U, Expr>) {
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
