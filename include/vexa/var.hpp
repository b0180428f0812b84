// Vexa for C++: variables and arrays of variables. Their codes belong to the
// library's registry, which owns every variable until vexa_var_reset().
#ifndef VEXA_VAR_HPP
#define VEXA_VAR_HPP

#include <array>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/int.hpp"
#include "vexa/var.h"

namespace vexa {

// ---------------------------------------------------------------------------
// Variables.
// ---------------------------------------------------------------------------

// A variable code of either kind: a binary literal or a native integer atom.
class VarBase {
public:
    uint32_t code() const noexcept { return code_; }
    // The library's text for the code: "x", "~x", "a[1][2]"; "?" when unknown.
    std::string name() const { return vexa_var_str(code_); }
    std::string str() const { return name(); }
    friend bool operator==(const VarBase &a, const VarBase &b) noexcept { return a.code_ == b.code_; }
    friend std::ostream &operator<<(std::ostream &os, const VarBase &v) { return os << vexa_var_str(v.code_); }

protected:
    explicit VarBase(uint32_t code) noexcept : code_(code) {}
    uint32_t code_;
};

// A binary variable, or its negated literal ~x (which reads 1 - x).
class Var : public VarBase {
public:
    // Registers a new variable; an empty name takes an automatic one ("{N}").
    explicit Var(std::string_view name = {}) : VarBase(vexa_new_var(std::string(name).c_str())) {}
    static Var from_code(uint32_t code) noexcept { return Var(code, 0); }

    Var operator~() const noexcept { return Var(code_ ^ VEXA_NEGATED_BIT, 0); }
    bool negated() const noexcept { return (code_ & VEXA_NEGATED_BIT) != 0; }
    // The variable itself, without negation.
    Var variable() const noexcept { return Var(code_ & ~VEXA_NEGATED_BIT, 0); }

private:
    Var(uint32_t code, int) noexcept : VarBase(code) {}
};

// A native integer variable with inclusive bounds lo < hi.
class NativeIntVar : public VarBase {
public:
    NativeIntVar(std::string_view name, const Int &lo, const Int &hi) : VarBase(make(name, lo, hi)) {}
    static NativeIntVar from_code(uint32_t code) noexcept { return NativeIntVar(code, 0); }

    Int lower() const { return bounds().first; }
    Int upper() const { return bounds().second; }
    std::pair<Int, Int> bounds() const {
        hpp_detail::OutRecord lo, hi;
        vexa_int_var_bounds(code_, lo.get(), hi.get());
        return {lo.take(), hi.take()};
    }

private:
    NativeIntVar(uint32_t code, int) noexcept : VarBase(code) {}
    static uint32_t make(std::string_view name, const Int &lo, const Int &hi) {
        const vexa_bigint l = lo.record(), h = hi.record();
        return vexa_new_int_var(std::string(name).c_str(), &l, &h);
    }
};

namespace hpp_detail {

inline uint64_t shape_size(const std::vector<uint64_t> &shape) {
    uint64_t n = 1;
    for (uint64_t d : shape) n *= d;
    return n;
}

// Row-major flat index of a multi-index; throws when it leaves the shape.
template <class... I>
uint64_t flat_index(const std::vector<uint64_t> &shape, I... idx) {
    if (sizeof...(I) != shape.size()) throw std::out_of_range("vexa: wrong number of indices for this array");
    const std::array<uint64_t, sizeof...(I)> ix{static_cast<uint64_t>(idx)...};
    uint64_t flat = 0;
    for (std::size_t k = 0; k < shape.size(); ++k) {
        if (ix[k] >= shape[k]) throw std::out_of_range("vexa: index out of range");
        flat = flat * shape[k] + ix[k];
    }
    return flat;
}

// Random-access iterator over consecutive codes, yielding V values.
template <class V>
class CodeIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = V;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = V;

