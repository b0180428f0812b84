// Vexa for C++: Int, the exact integer of coefficients and energies, and the
// records in which it crosses the C interface.
//
// Define VEXA_NO_CPP_INT to leave out the conversions between Int and
// boost::multiprecision::cpp_int (they are present when Boost is found).
#ifndef VEXA_INT_HPP
#define VEXA_INT_HPP

#include <algorithm>
#include <compare>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "vexa/common.h"

#if !defined(VEXA_NO_CPP_INT) && __has_include(<boost/multiprecision/cpp_int.hpp>)
#include <boost/multiprecision/cpp_int.hpp>
#define VEXA_HPP_HAS_CPP_INT 1
#endif

namespace vexa {

namespace hpp_detail {

template <class T>
concept builtin_integer = std::integral<T> && !std::same_as<std::remove_cv_t<T>, bool>;

// Growable little-endian array of 32-bit words: the scratch form of a
// magnitude while decimal text is read or written.
using Words32 = std::vector<uint32_t>;

inline void trim(Words32 &w) {
    while (!w.empty() && w.back() == 0) w.pop_back();
}

// w = w * mul + add, all in 32-bit words.
inline void mul_add(Words32 &w, uint32_t mul, uint32_t add) {
    uint64_t carry = add;
    for (uint32_t &word : w) {
        const uint64_t cur = static_cast<uint64_t>(word) * mul + carry;
        word = static_cast<uint32_t>(cur);
        carry = cur >> 32;
    }
    if (carry != 0) w.push_back(static_cast<uint32_t>(carry));
}

// w = w / div, returns the remainder.
inline uint32_t div_rem(Words32 &w, uint32_t div) {
    uint64_t rem = 0;
    for (std::size_t i = w.size(); i-- > 0;) {
        const uint64_t cur = (rem << 32) | w[i];
        w[i] = static_cast<uint32_t>(cur / div);
        rem = cur % div;
    }
    trim(w);
    return static_cast<uint32_t>(rem);
}

}  // namespace hpp_detail

// ---------------------------------------------------------------------------
// Int: an exact integer of any size, the value type of coefficients and
// energies. Values of one 64-bit limb are held inline; larger magnitudes in a
// malloc block, so that the library's out records can be adopted as they are.
// ---------------------------------------------------------------------------
class Int {
public:
    Int() noexcept = default;

    template <hpp_detail::builtin_integer T>
    Int(T v) noexcept {  // NOLINT: implicit, so that plain integers can stand anywhere an Int does
        if constexpr (std::is_signed_v<T>) {
            if (v < 0) {
                sign_ = -1;
                n_ = 1;
                small_ = uint64_t{0} - static_cast<uint64_t>(static_cast<int64_t>(v));
                return;
            }
        }
        if (v != 0) {
            sign_ = 1;
            n_ = 1;
            small_ = static_cast<uint64_t>(v);
        }
    }

    // Decimal text: an optional sign and digits, nothing else.
    explicit Int(std::string_view text) { parse(text); }

    Int(const Int &o) { copy_from(o); }
    Int(Int &&o) noexcept : sign_(o.sign_), n_(o.n_), small_(o.small_), heap_(o.heap_) { o.forget(); }
    Int &operator=(const Int &o) {
        if (this != &o) {
            Int tmp(o);
            swap(tmp);
        }
        return *this;
    }
    Int &operator=(Int &&o) noexcept {
        if (this != &o) {
            std::free(heap_);
            sign_ = o.sign_;
            n_ = o.n_;
            small_ = o.small_;
            heap_ = o.heap_;
            o.forget();
        }
        return *this;
    }
    ~Int() { std::free(heap_); }

    void swap(Int &o) noexcept {
        std::swap(sign_, o.sign_);
        std::swap(n_, o.n_);
        std::swap(small_, o.small_);
        std::swap(heap_, o.heap_);
    }

