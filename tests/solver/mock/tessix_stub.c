/* An accelerated module for loader tests: every function of the family's
 * symbol list, each answering zero (no handle, no list, no device). Variants
 * hide some of them at link time. */
#include <stdint.h>

#include "solver/module_symbols.h"

#define STUB(name, type, need) \
    intptr_t vexa_tessix_##name(void) { return 0; }
VEXA_TESSIX_MODULE_SYMBOLS(STUB)
