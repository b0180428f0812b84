// Vexa for C++: Model, the frozen, flat form of a simplified expression.
#ifndef VEXA_MODEL_HPP
#define VEXA_MODEL_HPP

#include <cstdint>
#include <utility>

#include "vexa/common.h"
#include "vexa/expr.hpp"
#include "vexa/handle.hpp"
#include "vexa/int.hpp"
#include "vexa/model.h"
#include "vexa/operators.hpp"
#include "vexa/var.hpp"

namespace vexa {

// ---------------------------------------------------------------------------
// Model: the frozen, flat form of a simplified expression. Immutable; copies
// share it.
// ---------------------------------------------------------------------------
class Model : private hpp_detail::Handle<::Model, vexa_model_destroy, vexa_model_clone> {
    using Base = hpp_detail::Handle<::Model, vexa_model_destroy, vexa_model_clone>;

public:
    // e must be in binary canonical form (the result of simplify_as_binary);
    // declared constraints of e become the model's native constraints.
    explicit Model(const Expr &e) : Base(vexa_model_create(e.handle())) {}
    // simplify_as_binary(e), then the model of that.
    static Model from(const Expr &e) { return Model(simplify_as_binary(e)); }

    using Base::handle;

    // Binary variables in dense order (ascending codes).
    uint64_t var_count() const { return vexa_model_var_count(h_); }
    Var var(uint64_t i) const { return Var::from_code(vexa_model_var(h_, static_cast<uint32_t>(i))); }
    bool has(const VarBase &v) const { return vexa_model_has(h_, v.code()) != 0; }
    uint64_t int_var_count() const { return vexa_model_int_var_count(h_); }
    NativeIntVar int_var(uint64_t i) const { return NativeIntVar::from_code(vexa_model_int_var_orig(h_, i)); }
    uint32_t max_degree() const { return vexa_model_max_degree(h_); }
    uint64_t term_count(uint32_t degree) const { return vexa_model_term_count(h_, degree); }
    Int constant() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_model_constant(h_, out); });
    }
    uint64_t native_constraint_count() const { return vexa_model_native_cons_count(h_); }
};

}  // namespace vexa

#endif
