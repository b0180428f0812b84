#include "expr/term_buffer.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <utility>

#include "core/block_alloc.hpp"

namespace vexa {

void relocate_terms(TermImpl *dst, TermImpl *src, uint64_t n) {
    for (uint64_t i = 0; i < n; ++i) {
        new (&dst[i]) TermImpl(std::move(src[i]));
        src[i].~TermImpl();
    }
}

TermBuffer::TermBuffer(TermBuffer &&o) noexcept
    : data(std::exchange(o.data, nullptr)), size(std::exchange(o.size, 0)), capacity(std::exchange(o.capacity, 0)) {}

TermBuffer &TermBuffer::operator=(TermBuffer &&o) noexcept {
    if (this != &o) {
        clear();
        data = std::exchange(o.data, nullptr);
        size = std::exchange(o.size, 0);
        capacity = std::exchange(o.capacity, 0);
    }
    return *this;
}

void TermBuffer::grow_to(uint64_t new_capacity) {
    if (new_capacity <= capacity) return;
    if (new_capacity > SIZE_MAX / sizeof(TermImpl)) throw std::bad_alloc();
    auto *block = static_cast<TermImpl *>(allocate_block(new_capacity * sizeof(TermImpl)));
    relocate_terms(block, data, size);
    std::free(data);
    data = block;
    capacity = new_capacity;
}

void TermBuffer::push_back(TermImpl &&t) {
    if (size == capacity) grow_to(capacity == 0 ? 4 : capacity * 2);
    new (&data[size]) TermImpl(std::move(t));
    ++size;
}

void TermBuffer::truncate(uint64_t new_size) {
    for (uint64_t i = new_size; i < size; ++i) data[i].~TermImpl();
    if (new_size < size) size = new_size;
}

void TermBuffer::clear() {
    truncate(0);
    std::free(data);
    data = nullptr;
    capacity = 0;
}

void TermBuffer::release_unused_pages() {
    const long page = sysconf(_SC_PAGESIZE);
    if (data == nullptr || page <= 0) return;
    const auto begin = reinterpret_cast<uintptr_t>(data + size);
    const auto end = reinterpret_cast<uintptr_t>(data + capacity);
    const uintptr_t first = (begin + page - 1) / page * page;
    const uintptr_t last = end / page * page;
    if (last > first && last - first >= (uintptr_t(8) << 20)) {
        madvise(reinterpret_cast<void *>(first), last - first, MADV_DONTNEED);
    }
}

TermImpl *TermBuffer::release() {
    size = capacity = 0;
    return std::exchange(data, nullptr);
}

}  // namespace vexa
