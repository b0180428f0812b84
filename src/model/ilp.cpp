#include "model/ilp.hpp"

#include <algorithm>
#include <numeric>
#include <set>

#include "constraint/varint.hpp"
#include "core/fatal.hpp"
#include "core/literal.hpp"
#include "model/model.hpp"

namespace vexa {

const char *const kIlpNonlinearMessage =
    "MIP/ILP solvers do not support nonlinear (degree>=2) constraint bodies inside cons(). Call expand_cons() on "
    "the expression to get the classic penalty form, or use a bundled heuristic solver "
    "(NimbaSolver/ExhaustiveSolver/TessixSolver).";
const char *const kIlpAllowedSetMessage =
    "MIP/ILP solvers do not support allowed-value set constraints (equal{...}) inside cons(). Use a bundled "
    "heuristic solver (NimbaSolver/ExhaustiveSolver/TessixSolver).";

namespace {

thread_local std::string last_error;

const char *const kShapeMessage =
    "vexa::abs/relu terms are not supported in ILP mode yet; use the QUBO mode (drop the ilp option) or a bundled "
    "heuristic solver.";
const char *const kNegativeWeightMessage =
    "a cons() constraint carries a NEGATIVE weight; ILP mode enforces constraints as hard rows and ignores weights, "
    "so a negative weight (rewarding violation) cannot be expressed. Use a bundled solver "
    "(NimbaSolver/ExhaustiveSolver/TessixSolver).";

std::unique_ptr<IlpImpl> fail(const std::string &why) {
    last_error = why;
    return nullptr;
}

// A body's linear part summed by word, ascending by word: a word that
// repeats adds up (to an entry of 0 if it cancels).
using RowSums = std::vector<std::pair<uint32_t, coeff_t>>;

// Sorts (word, coefficient) pairs by word and sums the repeats, keeping the
// order in which equal words arrived, as an ordered map would.
void merge_sums(RowSums &s) {
    std::stable_sort(s.begin(), s.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    size_t out = 0;
    for (size_t k = 0; k < s.size(); ++k) {
        if (out > 0 && s[out - 1].first == s[k].first) {
            s[out - 1].second += s[k].second;
        } else {
            if (out != k) s[out] = std::move(s[k]);
            ++out;
        }
    }
    s.resize(out);
}

// A VarInt whose bits the model sees only as their weighted sum.
struct Recognised {
    IlpCol col;
    coeff_t r;                      // objective coefficient per unit of the integer
    std::vector<coeff_t> r_cons;    // the same in each constraint row
};

bool records_as_whole(const VarIntEntry &e, const std::vector<uint32_t> &dense, const std::vector<coeff_t> &lin_bin,
                      const std::vector<RowSums> &sums, std::vector<coeff_t> &r_cons) {
    auto sum_of = [](const RowSums &s, uint32_t word) {
        const auto it = std::lower_bound(s.begin(), s.end(), word, [](const auto &e, uint32_t w) { return e.first < w; });
        return it == s.end() || it->first != word ? coeff_t(0) : it->second;
    };
    const coeff_t &r = lin_bin[dense[0]];
    for (size_t i = 0; i < dense.size(); ++i) {
        if (lin_bin[dense[i]] != e.coeffs[i] * r) return false;
    }
    r_cons.clear();
    for (const RowSums &s : sums) {
        const coeff_t rc = sum_of(s, dense[0]);
        for (size_t i = 0; i < dense.size(); ++i) {
            if (sum_of(s, dense[i]) != e.coeffs[i] * rc) return false;
        }
        r_cons.push_back(rc);
    }
    return true;
}

// Least and greatest value of sum coeffs[k] * column over the columns' bounds.
void row_reach(const IlpImpl &p, const IlpRow &row, coeff_t &least, coeff_t &greatest) {
    least = 0;
    greatest = 0;
    for (size_t k = 0; k < row.cols.size(); ++k) {
        const IlpCol &c = p.cols[row.cols[k]];
        if (c.kind == 0) {  // bounds 0 and 1: the coefficient itself on one side
            if (row.coeffs[k] < 0) {
                least += row.coeffs[k];
            } else {
                greatest += row.coeffs[k];
            }
            continue;
        }
        coeff_t a = row.coeffs[k] * c.lower, b = row.coeffs[k] * c.upper;
        if (b < a) std::swap(a, b);
        least += a;
        greatest += b;
    }
}

}  // namespace

const std::string &ilp_last_error() { return last_error; }

std::unique_ptr<IlpImpl> build_ilp(const ModelImpl &m) {
    last_error.clear();
    const auto &cons = m.native_constraints;
    for (const NativeConstraint &nc : cons) {
        if (!nc.quad_coeffs.empty()) fatal(kIlpNonlinearMessage);
        if (!nc.allowed.empty()) fatal(kIlpAllowedSetMessage);
        if (nc.shape_hinge != 0) return fail(kShapeMessage);
        if (nc.weight < 0) return fail(kNegativeWeightMessage);
        if (nc.shape_exponent != 2) return fail(kShapeMessage);
    }
    for (uint32_t w : m.remainder_vars) {
        if (literal_is_int(w)) {
            return fail(
                "not an ILP: a free-form penalty term contains a native integer variable; it cannot be enforced as a "
                "hard linear row. Use a bundled solver, or vexa::binarize() first.");
        }
    }

    // Objective terms above degree 1 must be remainder terms: their rows
    // force the product to 0, so they vanish from the objective.
    std::set<std::vector<uint32_t>> remainder_terms;
    const uint64_t n_rem = m.remainder_coeffs.size();
    for (uint64_t t = 0; t < n_rem; ++t) {
        remainder_terms.emplace(m.remainder_vars.begin() + static_cast<std::ptrdiff_t>(m.remainder_head[t]),
                                m.remainder_vars.begin() + static_cast<std::ptrdiff_t>(m.remainder_head[t + 1]));
    }
    for (uint32_t d = 2; d <= m.max_degree; ++d) {
        const FlatArray<uint32_t> &words = m.term_vars[d - 1];
        const uint64_t count = m.term_counts[d - 1];
        for (uint64_t t = 0; t < count; ++t) {
            const std::vector<uint32_t> key(words.data() + t * d, words.data() + (t + 1) * d);
            if (remainder_terms.count(key) == 0) {
                return fail("not an ILP: the objective has a degree-" + std::to_string(d) +
                            " term (only free-form penalty terms enforced to 0 by their hard rows are allowed). Keep "
                            "the objective linear, or solve without the ILP option.");
            }
        }
    }
    if (m.has_remainder && !m.remainder_constant.is_zero()) {
        return fail(
            "not an ILP: the free-form penalty carries a constant term, so 'penalty == 0' cannot be enforced; remove "
            "the constant.");
    }

    const uint64_t n_var = m.var_count(), n_int = m.int_count();
    std::vector<coeff_t> lin_bin(n_var), lin_int(n_int);
    coeff_t constant = m.constant;
    if (m.max_degree >= 1) {
        const FlatArray<uint32_t> &words = m.term_vars[0];
        const FlatArray<coeff_t> &coeffs = m.term_coeffs[0];
        for (uint64_t t = 0; t < m.term_counts[0]; ++t) {
            const uint32_t w = words[t];
            if (literal_is_int(w)) {
                lin_int[literal_int_index(w)] += coeffs[t];
            } else if (literal_negated(w)) {  // c * ~x = c - c * x
                constant += coeffs[t];
                lin_bin[literal_var_index(w)] -= coeffs[t];
            } else {
                lin_bin[w] += coeffs[t];
            }
        }
    }

    std::vector<uint8_t> nonlinear(n_var, 0);
    for (uint32_t w : m.remainder_vars) nonlinear[literal_var_index(w)] = 1;
    for (uint32_t d = 2; d <= m.max_degree; ++d) {
        const FlatArray<uint32_t> &words = m.term_vars[d - 1];
        for (uint64_t k = 0; k < m.term_counts[d - 1] * d; ++k) {
            if (!literal_is_int(words[k])) nonlinear[literal_var_index(words[k])] = 1;
        }
    }

    // Row sums by plain word; a negated literal c * ~x adds c to the row's
    // constant and -c to x.
    std::vector<RowSums> sums(cons.size());
    std::vector<coeff_t> row_constant(cons.size());
    for (size_t i = 0; i < cons.size(); ++i) {
        row_constant[i] = cons[i].body_constant;
        sums[i].reserve(cons[i].vars.size());
        for (size_t k = 0; k < cons[i].vars.size(); ++k) {
            const uint32_t w = cons[i].vars[k];
            if (!literal_is_int(w) && literal_negated(w)) {
                row_constant[i] += cons[i].coeffs[k];
                sums[i].emplace_back(literal_var_index(w), -cons[i].coeffs[k]);
            } else {
                sums[i].emplace_back(w, cons[i].coeffs[k]);
            }
        }
        merge_sums(sums[i]);
    }

    // Encoded integers seen only as their weighted sum become one column.
    std::vector<uint32_t> claimed(n_var, kNoIndex);
    std::vector<Recognised> recognised;
    const std::vector<VarIntEntry> &entries = VarIntSet::instance().entries;
    std::vector<uint32_t> dense;
    for (const VarIntEntry &e : entries) {
        if (e.vars.empty()) continue;
        dense.clear();
        bool usable = true;
        for (uint32_t code : e.vars) {
            const uint32_t v = literal_var_index(code);
            const uint32_t d = v < m.index_map.size() ? m.index_map[v] : kNoIndex;
            if (d == kNoIndex || nonlinear[d] != 0 || claimed[d] != kNoIndex) {
                usable = false;
                break;
            }
            dense.push_back(d);
        }
        if (!usable) continue;
        Recognised rec;
        if (!records_as_whole(e, dense, lin_bin, sums, rec.r_cons)) continue;
        rec.r = lin_bin[dense[0]];
        rec.col.kind = 1;
        rec.col.model_var = kNoIndex;
        rec.col.lower = e.lower;
        rec.col.upper = e.upper;
        rec.col.offset = e.lower;
        rec.col.bit_vars = dense;
        rec.col.bit_coeffs = e.coeffs;
        for (uint32_t d : dense) claimed[d] = static_cast<uint32_t>(recognised.size());
        recognised.push_back(std::move(rec));
    }

    auto p = std::make_unique<IlpImpl>();
    p->cols.reserve(n_var + recognised.size() + n_int);
    p->obj.reserve(n_var + recognised.size() + n_int);
    p->rows.reserve(cons.size() + n_rem);
    std::vector<uint32_t> bin_col(n_var, kNoIndex);
    for (uint32_t v = 0; v < n_var; ++v) {
        if (claimed[v] != kNoIndex) continue;
        bin_col[v] = static_cast<uint32_t>(p->cols.size());
        IlpCol c;
        c.kind = 0;
        c.model_var = v;
        c.lower = 0;
        c.upper = 1;
        p->cols.push_back(std::move(c));
        p->obj.push_back(lin_bin[v]);
    }
    const uint32_t base = static_cast<uint32_t>(p->cols.size());
    p->obj_constant = constant;
    for (Recognised &rec : recognised) {
        p->obj_constant -= rec.r * rec.col.offset;
        p->obj.push_back(rec.r);
        p->cols.push_back(rec.col);
    }
    const uint32_t int_base = static_cast<uint32_t>(p->cols.size());
    for (uint32_t i = 0; i < n_int; ++i) {
        IlpCol c;
        c.kind = 1;
        c.model_var = i;
        c.lower = m.int_lower[i];
        c.upper = m.int_upper[i];
        c.offset = 0;
        p->cols.push_back(std::move(c));
        p->obj.push_back(lin_int[i]);
    }

    for (size_t i = 0; i < cons.size(); ++i) {
        coeff_t a = row_constant[i];
        // Entries by column, ascending, a column met twice summed.
        RowSums row;
        row.reserve(sums[i].size() + recognised.size());
        for (const auto &[w, c] : sums[i]) {
            if (literal_is_int(w)) {
                row.emplace_back(int_base + literal_int_index(w), c);
            } else if (claimed[w] == kNoIndex) {
                row.emplace_back(bin_col[w], c);
            }
        }
        for (size_t k = 0; k < recognised.size(); ++k) {
            const coeff_t &rc = recognised[k].r_cons[i];
            if (rc.is_zero()) continue;
            row.emplace_back(base + static_cast<uint32_t>(k), rc);
            a -= rc * recognised[k].col.offset;
        }
        merge_sums(row);
        IlpRow r;
        r.cols.reserve(row.size());
        r.coeffs.reserve(row.size());
        for (auto &[col, c] : row) {
            if (c.is_zero()) continue;
            r.cols.push_back(col);
            r.coeffs.push_back(std::move(c));
        }
        r.lower = cons[i].lower - a;
        r.upper = cons[i].upper - a;
        coeff_t least, greatest;
        row_reach(*p, r, least, greatest);
        r.lower_free = r.lower <= least ? 1 : 0;
        r.upper_free = r.upper >= greatest ? 1 : 0;
        p->rows.push_back(std::move(r));
    }

    // Each free-form penalty term must be 0: the product of its literals is
    // 0 exactly when fewer than all are 1, counting ~x as 1 - x.
    for (uint64_t t = 0; t < n_rem; ++t) {
        if (m.remainder_coeffs[t] <= 0) {
            return fail("not an ILP: free-form penalty terms must have positive coefficients to be enforced as hard "
                        "constraints.");
        }
        // Its variables are flagged nonlinear, so none is part of an
        // encoded integer column.
        IlpRow r;
        int64_t plain = 0;
        for (uint64_t k = m.remainder_head[t]; k < m.remainder_head[t + 1]; ++k) {
            const uint32_t w = m.remainder_vars[k];
            r.cols.push_back(bin_col[literal_var_index(w)]);
            if (literal_negated(w)) {
                r.coeffs.push_back(-1);
            } else {
                r.coeffs.push_back(1);
                ++plain;
            }
        }
        r.lower = 0;
        r.lower_free = 1;
        r.upper = coeff_t(plain - 1);
        r.upper_free = 0;
        p->rows.push_back(std::move(r));
    }
    return p;
}

void ilp_decode(const IlpCol &col, const coeff_t &value, uint8_t *bits_out) {
    coeff_t rem = value - col.offset;
    std::vector<uint32_t> order(col.bit_coeffs.size());
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return col.bit_coeffs[a] > col.bit_coeffs[b]; });
    std::fill(bits_out, bits_out + col.bit_coeffs.size(), uint8_t{0});
    for (uint32_t i : order) {
        if (col.bit_coeffs[i] <= rem) {
            bits_out[i] = 1;
            rem -= col.bit_coeffs[i];
        }
    }
    if (!rem.is_zero()) fatal("vexa_ilp_col_decode: integer value out of the encoded range");
}

}  // namespace vexa
