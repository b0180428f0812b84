// Text forms of terms and expressions.
#include <string>

#include "expr/text.hpp"

#include "core/coeff.hpp"
#include "core/variable_table.hpp"
#include "expr/expr.hpp"
#include "expr/term.hpp"

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

std::string expr_text(const ExprImpl &e) {
    const uint64_t n = e.term_count();
    if (e.constant.is_zero() && n == 0) return "0";
    std::string text;
    if (!e.constant.is_zero()) text = coeff_text(e.constant);
    for (uint64_t i = 0; i < n; ++i) {
        const TermImpl &t = e.term(i);
        if (!text.empty()) text += t.coeff.sign() < 0 ? " " : " +";
        append_term_text(text, t);
    }
    return text;
}

}  // namespace vexa
