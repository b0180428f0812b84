// Vexa for C++: Sol, one assignment of a model's variables with its exact
// energy.
#ifndef VEXA_SOL_HPP
#define VEXA_SOL_HPP

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/encoded_int.hpp"
#include "vexa/expr.hpp"
#include "vexa/handle.hpp"
#include "vexa/int.hpp"
#include "vexa/model.h"
#include "vexa/model.hpp"
#include "vexa/constraint.h"
#include "vexa/sol.h"
#include "vexa/var.hpp"

namespace vexa {

// ---------------------------------------------------------------------------
// Sol: one assignment of a model's variables with its exact energy.
// ---------------------------------------------------------------------------
class Sol : private hpp_detail::Handle<::Sol, vexa_sol_destroy, vexa_sol_clone> {
    using Base = hpp_detail::Handle<::Sol, vexa_sol_destroy, vexa_sol_clone>;

public:
    // All binary variables 0, integers at their lower bounds; energy computed.
    explicit Sol(const Model &m) : Base(vexa_sol_create(m.handle())) {}

    static Sol adopt(::Sol *s) noexcept { return Sol(s); }
    using Base::handle;

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
    bool has(const NativeIntVar &v) const { return int_index(v) < vexa_sol_int_count(h_); }
    // An encoded integer is held when one of its bits is (one without bits
    // always is).
    bool has(const IntVar &n) const {
        const std::vector<Var> bits = n.bits();
        if (bits.empty()) return true;
        for (const Var &b : bits) {
            if (vexa_sol_has(h_, b.code()) != 0) return true;
        }
        return false;
    }
    // Value of a literal (~x reads 1 - x) or of an integer variable; throws
    // std::out_of_range when the model does not hold the variable.
    int get(const Var &v) const {
        check(v);
        return vexa_sol_get(h_, v.code());
    }
    Int get(const NativeIntVar &v) const {
        check(v);
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_sol_get_int(h_, v.code(), out); });
    }
    // Value of an encoded integer, its polynomial evaluated on the assignment
    // (vexa_sol_eval_expr): lo + the coefficients of its set bits. A bit that the model does not hold does not matter to the energy
    // and reads 0; throws std::out_of_range when the model holds none of them.
    Int get(const IntVar &n) const {
        if (!has(n)) throw std::out_of_range("vexa::Sol: encoded integer " + n.str() + " is not in the model");
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_sol_eval_expr(h_, n.handle(), out); });
    }
    int operator()(const Var &v) const { return get(v); }
    Int operator()(const NativeIntVar &v) const { return get(v); }
    Int operator()(const IntVar &n) const { return get(n); }

    void set(const Var &v, int value) {
        check(v);
        vexa_sol_set(h_, v.code(), value);
    }
    // The value must lie within the variable's bounds (fatal otherwise).
    void set(const NativeIntVar &v, const Int &value) {
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
        NativeIntVar var;
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
            const NativeIntVar v = NativeIntVar::from_code(vexa_model_int_var_orig(vexa_sol_model(h_), i));
            out.push_back(IntEntry{v, get(v)});
        }
        return out;
    }

    // "energy:{{name,value},...}", binary variables then integer ones, in
    // dense order; the binary part is the text of vexa_sol_str. Throws
    // std::logic_error on a stale energy.
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
    explicit Sol(::Sol *h) noexcept : Base(h) {}

private:
    uint64_t int_index(const NativeIntVar &v) const {
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
    void check(const NativeIntVar &v) const {
        if (!has(v)) throw std::out_of_range("vexa::Sol: integer variable " + v.name() + " is not in the model");
    }
};

}  // namespace vexa

#endif
