// Text forms of terms and expressions.
#include <string>

#include "core/text_buffer.hpp"
#include "core/variable_table.hpp"
#include "expr/expr.hpp"
#include "expr/term.hpp"
#include "expr/text.hpp"
#include "vexa/expr.h"
#include "vexa/term.h"

namespace vexa {

void append_term_text(std::string &out, const TermImpl &t) {
    const uint32_t degree = t.vars.degree();
    if (degree == 0) {
        out += coeff_text(t.coeff);
        return;
    }
    const size_t start = out.size();
    if (t.coeff == 1) {
        // no prefix
    } else if (t.coeff == -1) {
        out += '-';
    } else {
        out += coeff_text(t.coeff);
        out += '*';
    }
    for (uint32_t i = 0; i < degree; ++i) {
        if (i > 0 && !(out.size() > start && out.back() == '-')) out += '*';
        out += var_str(t.vars.slot[i]);
    }
}

}  // namespace vexa

namespace {
struct TermStrTag {};
}  // namespace

extern "C" const char *vexa_term_str(const TermImpl *t) {
    std::string text;
    vexa::append_term_text(text, *t);
    return vexa::keep_text<TermStrTag>(std::move(text));
}

namespace {
struct ExprStrTag {};
}  // namespace

extern "C" const char *vexa_expr_str(const ExprImpl *e) {
    std::string text;
    const uint64_t n = e->term_count();
    if (e->constant.is_zero() && n == 0) return vexa::keep_text<ExprStrTag>("0");
    if (!e->constant.is_zero()) text = vexa::coeff_text(e->constant);
    for (uint64_t i = 0; i < n; ++i) {
        const TermImpl &t = e->term(i);
        if (!text.empty()) text += t.coeff.sign() < 0 ? " " : " +";
        vexa::append_term_text(text, t);
    }
    return vexa::keep_text<ExprStrTag>(std::move(text));
}
