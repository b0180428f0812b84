// Vexa for C++: value classes with operators over the C interface of vexa.h.
//
// Everything here is inline and calls only exported vexa_* functions.
//
//   vexa::Var x("x"), y("y");
//   vexa::Expr e = vexa::sqr(x + y - 1);               // (x + y - 1)^2, unexpanded terms
//   vexa::Model m(vexa::simplify_as_binary(e));         // 1 - x - y + 2*x*y
//   vexa::Result r = vexa::NimbaSolver(m).search({.time_limit = 1.0});
//   std::cout << r.energy() << " x=" << r(x) << " y=" << r(y) << "\n";
//
// Value semantics. Int, Term, Expr and Sol own their library object: a copy is
// a deep copy (vexa_*_clone), a move hands the object over and leaves the
// source empty (usable only for assignment or destruction). Model is immutable,
// so copies share it. Var, IntVar, Vars and IntVars are codes of variables the
// library's registry owns until vexa_var_reset().
//
// Operators. Each operator stands for a fixed sequence of C calls, written next
// to its case below. Operands that are temporaries are reused in place (the
// i<op>, _move, _mm and _ml forms), so that a chain such as `a + b + c` on
// temporaries copies no expression. Results are never simplified: call
// simplify_as_binary() (or simplify(), simplify_as_spin()) for a canonical form.
//
// Failures. Misuse that the library detects ends the process with a message
// ("vexa: ..."), as the C interface does. This header turns the checks it can
// make cheaply into exceptions instead: reading a variable that a solution does
// not hold (std::out_of_range), reading a stale energy (std::logic_error), bad
// decimal text (std::invalid_argument). A product above degree 2 throws
// std::runtime_error from the library.
//
// Names. The C interface declares the handle types ::Model and ::Sol; with
// `using namespace vexa;` write `using vexa::Model; using vexa::Sol;` as well,
// or spell vexa::Model and vexa::Sol.
//
// Define VEXA_NO_CPP_INT to leave out the conversions between Int and
// boost::multiprecision::cpp_int (they are present when Boost is found).
#ifndef VEXA_HPP
#define VEXA_HPP

#include <algorithm>
#include <array>
#include <charconv>
#include <compare>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "vexa/vexa.h"

#if !defined(VEXA_NO_CPP_INT) && __has_include(<boost/multiprecision/cpp_int.hpp>)
#include <boost/multiprecision/cpp_int.hpp>
#define VEXA_HPP_HAS_CPP_INT 1
#endif

namespace vexa {

class Int;
class VarBase;
class Var;
class IntVar;
class Term;
class Expr;
class Model;
class Sol;

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
class IntVar : public VarBase {
public:
    IntVar(std::string_view name, const Int &lo, const Int &hi) : VarBase(make(name, lo, hi)) {}
    static IntVar from_code(uint32_t code) noexcept { return IntVar(code, 0); }

    Int lower() const { return bounds().first; }
    Int upper() const { return bounds().second; }
    std::pair<Int, Int> bounds() const {
        hpp_detail::OutRecord lo, hi;
        vexa_int_var_bounds(code_, lo.get(), hi.get());
        return {lo.take(), hi.take()};
    }

private:
    IntVar(uint32_t code, int) noexcept : VarBase(code) {}
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
class IntVars {
public:
    IntVars(std::string_view name, std::vector<uint64_t> shape, const Int &lo, const Int &hi)
        : shape_(std::move(shape)), size_(hpp_detail::shape_size(shape_)), first_(make(name, shape_, lo, hi)) {}
    IntVars(std::string_view name, uint64_t n, const Int &lo, const Int &hi)
        : IntVars(name, std::vector<uint64_t>{n}, lo, hi) {}

    uint64_t size() const noexcept { return size_; }
    const std::vector<uint64_t> &shape() const noexcept { return shape_; }
    IntVar operator[](uint64_t i) const noexcept { return IntVar::from_code(static_cast<uint32_t>(first_ + i)); }
    IntVar at(uint64_t i) const {
        if (i >= size_) throw std::out_of_range("vexa::IntVars: index out of range");
        return (*this)[i];
    }
    template <std::integral... I>
    IntVar operator()(I... idx) const {
        return (*this)[hpp_detail::flat_index(shape_, idx...)];
    }
    hpp_detail::CodeIterator<IntVar> begin() const { return hpp_detail::CodeIterator<IntVar>(first_); }
    hpp_detail::CodeIterator<IntVar> end() const {
        return hpp_detail::CodeIterator<IntVar>(static_cast<uint32_t>(first_ + size_));
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

// ---------------------------------------------------------------------------
// Operand kinds, for the operators below.
// ---------------------------------------------------------------------------
namespace hpp_detail {

enum class Kind { none, integer, literal, term, expr };

template <class T>
constexpr Kind kind_of() {
    using U = std::remove_cvref_t<T>;
    if constexpr (builtin_integer<U> || std::same_as<U, Int>) {
        return Kind::integer;
#ifdef VEXA_HPP_HAS_CPP_INT
    } else if constexpr (std::same_as<U, boost::multiprecision::cpp_int>) {
        return Kind::integer;
#endif
    } else if constexpr (std::derived_from<U, VarBase>) {
        return Kind::literal;
    } else if constexpr (std::same_as<U, Term>) {
        return Kind::term;
    } else if constexpr (std::same_as<U, Expr>) {
        return Kind::expr;
    } else {
        return Kind::none;
    }
}

template <class T>
inline constexpr Kind kind_v = kind_of<T>();

template <class T>
concept operand = kind_v<T> != Kind::none;

// Two operands of which at least one is a variable, a term or an expression.
template <class L, class R>
concept algebra_pair = operand<L> && operand<R> && (kind_v<L> != Kind::integer || kind_v<R> != Kind::integer);

// An argument whose object may be taken over: a non-const rvalue.
template <class T>
inline constexpr bool movable = !std::is_lvalue_reference_v<T> && !std::is_const_v<std::remove_reference_t<T>>;

template <class T>
Int to_int(const T &v) {
    return Int(v);
}
inline const Int &to_int(const Int &v) { return v; }

}  // namespace hpp_detail

// ---------------------------------------------------------------------------
// Term: a coefficient times at most two literals.
// ---------------------------------------------------------------------------
class Term {
public:
    explicit Term(const Int &c) : h_(make(c)) {}
    Term(const Int &c, const VarBase &v) : h_(make(c, v)) {}
    Term(const Int &c, const VarBase &a, const VarBase &b) : h_(make(c, a, b)) {}

    Term(const Term &o) : h_(vexa_term_clone(o.h_)) {}
    Term(Term &&o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
    Term &operator=(const Term &o) {
        if (this != &o) {
            Term tmp(o);
            std::swap(h_, tmp.h_);
        }
        return *this;
    }
    Term &operator=(Term &&o) noexcept {
        if (this != &o) {
            vexa_term_destroy(h_);
            h_ = std::exchange(o.h_, nullptr);
        }
        return *this;
    }
    ~Term() { vexa_term_destroy(h_); }

    // Takes ownership of a handle from the C interface.
    static Term adopt(TermImpl *t) noexcept { return Term(t); }
    TermImpl *handle() const noexcept { return h_; }
    TermImpl *release() noexcept { return std::exchange(h_, nullptr); }

    Int coeff() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_term_coeff(h_, out); });
    }
    uint32_t degree() const { return vexa_term_degree(h_); }
    // Code of literal i < degree().
    uint32_t var_code(uint32_t i) const { return vexa_term_var_at(h_, i); }
    // The two slots packed as the C interface takes them (slot 0 low, empty all ones).
    uint64_t packed_vars() const {
        const uint32_t d = degree();
        const uint64_t s0 = d >= 1 ? vexa_term_var_at(h_, 0) : VEXA_EMPTY_VAR;
        const uint64_t s1 = d >= 2 ? vexa_term_var_at(h_, 1) : VEXA_EMPTY_VAR;
        return s0 | (s1 << 32);
    }
    std::string str() const { return vexa_term_str(h_); }
    friend std::ostream &operator<<(std::ostream &os, const Term &t) { return os << vexa_term_str(t.h_); }

