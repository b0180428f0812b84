#include "core/block_alloc.hpp"

#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace vexa {

namespace {
constexpr size_t kHugePage = size_t(2) << 20;
constexpr size_t kHugeFrom = size_t(8) << 20;
}  // namespace

void *allocate_block(size_t bytes) {
    if (bytes == 0) return nullptr;
    if (bytes < kHugeFrom) {
        void *p = std::malloc(bytes);
        if (p == nullptr) throw std::bad_alloc();
        return p;
    }
    const size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    if (rounded < bytes) throw std::bad_alloc();
    void *p = std::aligned_alloc(kHugePage, rounded);
    if (p == nullptr) throw std::bad_alloc();
    madvise(p, rounded, MADV_HUGEPAGE);  // advice only; failure is harmless
    return p;
}

}  // namespace vexa
