// Exported functions of the term family.
#include <memory>

#include "core/bigint.hpp"
#include "core/fatal.hpp"
#include "core/text_buffer.hpp"
#include "expr/term.hpp"
#include "expr/text.hpp"
#include "vexa/term.h"

using namespace vexa;

namespace {
struct TermStrTag {};
}  // namespace

namespace vexa {
void term_div_coeff(TermImpl &t, const coeff_t &d) {
    if (d == 0) fatal("Division by zero");
    coeff_t q = t.coeff / d;
    if (q * d != t.coeff) fatal("Indivisible division in Term");
    t.coeff = std::move(q);
}
}  // namespace vexa

extern "C" {

TermImpl *vexa_term_create(const vexa_bigint *coeff) { return new TermImpl{coeff_from_record(coeff), {}}; }

TermImpl *vexa_term_create_var(const vexa_bigint *coeff, uint32_t var) {
    auto t = std::make_unique<TermImpl>(TermImpl{coeff_from_record(coeff), {}});
    t->vars.append(var);
    return t.release();
}

TermImpl *vexa_term_create_var_var(const vexa_bigint *coeff, uint32_t v0, uint32_t v1) {
    auto t = std::make_unique<TermImpl>(TermImpl{coeff_from_record(coeff), {}});
    t->vars.append(v0);
    t->vars.append(v1);
    return t.release();
}

TermImpl *vexa_term_create_vararray(const vexa_bigint *coeff, uint64_t packed_vars) {
    return new TermImpl{coeff_from_record(coeff), VarArray::unpack(packed_vars)};
}

TermImpl *vexa_term_clone(const TermImpl *t) { return new TermImpl(*t); }

void vexa_term_destroy(TermImpl *t) { delete t; }

uint32_t vexa_term_degree(const TermImpl *t) { return t->vars.degree(); }

uint32_t vexa_term_var_at(const TermImpl *t, uint32_t index) { return t->vars.slot[index]; }

void vexa_term_coeff(const TermImpl *t, vexa_bigint *out) { coeff_to_record(t->coeff, out); }

void vexa_term_negate(TermImpl *t) { t->coeff = -t->coeff; }

void vexa_term_mul_coeff(TermImpl *t, const vexa_bigint *coeff) { t->coeff *= coeff_from_record(coeff); }

void vexa_term_div_coeff(TermImpl *t, const vexa_bigint *coeff) {
    term_div_coeff(*t, coeff_from_record(coeff));
}

void vexa_term_mul_var(TermImpl *t, uint32_t var) { t->vars.append(var); }

TermImpl *vexa_term_mul_term(const TermImpl *a, const TermImpl *b) {
    return new TermImpl(term_product(*a, *b));
}

TermImpl *vexa_term_mul_term_move(TermImpl *a, const TermImpl *b) {
    VarArray vars = a->vars;
    vars.append(b->vars);
    a->coeff *= b->coeff;
    a->vars = vars;
    return a;
}

const char *vexa_term_str(const TermImpl *t) {
    std::string text;
    append_term_text(text, *t);
    return keep_text<TermStrTag>(std::move(text));
}

}  // extern "C"
