// Vexa for C++: Ilp, the linear view of a model (columns, a linear objective,
// two-sided rows), and its LP and MPS files.
//
//   vexa::Ilp ilp = vexa::Ilp::build(model);   // throws when the model is no ILP
//   std::ofstream f("model.lp");
//   ilp.write_lp(f);                           // or write_mps(f), free MPS
//
// Numbers in the files. Every coefficient and bound is written as the exact
// decimal digits of its Int, never through a double. LP and MPS readers parse
// numbers into doubles, so a value that no double holds exactly (a magnitude
// with more than 53 significant bits, such as 2^53 + 1, or above about
// 2^1024) is refused with std::range_error naming the column or row and the
// value; a large value that a double does hold, such as 2^60, is written in
// full. The width of a two-sided MPS row (upper - lower) obeys the same rule.
//
// Names. Column names are the model's variable names made into valid LP names:
// '[' and any other character outside letters, digits and '_' becomes '_',
// closing brackets are dropped (x[0][1] -> x_0_1), and a name that is empty,
// starts with a digit, reads as a number ("e1") or as a keyword of the format
// ("free", "st", ...) gets the prefix "v_". A clash takes the first free
// suffix _2, _3, ... in column order. An integer column read from the bits of
// an encoded integer is named int_<column index>. Rows are r<index>.
//
// Rows. A side that cannot bind (lower_free, upper_free) is not written, so a
// row becomes one-sided; a row with both sides free is left out. A row with
// two binding sides is written in LP as two rows r<i>_lo (>=) and r<i>_hi
// (<=), which every LP reader takes, and in MPS as a G row with a RANGES
// entry; lower == upper gives an equality. A column repeated inside one row is
// merged into one entry.
//
// The objective constant. Neither format has an objective offset that all
// readers accept, so the constant is the objective coefficient of an extra
// column vexa_one fixed to 1. The column (and a row vexa_one_row fixing it)
// is also written when the file would otherwise have no row, as an empty
// constraint section is not read by every LP reader. An optimum reported by
// a reader is therefore the model's energy itself.
#ifndef VEXA_ILP_HPP
#define VEXA_ILP_HPP

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/handle.hpp"
#include "vexa/ilp.h"
#include "vexa/int.hpp"
#include "vexa/model.h"
#include "vexa/model.hpp"
#include "vexa/var.hpp"

