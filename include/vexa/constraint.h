/* Constraint tags carried by expressions. */
#ifndef VEXA_CONSTRAINT_H
#define VEXA_CONSTRAINT_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when e carries declared constraints (a live constraint sum). */
VEXA_API int vexa_expr_is_declared(const ExprImpl *e);
/* 1 for a declared sum made only of abs/relu shape terms, with no free-form part. */
VEXA_API int vexa_expr_all_objective_only(const ExprImpl *e);
/* 1 when e holds exactly one constraint whose body can be asked for. */
VEXA_API int vexa_expr_has_body(const ExprImpl *e);

#ifdef __cplusplus
}
#endif

#endif
