// FlatArray: a fixed-size array in one block, for arrays of tens of millions
// of elements that are filled by position from many threads.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

#include "core/block_alloc.hpp"
#include "core/parallel.hpp"

namespace vexa {

// Elements are default-constructed in parallel (trivial types are left
// uninitialised: every slot is written before it is read), then written by
// position. The block is allocated once at its exact size.
template <class T>
class FlatArray {
public:
    FlatArray() = default;
    explicit FlatArray(uint64_t n) : size_(n) {
        if (n == 0) return;
        if (n > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
        data_ = static_cast<T *>(allocate_block(n * sizeof(T)));
        if constexpr (!std::is_trivially_default_constructible_v<T>) {
            par_for(n, [&](uint64_t i) { new (&data_[i]) T(); });
        }
    }
    FlatArray(FlatArray &&o) noexcept : data_(std::exchange(o.data_, nullptr)), size_(std::exchange(o.size_, 0)) {}
    FlatArray &operator=(FlatArray &&o) noexcept {
        if (this != &o) {
            reset();
            data_ = std::exchange(o.data_, nullptr);
            size_ = std::exchange(o.size_, 0);
        }
        return *this;
    }
    FlatArray(const FlatArray &) = delete;
    FlatArray &operator=(const FlatArray &) = delete;
    ~FlatArray() { reset(); }

    uint64_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T *data() { return data_; }
    const T *data() const { return data_; }
    T &operator[](uint64_t i) { return data_[i]; }
    const T &operator[](uint64_t i) const { return data_[i]; }
    T *begin() { return data_; }
    T *end() { return data_ + size_; }
    const T *begin() const { return data_; }
    const T *end() const { return data_ + size_; }

private:
    void reset() {
        if constexpr (!std::is_trivially_destructible_v<T>) {
            for (uint64_t i = 0; i < size_; ++i) data_[i].~T();
        }
        std::free(data_);
        data_ = nullptr;
        size_ = 0;
    }

    T *data_ = nullptr;
    uint64_t size_ = 0;
};

}  // namespace vexa
