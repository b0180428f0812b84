// Exported: the variant word of the solver module an expression needs.
#include "solver/variant.hpp"
#include "vexa/solver.h"

extern "C" const char *vexa_expr_solver_type(const ExprImpl *expr) { return vexa::expr_variant(*expr); }