    // In place: vexa_term_mul_coeff, vexa_term_mul_var, vexa_term_mul_term_move.
    template <class X>
        requires(hpp_detail::kind_v<X> == hpp_detail::Kind::integer)
    Term &operator*=(const X &k) {
        const Int &v = hpp_detail::to_int(k);
        const vexa_bigint r = v.record();
        vexa_term_mul_coeff(h_, &r);
        return *this;
    }
    Term &operator*=(const VarBase &v) {
        vexa_term_mul_var(h_, v.code());
        return *this;
    }
    Term &operator*=(const Term &o) {
        if (&o == this) {
            const Term copy(o);
            vexa_term_mul_term_move(h_, copy.h_);
        } else {
            vexa_term_mul_term_move(h_, o.h_);
        }
        return *this;
    }
    // Exact division of the coefficient (vexa_term_div_coeff); a remainder is fatal.
    template <class X>
        requires(hpp_detail::kind_v<X> == hpp_detail::Kind::integer)
    Term &operator/=(const X &d) {
        const Int &v = hpp_detail::to_int(d);
        const vexa_bigint r = v.record();
        vexa_term_div_coeff(h_, &r);
        return *this;
    }
    void negate() { vexa_term_negate(h_); }

private:
    explicit Term(TermImpl *h) noexcept : h_(h) {}
    static TermImpl *make(const Int &c) {
        const vexa_bigint r = c.record();
        return vexa_term_create(&r);
    }
    static TermImpl *make(const Int &c, const VarBase &v) {
        const vexa_bigint r = c.record();
        return vexa_term_create_var(&r, v.code());
    }
    static TermImpl *make(const Int &c, const VarBase &a, const VarBase &b) {
        const vexa_bigint r = c.record();
        return vexa_term_create_var_var(&r, a.code(), b.code());
    }

    TermImpl *h_;
};

// ---------------------------------------------------------------------------
// TermList: many terms gathered for one bulk addition
// (vexa_expr_iadd_terms_bulk / vexa_expr_create_from_bulk), which builds the
// terms in parallel into a single allocation.
// ---------------------------------------------------------------------------
class TermList {
public:
    void reserve(std::size_t n) {
        coeffs_.reserve(n);
        counts_.reserve(n);
        vars_.reserve(2 * n);
    }
    TermList &add(const Int &c) {
        coeffs_.push_back(c);
        counts_.push_back(0);
        return *this;
    }
    TermList &add(const Int &c, const VarBase &v) {
        coeffs_.push_back(c);
        counts_.push_back(1);
        vars_.push_back(v.code());
        return *this;
    }
    TermList &add(const Int &c, const VarBase &a, const VarBase &b) {
        coeffs_.push_back(c);
        counts_.push_back(2);
        vars_.push_back(a.code());
        vars_.push_back(b.code());
        return *this;
    }
    std::size_t size() const noexcept { return coeffs_.size(); }
    bool empty() const noexcept { return coeffs_.empty(); }
    void clear() noexcept {
        coeffs_.clear();
        counts_.clear();
        vars_.clear();
    }

private:
    friend class Expr;
    std::vector<vexa_bigint> records() const {
        std::vector<vexa_bigint> r;
        r.reserve(coeffs_.size());
        for (const Int &c : coeffs_) r.push_back(c.record());
        return r;
    }

    std::vector<Int> coeffs_;
    std::vector<uint32_t> counts_;
    std::vector<uint32_t> vars_;
};

// ---------------------------------------------------------------------------
// Expr: an exact constant plus a list of terms.
// ---------------------------------------------------------------------------
class Expr {
public:
    Expr() : h_(vexa_expr_create()) {}
    Expr(const Int &c) : h_(make(c)) {}  // NOLINT: implicit, an integer is an expression
    template <hpp_detail::builtin_integer T>
    Expr(T c) : h_(make(Int(c))) {}  // NOLINT
    Expr(const VarBase &v) : h_(vexa_expr_create_var(v.code())) {}  // NOLINT
    Expr(const Term &t) : h_(vexa_expr_create_term(t.handle(), 0)) {}  // NOLINT
    Expr(Term &&t) : h_(vexa_expr_create_term(t.release(), 1)) {}  // NOLINT