namespace vexa {

namespace hpp_detail {

// Whether a double holds v exactly: at most 53 significant bits, and a top
// bit below 2^1024.
inline bool exact_in_double(const Int &v) {
    if (v.is_zero()) return true;
    const uint64_t *l = v.limbs();
    const uint32_t n = v.limb_count();
    uint32_t low = 0;
    while (l[low / 64] == 0) low += 64;
    low += static_cast<uint32_t>(__builtin_ctzll(l[low / 64]));
    const uint32_t high = (n - 1) * 64 + 63 - static_cast<uint32_t>(__builtin_clzll(l[n - 1]));
    return high - low <= 52 && high <= 1023;
}

// v as its digits, or std::range_error naming `what` when a reader would not
// get v back exactly.
inline std::string exact_digits(const Int &v, const std::string &what) {
    if (!exact_in_double(v)) {
        throw std::range_error("vexa::Ilp: " + what + " is " + v.str() +
                               ", which LP and MPS readers cannot hold exactly (a double keeps 53 significant bits)");
    }
    return v.str();
}

// Letters, digits and '_' stay, closing brackets go, anything else becomes '_'.
inline std::string lp_name(std::string_view raw) {
    static constexpr std::array<std::string_view, 31> keywords = {
        "minimize", "maximize", "minimise", "maximise", "minimum", "maximum", "min",      "max",
        "subject",  "to",       "such",     "that",     "st",      "bounds",  "bound",    "general",
        "generals", "gen",      "integer",  "integers", "binary",  "binaries", "bin",     "end",
        "free",     "inf",      "infinity", "semi",     "semis",   "sos",      "semi-continuous"};
    std::string s;
    s.reserve(raw.size());
    for (char ch : raw) {
        const bool keep = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '_';
        if (keep) {
            s.push_back(ch);
        } else if (ch != ']' && ch != ')' && ch != '}') {
            s.push_back('_');
        }
    }
    if (s.size() > 200) s.resize(200);
    bool prefix = s.empty() || (s[0] >= '0' && s[0] <= '9');
    if (!prefix && (s[0] == 'e' || s[0] == 'E')) {
        prefix = std::all_of(s.begin() + 1, s.end(), [](char ch) { return ch >= '0' && ch <= '9'; });
    }
    if (!prefix) {
        std::string lower(s);
        for (char &ch : lower) ch = static_cast<char>(ch >= 'A' && ch <= 'Z' ? ch - 'A' + 'a' : ch);
        prefix = std::find(keywords.begin(), keywords.end(), lower) != keywords.end();
    }
    return prefix ? "v_" + s : s;
}

// Text written in blocks, to keep the stream calls few on large files.
class Writer {
public:
    explicit Writer(std::ostream &os) : os_(os) { buf_.reserve(1 << 16); }
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;
    ~Writer() { flush(); }
    Writer &operator<<(std::string_view s) {
        buf_.append(s);
        if (buf_.size() >= (1 << 16)) flush();
        return *this;
    }
    Writer &operator<<(char c) {
        buf_.push_back(c);
        return *this;
    }
    Writer &operator<<(uint64_t v) {
        char tmp[24];
        const auto res = std::to_chars(tmp, tmp + sizeof tmp, v);
        buf_.append(tmp, res.ptr);
        return *this;
    }
    void flush() {
        os_.write(buf_.data(), static_cast<std::streamsize>(buf_.size()));
        buf_.clear();
    }

private:
    std::ostream &os_;
    std::string buf_;
};

}  // namespace hpp_detail

// ---------------------------------------------------------------------------
// Ilp: the linear view of a model. Move-only; keeps the model alive for the
// names of its variables.
// ---------------------------------------------------------------------------
class Ilp : private hpp_detail::Handle<IlpImpl, vexa_ilp_destroy> {
    using Base = hpp_detail::Handle<IlpImpl, vexa_ilp_destroy>;

public:
    // One row with any repeated column merged, in the order of first use.
    struct Row {
        std::vector<uint32_t> cols;
        std::vector<Int> coeffs;
        Int lower, upper;
        bool lower_free = false, upper_free = false;
    };

    // The view, or std::nullopt when the model is no ILP (the reason is then
    // in last_error()).
    static std::optional<Ilp> try_build(const Model &m) {
        IlpImpl *p = vexa_model_ilp_build(m.handle());
        if (p == nullptr) return std::nullopt;
        return Ilp(p, m);
    }
    // The view; throws std::invalid_argument with the reason when the model is no ILP.
    static Ilp build(const Model &m) {
        std::optional<Ilp> v = try_build(m);
        if (!v) throw std::invalid_argument(last_error());
        return std::move(*v);
    }
    // Why this thread's last build failed; empty after a success.
    static std::string last_error() { return vexa_ilp_last_error(); }

    using Base::handle;
    const Model &model() const noexcept { return model_; }

