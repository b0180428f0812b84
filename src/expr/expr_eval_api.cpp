// Exported functions that evaluate, substitute, bound and print expressions.
#include <memory>
#include <string>

#include "core/bigint.hpp"
#include "core/text_buffer.hpp"
#include "expr/attr_rules.hpp"
#include "expr/eval.hpp"
#include "expr/expr.hpp"
#include "expr/text.hpp"
#include "vexa/expr.h"

using namespace vexa;

namespace {
struct ExprStrTag {};
}  // namespace

extern "C" {

void vexa_expr_eval_map(const ExprImpl *e, const uint32_t *vars, const vexa_bigint *const *values, uint64_t n,
                        vexa_bigint *out) {
    refuse_declared<ExprOp::eval_map>(*e);
    ValueMap map;
    map.reserve(n);
    for (uint64_t i = 0; i < n; ++i) map[vars[i]] = coeff_from_record(values[i]);
    coeff_to_record(eval_map(*e, map), out);
}

ExprImpl *vexa_expr_replace(const ExprImpl *e, const uint32_t *vars, const ExprImpl *const *exprs, uint64_t n) {
    ReplaceMap map;
    map.reserve(n);
    for (uint64_t i = 0; i < n; ++i) map[vars[i]] = exprs[i];
    auto result = std::make_unique<ExprImpl>(replace_plain(*e, map));
    result->attr = rebuilt_attr<ExprOp::replace>(*e, [&](const ExprImpl &body) { return replace_plain(body, map); });
    return result.release();
}

void vexa_expr_neg_sum(const ExprImpl *e, vexa_bigint *out) { coeff_to_record(reachable_bounds(*e).first, out); }

void vexa_expr_pos_sum(const ExprImpl *e, vexa_bigint *out) { coeff_to_record(reachable_bounds(*e).second, out); }

const char *vexa_expr_str(const ExprImpl *e) { return keep_text<ExprStrTag>(expr_text(*e)); }

}  // extern "C"