    Expr(const Expr &o) : h_(vexa_expr_clone(o.h_)) {}
    Expr(Expr &&o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
    Expr &operator=(const Expr &o) {
        if (this != &o) {
            Expr tmp(o);
            std::swap(h_, tmp.h_);
        }
        return *this;
    }
    Expr &operator=(Expr &&o) noexcept {
        if (this != &o) {
            vexa_expr_destroy(h_);
            h_ = std::exchange(o.h_, nullptr);
        }
        return *this;
    }
    ~Expr() { vexa_expr_destroy(h_); }

    static Expr adopt(ExprImpl *e) noexcept { return Expr(e, 0); }
    ExprImpl *handle() const noexcept { return h_; }
    ExprImpl *release() noexcept { return std::exchange(h_, nullptr); }

    // A fresh expression from a bulk list (vexa_expr_create_from_bulk).
    static Expr from_terms(const TermList &terms, const Int &constant = 0) {
        const std::vector<vexa_bigint> recs = terms.records();
        const vexa_bigint c = constant.record();
        return adopt(vexa_expr_create_from_bulk(&c, recs.size(), recs.data(), terms.counts_.data(),
                                                terms.vars_.data()));
    }

    Int constant() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_constant(h_, out); });
    }
    uint64_t term_count() const { return vexa_expr_term_count(h_); }
    uint64_t term_count(uint32_t degree) const { return vexa_expr_term_count_degree(h_, degree); }
    uint32_t max_degree() const { return vexa_expr_max_degree(h_); }
    // A copy of term i < term_count().
    Term term(uint64_t i) const { return Term::adopt(vexa_term_clone(vexa_expr_term_at(h_, i))); }
    bool has(const VarBase &v) const { return vexa_expr_has(h_, v.code()) != 0; }
    bool has_int_atom() const { return vexa_expr_has_int_atom(h_) != 0; }
    bool is_declared() const { return vexa_expr_is_declared(h_) != 0; }
    Int gcd() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_gcd(h_, out); });
    }
    // Bounds of the value over the binary reading (interval arithmetic).
    Int lower_bound() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_neg_sum(h_, out); });
    }
    Int upper_bound() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_expr_pos_sum(h_, out); });
    }
    std::string str() const { return vexa_expr_str(h_); }
    friend std::ostream &operator<<(std::ostream &os, const Expr &e) { return os << vexa_expr_str(e.h_); }

    // Compound assignment, in place:
    //   += integer, variable, term, expression: vexa_expr_iadd_int, _var, _term
    //      (_term_move for a temporary term), _expr
    //   -= the same with isub
    //   *= integer, variable, expression: vexa_expr_imul_int, _var, _expr;
    //      *= term: vexa_expr_imul_expr with the term's expression
    //   /= integer: vexa_expr_idiv_int (exact; a remainder is fatal)
    template <class X>
        requires hpp_detail::operand<X>
    Expr &operator+=(X &&x);
    template <class X>
        requires hpp_detail::operand<X>
    Expr &operator-=(X &&x);
    template <class X>
        requires hpp_detail::operand<X>
    Expr &operator*=(X &&x);
    template <class X>
        requires(hpp_detail::kind_v<X> == hpp_detail::Kind::integer)
    Expr &operator/=(const X &d) {
        const Int &v = hpp_detail::to_int(d);
        const vexa_bigint r = v.record();
        vexa_expr_idiv_int(h_, &r);
        return *this;
    }
    // Bulk addition of many terms (vexa_expr_iadd_terms_bulk).
    Expr &operator+=(const TermList &terms) {
        const std::vector<vexa_bigint> recs = terms.records();
        const vexa_bigint zero{0, 0, nullptr};
        vexa_expr_iadd_terms_bulk(h_, &zero, recs.size(), recs.data(), terms.counts_.data(), terms.vars_.data());
        return *this;
    }
    void negate() { vexa_expr_negate(h_); }

private:
    Expr(ExprImpl *h, int) noexcept : h_(h) {}
    static ExprImpl *make(const Int &c) {
        const vexa_bigint r = c.record();
        return vexa_expr_create_int(&r);
    }

    ExprImpl *h_;
};

// ---------------------------------------------------------------------------
// The C calls behind each operator. `a` and `b` are the operands; a temporary
// operand (non-const rvalue) is consumed where a C form allows it.
// ---------------------------------------------------------------------------
namespace hpp_detail {

// One coefficient record for the duration of a call.
struct Rec {
    template <class T>
    explicit Rec(const T &v) : value(to_int(v)), rec(value.record()) {}
    Rec(const Rec &) = delete;  // rec points into value
    Rec &operator=(const Rec &) = delete;
    Int value;
    vexa_bigint rec;
    const vexa_bigint *get() const { return &rec; }
};

// An expression holding one operand: vexa_expr_create_var, or
// vexa_expr_create_term (stealing a temporary term).
template <class X>
Expr expr_of(X &&x) {
    if constexpr (kind_v<X> == Kind::literal) {
        return Expr::adopt(vexa_expr_create_var(x.code()));
    } else if constexpr (movable<X>) {
        return Expr::adopt(vexa_expr_create_term(x.release(), 1));
    } else {
        return Expr::adopt(vexa_expr_create_term(x.handle(), 0));
    }
}

template <class X>
void iadd(Expr &e, X &&x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        vexa_expr_iadd_int(e.handle(), r.get());
    } else if constexpr (k == Kind::literal) {
        vexa_expr_iadd_var(e.handle(), x.code());
    } else if constexpr (k == Kind::term) {
        if constexpr (movable<X>) {
            vexa_expr_iadd_term_move(e.handle(), x.release());
        } else {
            vexa_expr_iadd_term(e.handle(), x.handle());
        }
    } else {
        vexa_expr_iadd_expr(e.handle(), x.handle());
    }
}

template <class X>
void isub(Expr &e, X &&x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        vexa_expr_isub_int(e.handle(), r.get());
    } else if constexpr (k == Kind::literal) {
        vexa_expr_isub_var(e.handle(), x.code());
    } else if constexpr (k == Kind::term) {
        vexa_expr_isub_term(e.handle(), x.handle());
    } else {
        vexa_expr_isub_expr(e.handle(), x.handle());
    }
}

