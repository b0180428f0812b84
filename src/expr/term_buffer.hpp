// TermBuffer: a growable run of terms in a block that an expression can adopt
// as its tail without copying.
#pragma once

#include <cstdint>

#include "expr/term.hpp"

namespace vexa {

// Moves n constructed terms into raw memory at dst and destroys the sources.
void relocate_terms(TermImpl *dst, TermImpl *src, uint64_t n);

// Slots [0, size) hold constructed terms, [size, capacity) raw memory. The
// block comes from allocate_block and is released with std::free, like the
// tail of an ExprImpl, which may take it over (see ExprImpl::adopt_tail).
struct TermBuffer {
    TermImpl *data = nullptr;
    uint64_t size = 0;
    uint64_t capacity = 0;

    TermBuffer() = default;
    explicit TermBuffer(uint64_t reserve) { grow_to(reserve); }
    TermBuffer(TermBuffer &&o) noexcept;
    TermBuffer &operator=(TermBuffer &&o) noexcept;
    TermBuffer(const TermBuffer &) = delete;
    TermBuffer &operator=(const TermBuffer &) = delete;
    ~TermBuffer() { clear(); }

    TermImpl *begin() { return data; }
    TermImpl *end() { return data + size; }
    TermImpl &operator[](uint64_t i) { return data[i]; }
    bool empty() const { return size == 0; }

    // Moves the terms into a block of exactly `new_capacity` slots.
    void grow_to(uint64_t new_capacity);
    void push_back(TermImpl &&t);
    // Destroys the terms from `new_size` on.
    void truncate(uint64_t new_size);
    void clear();
    // Returns the whole pages past the last term to the system; the block
    // keeps its address and capacity.
    void release_unused_pages();
    // Gives up the block: the caller now owns data[0, size) and the memory.
    TermImpl *release();
};

}  // namespace vexa
