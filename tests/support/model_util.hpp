// Helpers for model and solution tests.
#pragma once

#include <memory>

#include "model/model.hpp"
#include "model/sol.hpp"
#include "support/constraint_util.hpp"
#include "vexa/model.h"
#include "vexa/sol.h"

namespace vexa::test {

struct ModelDeleter {
    void operator()(Model *m) const { vexa_model_destroy(m); }
};
using ModelPtr = std::unique_ptr<Model, ModelDeleter>;

struct SolDeleter {
    void operator()(Sol *s) const { vexa_sol_destroy(s); }
};
using SolPtr = std::unique_ptr<Sol, SolDeleter>;

// A declared sum of constraints with chosen weights: items (body, lo, hi, weight).
struct ConsSpec {
    const ExprImpl *body;
    coeff_t lo, hi, weight;
    std::vector<std::pair<coeff_t, coeff_t>> allowed = {};
    uint8_t shape = 0;  // 0: plain; 1 or 2: a penalty shape with that exponent
};

inline uint32_t declared_sum_word(const std::vector<ConsSpec> &specs, const ExprImpl *remainder = nullptr) {
    std::vector<SumItem> items;
    for (const ConsSpec &c : specs) {
        const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*c.body)));
        set_bounds(id, c.lo, c.hi);
        if (!c.allowed.empty()) set_allowed(id, c.allowed);
        if (c.shape != 0) set_penalty_shape(id, c.shape);
        items.push_back(SumItem{id, c.weight});
    }
    std::unique_ptr<ExprImpl> rem;
    if (remainder != nullptr) rem = std::make_unique<ExprImpl>(ExprImpl::plain_copy(*remainder));
    return kSumTag | add_sum(std::move(items), std::move(rem), true);
}

inline coeff_t sol_energy(Sol *s) {
    Out out;
    vexa_sol_compute_energy(s, &out);
    return out.value();
}

}  // namespace vexa::test
