// Vexa for C++: IntVar, an integer encoded in binary variables.
#ifndef VEXA_ENCODED_INT_HPP
#define VEXA_ENCODED_INT_HPP

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vexa/common.h"
#include "vexa/constraint.h"
#include "vexa/expr.hpp"
#include "vexa/int.hpp"
#include "vexa/operand.hpp"
#include "vexa/var.hpp"

namespace vexa {

// ---------------------------------------------------------------------------
// IntVar: an integer in [lo, hi] made of fresh binary variables, the
// expression lo + c0*b0 + c1*b1 + ... (vexa_varintelem_create). The
// coefficients are powers of two with the remainder last, so every value of
// the range is reachable and no other. Any solver of binary models can
// therefore solve for it.
//
// An IntVar is an Expr and stands wherever one does; the operators read it
// and never change it, so it keeps the record of its range and bits. Its
// value in a solution is sol(n). The compound assignments are deleted: write
// `Expr e = n; e += 1;` for an expression that starts from n.
// ---------------------------------------------------------------------------
class IntVar : public Expr {
public:
    // Bits read "name" (one bit) or "name[0]", "name[1]", ...; lo == hi gives
    // a constant without bits. Throws std::invalid_argument when lo > hi.
    IntVar(std::string_view name, const Int &lo, const Int &hi) : Expr(make(name, lo, hi)) {}

    Int lower() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_varintelem_min(handle(), out); });
    }
    Int upper() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_varintelem_max(handle(), out); });
    }
    uint64_t bit_count() const { return vexa_varintelem_var_count(handle()); }
    // The bits, in the order of their coefficients.
    std::vector<Var> bits() const {
        std::vector<Var> out;
        const uint64_t n = bit_count();
        out.reserve(n);
        for (uint64_t i = 0; i < n; ++i) out.push_back(Var::from_code(vexa_varintelem_var(handle(), i)));
        return out;
    }
    std::vector<Int> coeffs() const {
        std::vector<Int> out;
        const uint64_t n = bit_count();
        out.reserve(n);
        for (uint64_t i = 0; i < n; ++i) {
            out.push_back(hpp_detail::read_int([&](vexa_bigint *r) { vexa_varintelem_coeff(handle(), i, r); }));
        }
        return out;
    }

    template <class X>
    IntVar &operator+=(X &&) = delete;
    template <class X>
    IntVar &operator-=(X &&) = delete;
    template <class X>
    IntVar &operator*=(X &&) = delete;
    template <class X>
    IntVar &operator/=(const X &) = delete;
    void negate() = delete;

private:
    static Expr make(std::string_view name, const Int &lo, const Int &hi) {
        if (lo > hi) {
            throw std::invalid_argument("vexa::IntVar: lower bound " + lo.str() + " is above upper bound " + hi.str());
        }
        const vexa_bigint l = lo.record(), h = hi.record();
        return Expr::adopt(vexa_varintelem_create(std::string(name).c_str(), &l, &h));
    }
};

}  // namespace vexa

#endif
