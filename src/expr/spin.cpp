// Between the 0/1 and the +-1 reading of variables, and quadratic reduction.
#include "expr/spin.hpp"

#include "core/fatal.hpp"
#include "expr/simplify.hpp"

namespace vexa {

namespace {

void refuse_int_atoms(const ExprImpl &e, const char *message) {
    if (e.has_int_atom()) fatal(message);
}

// acc + sum over terms of coeff * prod(factor(literal)), each product scaled
// by 2^(D - degree) when `pad_to` is D.
template <class Factor>
ExprImpl expand_terms(const ExprImpl &e, ExprImpl acc, int pad_to, Factor &&factor) {
    for (uint64_t i = 0; i < e.term_count(); ++i) {
        const TermImpl &t = e.term(i);
        ExprImpl product{t.coeff};
        const uint32_t degree = t.vars.degree();
        for (uint32_t k = 0; k < degree; ++k) product = product.mul(factor(t.vars.slot[k]));
        if (pad_to >= 0) product.imul_int(coeff_t(1) << (pad_to - static_cast<int>(degree)));
        acc.append_terms(std::move(product));
    }
    return acc;
}

}  // namespace

ExprImpl binary_to_spin(const ExprImpl &e) {
    refuse_int_atoms(e,
                     "binary_to_spin: native integer variables (int_var) are not supported (spin semantics do not "
                     "apply to integer atoms).");
    // x = (s + 1) / 2; scaling by 2^D keeps every coefficient whole.
    const int depth = static_cast<int>(e.max_degree());
    ExprImpl acc{e.constant << depth};
    acc = expand_terms(e, std::move(acc), depth, [](uint32_t l) { return literal_expr(1, l, 1); });
    return expr_simplify_as_spin(acc);
}

ExprImpl spin_to_binary(const ExprImpl &e) {
    refuse_int_atoms(e,
                     "spin_to_binary: native integer variables (int_var) are not supported (spin semantics do not "
                     "apply to integer atoms).");
    // s = 2x - 1
    ExprImpl acc = expand_terms(e, ExprImpl{e.constant}, -1, [](uint32_t l) { return literal_expr(2, l, -1); });
    return expr_simplify_as_binary(acc);
}

ExprImpl reduce_to_quadratic(const ExprImpl &e) {
    refuse_int_atoms(e,
                     "reduce: native integer variables (int_var) are not supported (Ishikawa/Freedman "
                     "quadratization assumes 0/1 variables).");
    // Every term is at most quadratic already: nothing needs an auxiliary variable.
    const ExprImpl s = expr_simplify_as_binary(e);
    ExprImpl acc{s.constant};
    for (uint64_t i = 0; i < s.term_count(); ++i) acc.add_term(s.term(i));
    return expr_simplify_as_binary(acc);
}

}  // namespace vexa
