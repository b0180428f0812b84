// What the drivers hand a module: pointers into the model's flat arrays,
// constraint records and the remainder.
#pragma once

#include <cstdint>
#include <vector>

#include "model/model.hpp"
#include "solver/modules.hpp"

namespace vexa {

// The per-degree arrays a module's create takes. The pointers point into
// the model; nothing is copied.
struct FlatPointers {
    std::vector<uint64_t> term_counts;
    std::vector<const uint32_t *> var_lists;
    std::vector<const void *> coef_lists;

    explicit FlatPointers(const ModelImpl &m);
};

inline bool plain_shape(const NativeConstraint &c) { return c.shape_exponent == 2 && c.shape_hinge == 0; }
bool any_shaped(const ModelImpl &m);
bool any_nonlinear(const ModelImpl &m);
bool any_allowed(const ModelImpl &m);

// The two coefficient arrays (lows, highs) of an allowed-value set, built
// for one call.
struct AllowedEnds {
    std::vector<coeff_t> low, high;
    explicit AllowedEnds(const NativeConstraint &c);
};

// The constraint's words mapped to flat indices, for the integer calls.
std::vector<uint32_t> flat_words(const std::vector<uint32_t> &words, uint32_t n_bin);

// Argument forms of the add_constraint family.
template <class Fn>
void call_add_constraint(Fn fn, void *h, const NativeConstraint &c, const uint32_t *vars) {
    fn(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), vars, c.coeffs.data());
}
template <class Fn>
void call_add_constraint_nl(Fn fn, void *h, const NativeConstraint &c, const uint32_t *vars) {
    fn(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), vars, c.coeffs.data(),
       c.quad_coeffs.size(), c.quad_head.data(), c.quad_vars.data(), c.quad_coeffs.data());
}
template <class Fn>
void call_add_constraint_set(Fn fn, void *h, const NativeConstraint &c, const uint32_t *vars) {
    const AllowedEnds ends(c);
    fn(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), vars, c.coeffs.data(),
       ends.low.size(), ends.low.data(), ends.high.data());
}
template <class Fn>
void call_set_remainder(Fn fn, void *h, const ModelImpl &m) {
    fn(h, &m.remainder_constant, m.remainder_coeffs.size(), m.remainder_head.data(), m.remainder_vars.data(),
       m.remainder_coeffs.data());
}

// A model with integer variables never carries a free-form remainder (the
// model refuses that combination); fatal with the solver's tag if one does.
void check_no_int_remainder(const ModelImpl &m, const char *tag);

// Hands one native constraint to a module instance through the call its body
// needs (quadratic part, allowed set or plain linear), then its penalty shape
// when that is not the plain square. The caller has checked that the module
// has the functions the constraint needs. The functions are passed one by
// one, so that a family with two sets of them (the accelerated module's CPU
// and GPU sides) uses the same rule for either.
template <class Add, class AddNl, class AddSet, class Shape>
void hand_constraint_with(Add add, AddNl add_nl, AddSet add_set, Shape set_shape, void *h, const NativeConstraint &c) {
    if (!c.quad_coeffs.empty()) {
        call_add_constraint_nl(add_nl, h, c, c.vars.data());
    } else if (!c.allowed.empty()) {
        call_add_constraint_set(add_set, h, c, c.vars.data());
    } else {
        call_add_constraint(add, h, c, c.vars.data());
    }
    if (!plain_shape(c)) set_shape(h, c.shape_exponent, c.shape_hinge);
}

template <class Table>
void hand_constraint(const Table &t, void *h, const NativeConstraint &c) {
    hand_constraint_with(t.add_constraint, t.add_constraint_nl, t.add_constraint_set, t.set_cons_shape, h, c);
}

}  // namespace vexa
