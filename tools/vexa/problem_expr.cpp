#include "problem_expr.hpp"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cstdint>
#include <deque>
#include <map>
#include <stdexcept>

namespace vexa::cli {

namespace {

using boost::multiprecision::cpp_int;

constexpr uint32_t kNone = UINT32_MAX;

// The indices that entries name, ascending, and for each index its position
// in that list. A dense table serves when the file names a fair share of its
// variables; a sparse file is looked up by binary search instead.
struct IndexMap {
    std::vector<uint32_t> used;
    std::vector<uint32_t> dense;  // index -> position, kNone when unused; empty when sparse

    explicit IndexMap(const Problem &p) {
        if (p.n <= 8 * static_cast<uint64_t>(p.entries.size()) + 1024) {
            dense.assign(p.n, kNone);
            for (const Entry &e : p.entries) dense[e.i] = dense[e.j] = 0;
            for (uint32_t k = 0; k < p.n; ++k) {
                if (dense[k] != kNone) {
                    dense[k] = static_cast<uint32_t>(used.size());
                    used.push_back(k);
                }
            }
            return;
        }
        used.reserve(2 * p.entries.size());
        for (const Entry &e : p.entries) {
            used.push_back(e.i);
            used.push_back(e.j);
        }
        std::sort(used.begin(), used.end());
        used.erase(std::unique(used.begin(), used.end()), used.end());
    }

    IndexMap(const IndexMap &) = delete;
    IndexMap &operator=(const IndexMap &) = delete;

    uint64_t position(uint32_t index) const {
        if (!dense.empty()) return dense[index];
        return static_cast<uint64_t>(std::lower_bound(used.begin(), used.end(), index) - used.begin());
    }
};

// The arrays of one bulk creation. Coefficients live in `limbs` (one word
// each) or, when wider, in `wide`; the records point there, and never into
// the problem, which may be gone before the expression is made.
struct BulkTerms {
    HugeVector<vexa_bigint> coeffs;
    HugeVector<uint32_t> counts;
    HugeVector<uint32_t> vars;
    HugeVector<uint64_t> limbs;
    std::deque<Int> wide;

