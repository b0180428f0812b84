// TermImpl: the handle type of a term, a coefficient times its literals.
#pragma once

#include "core/coeff.hpp"
#include "expr/var_array.hpp"

// A term. Small by design: an inline coefficient for ordinary values and two
// inline literal slots, so that moving one is a bit copy plus, for a big
// coefficient, the handover of its limb block. The coefficient may be 0.
struct TermImpl {
    vexa::coeff_t coeff;
    vexa::VarArray vars;
};

namespace vexa {

// Exact division of the coefficient; aborts on 0 or when d does not divide it.
void term_div_coeff(TermImpl &t, const coeff_t &d);

// a * b: coefficient product, b's literals behind a's.
inline TermImpl term_product(const TermImpl &a, const TermImpl &b) {
    TermImpl r{a.coeff * b.coeff, a.vars};
    r.vars.append(b.vars);
    return r;
}

}  // namespace vexa
