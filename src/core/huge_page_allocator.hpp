// A standard allocator over allocate_block, for vectors that grow to hundreds
// of megabytes: their large buffers are backed by transparent huge pages, so
// that first touch costs one fault per 2 MiB instead of one per 4 KiB.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

#include "core/block_alloc.hpp"

namespace vexa {

template <class T>
struct HugePageAllocator {
    using value_type = T;

    HugePageAllocator() noexcept = default;
    template <class U>
    HugePageAllocator(const HugePageAllocator<U> &) noexcept {}  // NOLINT: rebinding is implicit

    T *allocate(std::size_t n) {
        if (n > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
        return static_cast<T *>(allocate_block(n * sizeof(T)));
    }
    void deallocate(T *p, std::size_t) noexcept { std::free(p); }

    template <class U>
    bool operator==(const HugePageAllocator<U> &) const noexcept {
        return true;
    }
};

template <class T>
using HugeVector = std::vector<T, HugePageAllocator<T>>;

}  // namespace vexa
