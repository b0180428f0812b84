#include "alloc_count.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

// glibc's own entry points, which the replacements below forward to.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
}

namespace {
std::atomic<uint64_t> g_new{0};
std::atomic<uint64_t> g_malloc{0};
}  // namespace

namespace vexa::bench {
uint64_t new_count() { return g_new.load(std::memory_order_relaxed); }
uint64_t malloc_count() { return g_malloc.load(std::memory_order_relaxed); }
}  // namespace vexa::bench

extern "C" {

void *malloc(size_t size) {
    g_malloc.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
    g_malloc.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

void *realloc(void *block, size_t size) {
    g_malloc.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}

}  // extern "C"

// The array and nothrow forms of libstdc++ call this one, so one counter sees them all.
void *operator new(std::size_t size) {
    g_new.fetch_add(1, std::memory_order_relaxed);
    if (void *p = __libc_malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}

void operator delete(void *block) noexcept { std::free(block); }
void operator delete(void *block, std::size_t) noexcept { std::free(block); }