    CodeIterator() = default;
    explicit CodeIterator(uint32_t code) : code_(code) {}
    V operator*() const { return V::from_code(code_); }
    V operator[](difference_type k) const { return V::from_code(static_cast<uint32_t>(code_ + k)); }
    CodeIterator &operator++() { ++code_; return *this; }
    CodeIterator operator++(int) { CodeIterator t = *this; ++code_; return t; }
    CodeIterator &operator--() { --code_; return *this; }
    CodeIterator operator--(int) { CodeIterator t = *this; --code_; return t; }
    CodeIterator &operator+=(difference_type k) { code_ = static_cast<uint32_t>(code_ + k); return *this; }
    CodeIterator &operator-=(difference_type k) { code_ = static_cast<uint32_t>(code_ - k); return *this; }
    friend CodeIterator operator+(CodeIterator it, difference_type k) { return it += k; }
    friend CodeIterator operator+(difference_type k, CodeIterator it) { return it += k; }
    friend CodeIterator operator-(CodeIterator it, difference_type k) { return it -= k; }
    friend difference_type operator-(CodeIterator a, CodeIterator b) {
        return static_cast<difference_type>(a.code_) - static_cast<difference_type>(b.code_);
    }
    friend bool operator==(CodeIterator a, CodeIterator b) { return a.code_ == b.code_; }
    friend auto operator<=>(CodeIterator a, CodeIterator b) { return a.code_ <=> b.code_; }

private:
    uint32_t code_ = 0;
};

}  // namespace hpp_detail

// An array of binary variables, row-major; element texts are "name[i][j]".
class Vars {
public:
    Vars(std::string_view name, std::vector<uint64_t> shape)
        : shape_(std::move(shape)), size_(hpp_detail::shape_size(shape_)),
          first_(vexa_new_var_array(std::string(name).c_str(), shape_.data(), shape_.size())) {}
    Vars(std::string_view name, uint64_t n) : Vars(name, std::vector<uint64_t>{n}) {}

    uint64_t size() const noexcept { return size_; }
    const std::vector<uint64_t> &shape() const noexcept { return shape_; }
    // Element by flat index, unchecked.
    Var operator[](uint64_t i) const noexcept { return Var::from_code(static_cast<uint32_t>(first_ + i)); }
    Var at(uint64_t i) const {
        if (i >= size_) throw std::out_of_range("vexa::Vars: index out of range");
        return (*this)[i];
    }
    // Element by multi-index, checked.
    template <std::integral... I>
    Var operator()(I... idx) const {
        return (*this)[hpp_detail::flat_index(shape_, idx...)];
    }
    hpp_detail::CodeIterator<Var> begin() const { return hpp_detail::CodeIterator<Var>(first_); }
    hpp_detail::CodeIterator<Var> end() const {
        return hpp_detail::CodeIterator<Var>(static_cast<uint32_t>(first_ + size_));
    }

private:
    std::vector<uint64_t> shape_;
    uint64_t size_;
    uint32_t first_;
};

// An array of native integer variables sharing one pair of bounds.
class NativeIntVars {
public:
    NativeIntVars(std::string_view name, std::vector<uint64_t> shape, const Int &lo, const Int &hi)
        : shape_(std::move(shape)), size_(hpp_detail::shape_size(shape_)), first_(make(name, shape_, lo, hi)) {}
    NativeIntVars(std::string_view name, uint64_t n, const Int &lo, const Int &hi)
        : NativeIntVars(name, std::vector<uint64_t>{n}, lo, hi) {}

    uint64_t size() const noexcept { return size_; }
    const std::vector<uint64_t> &shape() const noexcept { return shape_; }
    NativeIntVar operator[](uint64_t i) const noexcept { return NativeIntVar::from_code(static_cast<uint32_t>(first_ + i)); }
    NativeIntVar at(uint64_t i) const {
        if (i >= size_) throw std::out_of_range("vexa::NativeIntVars: index out of range");
        return (*this)[i];
    }
    template <std::integral... I>
    NativeIntVar operator()(I... idx) const {
        return (*this)[hpp_detail::flat_index(shape_, idx...)];
    }
    hpp_detail::CodeIterator<NativeIntVar> begin() const { return hpp_detail::CodeIterator<NativeIntVar>(first_); }
    hpp_detail::CodeIterator<NativeIntVar> end() const {
        return hpp_detail::CodeIterator<NativeIntVar>(static_cast<uint32_t>(first_ + size_));
    }

private:
    static uint32_t make(std::string_view name, const std::vector<uint64_t> &shape, const Int &lo, const Int &hi) {
        const vexa_bigint l = lo.record(), h = hi.record();
        return vexa_new_int_var_array(std::string(name).c_str(), shape.data(), shape.size(), &l, &h);
    }

    std::vector<uint64_t> shape_;
    uint64_t size_;
    uint32_t first_;
};

}  // namespace vexa

#endif
