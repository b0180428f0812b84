#include "canonical_model.hpp"

#include <algorithm>

#include "core/fatal.hpp"
#include "core/number_type.hpp"

namespace vexa::mod {

namespace {

// A product of literals, each s + t*x with (s, t) = (0, 1) or (1, -1), as
// (s0 + t0 x0)(s1 + t1 x1) over its distinct variables (at most two).
struct Factors {
    uint32_t vars[2];
    int s[2], t[2];
    size_t distinct = 0;
};

Factors factor_product(std::string_view tag, const Literal *lits, size_t count, uint32_t bin_count) {
    Factors f;
    for (size_t k = 0; k < count; ++k) {
        const Literal &l = lits[k];
        if (l.flat >= bin_count) fatal(tag, "integer variable in a binary model");
        const int ls = l.negated ? 1 : 0, lt = l.negated ? -1 : 1;
        size_t at = 0;
        while (at < f.distinct && f.vars[at] != l.flat) ++at;
        if (at < f.distinct) {
            // (s1 + t1 x)(s2 + t2 x) = s1 s2 + (s1 t2 + s2 t1 + t1 t2) x for binary x.
            const int ns = f.s[at] * ls, nt = f.s[at] * lt + ls * f.t[at] + f.t[at] * lt;
            f.s[at] = ns;
            f.t[at] = nt;
            continue;
        }
        if (f.distinct == 2) fatal(tag, "terms of more than two variables are not supported");
        f.vars[f.distinct] = l.flat;
        f.s[f.distinct] = ls;
        f.t[f.distinct] = lt;
        ++f.distinct;
    }
    return f;
}

// Accumulates monomials of degree <= 2 in plain variables.
struct PolyBuilder {
    coeff_t constant = 0;
    std::vector<std::pair<uint32_t, coeff_t>> lin;
    std::vector<Pair> pairs;

    // Adds coeff * product of the literals (at most two distinct variables).
    void add_product(std::string_view tag, const coeff_t &coeff, const Literal *lits, size_t count,
                     uint32_t bin_count) {
        if (coeff == 0) return;
        const Factors f = factor_product(tag, lits, count, bin_count);
        const size_t distinct = f.distinct;
        const uint32_t *vars = f.vars;
        const int *s = f.s, *t = f.t;
        if (distinct == 0) {
            constant += coeff;
        } else if (distinct == 1) {
            if (s[0] != 0) constant += coeff * s[0];
            if (t[0] != 0) lin.emplace_back(vars[0], coeff * t[0]);
        } else {
            if (s[0] * s[1] != 0) constant += coeff * (s[0] * s[1]);
            if (s[0] * t[1] != 0) lin.emplace_back(vars[1], coeff * (s[0] * t[1]));
            if (t[0] * s[1] != 0) lin.emplace_back(vars[0], coeff * (t[0] * s[1]));
            if (t[0] * t[1] != 0) {
                const uint32_t i = std::min(vars[0], vars[1]), j = std::max(vars[0], vars[1]);
                pairs.push_back({i, j, coeff * (t[0] * t[1])});
            }
        }
    }