template <class X>
void imul(Expr &e, X &&x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        vexa_expr_imul_int(e.handle(), r.get());
    } else if constexpr (k == Kind::literal) {
        vexa_expr_imul_var(e.handle(), x.code());
    } else if constexpr (k == Kind::term) {  // imul_expr with the term's expression, as e * t does
        const Expr et = expr_of(std::forward<X>(x));
        vexa_expr_imul_expr(e.handle(), et.handle());
    } else {
        vexa_expr_imul_expr(e.handle(), x.handle());
    }
}

// Copy of e with x added or subtracted: vexa_expr_clone_add_* / _sub_*.
template <class X>
Expr clone_add(const Expr &e, const X &x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        return Expr::adopt(vexa_expr_clone_add_int(e.handle(), r.get()));
    } else if constexpr (k == Kind::literal) {
        return Expr::adopt(vexa_expr_clone_add_var(e.handle(), x.code()));
    } else if constexpr (k == Kind::term) {
        return Expr::adopt(vexa_expr_clone_add_term(e.handle(), x.handle()));
    } else {
        return Expr::adopt(vexa_expr_clone_add_expr(e.handle(), x.handle()));
    }
}

template <class X>
Expr clone_sub(const Expr &e, const X &x) {
    constexpr Kind k = kind_v<X>;
    if constexpr (k == Kind::integer) {
        const Rec r(x);
        return Expr::adopt(vexa_expr_clone_sub_int(e.handle(), r.get()));
    } else if constexpr (k == Kind::literal) {
        return Expr::adopt(vexa_expr_clone_sub_var(e.handle(), x.code()));
    } else if constexpr (k == Kind::term) {
        return Expr::adopt(vexa_expr_clone_sub_term(e.handle(), x.handle()));
    } else {
        return Expr::adopt(vexa_expr_clone_sub_expr(e.handle(), x.handle()));
    }
}

template <class L, class R>
Expr add(L &&a, R &&b) {
    constexpr Kind ka = kind_v<L>, kb = kind_v<R>;
    if constexpr (ka == Kind::expr) {
        if constexpr (movable<L>) {  // iadd_* on a
            iadd(a, std::forward<R>(b));
            return std::move(a);
        } else {  // clone_add_*(a, b)
            return clone_add(a, b);
        }
    } else if constexpr (ka == Kind::integer) {
        return add(std::forward<R>(b), a);  // b + a: only the constant differs, and it is a sum
    } else if constexpr (kb == Kind::expr) {  // expression of a, then iadd_expr(b)
        Expr e = expr_of(std::forward<L>(a));
        vexa_expr_iadd_expr(e.handle(), b.handle());
        return e;
    } else if constexpr (ka == Kind::literal && kb == Kind::literal) {
        return Expr::adopt(vexa_expr_create_add_var_var(a.code(), b.code()));
    } else if constexpr (ka == Kind::literal && kb == Kind::integer) {
        const Rec r(b);
        return Expr::adopt(vexa_expr_create_add_var_int(a.code(), r.get()));
    } else if constexpr (ka == Kind::literal) {  // + term: create_var(a), iadd_term(b) (_move for a temporary)
        Expr e = expr_of(a);
        iadd(e, std::forward<R>(b));
        return e;
    } else if constexpr (kb == Kind::literal) {  // term + variable
        if constexpr (movable<L>) {  // create_term(a, steal), iadd_var(b)
            Expr e = expr_of(std::forward<L>(a));
            vexa_expr_iadd_var(e.handle(), b.code());
            return e;
        } else {
            return Expr::adopt(vexa_expr_create_add_term_var(a.handle(), b.code()));
        }
    } else if constexpr (kb == Kind::integer) {  // term + integer
        const Rec r(b);
        if constexpr (movable<L>) {  // create_term(a, steal), iadd_int(b)
            Expr e = expr_of(std::forward<L>(a));
            vexa_expr_iadd_int(e.handle(), r.get());
            return e;
        } else {
            return Expr::adopt(vexa_expr_create_add_term_int(a.handle(), r.get()));
        }
    } else {  // term + term: create_add_term_term, _mm (both temporaries), _ml (a temporary)
        if constexpr (movable<L>) {
            if constexpr (movable<R>) {
                if (&a != &b) {
                    TermImpl *x = a.release();
                    TermImpl *y = b.release();
                    return Expr::adopt(vexa_expr_create_add_term_term_mm(x, y));
                }
            }
            if (&a != &b) return Expr::adopt(vexa_expr_create_add_term_term_ml(a.release(), b.handle()));
        }
        return Expr::adopt(vexa_expr_create_add_term_term(a.handle(), b.handle()));
    }
}

template <class L, class R>
Expr sub(L &&a, R &&b) {
    constexpr Kind ka = kind_v<L>, kb = kind_v<R>;
    if constexpr (ka == Kind::expr) {
        if constexpr (movable<L>) {  // isub_* on a
            isub(a, std::forward<R>(b));
            return std::move(a);
        } else {  // clone_sub_*(a, b)
            return clone_sub(a, b);
        }
    } else if constexpr (kb == Kind::expr) {  // expression of a (create_int for an integer), isub_expr(b)
        Expr e = [&] {
            if constexpr (ka == Kind::integer) {
                return Expr(to_int(a));
            } else {
                return expr_of(std::forward<L>(a));
            }
        }();
        vexa_expr_isub_expr(e.handle(), b.handle());
        return e;
    } else if constexpr (ka == Kind::integer && kb == Kind::literal) {
        const Rec r(a);
        return Expr::adopt(vexa_expr_create_sub_int_var(r.get(), b.code()));
    } else if constexpr (ka == Kind::integer) {  // integer - term
        const Rec r(a);
        return Expr::adopt(vexa_expr_create_sub_int_term(r.get(), b.handle()));
    } else if constexpr (ka == Kind::literal && kb == Kind::integer) {  // create_add_var_int(a, -b)
        const Rec r(-to_int(b));
        return Expr::adopt(vexa_expr_create_add_var_int(a.code(), r.get()));
    } else if constexpr (ka == Kind::literal) {  // create_var(a), isub_var(b) or isub_term(b)
        Expr e = expr_of(a);
        isub(e, b);
        return e;
    } else if constexpr (kb == Kind::literal) {  // create_term(a, steal if temporary), isub_var(b)
        Expr e = expr_of(std::forward<L>(a));
        vexa_expr_isub_var(e.handle(), b.code());
        return e;
    } else if constexpr (kb == Kind::integer) {  // term - integer
        if constexpr (movable<L>) {  // create_term(a, steal), isub_int(b)
            Expr e = expr_of(std::forward<L>(a));
            const Rec r(b);
            vexa_expr_isub_int(e.handle(), r.get());
            return e;
        } else {  // create_add_term_int(a, -b)
            const Rec r(-to_int(b));
            return Expr::adopt(vexa_expr_create_add_term_int(a.handle(), r.get()));
        }
    } else {  // term - term
        if constexpr (movable<L> && movable<R>) {  // negate b, create_add_term_term_mm(a, b)
            if (&a != &b) {
                vexa_term_negate(b.handle());
                TermImpl *x = a.release();
                TermImpl *y = b.release();
                return Expr::adopt(vexa_expr_create_add_term_term_mm(x, y));
            }
        }
        return Expr::adopt(vexa_expr_create_sub_term_term(a.handle(), b.handle()));
    }
}

