// Counts heap allocations of the whole program: this benchmark replaces the
// global operator new and malloc, calloc and realloc with counting versions.
#pragma once

#include <cstdint>

namespace vexa::bench {

// Calls of operator new (all forms that end in the plain one).
uint64_t new_count();
// Calls of malloc, calloc and realloc made directly, not through operator new.
uint64_t malloc_count();

inline uint64_t alloc_count() { return new_count() + malloc_count(); }

}  // namespace vexa::bench