    // Columns: kind 0 binary, 1 integer. model_var is the dense index of a
    // binary column's variable, or of a native integer column's integer, or
    // all ones for an integer read from bits (see vexa/ilp.h).
    uint64_t col_count() const { return vexa_ilp_ncols(h_); }
    int col_kind(uint32_t c) const { return vexa_ilp_col_kind(h_, c); }
    bool col_is_binary(uint32_t c) const { return col_kind(c) == 0; }
    uint32_t col_model_var(uint32_t c) const { return vexa_ilp_col_model_var(h_, c); }
    std::pair<Int, Int> col_bounds(uint32_t c) const {
        hpp_detail::OutRecord lo, hi;
        vexa_ilp_col_bounds(h_, c, lo.get(), hi.get());
        return {lo.take(), hi.take()};
    }
    uint64_t col_bit_count(uint32_t c) const { return vexa_ilp_col_nbits(h_, c); }
    uint32_t col_bit_var(uint32_t c, uint32_t i) const { return vexa_ilp_col_bit_var(h_, c, i); }
    Int col_bit_coeff(uint32_t c, uint32_t i) const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_ilp_col_bit_coeff(h_, c, i, out); });
    }
    // The bits (0 or 1, in bit order) of an integer value of a column read
    // from bits; a value the bits cannot reach ends the process.
    std::vector<uint8_t> col_decode(uint32_t c, const Int &value) const {
        std::vector<uint8_t> bits(col_bit_count(c));
        const vexa_bigint r = value.record();
        vexa_ilp_col_decode(h_, c, &r, bits.data());
        return bits;
    }

    Int obj(uint32_t c) const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_ilp_obj(h_, c, out); });
    }
    Int obj_constant() const {
        return hpp_detail::read_int([&](vexa_bigint *out) { vexa_ilp_obj_constant(h_, out); });
    }

    uint64_t row_count() const { return vexa_ilp_nrows(h_); }
    Row row(uint64_t r) const {
        Row out;
        const uint64_t nnz = vexa_ilp_row_nnz(h_, r);
        out.cols.reserve(nnz);
        out.coeffs.reserve(nnz);
        bool ascending = true;
        for (uint64_t k = 0; k < nnz; ++k) {
            const uint32_t c = vexa_ilp_row_col(h_, r, k);
            Int v = hpp_detail::read_int([&](vexa_bigint *o) { vexa_ilp_row_coeff(h_, r, k, o); });
            if (!out.cols.empty() && c <= out.cols.back()) ascending = false;
            out.cols.push_back(c);
            out.coeffs.push_back(std::move(v));
        }
        if (!ascending) merge_repeated(out);
        hpp_detail::OutRecord lo, hi;
        uint32_t lf = 0, uf = 0;
        vexa_ilp_row_bounds(h_, r, lo.get(), hi.get(), &lf, &uf);
        out.lower = lo.take();
        out.upper = hi.take();
        out.lower_free = lf != 0;
        out.upper_free = uf != 0;
        return out;
    }

    // The LP name of each column (see the top of this header), and the name
    // of the column that carries the objective constant.
    std::vector<std::string> col_names() const {
        const uint64_t n = col_count();
        std::vector<std::string> names;
        names.reserve(n);
        std::unordered_set<std::string> used;
        used.reserve(n + 1);
        used.insert(std::string(one_name));
        for (uint64_t c = 0; c < n; ++c) {
            const uint32_t col = static_cast<uint32_t>(c);
            const uint32_t mv = col_model_var(col);
            std::string base;
            if (col_is_binary(col)) {
                base = hpp_detail::lp_name(Var::from_code(vexa_model_var(model_.handle(), mv)).name());
            } else if (mv == UINT32_MAX) {
                base = "int_" + std::to_string(c);
            } else {
                base = hpp_detail::lp_name(NativeIntVar::from_code(vexa_model_int_var_orig(model_.handle(), mv)).name());
            }
            std::string name = base;
            for (uint64_t k = 2; used.count(name) != 0; ++k) name = base + "_" + std::to_string(k);
            used.insert(name);
            names.push_back(std::move(name));
        }
        return names;
    }
    static constexpr std::string_view one_name = "vexa_one";

    // CPLEX LP: Minimize, Subject To, Bounds, Generals, Binaries, End.
    void write_lp(std::ostream &os) const {
        const Prepared p = prepare();
        hpp_detail::Writer w(os);
        w << "\\ vexa linear view: " << p.ncols << " columns, " << row_count() << " rows\n";
        w << "Minimize\n obj:";
        uint64_t on_line = 0;
        auto term = [&](const std::string &coeff, std::string_view name, bool first) {
            if (on_line == 8) {
                w << "\n";
                on_line = 0;
            }
            if (coeff[0] == '-') {
                w << " - " << std::string_view(coeff).substr(1);
            } else {
                w << (first ? " " : " + ") << coeff;
            }
            w << ' ' << name;
            ++on_line;
        };
        bool first = true;
        for (uint64_t c = 0; c < p.ncols; ++c) {
            term(p.obj[c], p.names[c], first);
            first = false;
        }
        if (p.need_one) term(p.constant, one_name, first);
        w << "\nSubject To\n";
        auto row_line = [&](const std::string &name, const Row &row, const std::vector<std::string> &coeffs,
                            std::string_view sense, const std::string &rhs) {
            w << ' ' << name << ':';
            on_line = 0;
            if (row.cols.empty()) {
                term("0", one_name, true);
            } else {
                for (size_t k = 0; k < row.cols.size(); ++k) term(coeffs[k], p.names[row.cols[k]], k == 0);
            }
            w << ' ' << sense << ' ' << rhs << '\n';
        };
        const uint64_t nrows = row_count();
        for (uint64_t r = 0; r < nrows; ++r) {
            const Row row = this->row(r);
            if (row.lower_free && row.upper_free) continue;
            const std::string name = "r" + std::to_string(r);
            const std::vector<std::string> coeffs = row_digits(row, name, p.names);
            if (row.lower_free) {
                row_line(name, row, coeffs, "<=", hpp_detail::exact_digits(row.upper, "the upper bound of row " + name));
            } else if (row.upper_free) {
                row_line(name, row, coeffs, ">=", hpp_detail::exact_digits(row.lower, "the lower bound of row " + name));
            } else if (row.lower == row.upper) {
                row_line(name, row, coeffs, "=", hpp_detail::exact_digits(row.lower, "the bound of row " + name));
            } else {
                const std::string lo = hpp_detail::exact_digits(row.lower, "the lower bound of row " + name);
                const std::string hi = hpp_detail::exact_digits(row.upper, "the upper bound of row " + name);
                row_line(name + "_lo", row, coeffs, ">=", lo);
                row_line(name + "_hi", row, coeffs, "<=", hi);
            }
        }
        if (p.one_row) w << ' ' << one_name << "_row: 1 " << one_name << " = 1\n";
        w << "Bounds\n";
        for (uint64_t c = 0; c < p.ncols; ++c) {
            if (p.binary[c]) continue;
            if (p.lower[c] == p.upper[c]) {
                w << ' ' << p.names[c] << " = " << p.lower[c] << '\n';
            } else {
                w << ' ' << p.lower[c] << " <= " << p.names[c] << " <= " << p.upper[c] << '\n';
            }
        }
        if (p.need_one) w << ' ' << one_name << " = 1\n";
        auto name_list = [&](std::string_view header, bool binary) {
            w << header << '\n';
            on_line = 0;
            for (uint64_t c = 0; c < p.ncols; ++c) {
                if (p.binary[c] != binary) continue;
                w << ' ' << p.names[c];
                if (++on_line == 10) {
                    w << '\n';
                    on_line = 0;
                }
            }
            if (!binary && p.need_one) {
                w << ' ' << one_name;
                ++on_line;
            }
            if (on_line != 0) w << '\n';
        };
        name_list("Generals", false);
        name_list("Binaries", true);
        w << "End\n";
    }

    // Free MPS: NAME, ROWS, COLUMNS (every column integer, between markers),
    // RHS, RANGES, BOUNDS, ENDATA. The NAME card ends in FREE, which readers
    // that guess between fixed and free MPS need to read it as free.
    void write_mps(std::ostream &os) const {
        const Prepared p = prepare();
        const uint64_t nrows = row_count();
        // Rows as written, and the matrix by column.
        struct Written {
            std::string name;
            char sense;
            std::string rhs, range;
        };
        std::vector<Written> written;
        std::vector<std::vector<std::pair<uint64_t, std::string>>> by_col(p.ncols);
        std::vector<std::pair<uint64_t, std::string>> one_entries;
        for (uint64_t r = 0; r < nrows; ++r) {
            const Row row = this->row(r);
            if (row.lower_free && row.upper_free) continue;
            Written wr;
            wr.name = "r" + std::to_string(r);
            if (row.lower_free) {
                wr.sense = 'L';
                wr.rhs = hpp_detail::exact_digits(row.upper, "the upper bound of row " + wr.name);
            } else if (row.upper_free) {
                wr.sense = 'G';
                wr.rhs = hpp_detail::exact_digits(row.lower, "the lower bound of row " + wr.name);
            } else if (row.lower == row.upper) {
                wr.sense = 'E';
                wr.rhs = hpp_detail::exact_digits(row.lower, "the bound of row " + wr.name);
            } else {
                wr.sense = 'G';
                wr.rhs = hpp_detail::exact_digits(row.lower, "the lower bound of row " + wr.name);
                hpp_detail::exact_digits(row.upper, "the upper bound of row " + wr.name);
                wr.range = hpp_detail::exact_digits(hpp_detail::int_sub(row.upper, row.lower),
                                                    "the width (upper - lower) of row " + wr.name);
            }
            const std::vector<std::string> coeffs = row_digits(row, wr.name, p.names);
            const uint64_t index = written.size();
            for (size_t k = 0; k < row.cols.size(); ++k) by_col[row.cols[k]].emplace_back(index, coeffs[k]);
            if (row.cols.empty()) one_entries.emplace_back(index, "0");
            written.push_back(std::move(wr));
        }
        if (p.one_row) {
            one_entries.emplace_back(written.size(), "1");
            written.push_back(Written{std::string(one_name) + "_row", 'E', "1", ""});
        }
        hpp_detail::Writer w(os);
        w << "NAME vexa FREE\nROWS\n N obj\n";
        for (const Written &wr : written) w << ' ' << wr.sense << ' ' << wr.name << '\n';
        w << "COLUMNS\n M1 'MARKER' 'INTORG'\n";
        for (uint64_t c = 0; c < p.ncols; ++c) {
            w << ' ' << p.names[c] << " obj " << p.obj[c] << '\n';
            for (const auto &[index, coeff] : by_col[c]) w << ' ' << p.names[c] << ' ' << written[index].name << ' ' << coeff << '\n';
        }
        if (p.need_one) {
            w << ' ' << one_name << " obj " << p.constant << '\n';
            for (const auto &[index, coeff] : one_entries) w << ' ' << one_name << ' ' << written[index].name << ' ' << coeff << '\n';
        }
        w << " M2 'MARKER' 'INTEND'\nRHS\n";
        for (const Written &wr : written) w << " rhs " << wr.name << ' ' << wr.rhs << '\n';
        w << "RANGES\n";
        for (const Written &wr : written) {
            if (!wr.range.empty()) w << " rng " << wr.name << ' ' << wr.range << '\n';
        }
        w << "BOUNDS\n";
        for (uint64_t c = 0; c < p.ncols; ++c) {
            if (p.binary[c]) {
                w << " BV bnd " << p.names[c] << '\n';
            } else if (p.lower[c] == p.upper[c]) {
                w << " FX bnd " << p.names[c] << ' ' << p.lower[c] << '\n';
            } else {
                w << " LO bnd " << p.names[c] << ' ' << p.lower[c] << '\n';
                w << " UP bnd " << p.names[c] << ' ' << p.upper[c] << '\n';
            }
        }
        if (p.need_one) w << " FX bnd " << one_name << " 1\n";
        w << "ENDATA\n";
    }

