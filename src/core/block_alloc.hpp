// Raw memory for large arrays of records.
#pragma once

#include <cstddef>

namespace vexa {

// A block of `bytes` from the C allocator, released with std::free. Large
// blocks are aligned to 2 MiB and marked for transparent huge pages, which
// cuts the page faults of first touch by a factor of 512: on a block of
// hundreds of megabytes those faults, not the copying, are the main cost.
// Throws std::bad_alloc on failure.
void *allocate_block(size_t bytes);

}  // namespace vexa