    // A copy of an inward record (sign 0 or no limbs reads as zero).
    static Int from_record(const vexa_bigint &r) {
        uint32_t n = r.sign == 0 ? 0 : r.nlimbs;
        while (n > 0 && r.limbs[n - 1] == 0) --n;
        Int v;
        if (n == 0) return v;
        v.sign_ = r.sign < 0 ? -1 : 1;
        v.n_ = n;
        if (n == 1) {
            v.small_ = r.limbs[0];
        } else {
            v.heap_ = alloc_limbs(n);
            std::memcpy(v.heap_, r.limbs, sizeof(uint64_t) * n);
        }
        return v;
    }

    // Takes over an out record that the library filled; the record is left {0, 0, NULL}.
    static Int adopt(vexa_bigint &r) noexcept {
        uint32_t n = r.sign == 0 ? 0 : r.nlimbs;
        while (n > 0 && r.limbs[n - 1] == 0) --n;
        Int v;
        if (n > 0) {
            v.sign_ = r.sign < 0 ? -1 : 1;
            v.n_ = n;
            if (n == 1) {
                v.small_ = r.limbs[0];
            } else {
                v.heap_ = r.limbs;
                r.limbs = nullptr;
            }
        }
        std::free(r.limbs);
        r = vexa_bigint{0, 0, nullptr};
        return v;
    }

    // Read-only record over this value, valid while the value lives unchanged.
    vexa_bigint record() const noexcept { return vexa_bigint{sign_, n_, const_cast<uint64_t *>(limbs())}; }

    int sign() const noexcept { return sign_; }
    bool is_zero() const noexcept { return sign_ == 0; }
    uint32_t limb_count() const noexcept { return n_; }
    const uint64_t *limbs() const noexcept { return n_ <= 1 ? &small_ : heap_; }

    bool fits_int64() const noexcept {
        if (n_ == 0) return true;
        if (n_ > 1) return false;
        return sign_ > 0 ? small_ <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())
                         : small_ <= (uint64_t{1} << 63);
    }
    int64_t to_int64() const {
        if (!fits_int64()) throw std::overflow_error("vexa::Int: " + str() + " does not fit in 64 bits");
        if (n_ == 0) return 0;
        return sign_ > 0 ? static_cast<int64_t>(small_) : static_cast<int64_t>(uint64_t{0} - small_);
    }
    double to_double() const noexcept {
        double v = 0.0;
        for (uint32_t i = n_; i-- > 0;) v = v * 18446744073709551616.0 + static_cast<double>(limbs()[i]);
        return sign_ < 0 ? -v : v;
    }

    std::string str() const {
        if (sign_ == 0) return "0";
        std::string out;
        if (n_ == 1) {
            out = std::to_string(small_);
        } else {
            hpp_detail::Words32 w;
            for (uint32_t i = 0; i < n_; ++i) {
                w.push_back(static_cast<uint32_t>(heap_[i]));
                w.push_back(static_cast<uint32_t>(heap_[i] >> 32));
            }
            hpp_detail::trim(w);
            std::string rev;
            while (!w.empty()) {
                uint32_t chunk = hpp_detail::div_rem(w, 1000000000u);
                for (int k = 0; k < 9 && (chunk != 0 || !w.empty()); ++k) {
                    rev.push_back(static_cast<char>('0' + chunk % 10));
                    chunk /= 10;
                }
            }
            out.assign(rev.rbegin(), rev.rend());
        }
        return sign_ < 0 ? "-" + out : out;
    }

    Int operator-() const & {
        Int v(*this);
        v.sign_ = -v.sign_;
        return v;
    }
    Int operator-() && {
        sign_ = -sign_;
        return std::move(*this);
    }
    Int abs() const {
        Int v(*this);
        if (v.sign_ < 0) v.sign_ = 1;
        return v;
    }

