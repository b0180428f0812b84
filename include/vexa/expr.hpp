// Vexa for C++: Expr, an exact constant plus a list of terms, with its compound
// assignments. The binary operators are in operators.hpp.
#ifndef VEXA_EXPR_HPP
#define VEXA_EXPR_HPP

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/constraint.h"
#include "vexa/expr.h"
#include "vexa/handle.hpp"
#include "vexa/int.hpp"
#include "vexa/operand.hpp"
#include "vexa/term.hpp"
#include "vexa/var.hpp"

namespace vexa {

// ---------------------------------------------------------------------------
// Expr: an exact constant plus a list of terms.
// ---------------------------------------------------------------------------
class Expr : private hpp_detail::Handle<ExprImpl, vexa_expr_destroy, vexa_expr_clone> {
    using Base = hpp_detail::Handle<ExprImpl, vexa_expr_destroy, vexa_expr_clone>;

public:
    Expr() : Base(vexa_expr_create()) {}
    Expr(const Int &c) : Base(make(c)) {}  // NOLINT: implicit, an integer is an expression
    template <hpp_detail::builtin_integer T>
    Expr(T c) : Base(make(Int(c))) {}  // NOLINT
    Expr(const VarBase &v) : Base(vexa_expr_create_var(v.code())) {}  // NOLINT
    Expr(const Term &t) : Base(vexa_expr_create_term(t.handle(), 0)) {}  // NOLINT
    Expr(Term &&t) : Base(vexa_expr_create_term(t.release(), 1)) {}  // NOLINT

    static Expr adopt(ExprImpl *e) noexcept { return Expr(e, 0); }
    using Base::handle;
    using Base::release;

    // A fresh expression from a bulk list (vexa_expr_create_from_bulk).
    static Expr from_terms(const TermList &terms, const Int &constant = 0) {
        const std::vector<vexa_bigint> recs = terms.records();
        const vexa_bigint c = constant.record();
        return adopt(vexa_expr_create_from_bulk(&c, recs.size(), recs.data(), terms.counts_.data(),
                                                terms.vars_.data()));
    }

    Int constant() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_constant(h_, out); });
    }
    uint64_t term_count() const { return vexa_expr_term_count(h_); }
    uint64_t term_count(uint32_t degree) const { return vexa_expr_term_count_degree(h_, degree); }
    uint32_t max_degree() const { return vexa_expr_max_degree(h_); }
    // A copy of term i < term_count().
    Term term(uint64_t i) const { return Term::adopt(vexa_term_clone(vexa_expr_term_at(h_, i))); }
    bool has(const VarBase &v) const { return vexa_expr_has(h_, v.code()) != 0; }
    bool has_int_atom() const { return vexa_expr_has_int_atom(h_) != 0; }
    bool is_declared() const { return vexa_expr_is_declared(h_) != 0; }
    Int gcd() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_gcd(h_, out); });
    }
    // Bounds of the value over the binary reading (interval arithmetic).
    Int lower_bound() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_neg_sum(h_, out); });
    }
    Int upper_bound() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_pos_sum(h_, out); });
    }
    std::string str() const { return vexa_expr_str(h_); }
    friend std::ostream &operator<<(std::ostream &os, const Expr &e) { return os << vexa_expr_str(e.h_); }

    // Compound assignment, in place:
    //   += integer, variable, term, expression: vexa_expr_iadd_int, _var, _term
    //      (_term_move for a temporary term), _expr
    //   -= the same with isub
    //   *= integer, variable, expression: vexa_expr_imul_int, _var, _expr;
    //      *= term: vexa_expr_imul_expr with the term's expression
    //   /= integer: vexa_expr_idiv_int (exact; a remainder is fatal)
    template <class X>
        requires hpp_detail::operand<X>
    Expr &operator+=(X &&x);
    template <class X>
        requires hpp_detail::operand<X>
    Expr &operator-=(X &&x);
    template <class X>
        requires hpp_detail::operand<X>
    Expr &operator*=(X &&x);
    template <class X>
        requires(hpp_detail::kind_v<X> == hpp_detail::Kind::integer)
    Expr &operator/=(const X &d) {
        const Int &v = hpp_detail::to_int(d);
        const vexa_bigint r = v.record();
        vexa_expr_idiv_int(h_, &r);
        return *this;
    }
    // Bulk addition of many terms (vexa_expr_iadd_terms_bulk).
    Expr &operator+=(const TermList &terms) {
        const std::vector<vexa_bigint> recs = terms.records();
        const vexa_bigint zero{0, 0, nullptr};
        vexa_expr_iadd_terms_bulk(h_, &zero, recs.size(), recs.data(), terms.counts_.data(), terms.vars_.data());
        return *this;
    }
    void negate() { vexa_expr_negate(h_); }

