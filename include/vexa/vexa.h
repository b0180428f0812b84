/* Vexa: the whole C interface.
 *
 * Conventions shared by every family:
 * - Handles are opaque pointers; each kind has one vexa_*_destroy, which accepts NULL.
 * - Misuse is fatal: the library writes "vexa: <message>" to stderr and aborts.
 *   Invalid handles and indices are not detected.
 * - const char * answers live in library storage, as a rule one string per
 *   thread and function, valid until that function runs again on that thread.
 * - Coefficients travel as vexa_bigint records (see common.h). */
#ifndef VEXA_H
#define VEXA_H

#include "vexa/common.h"
#include "vexa/array.h"
#include "vexa/constraint.h"
#include "vexa/expr.h"
#include "vexa/ilp.h"
#include "vexa/model.h"
#include "vexa/sol.h"
#include "vexa/solver.h"
#include "vexa/sysinfo.h"
#include "vexa/term.h"
#include "vexa/var.h"

#endif