    void reserve(std::size_t terms, std::size_t computed) {
        coeffs.reserve(terms);
        counts.reserve(terms);
        vars.reserve(2 * terms);
        limbs.reserve(computed);  // never grows past this, so records may point into it
    }
    // c * a (* b), with c the weight w negated when `negate`.
    void add(const Int &w, bool negate, uint32_t a) {
        coeffs.push_back(vexa_bigint{negate ? -w.sign() : w.sign(), w.limb_count(), const_cast<uint64_t *>(w.limbs())});
        counts.push_back(1);
        vars.push_back(a);
    }
    void add(const Int &w, bool negate, uint32_t a, uint32_t b) {
        coeffs.push_back(vexa_bigint{negate ? -w.sign() : w.sign(), w.limb_count(), const_cast<uint64_t *>(w.limbs())});
        counts.push_back(2);
        vars.push_back(a);
        vars.push_back(b);
    }
    // A coefficient wider than a word, kept here for the records to point at.
    const Int &keep(cpp_int v) { return wide.emplace_back(std::move(v)); }
    const Int &keep(const Int &v) { return wide.emplace_back(v); }
    void add_value(int32_t sign, uint64_t magnitude, uint32_t a, uint32_t b) {
        limbs.push_back(magnitude);
        coeffs.push_back(vexa_bigint{sign, 1, &limbs.back()});
        counts.push_back(b == kNone ? 1 : 2);
        vars.push_back(a);
        if (b != kNone) vars.push_back(b);
    }
};

// The entries in the order of the canonical form that the library sorts
// terms into: diagonal ones by position, then the others by their smaller
// position and then the larger. On input in this order the library's sort
// has next to nothing to do. A counting sort on the smaller position, then a
// sort of each (short) bucket.
struct EntryOrder {
    // The weight travels with the pair while it fits 62 bits (so that twice
    // it still fits 64): reading it back from the entry would be one cache
    // miss per pair, the main cost of a big file.
    static constexpr int64_t kWide = INT64_MIN;  // the weight is only in the entry
    struct Pair {
        uint32_t hi;  // the larger position
        uint32_t k;   // the entry
        int64_t w;    // its weight, or kWide
    };
    HugeVector<uint32_t> diagonal;  // entries, by position
    HugeVector<Pair> pairs;
    std::vector<uint32_t> bucket_end;  // pairs of smaller position lo end at bucket_end[lo]
};

EntryOrder order_entries(const Problem &p, const IndexMap &map) {
    if (p.entries.size() >= UINT32_MAX) throw std::length_error("more than 2^32 entries");
    const std::size_t n = map.used.size();
    std::vector<uint32_t> diag_next(n + 1, 0);
    EntryOrder o;
    o.bucket_end.assign(n + 1, 0);
    for (const Entry &e : p.entries) {
        const uint64_t a = map.position(e.i), b = map.position(e.j);
        ++(a == b ? diag_next[a + 1] : o.bucket_end[std::min(a, b) + 1]);
    }
    for (std::size_t v = 0; v < n; ++v) {
        diag_next[v + 1] += diag_next[v];
        o.bucket_end[v + 1] += o.bucket_end[v];
    }
    o.diagonal.resize(diag_next[n]);
    o.pairs.resize(o.bucket_end[n]);
    // bucket_end[v] is where bucket v starts; placing moves it to its end.
    for (uint32_t k = 0; k < p.entries.size(); ++k) {
        const Entry &e = p.entries[k];
        const uint64_t a = map.position(e.i), b = map.position(e.j);
        if (a == b) {
            o.diagonal[diag_next[a]++] = k;
        } else {
            constexpr int64_t kLimit = int64_t(1) << 62;
            const int64_t v = e.w.fits_int64() ? e.w.to_int64() : EntryOrder::kWide;
            const bool small = v > -kLimit && v < kLimit;
            o.pairs[o.bucket_end[std::min(a, b)]++] =
                EntryOrder::Pair{static_cast<uint32_t>(std::max(a, b)), k, small ? e.w.to_int64() : EntryOrder::kWide};
        }
    }
    o.bucket_end.pop_back();
    uint32_t begin = 0;
    for (const uint32_t end : o.bucket_end) {
        const auto first = o.pairs.begin() + begin, last = o.pairs.begin() + end;
        const auto by_hi = [](const EntryOrder::Pair &x, const EntryOrder::Pair &y) { return x.hi < y.hi; };
        if (!std::is_sorted(first, last, by_hi)) std::sort(first, last, by_hi);
        begin = end;
    }
    return o;
}

// Calls f(lo, hi, pair) for the off-diagonal entries in canonical order.
template <class F>
void for_each_pair(const EntryOrder &o, F &&f) {
    uint32_t lo = 0;
    for (uint64_t q = 0; q < o.pairs.size(); ++q) {
        while (o.bucket_end[lo] <= q) ++lo;
        f(lo, o.pairs[q].hi, o.pairs[q]);
    }
}

// -w (or w) of a weight that fits 62 bits, as a sign and a magnitude.
void add_small(BulkTerms &bulk, int64_t w, bool negate, uint32_t a, uint32_t b) {
    if (w == 0) return;
    const bool negative = (w < 0) != negate;
    bulk.add_value(negative ? -1 : 1, w < 0 ? uint64_t(0) - uint64_t(w) : uint64_t(w), a, b);
}

// Terms of a qubo or matrix file: -w x_i x_j, or -w x_i on the diagonal.
void matrix_terms(const Problem &p, const IndexMap &map, uint32_t first, BulkTerms &bulk) {
    const EntryOrder order = order_entries(p, map);
    bulk.reserve(p.entries.size(), p.entries.size());
    // The weights are copied (one word each, as a rule) so that the entries
    // can go before the expression is made, and the library reads them in
    // order instead of gathering them across the entries.
    auto add = [&](const Entry &e, uint32_t a, uint32_t b) {
        if (e.w.limb_count() <= 1) {
            if (!e.w.is_zero()) bulk.add_value(-e.w.sign(), e.w.limbs()[0], a, b);
        } else if (b == kNone) {
            bulk.add(bulk.keep(e.w), true, a);
        } else {
            bulk.add(bulk.keep(e.w), true, a, b);
        }
    };
    for (const uint32_t k : order.diagonal) {
        const Entry &e = p.entries[k];
        add(e, first + static_cast<uint32_t>(map.position(e.i)), kNone);
    }
    for_each_pair(order, [&](uint32_t lo, uint32_t hi, const EntryOrder::Pair &pair) {
        if (pair.w != EntryOrder::kWide) {
            add_small(bulk, pair.w, true, first + lo, first + hi);
        } else {
            add(p.entries[pair.k], first + lo, first + hi);
        }
    });
}

// Terms of an edge list: -cut = sum over edges of -w x_i - w x_j + 2w x_i x_j,
// with the linear parts summed per vertex first. A loop cuts nothing.
void cut_terms(const Problem &p, const IndexMap &map, uint32_t first, BulkTerms &bulk) {
    const std::size_t m = p.entries.size();
    bulk.reserve(m + map.used.size(), m + map.used.size());
    // Per vertex, the sum of the weights of its edges: in 64 bits while it
    // fits, exactly from the first overflow on.
    std::vector<int64_t> degree(map.used.size(), 0);
    std::map<uint64_t, cpp_int> exact;
    auto add_weight = [&](uint64_t k, const Int &w) {
        auto it = exact.find(k);
        int64_t sum = 0;
        if (it == exact.end() && w.fits_int64() && !__builtin_add_overflow(degree[k], w.to_int64(), &sum)) {
            degree[k] = sum;
            return;
        }
        if (it == exact.end()) it = exact.emplace(k, cpp_int(degree[k])).first;
        it->second += w.to_cpp_int();
    };
    for (const Entry &e : p.entries) {
        if (e.i == e.j) continue;
        add_weight(map.position(e.i), e.w);
        add_weight(map.position(e.j), e.w);
    }
    for (uint64_t k = 0; k < degree.size(); ++k) {
        const auto v = first + static_cast<uint32_t>(k);
        const auto it = exact.find(k);
        if (it != exact.end()) {
            bulk.add(bulk.keep(it->second), true, v);
        } else if (degree[k] != 0) {
            const int64_t d = degree[k];
            // -d: the magnitude of d with the opposite sign.
            bulk.add_value(d > 0 ? -1 : 1, d > 0 ? uint64_t(d) : uint64_t(0) - uint64_t(d), v, kNone);
        }
    }
    std::vector<int64_t>().swap(degree);
    const EntryOrder order = order_entries(p, map);
    for_each_pair(order, [&](uint32_t lo, uint32_t hi, const EntryOrder::Pair &pair) {
        const uint32_t va = first + lo, vb = first + hi;
        if (pair.w != EntryOrder::kWide) {
            add_small(bulk, 2 * pair.w, false, va, vb);
        } else {
            bulk.add(bulk.keep(p.entries[pair.k].w.to_cpp_int() * 2), false, va, vb);
        }
    });
}

ProblemEnergy build(const Problem &p, HugeVector<Entry> *release) {
    IndexMap map(p);
    Vars vars("x", map.used.size());
    const uint32_t first = map.used.empty() ? 0 : vars[0].code();
    ExprImpl *raw = nullptr;
    {
        BulkTerms bulk;
        if (p.format == Format::gset) {
            cut_terms(p, map, first, bulk);
        } else {
            matrix_terms(p, map, first, bulk);
        }
        // The bulk holds every coefficient now: the entries can go before the
        // expression takes up its own memory.
        if (release != nullptr) HugeVector<Entry>().swap(*release);
        std::vector<uint32_t>().swap(map.dense);
        const vexa_bigint zero{0, 0, nullptr};
        raw = vexa_expr_create_from_bulk(&zero, bulk.coeffs.size(), bulk.coeffs.data(), bulk.counts.data(),
                                         bulk.vars.data());
    }
    Expr energy = simplify_as_binary(Expr::adopt(raw));
    return ProblemEnergy{std::move(map.used), std::move(vars), std::move(energy)};
}

}  // namespace

ProblemEnergy build_energy(const Problem &p) { return build(p, nullptr); }

ProblemEnergy build_energy(Problem &&p) {
    ProblemEnergy pe = build(p, &p.entries);
    return pe;
}

std::vector<int> file_assignment(const ProblemEnergy &pe, uint64_t n, const Sol &sol) {
    std::vector<int> values(n, 0);
    for (uint64_t k = 0; k < pe.used.size(); ++k) {
        if (sol.has(pe.vars[k])) values[pe.used[k]] = sol.get(pe.vars[k]);
    }
    return values;
}

const char *objective_name(Format f) { return f == Format::gset ? "cut" : "maximum"; }

}  // namespace vexa::cli