template <class L, class R>
auto mul(L &&a, R &&b) {
    constexpr Kind ka = kind_v<L>, kb = kind_v<R>;
    if constexpr (ka == Kind::expr) {
        if constexpr (movable<L>) {  // imul_* on a
            imul(a, std::forward<R>(b));
            return std::move(a);
        } else if constexpr (kb == Kind::integer) {
            const Rec r(b);
            return Expr::adopt(vexa_expr_clone_mul_int(a.handle(), r.get()));
        } else if constexpr (kb == Kind::expr) {
            return Expr::adopt(vexa_expr_mul_expr(a.handle(), b.handle()));
        } else {  // mul_expr(a, expression of b)
            const Expr eb = expr_of(std::forward<R>(b));
            return Expr::adopt(vexa_expr_mul_expr(a.handle(), eb.handle()));
        }
    } else if constexpr (ka == Kind::integer) {
        return mul(std::forward<R>(b), a);  // b * a: integer scaling gives the same terms
    } else if constexpr (kb == Kind::expr) {  // expression of a, imul_expr(b)
        Expr e = expr_of(std::forward<L>(a));
        vexa_expr_imul_expr(e.handle(), b.handle());
        return e;
    } else if constexpr (ka == Kind::literal && kb == Kind::integer) {
        const Rec r(b);
        return Term::adopt(vexa_term_create_var(r.get(), a.code()));
    } else if constexpr (ka == Kind::literal && kb == Kind::literal) {
        const Rec one(1);
        return Term::adopt(vexa_term_create_var_var(one.get(), a.code(), b.code()));
    } else if constexpr (ka == Kind::literal) {  // term_create_var(1, a), term_mul_term_move(that, b)
        const Rec one(1);
        Term t = Term::adopt(vexa_term_create_var(one.get(), a.code()));
        vexa_term_mul_term_move(t.handle(), b.handle());
        return t;
    } else if constexpr (movable<L>) {  // term_mul_coeff, term_mul_var, term_mul_term_move on a
        if constexpr (kb == Kind::integer) {
            const Rec r(b);
            vexa_term_mul_coeff(a.handle(), r.get());
        } else if constexpr (kb == Kind::literal) {
            vexa_term_mul_var(a.handle(), b.code());
        } else {
            vexa_term_mul_term_move(a.handle(), b.handle());
        }
        return std::move(a);
    } else if constexpr (kb == Kind::term) {
        return Term::adopt(vexa_term_mul_term(a.handle(), b.handle()));
    } else {  // the same on a clone of a
        return mul(Term(a), std::forward<R>(b));
    }
}

}  // namespace hpp_detail

template <class X>
    requires hpp_detail::operand<X>
Expr &Expr::operator+=(X &&x) {
    hpp_detail::iadd(*this, std::forward<X>(x));
    return *this;
}
template <class X>
    requires hpp_detail::operand<X>
Expr &Expr::operator-=(X &&x) {
    hpp_detail::isub(*this, std::forward<X>(x));
    return *this;
}
template <class X>
    requires hpp_detail::operand<X>
Expr &Expr::operator*=(X &&x) {
    hpp_detail::imul(*this, std::forward<X>(x));
    return *this;
}

// Sums and differences are expressions; products of variables, terms and
// integers are terms, any product with an expression is an expression.
template <class L, class R>
    requires hpp_detail::algebra_pair<L, R>
Expr operator+(L &&a, R &&b) {
    return hpp_detail::add(std::forward<L>(a), std::forward<R>(b));
}
template <class L, class R>
    requires hpp_detail::algebra_pair<L, R>
Expr operator-(L &&a, R &&b) {
    return hpp_detail::sub(std::forward<L>(a), std::forward<R>(b));
}
template <class L, class R>
    requires hpp_detail::algebra_pair<L, R>
auto operator*(L &&a, R &&b) {
    return hpp_detail::mul(std::forward<L>(a), std::forward<R>(b));
}
// Exact division of a term or an expression by an integer.
template <class L, class R>
    requires(hpp_detail::kind_v<L> == hpp_detail::Kind::term || hpp_detail::kind_v<L> == hpp_detail::Kind::expr) &&
            (hpp_detail::kind_v<R> == hpp_detail::Kind::integer)
std::remove_cvref_t<L> operator/(L &&a, const R &d) {
    std::remove_cvref_t<L> r(std::forward<L>(a));
    r /= d;
    return r;
}
// Negation: -v is the term -1*v; a term or an expression is negated in place
// (on its clone unless it is a temporary).
template <class T>
    requires(hpp_detail::kind_v<T> == hpp_detail::Kind::literal)
Term operator-(const T &v) {
    return Term(-1, v);
}
template <class T>
    requires(hpp_detail::kind_v<T> == hpp_detail::Kind::term || hpp_detail::kind_v<T> == hpp_detail::Kind::expr)
std::remove_cvref_t<T> operator-(T &&a) {
    std::remove_cvref_t<T> r(std::forward<T>(a));
    r.negate();
    return r;
}

