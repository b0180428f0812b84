// Reading an expression's constraints against a solution: its items, their
// body values and distances, and how many are broken.
#pragma once

#include <cstdint>

#include "constraint/tables.hpp"
#include "core/coeff.hpp"
#include "model/sol.hpp"

namespace vexa {

// One item of an expression: a constraint record with its weight, or a
// free-form penalty (the expression itself, or a sum's remainder).
struct ConsItem {
    const ExprExprEntry *record = nullptr;  // null for a free-form item
    const ExprImpl *free_form = nullptr;
    coeff_t weight = 1;
};

// 1 for anything but a constraint sum; a sum's items plus its remainder.
uint64_t cons_item_count(const ExprImpl &e);

// Item i, or false when there is none. A lone classic constraint has its
// one item whatever i says.
bool cons_item(const ExprImpl &e, uint64_t i, ConsItem &out);

// Value of e on s. A variable the model lacks makes its term 0.
coeff_t value_on(const Sol &s, const ExprImpl &e);

// Distance of a body value from what a record allows; 0 for a record with
// neither bounds nor an allowed list.
coeff_t record_distance(const ExprExprEntry &record, const coeff_t &body);

// Number of broken constraints (shapes and records without bounds skipped)
// plus 1 for a nonzero remainder.
uint64_t violation_count(const ExprImpl &e, const Sol &s);

// Value of e on s, with the penalty of every declared constraint added.
coeff_t sol_eval_expr(const Sol &s, const ExprImpl &e);

}  // namespace vexa
