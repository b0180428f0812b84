// Exported functions that build and change expressions, with what each does
// to the attr word.
#include <cstdlib>
#include <memory>

#include "constraint/attr.hpp"
#include "core/bigint.hpp"
#include "core/fatal.hpp"
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

// A declared value keeps its word through additions; anything else loses it.
void keep_only_if_live(ExprImpl &e) {
    if (!is_live_sum(e.attr)) e.attr = kPlainAttr;
}

// The word after adding one term in place with iadd_var / iadd_term / iadd_raw_term.
void attr_after_adding_term(ExprImpl &e, const TermImpl &t) {
    const uint32_t a = e.attr;
    if (is_varint(a) || is_plain(a)) {
        e.attr = kPlainAttr;
    } else if (!is_live_sum(a)) {
        ExprImpl term_expr;
        term_expr.add_term(t);
        e.attr = merge_attr(a, nullptr, kPlainAttr, &term_expr, true);
    }
}

// The word of a clone after the clone of `e` was added or subtracted to.
uint32_t clone_attr_kept_if_live(const ExprImpl &e) { return is_live_sum(e.attr) ? e.attr : kPlainAttr; }

void refuse_declared(const ExprImpl &e, const char *operation) {
    if (is_live_sum(e.attr)) {
        fatal(std::string("vexa::cons: '") + operation +
              "' is not allowed on an expression with declared constraints");
    }
}

// e -= o on the value: every term negated and added by the head rule.
void sub_expr_value(ExprImpl &e, const ExprImpl &o) {
    e.constant -= o.constant;
    if (o.has_head()) e.add_term(negated(o.head));
    for (uint64_t i = 0; i < o.size; ++i) e.add_term(negated(o.data[i]));
}

uint32_t attr_after_add_expr(const ExprImpl &e, const ExprImpl &o, bool in_place) {
    const uint32_t a = e.attr;
    const uint32_t b = o.attr;
    const bool a_set = is_constraint(a);
    const bool b_set = is_constraint(b);
    if (!in_place) return merge_attr(a, &e, b, &o, false);
    if (a_set && b_set) return merge_attr(a, nullptr, b, nullptr, true);
    if (a_set) return merge_attr(a, nullptr, b, &o, true);
    if (!b_set) return kPlainAttr;
    if (is_plain(a) && e.is_empty_zero()) {
        mark_shared(b);
        return b;
    }
    return merge_attr(a, &e, b, nullptr, false);
}

uint32_t attr_after_sub_expr(const ExprImpl &e, const ExprImpl &o, bool in_place) {
    if (is_live_sum(o.attr)) {
        const uint32_t negated_b = scale_attr(o.attr, -1);
        return merge_attr(e.attr, nullptr, negated_b, nullptr, in_place);
    }
    return is_live_sum(e.attr) ? e.attr : kPlainAttr;
}

void iadd_expr_impl(ExprImpl &e, const ExprImpl &o) {
    e.attr = attr_after_add_expr(e, o, true);
    e.append_terms(o);
}

void isub_expr_impl(ExprImpl &e, const ExprImpl &o) {
    e.attr = attr_after_sub_expr(e, o, true);
    sub_expr_value(e, o);
}

TermImpl moved_term(const vexa_bigint *coeff, uint64_t packed_vars, void *spare) {
    std::free(spare);
    return TermImpl{coeff_from_record(coeff), VarArray::unpack(packed_vars)};
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
    if (!is_live_sum(e->attr) && !(value == 0 && is_constraint(e->attr))) r->attr = kPlainAttr;
    r->constant += value;
    return r.release();
}

ExprImpl *vexa_expr_clone_sub_int(const ExprImpl *e, const vexa_bigint *c) {
    auto r = std::make_unique<ExprImpl>(*e);
    r->attr = clone_attr_kept_if_live(*e);
    r->constant -= coeff_from_record(c);
    return r.release();
}

ExprImpl *vexa_expr_clone_add_var(const ExprImpl *e, uint32_t v) {
    auto r = std::make_unique<ExprImpl>(*e);
    r->attr = clone_attr_kept_if_live(*e);
    r->add_term(var_term(1, v));
    return r.release();
}

ExprImpl *vexa_expr_clone_sub_var(const ExprImpl *e, uint32_t v) {
    auto r = std::make_unique<ExprImpl>(*e);
    r->attr = clone_attr_kept_if_live(*e);
    r->add_term(var_term(-1, v));
    return r.release();
}

ExprImpl *vexa_expr_clone_add_term(const ExprImpl *e, const TermImpl *t) {
    auto r = std::make_unique<ExprImpl>(*e);
    if (is_constraint(e->attr)) {
        ExprImpl term_expr;
        term_expr.add_term(*t);
        r->attr = merge_attr(e->attr, nullptr, kPlainAttr, &term_expr, false);
    } else {
        r->attr = kPlainAttr;
    }
    r->add_term(*t);
    return r.release();
}

ExprImpl *vexa_expr_clone_sub_term(const ExprImpl *e, const TermImpl *t) {
    auto r = std::make_unique<ExprImpl>(*e);
    r->attr = clone_attr_kept_if_live(*e);
    r->add_term(negated(*t));
    return r.release();
}

ExprImpl *vexa_expr_clone_add_expr(const ExprImpl *a, const ExprImpl *b) {
    auto r = std::make_unique<ExprImpl>(*a);
    r->attr = attr_after_add_expr(*a, *b, false);
    r->append_terms(*b);
    return r.release();
}