private:
    Ilp(IlpImpl *p, const Model &m) : Base(p), model_(m) {}

    static void merge_repeated(Row &row) {
        Row merged;
        for (size_t k = 0; k < row.cols.size(); ++k) {
            const auto it = std::find(merged.cols.begin(), merged.cols.end(), row.cols[k]);
            if (it == merged.cols.end()) {
                merged.cols.push_back(row.cols[k]);
                merged.coeffs.push_back(std::move(row.coeffs[k]));
            } else {
                Int &sum = merged.coeffs[static_cast<size_t>(it - merged.cols.begin())];
                sum = hpp_detail::int_add(sum, row.coeffs[k]);
            }
        }
        for (size_t k = merged.cols.size(); k-- > 0;) {
            if (merged.coeffs[k].is_zero()) {
                merged.cols.erase(merged.cols.begin() + static_cast<std::ptrdiff_t>(k));
                merged.coeffs.erase(merged.coeffs.begin() + static_cast<std::ptrdiff_t>(k));
            }
        }
        row.cols = std::move(merged.cols);
        row.coeffs = std::move(merged.coeffs);
    }

    // The digits of a row's coefficients, each checked.
    static std::vector<std::string> row_digits(const Row &row, const std::string &name,
                                               const std::vector<std::string> &names) {
        std::vector<std::string> out;
        out.reserve(row.cols.size());
        for (size_t k = 0; k < row.cols.size(); ++k) {
            if (hpp_detail::exact_in_double(row.coeffs[k])) {
                out.push_back(row.coeffs[k].str());
            } else {
                hpp_detail::exact_digits(row.coeffs[k], "the coefficient of column " + names[row.cols[k]] + " in row " + name);
            }
        }
        return out;
    }

    // What both writers need of the columns, each number checked once.
    struct Prepared {
        uint64_t ncols = 0;
        std::vector<std::string> names, obj, lower, upper;
        std::vector<bool> binary;
        std::string constant;
        bool need_one = false;  // the constant column is written
        bool one_row = false;   // with a row fixing it, as no other row is written
    };
    Prepared prepare() const {
        Prepared p;
        p.ncols = col_count();
        p.names = col_names();
        p.obj.reserve(p.ncols);
        p.binary.resize(p.ncols);
        for (uint64_t c = 0; c < p.ncols; ++c) {
            const uint32_t col = static_cast<uint32_t>(c);
            p.obj.push_back(hpp_detail::exact_digits(obj(col), "the objective coefficient of column " + p.names[c]));
            p.binary[c] = col_is_binary(col);
            if (p.binary[c]) {
                p.lower.emplace_back("0");
                p.upper.emplace_back("1");
            } else {
                const auto [lo, hi] = col_bounds(col);
                p.lower.push_back(hpp_detail::exact_digits(lo, "the lower bound of column " + p.names[c]));
                p.upper.push_back(hpp_detail::exact_digits(hi, "the upper bound of column " + p.names[c]));
            }
        }
        const Int k = obj_constant();
        p.constant = hpp_detail::exact_digits(k, "the objective constant");
        // A row with a side that binds is written; an empty one needs the
        // constant column to stand in its body.
        bool any_row = false, empty_row = false;
        const uint64_t nrows = row_count();
        for (uint64_t r = 0; r < nrows; ++r) {
            uint32_t lf = 0, uf = 0;
            hpp_detail::OutRecord lo, hi;
            vexa_ilp_row_bounds(h_, r, lo.get(), hi.get(), &lf, &uf);
            if (lf != 0 && uf != 0) continue;
            any_row = true;
            if (vexa_ilp_row_nnz(h_, r) == 0) empty_row = true;
        }
        p.one_row = !any_row;
        p.need_one = !k.is_zero() || empty_row || p.one_row;
        return p;
    }

    Model model_;
};

}  // namespace vexa

#endif
