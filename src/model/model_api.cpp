// Exported functions of the Model handle: creation, sharing and readers of
// the flat arrays.
#include <memory>

#include "constraint/attr.hpp"
#include "core/bigint.hpp"
#include "core/fatal.hpp"
#include "core/literal.hpp"
#include "model/ilp.hpp"
#include "model/model.hpp"
#include "model/sol.hpp"
#include "vexa/model.h"

using namespace vexa;

namespace vexa {

std::shared_ptr<ModelImpl> build_model(const ExprImpl &e, double scale) {
    if (!is_live_sum(e.attr)) return std::make_shared<ModelImpl>(e, scale, nullptr);
    const ConstraintSumEntry &entry = sum_entry(e.attr & kIndexMask);
    ConstraintListImpl list;
    list.items = entry.items;
    if (entry.remainder) {
        list.remainder = ExprImpl::plain_copy(*entry.remainder);
        list.has_remainder = true;
    }
    return std::make_shared<ModelImpl>(e, scale, &list);
}
}  // namespace vexa

namespace {

// A Sol handed out as a Model handle starts with the same shared reference,
// so only that first member is ever read.
inline ModelImpl &impl(Model *m) { return *m->ref; }

}  // namespace

extern "C" {

Model *vexa_model_create(const ExprImpl *e) { return new Model{build_model(*e, 1.0)}; }

Model *vexa_model_create_scaled(const ExprImpl *e, double scale) { return new Model{build_model(*e, scale)}; }

Model *vexa_model_clone(Model *m) { return new Model{m->ref}; }

void vexa_model_destroy(Model *m) { delete m; }

uint64_t vexa_model_var_count(Model *m) { return impl(m).vars.size(); }

uint32_t vexa_model_var(Model *m, uint32_t i) { return impl(m).vars[i]; }

int vexa_model_has(Model *m, uint32_t word) { return impl(m).dense_index(word) != kNoIndex ? 1 : 0; }

uint32_t vexa_model_var_index(Model *m, uint32_t word) { return impl(m).dense_index(word); }

uint32_t vexa_model_max_degree(Model *m) { return impl(m).max_degree; }

uint64_t vexa_model_term_count(Model *m, uint32_t d) { return d == 0 ? 0 : impl(m).term_counts[d - 1]; }

const uint32_t *vexa_model_term_vars(Model *m, uint32_t d) {
    return d == 0 ? nullptr : impl(m).term_vars[d - 1].data();
}

const void *vexa_model_coeff_array(Model *m, uint32_t d) {
    return d == 0 ? nullptr : impl(m).term_coeffs[d - 1].data();
}

void vexa_model_coeff_at(Model *m, uint32_t d, uint64_t i, vexa_bigint *out) {
    coeff_to_record(impl(m).term_coeffs[d - 1][i], out);
}

void vexa_model_constant(Model *m, vexa_bigint *out) { coeff_to_record(impl(m).constant, out); }

double vexa_model_scale(Model *m) { return impl(m).scale; }

int vexa_model_has_negated_literals(Model *m) {
    const ModelImpl &model = impl(m);
    for (uint32_t d = 0; d < model.max_degree; ++d) {
        for (uint32_t w : model.term_vars[d]) {
            if (literal_negated(w)) return 1;
        }
    }
    return 0;
}

uint64_t vexa_model_int_var_count(Model *m) { return impl(m).int_atoms.size(); }

uint32_t vexa_model_int_var_orig(Model *m, uint64_t i) {
    const ModelImpl &model = impl(m);
    if (i >= model.int_atoms.size()) fatal("vexa_model_int_var_orig: index out of range");
    return model.int_atoms[i] | kIntAtomBit;
}

void vexa_model_int_var_bounds(Model *m, uint64_t i, vexa_bigint *lo, vexa_bigint *hi) {
    const ModelImpl &model = impl(m);
    if (i >= model.int_atoms.size()) fatal("vexa_model_int_var_bounds: index out of range");
    coeff_to_record(model.int_lower[i], lo);
    coeff_to_record(model.int_upper[i], hi);
}

uint64_t vexa_model_native_cons_count(Model *m) { return impl(m).native_constraints.size(); }

uint64_t vexa_model_native_cons_nterms(Model *m, uint64_t i) {
    const NativeConstraint &nc = impl(m).native_constraints[i];
    if (!nc.quad_coeffs.empty()) fatal(kIlpNonlinearMessage);
    if (!nc.allowed.empty()) fatal(kIlpAllowedSetMessage);
    return nc.vars.size();
}

const uint32_t *vexa_model_native_cons_vars(Model *m, uint64_t i) {
    return impl(m).native_constraints[i].vars.data();
}

const void *vexa_model_native_cons_coeffs(Model *m, uint64_t i) {
    return impl(m).native_constraints[i].coeffs.data();
}

void vexa_model_native_cons_bounds(Model *m, uint64_t i, vexa_bigint *lo, vexa_bigint *hi,
                                   vexa_bigint *body_constant, vexa_bigint *weight) {
    const NativeConstraint &nc = impl(m).native_constraints[i];
    coeff_to_record(nc.lower, lo);
    coeff_to_record(nc.upper, hi);
    coeff_to_record(nc.body_constant, body_constant);
    coeff_to_record(nc.weight, weight);
}

void vexa_model_native_cons_shape(Model *m, uint64_t i, uint32_t *exponent, uint32_t *hinge) {
    const NativeConstraint &nc = impl(m).native_constraints[i];
    *exponent = nc.shape_exponent;
    *hinge = nc.shape_hinge;
}

int vexa_model_has_penalty_shapes(Model *m) {
    for (const NativeConstraint &nc : impl(m).native_constraints) {
        if (nc.shape_exponent != 2 || nc.shape_hinge != 0) return 1;
    }
    return 0;
}

int vexa_model_has_remainder(Model *m) { return impl(m).has_remainder ? 1 : 0; }

void vexa_model_remainder_info(Model *m, vexa_bigint *constant, uint64_t *nterms) {
    coeff_to_record(impl(m).remainder_constant, constant);
    *nterms = impl(m).remainder_coeffs.size();
}

const uint64_t *vexa_model_remainder_head(Model *m) { return impl(m).remainder_head.data(); }

const uint32_t *vexa_model_remainder_vars(Model *m) { return impl(m).remainder_vars.data(); }

const void *vexa_model_remainder_coeffs(Model *m) { return impl(m).remainder_coeffs.data(); }

void vexa_model_eval(Model *m, const uint64_t *bits, vexa_bigint *out) {
    const ModelImpl &model = impl(m);
    if (!model.int_atoms.empty()) fatal("Model eval: native integer variables (int_var) are not supported yet.");
    coeff_t e = model.constant;
    for (uint32_t d = 1; d <= model.max_degree; ++d) {
        const uint32_t *words = model.term_vars[d - 1].data();
        for (uint64_t i = 0; i < model.term_counts[d - 1]; ++i) {
            bool on = true;
            for (uint32_t k = 0; k < d && on; ++k) {
                const uint32_t w = words[i * d + k];
                const bool bit = (bits[(w >> 6) & 0x1FFFFFFu] >> (w % 64)) & 1;
                on = bit != literal_negated(w);
            }
            if (on) e += model.term_coeffs[d - 1][i];
        }
    }
    coeff_to_record(e, out);
}

void vexa_expr_eval_with_model(const ExprImpl *e, Model *m, const uint64_t *bits, vexa_bigint *out) {
    if (is_live_sum(e->attr)) {
        fatal("vexa::cons: 'eval_with_model (evaluate against a Sol instead)' is not allowed on an expression "
              "with declared constraints");
    }
    if (e->has_int_atom()) {
        fatal("eval_with_model: native integer variables (int_var) are not supported yet (bit assignments "
              "cannot value integer atoms).");
    }
    const ModelImpl &model = impl(m);
    coeff_t value = e->constant;
    for (uint64_t i = 0; i < e->term_count(); ++i) {
        const TermImpl &t = e->term(i);
        bool on = true;
        for (uint32_t k = 0; k < t.vars.degree() && on; ++k) {
            const uint32_t w = t.vars.slot[k];
            const uint32_t dense = model.dense_index(w);
            on = dense != kNoIndex && bit_of(bits, dense) != literal_negated(w);
        }
        if (on) value += t.coeff;
    }
    coeff_to_record(value, out);
}

}  // extern "C"