// Square: vexa_expr_sqr for an expression (upper triangle, doubled cross
// terms), the product a * a for a variable or a term.
inline Expr sqr(const Expr &e) { return Expr::adopt(vexa_expr_sqr(e.handle())); }
template <class T>
    requires(hpp_detail::kind_v<T> == hpp_detail::Kind::literal || hpp_detail::kind_v<T> == hpp_detail::Kind::term)
Term sqr(const T &a) {
    return a * a;
}

// Canonical forms (new expressions): variables as symbols, as 0/1 values
// (x*x = x, ~x = 1 - x), or as +-1 values (s*s = 1, ~s = -s).
inline Expr simplify(const Expr &e) { return Expr::adopt(vexa_expr_simplify(e.handle())); }
inline Expr simplify_as_binary(const Expr &e) { return Expr::adopt(vexa_expr_simplify_as_binary(e.handle())); }
inline Expr simplify_as_spin(const Expr &e) { return Expr::adopt(vexa_expr_simplify_as_spin(e.handle())); }
// x = (s + 1) / 2; the result is 2^D times the input, D its maximal degree.
inline Expr binary_to_spin(const Expr &e) { return Expr::adopt(vexa_expr_binary_to_spin(e.handle())); }
inline Expr spin_to_binary(const Expr &e) { return Expr::adopt(vexa_expr_spin_to_binary(e.handle())); }

// Value of e with the given variable values (vexa_expr_eval_map). No binary
// reading is assumed: ~x counts as 1 - value(x). A variable of e without a
// value is fatal.
template <class Range>
Int eval(const Expr &e, const Range &values) {
    std::vector<uint32_t> codes;
    std::vector<Int> ints;
    for (const auto &[var, value] : values) {
        codes.push_back(var.code());
        ints.emplace_back(value);
    }
    std::vector<vexa_bigint> recs;
    recs.reserve(ints.size());
    for (const Int &v : ints) recs.push_back(v.record());
    std::vector<const vexa_bigint *> ptrs;
    ptrs.reserve(recs.size());
    for (const vexa_bigint &r : recs) ptrs.push_back(&r);
    return hpp_detail::read_int(
        [&](vexa_bigint *out) { vexa_expr_eval_map(e.handle(), codes.data(), ptrs.data(), codes.size(), out); });
}
inline Int eval(const Expr &e, std::initializer_list<std::pair<VarBase, Int>> values) {
    return eval<std::initializer_list<std::pair<VarBase, Int>>>(e, values);
}

// ---------------------------------------------------------------------------
// Model: the frozen, flat form of a simplified expression. Immutable; copies
// share it.
// ---------------------------------------------------------------------------
class Model {
public:
    // e must be in binary canonical form (the result of simplify_as_binary);
    // declared constraints of e become the model's native constraints.
    explicit Model(const Expr &e) : h_(vexa_model_create(e.handle())) {}
    // simplify_as_binary(e), then the model of that.
    static Model from(const Expr &e) { return Model(simplify_as_binary(e)); }

    Model(const Model &o) : h_(vexa_model_clone(o.h_)) {}
    Model(Model &&o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
    Model &operator=(const Model &o) {
        if (this != &o) {
            Model tmp(o);
            std::swap(h_, tmp.h_);
        }
        return *this;
    }
    Model &operator=(Model &&o) noexcept {
        if (this != &o) {
            vexa_model_destroy(h_);
            h_ = std::exchange(o.h_, nullptr);
        }
        return *this;
    }
    ~Model() { vexa_model_destroy(h_); }

    ::Model *handle() const noexcept { return h_; }

    // Binary variables in dense order (ascending codes).
    uint64_t var_count() const { return vexa_model_var_count(h_); }
    Var var(uint64_t i) const { return Var::from_code(vexa_model_var(h_, static_cast<uint32_t>(i))); }
    bool has(const VarBase &v) const { return vexa_model_has(h_, v.code()) != 0; }
    uint64_t int_var_count() const { return vexa_model_int_var_count(h_); }
    IntVar int_var(uint64_t i) const { return IntVar::from_code(vexa_model_int_var_orig(h_, i)); }
    uint32_t max_degree() const { return vexa_model_max_degree(h_); }
    uint64_t term_count(uint32_t degree) const { return vexa_model_term_count(h_, degree); }
    Int constant() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_model_constant(h_, out); });
    }
    uint64_t native_constraint_count() const { return vexa_model_native_cons_count(h_); }

private:
    ::Model *h_;
};

// ---------------------------------------------------------------------------
// Sol: one assignment of a model's variables with its exact energy.
// ---------------------------------------------------------------------------
class Sol {
public:
    // All binary variables 0, integers at their lower bounds; energy computed.
    explicit Sol(const Model &m) : h_(vexa_sol_create(m.handle())) {}

