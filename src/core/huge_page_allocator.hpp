// A standard allocator over allocate_block, for vectors that grow to hundreds
// of megabytes: their large buffers are backed by transparent huge pages, so
// that first touch costs one fault per 2 MiB instead of one per 4 KiB.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>
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

// The same allocator, but resize() leaves new elements of trivial types
// uninitialised: for buffers whose every slot is written before it is read,
// where zero-filling first would touch (and fault in) all their pages on one
// thread.
template <class T>
struct UninitHugePageAllocator : HugePageAllocator<T> {
    template <class U>
    struct rebind {
        using other = UninitHugePageAllocator<U>;
    };
    UninitHugePageAllocator() noexcept = default;
    template <class U>
    UninitHugePageAllocator(const UninitHugePageAllocator<U> &) noexcept {}  // NOLINT: rebinding is implicit

    template <class U>
    void construct(U *p) noexcept(std::is_nothrow_default_constructible_v<U>) {
        ::new (static_cast<void *>(p)) U;
    }
    template <class U, class... Args>
    void construct(U *p, Args &&...args) {
        ::new (static_cast<void *>(p)) U(std::forward<Args>(args)...);
    }
};

template <class T>
using HugeScratch = std::vector<T, UninitHugePageAllocator<T>>;

}  // namespace vexa
