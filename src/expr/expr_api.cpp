// Exported functions that build, change and read expressions. What each one
// does to the attr word is named in the table of expr/attr_rules.hpp.
#include <cstdlib>
#include <memory>

#include <boost/multiprecision/cpp_int.hpp>

#include "core/bigint.hpp"
#include "core/literal.hpp"
#include "expr/attr_rules.hpp"
#include "expr/expr.hpp"
#include "vexa/expr.h"

using namespace vexa;

namespace {

std::unique_ptr<ExprImpl> fresh() { return std::make_unique<ExprImpl>(); }

TermImpl var_term(int64_t sign, uint32_t v) {
    TermImpl t{coeff_t(sign), {}};
    t.vars.append(v);
    return t;
}

TermImpl negated(const TermImpl &t) { return TermImpl{-t.coeff, t.vars}; }

// e -= o on the value: every term negated and added by the head rule.
void sub_expr_value(ExprImpl &e, const ExprImpl &o) {
    e.constant -= o.constant;
    if (o.has_head()) e.add_term(negated(o.head));
    for (uint64_t i = 0; i < o.size; ++i) e.add_term(negated(o.data[i]));
}

void iadd_expr_impl(ExprImpl &e, const ExprImpl &o) {
    e.attr = attr_after<ExprOp::iadd_expr>({e, &o});
    e.append_terms(o);
}

void isub_expr_impl(ExprImpl &e, const ExprImpl &o) {
    e.attr = attr_after<ExprOp::isub_expr>({e, &o});
    sub_expr_value(e, o);
}

TermImpl moved_term(const vexa_bigint *coeff, uint64_t packed_vars, void *spare) {
    std::free(spare);
    return TermImpl{coeff_from_record(coeff), VarArray::unpack(packed_vars)};
}

// Adds t in place, with the word `op` gives for it.
template <ExprOp op>
void add_term_by(ExprImpl &e, TermImpl &&t) {
    e.attr = attr_after<op>({e, nullptr, &t});
    e.add_term(std::move(t));
}

// A copy of e with t added, with the word `op` gives for it.
template <ExprOp op>
ExprImpl *clone_add_term_by(const ExprImpl &e, TermImpl &&t) {
    auto r = std::make_unique<ExprImpl>(e);
    r->attr = attr_after<op>({e, nullptr, &t});
    r->add_term(std::move(t));
    return r.release();
}

}  // namespace

