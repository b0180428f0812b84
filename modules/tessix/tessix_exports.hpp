// Declares every function of the accelerated family's symbol list with the
// list's type. Each file that defines some of them includes this first, so
// a definition whose signature differs from its row does not compile (C
// functions cannot be overloaded). A CPU-only build defines the CPU rows and
// gpu_device_count; the GPU rows stay declared and undefined.
#pragma once

#include <type_traits>

#include "solver/module_symbols.h"

#define VEXA_TESSIX_DECLARE(name, type, need) VEXA_API std::remove_pointer_t<type> vexa_tessix_##name;
extern "C" {
VEXA_TESSIX_MODULE_SYMBOLS(VEXA_TESSIX_DECLARE)
}
#undef VEXA_TESSIX_DECLARE