    friend bool operator==(const Int &a, const Int &b) noexcept {
        return a.sign_ == b.sign_ && a.n_ == b.n_ && std::equal(a.limbs(), a.limbs() + a.n_, b.limbs());
    }
    friend std::strong_ordering operator<=>(const Int &a, const Int &b) noexcept {
        if (a.sign_ != b.sign_) return a.sign_ <=> b.sign_;
        const std::strong_ordering mag = compare_magnitude(a, b);
        return a.sign_ < 0 ? 0 <=> mag : mag;
    }
    friend std::ostream &operator<<(std::ostream &os, const Int &v) { return os << v.str(); }

#ifdef VEXA_HPP_HAS_CPP_INT
    Int(const boost::multiprecision::cpp_int &v) {  // NOLINT: implicit, as for built-in integers
        if (v == 0) return;
        std::vector<uint64_t> mag;
        boost::multiprecision::export_bits(boost::multiprecision::cpp_int(boost::multiprecision::abs(v)), std::back_inserter(mag), 64,
                                           false);
        set_magnitude(mag.data(), static_cast<uint32_t>(mag.size()), v < 0 ? -1 : 1);
    }
    boost::multiprecision::cpp_int to_cpp_int() const {
        boost::multiprecision::cpp_int m;
        if (n_ > 0) boost::multiprecision::import_bits(m, limbs(), limbs() + n_, 64, false);
        return sign_ < 0 ? boost::multiprecision::cpp_int(-m) : m;
    }
    explicit operator boost::multiprecision::cpp_int() const { return to_cpp_int(); }
#endif

private:
    static uint64_t *alloc_limbs(uint32_t n) {
        auto *p = static_cast<uint64_t *>(std::malloc(sizeof(uint64_t) * n));
        if (p == nullptr) throw std::bad_alloc();
        return p;
    }
    void forget() noexcept {
        sign_ = 0;
        n_ = 0;
        small_ = 0;
        heap_ = nullptr;
    }
    void copy_from(const Int &o) {
        sign_ = o.sign_;
        n_ = o.n_;
        small_ = o.small_;
        heap_ = nullptr;
        if (o.n_ > 1) {
            heap_ = alloc_limbs(o.n_);
            std::memcpy(heap_, o.heap_, sizeof(uint64_t) * o.n_);
        }
    }
    // mag: n limbs, least significant first, possibly with leading zeros.
    void set_magnitude(const uint64_t *mag, uint32_t n, int sign) {
        while (n > 0 && mag[n - 1] == 0) --n;
        std::free(heap_);
        forget();
        if (n == 0) return;
        sign_ = sign;
        n_ = n;
        if (n == 1) {
            small_ = mag[0];
        } else {
            heap_ = alloc_limbs(n);
            std::memcpy(heap_, mag, sizeof(uint64_t) * n);
        }
    }
    static std::strong_ordering compare_magnitude(const Int &a, const Int &b) noexcept {
        if (a.n_ != b.n_) return a.n_ <=> b.n_;
        for (uint32_t i = a.n_; i-- > 0;) {
            if (a.limbs()[i] != b.limbs()[i]) return a.limbs()[i] <=> b.limbs()[i];
        }
        return std::strong_ordering::equal;
    }
    void parse(std::string_view text) {
        std::size_t i = 0;
        int sign = 1;
        if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
            sign = text[0] == '-' ? -1 : 1;
            i = 1;
        }
        if (i == text.size()) throw std::invalid_argument("vexa::Int: '" + std::string(text) + "' is not an integer");
        for (std::size_t k = i; k < text.size(); ++k) {
            if (text[k] < '0' || text[k] > '9') {
                throw std::invalid_argument("vexa::Int: '" + std::string(text) + "' is not an integer");
            }
        }
        while (i + 1 < text.size() && text[i] == '0') ++i;
        const std::string_view digits = text.substr(i);
        if (digits.size() <= 19) {
            uint64_t v = 0;
            for (char c : digits) v = v * 10 + static_cast<uint64_t>(c - '0');
            set_magnitude(&v, 1, sign);
            return;
        }
        hpp_detail::Words32 w;
        std::size_t pos = 0;
        std::size_t chunk = digits.size() % 9 == 0 ? 9 : digits.size() % 9;
        while (pos < digits.size()) {
            uint32_t part = 0;
            uint32_t scale = 1;
            for (std::size_t k = 0; k < chunk; ++k) {
                part = part * 10 + static_cast<uint32_t>(digits[pos + k] - '0');
                scale *= 10;
            }
            hpp_detail::mul_add(w, scale, part);
            pos += chunk;
            chunk = 9;
        }
        std::vector<uint64_t> mag((w.size() + 1) / 2, 0);
        for (std::size_t k = 0; k < w.size(); ++k) mag[k / 2] |= static_cast<uint64_t>(w[k]) << (32 * (k % 2));
        set_magnitude(mag.data(), static_cast<uint32_t>(mag.size()), sign);
    }

    int32_t sign_ = 0;
    uint32_t n_ = 0;         // limbs of the magnitude, no leading zero limb
    uint64_t small_ = 0;     // the magnitude when n_ <= 1
    uint64_t *heap_ = nullptr;  // the magnitude when n_ >= 2 (malloc)
};