    Sol(const Sol &o) : h_(vexa_sol_clone(o.h_)) {}
    Sol(Sol &&o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
    Sol &operator=(const Sol &o) {
        if (this != &o) {
            Sol tmp(o);
            std::swap(h_, tmp.h_);
        }
        return *this;
    }
    Sol &operator=(Sol &&o) noexcept {
        if (this != &o) {
            vexa_sol_destroy(h_);
            h_ = std::exchange(o.h_, nullptr);
        }
        return *this;
    }
    ~Sol() { vexa_sol_destroy(h_); }

    static Sol adopt(::Sol *s) noexcept { return Sol(s); }
    ::Sol *handle() const noexcept { return h_; }

    // The energy of the assignment. Throws std::logic_error after a change
    // that has not been followed by comp_energy().
    Int energy() const {
        if (vexa_sol_energy_valid(h_) == 0) {
            throw std::logic_error("vexa::Sol::energy: the assignment changed since the energy was computed; "
                                   "call comp_energy()");
        }
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_sol_energy(h_, out); });
    }
    // Recomputes the energy if the assignment changed, and returns it.
    Int comp_energy() {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_sol_compute_energy(h_, out); });
    }
    bool energy_valid() const { return vexa_sol_energy_valid(h_) != 0; }
    // Seconds from the start of the search to this solution; -1 when unset.
    double tts() const { return vexa_sol_tts(h_); }

    bool has(const Var &v) const { return vexa_sol_has(h_, v.code()) != 0; }
    bool has(const IntVar &v) const { return int_index(v) < vexa_sol_int_count(h_); }
    // Value of a literal (~x reads 1 - x) or of an integer variable; throws
    // std::out_of_range when the model does not hold the variable.
    int get(const Var &v) const {
        check(v);
        return vexa_sol_get(h_, v.code());
    }
    Int get(const IntVar &v) const {
        check(v);
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_sol_get_int(h_, v.code(), out); });
    }
    int operator()(const Var &v) const { return get(v); }
    Int operator()(const IntVar &v) const { return get(v); }

    void set(const Var &v, int value) {
        check(v);
        vexa_sol_set(h_, v.code(), value);
    }
    // The value must lie within the variable's bounds (fatal otherwise).
    void set(const IntVar &v, const Int &value) {
        check(v);
        const vexa_bigint r = value.record();
        vexa_sol_set_int(h_, v.code(), &r);
    }
    void flip(const Var &v) {
        check(v);
        vexa_sol_flip(h_, v.code());
    }

    // Value of any binary expression on this assignment (vexa_expr_eval_with_model);
    // variables the model does not hold drop their terms.
    Int eval(const Expr &e) const {
        return hpp_detail::read_int(
            [&](vexa_bigint *out) { vexa_expr_eval_with_model(e.handle(), vexa_sol_model(h_), vexa_sol_bits(h_), out); });
    }

    // One variable of the model with its value.
    struct Entry {
        Var var;
        int value;
        std::string name() const { return var.name(); }
    };
    struct IntEntry {
        IntVar var;
        Int value;
        std::string name() const { return var.name(); }
    };

    // The model's binary variables in dense order, with their values:
    //   for (const auto &[var, value] : sol.vars()) ...
    class VarRange {
    public:
        class iterator {
        public:
            using iterator_category = std::input_iterator_tag;
            using value_type = Entry;
            using difference_type = std::ptrdiff_t;
            using pointer = void;
            using reference = Entry;
            iterator() = default;
            iterator(::Sol *s, uint64_t i) : s_(s), i_(i) {}
            Entry operator*() const {
                const uint32_t code = vexa_sol_model_var(s_, static_cast<uint32_t>(i_));
                return Entry{Var::from_code(code), vexa_sol_get(s_, code)};
            }
            iterator &operator++() {
                ++i_;
                return *this;
            }
            iterator operator++(int) {
                iterator t = *this;
                ++i_;
                return t;
            }
            friend bool operator==(const iterator &a, const iterator &b) { return a.i_ == b.i_; }

        private:
            ::Sol *s_ = nullptr;
            uint64_t i_ = 0;
        };
        explicit VarRange(::Sol *s) : s_(s) {}
        iterator begin() const { return iterator(s_, 0); }
        iterator end() const { return iterator(s_, vexa_sol_var_count(s_)); }
        uint64_t size() const { return vexa_sol_var_count(s_); }

    private:
        ::Sol *s_;
    };
    VarRange vars() const { return VarRange(h_); }

    // The model's integer variables with their values, in dense order.
    std::vector<IntEntry> int_vars() const {
        std::vector<IntEntry> out;
        const uint64_t n = vexa_sol_int_count(h_);
        for (uint64_t i = 0; i < n; ++i) {
            const IntVar v = IntVar::from_code(vexa_model_int_var_orig(vexa_sol_model(h_), i));
            out.push_back(IntEntry{v, get(v)});
        }
        return out;
    }

    // "energy:{{name,value},...}", binary variables then integer ones, in
    // dense order. (vexa_sol_str reads item i as variable i, which holds only
    // while the model's variables are exactly 0, 1, 2, ...; this text names
    // the model's own variables.) Throws std::logic_error on a stale energy.
    std::string str() const {
        std::string out = energy().str() + ":{";
        bool first = true;
        auto item = [&](const std::string &name, const std::string &value) {
            out += first ? "{" : ",{";
            out += name + "," + value + "}";
            first = false;
        };
        for (const auto &[var, value] : vars()) item(var.name(), std::to_string(value));
        for (const auto &[var, value] : int_vars()) item(var.name(), value.str());
        return out + "}";
    }
    friend std::ostream &operator<<(std::ostream &os, const Sol &s) { return os << s.str(); }

protected:
    explicit Sol(::Sol *h) noexcept : h_(h) {}
    ::Sol *h_;

private:
    uint64_t int_index(const IntVar &v) const {
        const uint64_t n = vexa_sol_int_count(h_);
        for (uint64_t i = 0; i < n; ++i) {
            if (vexa_model_int_var_orig(vexa_sol_model(h_), i) == v.code()) return i;
        }
        return n;
    }
    void check(const Var &v) const {
        if (vexa_sol_has(h_, v.code()) == 0) {
            throw std::out_of_range("vexa::Sol: variable " + v.variable().name() + " is not in the model");
        }
    }
    void check(const IntVar &v) const {
        if (!has(v)) throw std::out_of_range("vexa::Sol: integer variable " + v.name() + " is not in the model");
    }
};

// ---------------------------------------------------------------------------
// Searches.
// ---------------------------------------------------------------------------

// Named search settings; the solver hands the ones that are set to the library
// as text pairs, in this order, followed by `extra`:
//   time_limit "time_limit" (seconds)     seed "seed"       threads "threads"
//   target_energy "target_energy"         topk "topk_sols"
//   best_energy_sols "best_energy_sols" (a cap; 0 keeps every solution of the best energy)
//   default_callback "enable_default_callback" = "1" (a progress line per new best)
// Usable with designated initializers: solver.search({.time_limit = 2.0, .seed = 7}).
struct SearchOptions {
    std::optional<double> time_limit = std::nullopt;
    std::optional<uint64_t> seed = std::nullopt;
    std::optional<uint32_t> threads = std::nullopt;
    std::optional<Int> target_energy = std::nullopt;
    std::optional<uint64_t> topk = std::nullopt;
    std::optional<uint64_t> best_energy_sols = std::nullopt;
    bool default_callback = false;
    std::vector<std::pair<std::string, std::string>> extra = {};

