// ExprImpl: the handle type of an expression, a constant plus a bag of terms.
#pragma once

#include <cstdint>

#include "core/coeff.hpp"
#include "expr/term.hpp"
#include "expr/term_buffer.hpp"
#include "vexa/common.h"

namespace vexa {
inline constexpr uint32_t kPlainAttr = 0xFFFFFFFFu;
}

// An integer constant plus terms, in the order they were added. Nothing is
// merged on addition: the same monomial may appear many times, with zero
// coefficients or as constant terms, until a simplifier runs.
//
// Head rule: `head` is the first term, held inline so that a one-term
// expression costs no second allocation. A head whose coefficient is 0 counts
// as no head, whatever its literals; the tail has no such rule. Term i is
// head then tail when the head is nonzero, else tail alone.
//
// The tail is a malloc'd block: slots [0, size) hold constructed terms,
// slots [size, capacity) are raw memory.
//
// `attr` tags the value with a side record (an encoded integer or a
// constraint); all ones means plain.
struct ExprImpl {
    vexa::coeff_t constant;
    TermImpl head;
    uint64_t capacity = 0;
    uint64_t size = 0;
    TermImpl *data = nullptr;
    uint32_t attr = vexa::kPlainAttr;

    ExprImpl() = default;
    explicit ExprImpl(vexa::coeff_t c) : constant(std::move(c)) {}
    // Deep copy with the attr word; the copy's tail is exactly `size` long.
    // A constraint-sum word is marked shared.
    ExprImpl(const ExprImpl &other);
    ExprImpl(ExprImpl &&other) noexcept;
    ExprImpl &operator=(const ExprImpl &other);
    ExprImpl &operator=(ExprImpl &&other) noexcept;
    ~ExprImpl();

    bool has_head() const { return !head.coeff.is_zero(); }
    uint64_t term_count() const { return size + (has_head() ? 1 : 0); }
    const TermImpl &term(uint64_t i) const {
        if (!has_head()) return data[i];
        return i == 0 ? head : data[i - 1];
    }
    TermImpl &term(uint64_t i) {
        if (!has_head()) return data[i];
        return i == 0 ? head : data[i - 1];
    }
    // Value is exactly zero as stored: constant 0, no head, empty tail.
    bool is_empty_zero() const { return constant.is_zero() && !has_head() && size == 0; }

    // Adds a term by the head rule: into an empty head, else behind the tail
    // (doubling the block, 4 slots at first).
    void add_term(TermImpl &&t);
    void add_term(const TermImpl &t);
    // Appends to the tail without looking at the head.
    void push_tail(TermImpl &&t);
    // Regrows the tail block to exactly `new_capacity` slots (never shrinks).
    void reserve_tail(uint64_t new_capacity);
    // Room for `extra` more tail terms: at least exact, at least double the
    // old block, so that repeated appends stay linear.
    void reserve_more(uint64_t extra);
    // Makes the tail exactly `count` default-constructed terms, for results
    // whose terms are written by position (position 0 is the head).
    void init_positions(uint64_t total);
    TermImpl &position(uint64_t p) { return p == 0 ? head : data[p - 1]; }
    // Takes over a buffer's block as the tail (the old tail is released).
    void adopt_tail(vexa::TermBuffer &&buffer);

    // Copy of the value alone, with a plain attr word and no table access.
    static ExprImpl plain_copy(const ExprImpl &other);

    // Adds constant and terms of `other` (head by the head rule, then the
    // tail in order); the attr word is not touched.
    void append_terms(const ExprImpl &other);
    void append_terms(ExprImpl &&other);

    // Arithmetic on the value; attr words are the callers' business.
    void negate();
    void imul_int(const vexa::coeff_t &k);
    void idiv_int(const vexa::coeff_t &d);
    ExprImpl mul(const ExprImpl &b) const;
    ExprImpl mul_term(const TermImpl &t) const;
    ExprImpl mul_var(uint32_t v) const;
    ExprImpl sqr() const;

    uint32_t max_degree() const;
    bool has_int_atom() const;

private:
    void release_tail();
};

namespace vexa {
// coeff * code + constant as an expression.
ExprImpl literal_expr(const coeff_t &coeff, uint32_t code, const coeff_t &constant = 0);

// A term given by its parts; literals are appended one by one.
TermImpl make_term(coeff_t coeff, const uint32_t *vars, uint32_t nvars);
}  // namespace vexa

namespace vexa {
// Appends n terms given as parallel arrays (coefficient records, literal
// counts, all literals back to back) to the tail, never to the head, and adds
// `constant`. Terms are built in parallel from 10,000 terms on. Below that, a
// term with too many literals throws and the expression keeps its old size.
void add_bulk(ExprImpl &e, const coeff_t &constant, uint64_t n, const vexa_bigint *coeffs,
              const uint32_t *counts, const uint32_t *vars);
}  // namespace vexa