extern "C" {

// ---- creation ----

ExprImpl *vexa_expr_create(void) { return new ExprImpl(); }

ExprImpl *vexa_expr_create_int(const vexa_bigint *constant) {
    return new ExprImpl(coeff_from_record(constant));
}

ExprImpl *vexa_expr_create_var(uint32_t var) {
    auto e = fresh();
    e->head = var_term(1, var);
    return e.release();
}

ExprImpl *vexa_expr_create_term(TermImpl *t, int steal) {
    auto e = fresh();
    if (steal != 0) {
        e->head.coeff = std::move(t->coeff);
        e->head.vars = t->vars;
        delete t;
    } else {
        e->head = *t;
    }
    return e.release();
}

ExprImpl *vexa_expr_create_raw_term(const vexa_bigint *coeff, const uint32_t *vars, uint32_t nvars,
                                    const vexa_bigint *constant) {
    auto e = std::make_unique<ExprImpl>(coeff_from_record(constant));
    e->add_term(make_term(coeff_from_record(coeff), vars, nvars));
    return e.release();
}

ExprImpl *vexa_expr_create_move_term(const vexa_bigint *coeff, uint64_t packed_vars, void *spare,
                                     const vexa_bigint *constant) {
    auto e = std::make_unique<ExprImpl>(coeff_from_record(constant));
    e->add_term(moved_term(coeff, packed_vars, spare));
    return e.release();
}

ExprImpl *vexa_expr_create_add_term_term(const TermImpl *a, const TermImpl *b) {
    auto e = fresh();
    e->add_term(*a);
    e->add_term(*b);
    return e.release();
}

ExprImpl *vexa_expr_create_add_term_term_mm(TermImpl *a, TermImpl *b) {
    auto e = fresh();
    e->add_term(std::move(*a));
    e->add_term(std::move(*b));
    delete a;
    delete b;
    return e.release();
}

ExprImpl *vexa_expr_create_add_term_term_ml(TermImpl *a, const TermImpl *b) {
    auto e = fresh();
    e->add_term(std::move(*a));
    e->add_term(*b);
    delete a;
    return e.release();
}

ExprImpl *vexa_expr_create_sub_term_term(const TermImpl *a, const TermImpl *b) {
    auto e = fresh();
    e->add_term(*a);
    e->add_term(negated(*b));
    return e.release();
}

ExprImpl *vexa_expr_create_add_var_var(uint32_t a, uint32_t b) {
    auto e = fresh();
    e->add_term(var_term(1, a));
    e->add_term(var_term(1, b));
    return e.release();
}

ExprImpl *vexa_expr_create_add_term_var(const TermImpl *t, uint32_t v) {
    auto e = fresh();
    e->add_term(*t);
    e->add_term(var_term(1, v));
    return e.release();
}

ExprImpl *vexa_expr_create_add_var_int(uint32_t v, const vexa_bigint *c) {
    auto e = fresh();
    e->add_term(var_term(1, v));
    e->constant = coeff_from_record(c);
    return e.release();
}

ExprImpl *vexa_expr_create_sub_int_var(const vexa_bigint *c, uint32_t v) {
    auto e = fresh();
    e->add_term(var_term(-1, v));
    e->constant = coeff_from_record(c);
    return e.release();
}

ExprImpl *vexa_expr_create_add_term_int(const TermImpl *t, const vexa_bigint *c) {
    auto e = fresh();
    e->add_term(*t);
    e->constant = coeff_from_record(c);
    return e.release();
}

ExprImpl *vexa_expr_create_sub_int_term(const vexa_bigint *c, const TermImpl *t) {
    auto e = fresh();
    e->add_term(negated(*t));
    e->constant = coeff_from_record(c);
    return e.release();
}

ExprImpl *vexa_expr_create_add_raw_terms(const vexa_bigint *c0, const uint32_t *vars0, uint32_t nvars0,
                                         const vexa_bigint *c1, const uint32_t *vars1, uint32_t nvars1) {
    auto e = fresh();
    e->add_term(make_term(coeff_from_record(c0), vars0, nvars0));
    e->add_term(make_term(coeff_from_record(c1), vars1, nvars1));
    return e.release();
}

ExprImpl *vexa_expr_create_from_bulk(const vexa_bigint *constant, uint64_t n, const vexa_bigint *coeffs,
                                     const uint32_t *counts, const uint32_t *vars) {
    auto e = fresh();
    add_bulk(*e, coeff_from_record(constant), n, coeffs, counts, vars);
    return e.release();
}

// ---- copies ----

ExprImpl *vexa_expr_clone(const ExprImpl *e) { return new ExprImpl(*e); }

ExprImpl *vexa_expr_clone_add_int(const ExprImpl *e, const vexa_bigint *c) {
    auto r = std::make_unique<ExprImpl>(*e);
    const coeff_t value = coeff_from_record(c);
    r->attr = attr_after<ExprOp::clone_add_int>({*e, nullptr, nullptr, &value});
    r->constant += value;
    return r.release();
}

ExprImpl *vexa_expr_clone_sub_int(const ExprImpl *e, const vexa_bigint *c) {
    auto r = std::make_unique<ExprImpl>(*e);
    r->attr = attr_after<ExprOp::clone_sub_int>({*e});
    r->constant -= coeff_from_record(c);
    return r.release();
}

ExprImpl *vexa_expr_clone_add_var(const ExprImpl *e, uint32_t v) {
    return clone_add_term_by<ExprOp::clone_add_var>(*e, var_term(1, v));
}

ExprImpl *vexa_expr_clone_sub_var(const ExprImpl *e, uint32_t v) {
    return clone_add_term_by<ExprOp::clone_sub_var>(*e, var_term(-1, v));
}

ExprImpl *vexa_expr_clone_add_term(const ExprImpl *e, const TermImpl *t) {
    return clone_add_term_by<ExprOp::clone_add_term>(*e, TermImpl(*t));
}

ExprImpl *vexa_expr_clone_sub_term(const ExprImpl *e, const TermImpl *t) {
    return clone_add_term_by<ExprOp::clone_sub_term>(*e, negated(*t));
}

ExprImpl *vexa_expr_clone_add_expr(const ExprImpl *a, const ExprImpl *b) {
    auto r = std::make_unique<ExprImpl>(*a);
    r->attr = attr_after<ExprOp::clone_add_expr>({*a, b});
    r->append_terms(*b);
    return r.release();
}

ExprImpl *vexa_expr_clone_sub_expr(const ExprImpl *a, const ExprImpl *b) {
    auto r = std::make_unique<ExprImpl>(*a);
    r->attr = attr_after<ExprOp::clone_sub_expr>({*a, b});
    sub_expr_value(*r, *b);
    return r.release();
}

ExprImpl *vexa_expr_clone_mul_int(const ExprImpl *e, const vexa_bigint *k) {
    const coeff_t factor = coeff_from_record(k);
    const uint32_t word = attr_after<ExprOp::clone_mul_int>({*e, nullptr, nullptr, &factor});
    auto r = std::make_unique<ExprImpl>(*e);
    r->attr = word;
    r->imul_int(factor);
    return r.release();
}

// ---- in place ----

void vexa_expr_iadd_int(ExprImpl *e, const vexa_bigint *c) {
    e->attr = attr_after<ExprOp::iadd_int>({*e});
    e->constant += coeff_from_record(c);
}

void vexa_expr_isub_int(ExprImpl *e, const vexa_bigint *c) {
    e->attr = attr_after<ExprOp::isub_int>({*e});
    e->constant -= coeff_from_record(c);
}

void vexa_expr_iadd_var(ExprImpl *e, uint32_t v) { add_term_by<ExprOp::iadd_var>(*e, var_term(1, v)); }

void vexa_expr_isub_var(ExprImpl *e, uint32_t v) { add_term_by<ExprOp::isub_var>(*e, var_term(-1, v)); }

void vexa_expr_iadd_term(ExprImpl *e, const TermImpl *t) { add_term_by<ExprOp::iadd_term>(*e, TermImpl(*t)); }

void vexa_expr_isub_term(ExprImpl *e, const TermImpl *t) { add_term_by<ExprOp::isub_term>(*e, negated(*t)); }

void vexa_expr_iadd_term_move(ExprImpl *e, TermImpl *t) {
    add_term_by<ExprOp::iadd_term_move>(*e, std::move(*t));
    delete t;
}

void vexa_expr_iadd_raw_term(ExprImpl *e, const vexa_bigint *coeff, const uint32_t *vars, uint32_t nvars) {
    add_term_by<ExprOp::iadd_raw_term>(*e, make_term(coeff_from_record(coeff), vars, nvars));
}

void vexa_expr_isub_raw_term(ExprImpl *e, const vexa_bigint *coeff, const uint32_t *vars, uint32_t nvars) {
    add_term_by<ExprOp::isub_raw_term>(*e, make_term(-coeff_from_record(coeff), vars, nvars));
}

void vexa_expr_iadd_move_term(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars, void *spare) {
    add_term_by<ExprOp::iadd_move_term>(*e, moved_term(coeff, packed_vars, spare));
}

void vexa_expr_isub_move_term(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars, void *spare) {
    TermImpl t = moved_term(coeff, packed_vars, spare);
    t.coeff = -t.coeff;
    add_term_by<ExprOp::isub_move_term>(*e, std::move(t));
}

void vexa_expr_iadd_terms_bulk(ExprImpl *e, const vexa_bigint *constant, uint64_t n, const vexa_bigint *coeffs,
                               const uint32_t *counts, const uint32_t *vars) {
    e->attr = attr_after<ExprOp::iadd_terms_bulk>({*e});
    add_bulk(*e, coeff_from_record(constant), n, coeffs, counts, vars);
}

void vexa_expr_iadd_expr(ExprImpl *e, const ExprImpl *o) {
    if (e == o) {
        const ExprImpl copy(*o);
        iadd_expr_impl(*e, copy);
    } else {
        iadd_expr_impl(*e, *o);
    }
}

void vexa_expr_isub_expr(ExprImpl *e, const ExprImpl *o) {
    if (e == o) {
        const ExprImpl copy(*o);
        isub_expr_impl(*e, copy);
    } else {
        isub_expr_impl(*e, *o);
    }
}

void vexa_expr_imul_int(ExprImpl *e, const vexa_bigint *k) {
    const coeff_t factor = coeff_from_record(k);
    e->attr = attr_after<ExprOp::imul_int>({*e, nullptr, nullptr, &factor});
    e->imul_int(factor);
}

void vexa_expr_idiv_int(ExprImpl *e, const vexa_bigint *d) {
    const uint32_t word = attr_after<ExprOp::idiv_int>({*e});
    const coeff_t divisor = coeff_from_record(d);
    e->attr = word;
    e->idiv_int(divisor);
}

// The products below are new values: they take the word the rule gives
// (plain, once a declared operand has been refused).
void vexa_expr_imul_var(ExprImpl *e, uint32_t v) {
    const uint32_t word = attr_after<ExprOp::imul_var>({*e});
    ExprImpl product = e->mul_var(v);
    product.attr = word;
    *e = std::move(product);
}

void vexa_expr_imul_term_direct(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars) {
    const uint32_t word = attr_after<ExprOp::imul_term_direct>({*e});
    const TermImpl t{coeff_from_record(coeff), VarArray::unpack(packed_vars)};
    ExprImpl product = e->mul_term(t);
    product.attr = word;
    *e = std::move(product);
}

void vexa_expr_imul_expr(ExprImpl *e, const ExprImpl *o) {
    const uint32_t word = attr_after<ExprOp::imul_expr>({*e, o});
    ExprImpl product = e->mul(*o);
    product.attr = word;
    *e = std::move(product);
}

void vexa_expr_negate(ExprImpl *e) {
    e->attr = attr_after<ExprOp::negate>({*e});
    e->negate();
}

// ---- products ----

ExprImpl *vexa_expr_mul_expr(const ExprImpl *a, const ExprImpl *b) {
    const uint32_t word = attr_after<ExprOp::mul_expr>({*a, b});
    auto r = std::make_unique<ExprImpl>(a->mul(*b));
    r->attr = word;
    return r.release();
}

ExprImpl *vexa_expr_sqr(const ExprImpl *e) {
    const uint32_t word = attr_after<ExprOp::sqr>({*e});
    auto r = std::make_unique<ExprImpl>(e->sqr());
    r->attr = word;
    return r.release();
}

// ---- reading ----

void vexa_expr_gcd(const ExprImpl *e, vexa_bigint *out) {
    coeff_t g = abs(e->constant);
    auto fold = [&](const coeff_t &c) {
        if (!c.is_zero()) g = boost::multiprecision::gcd(g, coeff_t(abs(c)));
    };
    if (e->has_head()) fold(e->head.coeff);
    for (uint64_t i = 0; i < e->size; ++i) fold(e->data[i].coeff);
    coeff_to_record(g, out);
}

void vexa_expr_constant(const ExprImpl *e, vexa_bigint *out) { coeff_to_record(e->constant, out); }

uint32_t vexa_expr_attr(const ExprImpl *e) { return e->attr; }

uint64_t vexa_expr_term_count(const ExprImpl *e) { return e->term_count(); }

uint64_t vexa_expr_term_count_degree(const ExprImpl *e, uint32_t degree) {
    uint64_t count = (e->has_head() && e->head.vars.degree() == degree) ? 1 : 0;
    for (uint64_t i = 0; i < e->size; ++i) count += e->data[i].vars.degree() == degree ? 1 : 0;
    return count;
}

uint32_t vexa_expr_max_degree(const ExprImpl *e) { return e->max_degree(); }

const TermImpl *vexa_expr_term_at(const ExprImpl *e, uint64_t index) { return &e->term(index); }

void vexa_expr_term_at_data(const ExprImpl *e, uint64_t index, vexa_bigint *coeff_out, uint64_t *packed_vars_out,
                            uint64_t *spare_out) {
    const TermImpl &t = e->term(index);
    coeff_to_record(t.coeff, coeff_out);
    *packed_vars_out = t.vars.pack();
    *spare_out = 0;
}

int vexa_expr_has(const ExprImpl *e, uint32_t var) {
    const uint32_t target = literal_var_index(var);
    auto holds = [&](const TermImpl &t) {
        const uint32_t d = t.vars.degree();
        for (uint32_t k = 0; k < d; ++k) {
            if (literal_var_index(t.vars.slot[k]) == target) return true;
        }
        return false;
    };
    if (e->has_head() && holds(e->head)) return 1;
    for (uint64_t i = 0; i < e->size; ++i) {
        if (holds(e->data[i])) return 1;
    }
    return 0;
}

int vexa_expr_has_int_atom(const ExprImpl *e) { return e->has_int_atom() ? 1 : 0; }

void vexa_expr_destroy(ExprImpl *e) { delete e; }

}  // extern "C"