private:
    Expr(ExprImpl *h, int) noexcept : Base(h) {}
    static ExprImpl *make(const Int &c) {
        const vexa_bigint r = c.record();
        return vexa_expr_create_int(&r);
    }
};


// ---------------------------------------------------------------------------
// The C calls behind the compound assignments of Expr. A temporary operand
// (non-const rvalue) is consumed where a C form allows it.
// ---------------------------------------------------------------------------
namespace hpp_detail {

// One coefficient record for the duration of a call.
struct Rec {
    template <class T>
    explicit Rec(const T &v) : value(to_int(v)), rec(value.record()) {}
    Rec(const Rec &) = delete;  // rec points into value
    Rec &operator=(const Rec &) = delete;
    Int value;
    vexa_bigint rec;
    const vexa_bigint *get() const { return &rec; }
};

// An expression holding one operand: vexa_expr_create_var, or
// vexa_expr_create_term (stealing a temporary term).
template <class X>
Expr expr_of(X &&x) {
    if constexpr (kind_v<X> == Kind::literal) {
        return Expr::adopt(vexa_expr_create_var(x.code()));
    } else if constexpr (movable<X>) {
        return Expr::adopt(vexa_expr_create_term(x.release(), 1));
    } else {
        return Expr::adopt(vexa_expr_create_term(x.handle(), 0));
    }
}

template <class X>
void iadd(Expr &e, X &&x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        vexa_expr_iadd_int(e.handle(), r.get());
    } else if constexpr (k == Kind::literal) {
        vexa_expr_iadd_var(e.handle(), x.code());
    } else if constexpr (k == Kind::term) {
        if constexpr (movable<X>) {
            vexa_expr_iadd_term_move(e.handle(), x.release());
        } else {
            vexa_expr_iadd_term(e.handle(), x.handle());
        }
    } else {
        vexa_expr_iadd_expr(e.handle(), x.handle());
    }
}

template <class X>
void isub(Expr &e, X &&x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        vexa_expr_isub_int(e.handle(), r.get());
    } else if constexpr (k == Kind::literal) {
        vexa_expr_isub_var(e.handle(), x.code());
    } else if constexpr (k == Kind::term) {
        vexa_expr_isub_term(e.handle(), x.handle());
    } else {
        vexa_expr_isub_expr(e.handle(), x.handle());
    }
}

template <class X>
void imul(Expr &e, X &&x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        vexa_expr_imul_int(e.handle(), r.get());
    } else if constexpr (k == Kind::literal) {
        vexa_expr_imul_var(e.handle(), x.code());
    } else if constexpr (k == Kind::term) {  // imul_expr with the term's expression, as e * t does
        const Expr et = expr_of(std::forward<X>(x));
        vexa_expr_imul_expr(e.handle(), et.handle());
    } else {
        vexa_expr_imul_expr(e.handle(), x.handle());
    }
}

}  // namespace hpp_detail

template <class X>
    requires hpp_detail::operand<X>
Expr &Expr::operator+=(X &&x) {
    hpp_detail::iadd(*this, hpp_detail::operand_of(std::forward<X>(x)));
    return *this;
}
template <class X>
    requires hpp_detail::operand<X>
Expr &Expr::operator-=(X &&x) {
    hpp_detail::isub(*this, hpp_detail::operand_of(std::forward<X>(x)));
    return *this;
}
template <class X>
    requires hpp_detail::operand<X>
Expr &Expr::operator*=(X &&x) {
    hpp_detail::imul(*this, hpp_detail::operand_of(std::forward<X>(x)));
    return *this;
}

}  // namespace vexa

#endif
