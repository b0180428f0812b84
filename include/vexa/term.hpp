// Vexa for C++: Term, a coefficient times at most two literals, and TermList,
// many terms gathered for one bulk addition.
#ifndef VEXA_TERM_HPP
#define VEXA_TERM_HPP

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/handle.hpp"
#include "vexa/int.hpp"
#include "vexa/operand.hpp"
#include "vexa/term.h"
#include "vexa/var.hpp"

namespace vexa {

class Expr;

// ---------------------------------------------------------------------------
// Term: a coefficient times at most two literals.
// ---------------------------------------------------------------------------
class Term : private hpp_detail::Handle<TermImpl, vexa_term_destroy, vexa_term_clone> {
    using Base = hpp_detail::Handle<TermImpl, vexa_term_destroy, vexa_term_clone>;

public:
    explicit Term(const Int &c) : Base(make(c)) {}
    Term(const Int &c, const VarBase &v) : Base(make(c, v)) {}
    Term(const Int &c, const VarBase &a, const VarBase &b) : Base(make(c, a, b)) {}

    // Takes ownership of a handle from the C interface.
    static Term adopt(TermImpl *t) noexcept { return Term(t); }
    using Base::handle;
    using Base::release;

    Int coeff() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_term_coeff(h_, out); });
    }
    uint32_t degree() const { return vexa_term_degree(h_); }
    // Code of literal i < degree().
    uint32_t var_code(uint32_t i) const { return vexa_term_var_at(h_, i); }
    // The two slots packed as the C interface takes them (slot 0 low, empty all ones).
    uint64_t packed_vars() const {
        const uint32_t d = degree();
        const uint64_t s0 = d >= 1 ? vexa_term_var_at(h_, 0) : VEXA_EMPTY_VAR;
        const uint64_t s1 = d >= 2 ? vexa_term_var_at(h_, 1) : VEXA_EMPTY_VAR;
        return s0 | (s1 << 32);
    }
    std::string str() const { return vexa_term_str(h_); }
    friend std::ostream &operator<<(std::ostream &os, const Term &t) { return os << vexa_term_str(t.h_); }

    // In place: vexa_term_mul_coeff, vexa_term_mul_var, vexa_term_mul_term_move.
    template <class X>
        requires(hpp_detail::kind_v<X> == hpp_detail::Kind::integer)
    Term &operator*=(const X &k) {
        const Int &v = hpp_detail::to_int(k);
        const vexa_bigint r = v.record();
        vexa_term_mul_coeff(h_, &r);
        return *this;
    }
    Term &operator*=(const VarBase &v) {
        vexa_term_mul_var(h_, v.code());
        return *this;
    }
    Term &operator*=(const Term &o) {
        if (&o == this) {
            const Term copy(o);
            vexa_term_mul_term_move(h_, copy.h_);
        } else {
            vexa_term_mul_term_move(h_, o.h_);
        }
        return *this;
    }
    // Exact division of the coefficient (vexa_term_div_coeff); a remainder is fatal.
    template <class X>
        requires(hpp_detail::kind_v<X> == hpp_detail::Kind::integer)
    Term &operator/=(const X &d) {
        const Int &v = hpp_detail::to_int(d);
        const vexa_bigint r = v.record();
        vexa_term_div_coeff(h_, &r);
        return *this;
    }
    void negate() { vexa_term_negate(h_); }

private:
    explicit Term(TermImpl *h) noexcept : Base(h) {}
    static TermImpl *make(const Int &c) {
        const vexa_bigint r = c.record();
        return vexa_term_create(&r);
    }
    static TermImpl *make(const Int &c, const VarBase &v) {
        const vexa_bigint r = c.record();
        return vexa_term_create_var(&r, v.code());
    }
    static TermImpl *make(const Int &c, const VarBase &a, const VarBase &b) {
        const vexa_bigint r = c.record();
        return vexa_term_create_var_var(&r, a.code(), b.code());
    }
};

// ---------------------------------------------------------------------------
// TermList: many terms gathered for one bulk addition
// (vexa_expr_iadd_terms_bulk / vexa_expr_create_from_bulk), which builds the
// terms in parallel into a single allocation.
// ---------------------------------------------------------------------------
class TermList {
public:
    void reserve(std::size_t n) {
        coeffs_.reserve(n);
        counts_.reserve(n);
        vars_.reserve(2 * n);
    }
    TermList &add(const Int &c) {
        coeffs_.push_back(c);
        counts_.push_back(0);
        return *this;
    }
    TermList &add(const Int &c, const VarBase &v) {
        coeffs_.push_back(c);
        counts_.push_back(1);
        vars_.push_back(v.code());
        return *this;
    }
    TermList &add(const Int &c, const VarBase &a, const VarBase &b) {
        coeffs_.push_back(c);
        counts_.push_back(2);
        vars_.push_back(a.code());
        vars_.push_back(b.code());
        return *this;
    }
    std::size_t size() const noexcept { return coeffs_.size(); }
    bool empty() const noexcept { return coeffs_.empty(); }
    void clear() noexcept {
        coeffs_.clear();
        counts_.clear();
        vars_.clear();
    }

private:
    friend class Expr;
    std::vector<vexa_bigint> records() const {
        std::vector<vexa_bigint> r;
        r.reserve(coeffs_.size());
        for (const Int &c : coeffs_) r.push_back(c.record());
        return r;
    }

    std::vector<Int> coeffs_;
    std::vector<uint32_t> counts_;
    std::vector<uint32_t> vars_;
};

}  // namespace vexa

#endif
