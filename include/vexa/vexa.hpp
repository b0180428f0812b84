// Vexa for C++: value classes with operators over the C interface of vexa.h.
//
// Everything here is inline and calls only exported vexa_* functions.
//
//   vexa::Var x("x"), y("y");
//   vexa::Expr e = vexa::sqr(x + y - 1);               // (x + y - 1)^2, unexpanded terms
//   vexa::Model m(vexa::simplify_as_binary(e));         // 1 - x - y + 2*x*y
//   vexa::Result r = vexa::NimbaSolver(m).search({.time_limit = 1.0});
//   std::cout << r.energy() << " x=" << r(x) << " y=" << r(y) << "\n";
//
// Value semantics. Int, Term, Expr and Sol own their library object: a copy is
// a deep copy (vexa_*_clone), a move hands the object over and leaves the
// source empty (usable only for assignment or destruction). Model is immutable,
// so copies share it. Var, NativeIntVar, Vars and NativeIntVars are codes of
// variables the library's registry owns until vexa_var_reset(). IntVar, an
// integer encoded in binary bits, is an Expr that remembers its range.
//
// Constraints (constraint.hpp). `f == c`, `f <= c`, `f >= c`, between(lo, f, hi)
// and in(f, {1, {3, 5}}) give a Constraint. Used as an Expr it is a classic
// penalty polynomial; cons(constraint) declares it, so that a model hands it to
// the solver as a native constraint. report(expr, sol) lists every constraint
// with its value, bounds and distance.
//
// Operators. Each operator stands for a fixed sequence of C calls, written next
// to its case below. Operands that are temporaries are reused in place (the
// i<op>, _move, _mm and _ml forms), so that a chain such as `a + b + c` on
// temporaries copies no expression. Results are never simplified: call
// simplify_as_binary() (or simplify(), simplify_as_spin()) for a canonical form.
//
// Failures. Misuse that the library detects ends the process with a message
// ("vexa: ..."), as the C interface does. This header turns the checks it can
// make cheaply into exceptions instead: reading a variable that a solution does
// not hold (std::out_of_range), reading a stale energy (std::logic_error), bad
// decimal text (std::invalid_argument). A product above degree 2 throws
// std::runtime_error from the library.
//
// Names. The C interface declares the handle types ::Model and ::Sol; with
// `using namespace vexa;` write `using vexa::Model; using vexa::Sol;` as well,
// or spell vexa::Model and vexa::Sol.
//
// Define VEXA_NO_CPP_INT to leave out the conversions between Int and
// boost::multiprecision::cpp_int (they are present when Boost is found).
//
// This header includes one header per concept: int.hpp, var.hpp, term.hpp,
// expr.hpp, operators.hpp, encoded_int.hpp, constraint.hpp, model.hpp, sol.hpp,
// result.hpp, solver.hpp, array.hpp (N-dimensional arrays, einsum), ilp.hpp
// (the linear view and its LP and MPS files), and handle.hpp, the owner of a C
// handle that the value classes build on.
#ifndef VEXA_HPP
#define VEXA_HPP

#include "vexa/vexa.h"

#include "vexa/handle.hpp"
#include "vexa/int.hpp"
#include "vexa/var.hpp"
#include "vexa/operand.hpp"
#include "vexa/term.hpp"
#include "vexa/expr.hpp"
#include "vexa/operators.hpp"
#include "vexa/encoded_int.hpp"
#include "vexa/constraint.hpp"
#include "vexa/model.hpp"
#include "vexa/sol.hpp"
#include "vexa/result.hpp"
#include "vexa/solver.hpp"
#include "vexa/array.hpp"
#include "vexa/ilp.hpp"

#endif
