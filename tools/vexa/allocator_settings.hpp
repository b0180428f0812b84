// Settings of the C allocator for a process that loads big problem files.
#pragma once

#include <malloc.h>

namespace vexa::cli {

// glibc raises its mmap threshold each time a mapped block is freed, up to
// 32 MiB; after the first big buffer of a load goes, every later buffer of a
// few megabytes then comes from the heap, where freed ones stay resident
// between live ones. A fixed threshold keeps such buffers mapped of their
// own, so that freeing them gives the memory back: the peak of a big load is
// about a tenth lower.
inline void keep_big_blocks_mapped() { mallopt(M_MMAP_THRESHOLD, 1 << 20); }

}  // namespace vexa::cli