    // Sorts and merges the linear list, dropping zeros.
    std::vector<std::pair<uint32_t, coeff_t>> merged_lin() {
        std::stable_sort(lin.begin(), lin.end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
        std::vector<std::pair<uint32_t, coeff_t>> out;
        for (auto &e : lin) {
            if (!out.empty() && out.back().first == e.first) {
                out.back().second += e.second;
            } else {
                if (!out.empty() && out.back().second == 0) out.pop_back();
                out.push_back(std::move(e));
            }
        }
        if (!out.empty() && out.back().second == 0) out.pop_back();
        lin.clear();
        return out;
    }

    // Sorts and merges the pair list, dropping zeros.
    std::vector<Pair> merged_pairs() {
        std::sort(pairs.begin(), pairs.end(), [](const Pair &a, const Pair &b) {
            return a.i != b.i ? a.i < b.i : a.j < b.j;
        });
        std::vector<Pair> out;
        for (Pair &p : pairs) {
            if (!out.empty() && out.back().i == p.i && out.back().j == p.j) {
                out.back().w += p.w;
            } else {
                if (!out.empty() && out.back().w == 0) out.pop_back();
                out.push_back(std::move(p));
            }
        }
        if (!out.empty() && out.back().w == 0) out.pop_back();
        pairs.clear();
        return out;
    }
};

// The value of c if its magnitude is below 2^60, read straight from its limbs.
bool small_word(const coeff_t &c, int64_t &out) {
    const auto &b = c.backend();
    if (b.size() != 1) {
        out = 0;
        return c.is_zero();
    }
    const uint64_t mag = b.limbs()[0];
    if (mag >= (uint64_t(1) << 60)) return false;
    out = c.sign() < 0 ? -static_cast<int64_t>(mag) : static_cast<int64_t>(mag);
    return true;
}

// Orders pairs by key without a comparison sort: a counting pass buckets them
// by their first variable, and each bucket (a handful of entries on sparse
// models) is then sorted by key.
// Every loop below polls `stop` once per kPoll steps.
constexpr uint64_t kPoll = 1 << 14;

bool polled_stop(const StopCheck *stop, uint64_t step) {
    return stop != nullptr && (step % kPoll) == 0 && (*stop)();
}

// False when `stop` ended it early.
bool sort_word_pairs(std::vector<WordPair> &pairs, uint32_t n, const StopCheck *stop) {
    std::vector<uint64_t> start;
    if (!grow_polled(start, size_t(n) + 1, stop)) return false;
    for (uint64_t q = 0; q < pairs.size(); ++q) {
        if (polled_stop(stop, q)) return false;
        ++start[(pairs[q].key >> 32) + 1];
    }
    for (uint32_t v = 0; v < n; ++v) start[v + 1] += start[v];
    std::vector<WordPair> sorted;
    if (!grow_polled(sorted, pairs.size(), stop)) return false;
    {
        std::vector<uint64_t> fill(start.begin(), start.end() - 1);
        for (uint64_t q = 0; q < pairs.size(); ++q) {
            if (polled_stop(stop, q)) return false;
            sorted[fill[pairs[q].key >> 32]++] = pairs[q];
        }
    }
    for (uint32_t v = 0; v < n; ++v) {
        if (polled_stop(stop, v)) return false;
        if (start[v + 1] - start[v] > 1) {
            std::sort(sorted.begin() + static_cast<std::ptrdiff_t>(start[v]),
                      sorted.begin() + static_cast<std::ptrdiff_t>(start[v + 1]),
                      [](const WordPair &x, const WordPair &y) { return x.key < y.key; });
        }
    }
    pairs.swap(sorted);
    return true;
}

}  // namespace

// A coefficient times the small factors of a literal product stays below
// 2^62 when the coefficient is below 2^60, and sums of up to 2^64 such values
// fit in 128 bits. Merged pair weights are kept in int64 only while every
// merged sum stays below 2^62; otherwise the model takes the exact path.
WordResult objective_in_words(std::string_view tag, const ModelArrays &a, WordObjective &out,
                              const StopCheck *stop) {
    if (a.term_counts.size() > 2) return WordResult::not_in_words;
    out.n = a.bin_count;
    out.h.clear();
    if (!grow_polled(out.h, out.n, stop)) return WordResult::stopped;
    out.constant = 0;
    std::vector<WordPair> &pairs = out.pairs;
    pairs.clear();
    if (a.term_counts.size() == 2) pairs.reserve(a.term_counts[1]);
    Literal lits[2];
    std::vector<int128> &h = out.h;
    int128 &constant = out.constant;
    for (size_t d = 0; d < a.term_counts.size(); ++d) {
        for (uint64_t t = 0; t < a.term_counts[d]; ++t) {
            if (polled_stop(stop, t)) return WordResult::stopped;
            int64_t c;
            if (!small_word(a.coef_lists[d][t], c)) return WordResult::not_in_words;
            if (c == 0) continue;
            for (size_t k = 0; k <= d; ++k) lits[k] = term_literal(a, a.var_lists[d][t * (d + 1) + k]);
            const Factors f = factor_product(tag, lits, d + 1, a.bin_count);
            if (f.distinct == 0) {
                constant += c;
            } else if (f.distinct == 1) {
                constant += int128(c) * f.s[0];
                h[f.vars[0]] += int128(c) * f.t[0];
            } else {
                // A plain literal has s = 0: its partner's linear share is
                // zero, and skipping it saves a random access into h (a cache
                // miss per term on big models).
                constant += int128(c) * (f.s[0] * f.s[1]);
                if (f.s[0] != 0) h[f.vars[1]] += int128(c) * (f.s[0] * f.t[1]);
                if (f.s[1] != 0) h[f.vars[0]] += int128(c) * (f.t[0] * f.s[1]);
                if (f.t[0] * f.t[1] != 0) {
                    const uint64_t i = std::min(f.vars[0], f.vars[1]), j = std::max(f.vars[0], f.vars[1]);
                    pairs.push_back({i << 32 | j, c * (f.t[0] * f.t[1])});
                }
            }
        }
    }
    if (!sort_word_pairs(pairs, out.n, stop)) return WordResult::stopped;
    // Merge equal keys in place, dropping zero sums.
    constexpr int128 kNarrow = int128(1) << 62;
    size_t kept = 0;
    for (size_t p = 0, step = 0; p < pairs.size(); ++step) {
        if (polled_stop(stop, step)) return WordResult::stopped;
        int128 w = 0;
        const uint64_t key = pairs[p].key;
        for (; p < pairs.size() && pairs[p].key == key; ++p) w += pairs[p].w;
        if (w == 0) continue;
        if (w >= kNarrow || w <= -kNarrow) return WordResult::not_in_words;
        pairs[kept++] = {key, static_cast<int64_t>(w)};
    }
    pairs.resize(kept);
    return WordResult::in_words;
}

std::vector<CanonicalConstraint> canonical_constraints(std::string_view tag, const ModelArrays &a) {
    std::vector<CanonicalConstraint> out;
    out.reserve(a.constraints.size());
    for (const ConstraintRecord &c : a.constraints) {
        PolyBuilder body;
        body.constant = c.body_constant;
        for (size_t k = 0; k < c.vars.size(); ++k) {
            const Literal l = constraint_literal(a, c.vars[k]);
            body.add_product(tag, c.coeffs[k], &l, 1, a.bin_count);
        }
        std::vector<Literal> row;
        for (size_t r = 0; r < c.quad_coeffs.size(); ++r) {
            row.clear();
            for (uint64_t w = c.quad_head[r]; w < c.quad_head[r + 1]; ++w) {
                row.push_back(constraint_literal(a, c.quad_vars[w]));
            }
            body.add_product(tag, c.quad_coeffs[r], row.data(), row.size(), a.bin_count);
        }
        CanonicalConstraint cc;
        cc.weight = c.weight;
        cc.lower = c.lower;
        cc.upper = c.upper;
        cc.b0 = body.constant;
        cc.lin = body.merged_lin();
        cc.pairs = body.merged_pairs();
        cc.allowed = c.allowed;
        cc.exponent = c.shape_exponent;
        out.push_back(std::move(cc));
    }
    return out;
}

CanonicalModel canonicalize(std::string_view tag, const ModelArrays &a) {
    CanonicalModel m;
    canonicalize(tag, a, m, nullptr);
    return m;
}

bool canonicalize(std::string_view tag, const ModelArrays &a, CanonicalModel &m, const StopCheck *stop) {
    m.n = a.bin_count;
    m.h.assign(m.n, coeff_t(0));
    WordObjective words;
    const WordResult in_words = objective_in_words(tag, a, words, stop);
    if (in_words == WordResult::stopped) return false;
    if (in_words == WordResult::in_words) {
        m.pairs.reserve(words.pairs.size());
        for (const WordPair &p : words.pairs) {
            m.pairs.push_back({static_cast<uint32_t>(p.key >> 32), static_cast<uint32_t>(p.key), coeff_t(p.w)});
        }
        for (uint32_t v = 0; v < m.n; ++v) {
            if (words.h[v] != 0) m.h[v] = to_coeff(words.h[v]);
        }
        m.c0 = a.constant + to_coeff(words.constant);
    } else {
        PolyBuilder poly;
        poly.constant = a.constant;
        std::vector<Literal> lits;
        for (size_t d = 0; d < a.term_counts.size(); ++d) {
            lits.resize(d + 1);
            for (uint64_t t = 0; t < a.term_counts[d]; ++t) {
                if (polled_stop(stop, t)) return false;
                for (size_t s = 0; s <= d; ++s) lits[s] = term_literal(a, a.var_lists[d][t * (d + 1) + s]);
                poly.add_product(tag, a.coef_lists[d][t], lits.data(), d + 1, a.bin_count);
            }
        }
        for (auto &[v, c] : poly.lin) m.h[v] += c;
        poly.lin.clear();
        m.c0 = poly.constant;
        if (stop != nullptr && (*stop)()) return false;
        m.pairs = poly.merged_pairs();
    }
    if (stop != nullptr && (*stop)()) return false;
    m.constraints = canonical_constraints(tag, a);
    return true;
}

coeff_t objective_magnitude(const CanonicalModel &m) {
    coeff_t total = 0;
    for (const coeff_t &v : m.h) total += abs(v);
    for (const Pair &p : m.pairs) total += abs(p.w);
    return total;
}

}  // namespace vexa::mod