    std::vector<std::pair<std::string, std::string>> params() const {
        std::vector<std::pair<std::string, std::string>> p;
        if (time_limit) {
            char buf[64];
            const auto res = std::to_chars(buf, buf + sizeof buf, *time_limit);
            p.emplace_back("time_limit", std::string(buf, res.ptr));
        }
        if (seed) p.emplace_back("seed", std::to_string(*seed));
        if (threads) p.emplace_back("threads", std::to_string(*threads));
        if (target_energy) p.emplace_back("target_energy", target_energy->str());
        if (topk) p.emplace_back("topk_sols", std::to_string(*topk));
        if (best_energy_sols) p.emplace_back("best_energy_sols", std::to_string(*best_energy_sols));
        if (default_callback) p.emplace_back("enable_default_callback", "1");
        p.insert(p.end(), extra.begin(), extra.end());
        return p;
    }
};

// The outcome of a search: the best solution itself, plus the further
// solutions the search kept (topk, best_energy_sols) and its info pairs
// ("run_time", "threads", "engine", "os", "cpu", ...).
class Result : public Sol {
public:
    const std::vector<Sol> &topk() const noexcept { return topk_; }
    const std::vector<std::pair<std::string, std::string>> &info() const noexcept { return info_; }
    std::optional<std::string> info(std::string_view key) const {
        for (const auto &[k, v] : info_) {
            if (k == key) return v;
        }
        return std::nullopt;
    }

    // Takes over a result record of the C interface (and destroys it).
    static Result adopt(nimba_solver_result *r, const Model &m) {
        struct Guard {
            nimba_solver_result *r;
            ~Guard() { vexa_nimba_solver_result_destroy(r); }
        } guard{r};
        Result out(vexa_nimba_solver_result_to_sol(r, m.handle()));
        const uint64_t k = vexa_nimba_solver_result_topk_count(r);
        out.topk_.reserve(k);
        for (uint64_t i = 0; i < k; ++i) out.topk_.push_back(Sol::adopt(vexa_nimba_solver_result_topk_to_sol(r, i, m.handle())));
        const uint64_t n = vexa_nimba_solver_result_info_count(r);
        for (uint64_t i = 0; i < n; ++i) {
            out.info_.emplace_back(vexa_nimba_solver_result_info_key(r, i), vexa_nimba_solver_result_info_value(r, i));
        }
        return out;
    }

private:
    explicit Result(::Sol *s) noexcept : Sol(s) {}
    std::vector<Sol> topk_;
    std::vector<std::pair<std::string, std::string>> info_;
};

namespace hpp_detail {

// The pairs as a vexa_param list ending in a pair of nulls; valid while `pairs` lives.
inline std::vector<vexa_param> param_list(const std::vector<std::pair<std::string, std::string>> &pairs) {
    std::vector<vexa_param> list;
    list.reserve(pairs.size() + 1);
    for (const auto &[k, v] : pairs) list.push_back(vexa_param{k.c_str(), v.c_str()});
    list.push_back(vexa_param{nullptr, nullptr});
    return list;
}

}  // namespace hpp_detail

// The heuristic solver: a binary model goes to the solver module, a model with
// integer variables to the native integer search.
class NimbaSolver {
public:
    explicit NimbaSolver(const Model &m) : model_(m), w_(vexa_nimba_solver_wrapper_create(m.handle())) {}
    NimbaSolver(NimbaSolver &&o) noexcept : model_(std::move(o.model_)), w_(std::exchange(o.w_, nullptr)) {}
    NimbaSolver &operator=(NimbaSolver &&o) noexcept {
        if (this != &o) {
            vexa_nimba_solver_wrapper_destroy(w_);
            model_ = std::move(o.model_);
            w_ = std::exchange(o.w_, nullptr);
        }
        return *this;
    }
    NimbaSolver(const NimbaSolver &) = delete;
    NimbaSolver &operator=(const NimbaSolver &) = delete;
    ~NimbaSolver() { vexa_nimba_solver_wrapper_destroy(w_); }

    const Model &model() const noexcept { return model_; }

    Result search(const SearchOptions &options = {}) const {
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        return Result::adopt(vexa_nimba_solver_wrapper_search(w_, list.data(), nullptr), model_);
    }
    // Starts from `hint`, a solution of this model. Only models with integer
    // variables take a hint; on a binary model it throws std::invalid_argument.
    Result search(const SearchOptions &options, const Sol &hint) const {
        if (model_.int_var_count() == 0) {
            throw std::invalid_argument("vexa::NimbaSolver: a hint needs a model with integer variables");
        }
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        return Result::adopt(vexa_nimba_solver_wrapper_search_int(w_, list.data(), vexa_sol_bits(hint.handle()),
                                                                  vexa_sol_int_vals(hint.handle()),
                                                                  vexa_sol_int_count(hint.handle())),
                             model_);
    }

private:
    Model model_;
    vexa_nimba_solver_wrapper *w_;
};

// The exhaustive solver: visits every assignment. Integer models take only
// best_energy_sols; binary models pass every setting to the solver module.
class ExhaustiveSolver {
public:
    explicit ExhaustiveSolver(const Model &m) : model_(m), w_(vexa_exhaustive_wrapper_create(m.handle())) {}
    ExhaustiveSolver(ExhaustiveSolver &&o) noexcept : model_(std::move(o.model_)), w_(std::exchange(o.w_, nullptr)) {}
    ExhaustiveSolver &operator=(ExhaustiveSolver &&o) noexcept {
        if (this != &o) {
            vexa_exhaustive_wrapper_destroy(w_);
            model_ = std::move(o.model_);
            w_ = std::exchange(o.w_, nullptr);
        }
        return *this;
    }
    ExhaustiveSolver(const ExhaustiveSolver &) = delete;
    ExhaustiveSolver &operator=(const ExhaustiveSolver &) = delete;
    ~ExhaustiveSolver() { vexa_exhaustive_wrapper_destroy(w_); }

    const Model &model() const noexcept { return model_; }

    Result search(const SearchOptions &options = {}) const {
        const auto pairs = options.params();
        const auto list = hpp_detail::param_list(pairs);
        return Result::adopt(vexa_exhaustive_wrapper_search(w_, list.data()), model_);
    }

private:
    Model model_;
    vexa_exhaustive_wrapper *w_;
};

}  // namespace vexa

#endif