namespace hpp_detail {

// An out record for one call; frees whatever the library left in it.
class OutRecord {
public:
    OutRecord() = default;
    OutRecord(const OutRecord &) = delete;
    OutRecord &operator=(const OutRecord &) = delete;
    ~OutRecord() { std::free(rec_.limbs); }
    vexa_bigint *get() noexcept { return &rec_; }
    Int take() noexcept { return Int::adopt(rec_); }

private:
    vexa_bigint rec_{0, 0, nullptr};
};

template <class F>
Int read_int(F &&fill) {
    OutRecord out;
    fill(out.get());
    return out.take();
}

}  // namespace hpp_detail

namespace hpp_detail {

// a + b on magnitudes of limbs, least significant first.
inline std::vector<uint64_t> add_magnitudes(const Int &a, const Int &b) {
    const uint32_t n = std::max(a.limb_count(), b.limb_count());
    std::vector<uint64_t> out(n + 1, 0);
    uint64_t carry = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const uint64_t ai = i < a.limb_count() ? a.limbs()[i] : 0;
        const uint64_t bi = i < b.limb_count() ? b.limbs()[i] : 0;
        const uint64_t s = ai + bi;
        const uint64_t t = s + carry;
        carry = (s < ai ? 1 : 0) + (t < s ? 1 : 0);
        out[i] = t;
    }
    out[n] = carry;
    return out;
}

// |a| - |b|, for |a| >= |b|.
inline std::vector<uint64_t> sub_magnitudes(const Int &a, const Int &b) {
    std::vector<uint64_t> out(a.limb_count(), 0);
    uint64_t borrow = 0;
    for (uint32_t i = 0; i < a.limb_count(); ++i) {
        const uint64_t bi = i < b.limb_count() ? b.limbs()[i] : 0;
        const uint64_t ai = a.limbs()[i];
        const uint64_t d = ai - bi - borrow;
        borrow = (ai < bi || (ai == bi && borrow != 0)) ? 1 : 0;
        out[i] = d;
    }
    return out;
}

inline Int from_magnitude(std::vector<uint64_t> mag, int sign) {
    if (mag.empty()) return Int();
    const vexa_bigint r{sign, static_cast<uint32_t>(mag.size()), mag.data()};
    return Int::from_record(r);
}

// Exact a + b, on the limbs.
inline Int int_add(const Int &a, const Int &b) {
    if (a.is_zero()) return b;
    if (b.is_zero()) return a;
    if (a.sign() == b.sign()) return from_magnitude(add_magnitudes(a, b), a.sign());
    if (a.abs() >= b.abs()) return from_magnitude(sub_magnitudes(a, b), a.sign());
    return from_magnitude(sub_magnitudes(b, a), b.sign());
}

inline Int int_sub(const Int &a, const Int &b) { return int_add(a, -b); }

}  // namespace hpp_detail

}  // namespace vexa

#endif