ExprImpl *vexa_expr_clone_sub_expr(const ExprImpl *a, const ExprImpl *b) {
    auto r = std::make_unique<ExprImpl>(*a);
    r->attr = attr_after_sub_expr(*a, *b, false);
    sub_expr_value(*r, *b);
    return r.release();
}

ExprImpl *vexa_expr_clone_mul_int(const ExprImpl *e, const vexa_bigint *k) {
    const coeff_t factor = coeff_from_record(k);
    const uint32_t word = scale_attr(e->attr, factor);
    auto r = std::make_unique<ExprImpl>(*e);
    r->attr = word;
    r->imul_int(factor);
    return r.release();
}

// ---- in place ----

void vexa_expr_iadd_int(ExprImpl *e, const vexa_bigint *c) {
    keep_only_if_live(*e);
    e->constant += coeff_from_record(c);
}

void vexa_expr_isub_int(ExprImpl *e, const vexa_bigint *c) {
    keep_only_if_live(*e);
    e->constant -= coeff_from_record(c);
}

void vexa_expr_iadd_var(ExprImpl *e, uint32_t v) {
    TermImpl t = var_term(1, v);
    attr_after_adding_term(*e, t);
    e->add_term(std::move(t));
}

void vexa_expr_isub_var(ExprImpl *e, uint32_t v) {
    keep_only_if_live(*e);
    e->add_term(var_term(-1, v));
}

void vexa_expr_iadd_term(ExprImpl *e, const TermImpl *t) {
    attr_after_adding_term(*e, *t);
    e->add_term(*t);
}

void vexa_expr_isub_term(ExprImpl *e, const TermImpl *t) {
    keep_only_if_live(*e);
    e->add_term(negated(*t));
}

void vexa_expr_iadd_term_move(ExprImpl *e, TermImpl *t) {
    attr_after_adding_term(*e, *t);
    e->add_term(std::move(*t));
    delete t;
}

void vexa_expr_iadd_raw_term(ExprImpl *e, const vexa_bigint *coeff, const uint32_t *vars, uint32_t nvars) {
    TermImpl t = make_term(coeff_from_record(coeff), vars, nvars);
    attr_after_adding_term(*e, t);
    e->add_term(std::move(t));
}

void vexa_expr_isub_raw_term(ExprImpl *e, const vexa_bigint *coeff, const uint32_t *vars, uint32_t nvars) {
    TermImpl t = make_term(-coeff_from_record(coeff), vars, nvars);
    keep_only_if_live(*e);
    e->add_term(std::move(t));
}

void vexa_expr_iadd_move_term(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars, void *spare) {
    TermImpl t = moved_term(coeff, packed_vars, spare);
    keep_only_if_live(*e);
    e->add_term(std::move(t));
}

void vexa_expr_isub_move_term(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars, void *spare) {
    TermImpl t = moved_term(coeff, packed_vars, spare);
    t.coeff = -t.coeff;
    keep_only_if_live(*e);
    e->add_term(std::move(t));
}

void vexa_expr_iadd_terms_bulk(ExprImpl *e, const vexa_bigint *constant, uint64_t n, const vexa_bigint *coeffs,
                               const uint32_t *counts, const uint32_t *vars) {
    keep_only_if_live(*e);
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
    e->attr = scale_attr(e->attr, factor);
    e->imul_int(factor);
}

void vexa_expr_idiv_int(ExprImpl *e, const vexa_bigint *d) {
    refuse_declared(*e, "/=");
    const coeff_t divisor = coeff_from_record(d);
    e->attr = kPlainAttr;
    e->idiv_int(divisor);
}

void vexa_expr_imul_var(ExprImpl *e, uint32_t v) {
    refuse_declared(*e, "*= var");
    ExprImpl product = e->mul_var(v);
    *e = std::move(product);
}

void vexa_expr_imul_term_direct(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars) {
    refuse_declared(*e, "*= term");
    const TermImpl t{coeff_from_record(coeff), VarArray::unpack(packed_vars)};
    ExprImpl product = e->mul_term(t);
    *e = std::move(product);
}

void vexa_expr_imul_expr(ExprImpl *e, const ExprImpl *o) {
    refuse_declared(*e, "*= expr");
    refuse_declared(*o, "* expr");
    ExprImpl product = e->mul(*o);
    *e = std::move(product);
}

void vexa_expr_negate(ExprImpl *e) {
    e->attr = is_live_sum(e->attr) ? scale_attr(e->attr, -1) : kPlainAttr;
    e->negate();
}

// ---- products ----

ExprImpl *vexa_expr_mul_expr(const ExprImpl *a, const ExprImpl *b) {
    refuse_declared(*a, "* expr");
    refuse_declared(*b, "* expr");
    return new ExprImpl(a->mul(*b));
}

ExprImpl *vexa_expr_sqr(const ExprImpl *e) {
    refuse_declared(*e, "sqr");
    return new ExprImpl(e->sqr());
}

// ---- reading ----

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
    const uint32_t target = var & 0x7FFFFFFFu;
    auto holds = [&](const TermImpl &t) {
        const uint32_t d = t.vars.degree();
        for (uint32_t k = 0; k < d; ++k) {
            if ((t.vars.slot[k] & 0x7FFFFFFFu) == target) return true;
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
