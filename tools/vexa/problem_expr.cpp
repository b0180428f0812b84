#include "problem_expr.hpp"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cstdint>
#include <deque>
#include <map>
#include <stdexcept>

#include "readers/parallel_parts.hpp"

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
// the problem, which may be gone before the expression is made. The arrays
// are not zero-filled: every slot is written before the library reads it.
struct BulkTerms {
    HugeScratch<vexa_bigint> coeffs;
    HugeScratch<uint32_t> counts;
    HugeScratch<uint32_t> vars;
    HugeScratch<uint64_t> limbs;
    std::deque<Int> wide;

    // Where a run of pair terms starts in each array.
    struct PairSlots {
        std::size_t term = 0, var = 0, limb = 0;
    };

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
    // A coefficient wider than a word, kept here for the records to point at.
    const Int &keep(cpp_int v) { return wide.emplace_back(std::move(v)); }
    const Int &keep(const Int &v) { return wide.emplace_back(v); }
    void add_value(int32_t sign, uint64_t magnitude, uint32_t a) {
        limbs.push_back(magnitude);
        coeffs.push_back(vexa_bigint{sign, 1, &limbs.back()});
        counts.push_back(1);
        vars.push_back(a);
    }
    // Room for `terms` terms of two variables after those added so far; the
    // slots are then written with set_pair, from any thread, in any order.
    PairSlots grow_pairs(std::size_t terms) {
        const PairSlots at{coeffs.size(), vars.size(), limbs.size()};
        if (limbs.size() + terms > limbs.capacity()) throw std::logic_error("bulk limbs reserved too short");
        coeffs.resize(at.term + terms);
        counts.resize(at.term + terms);
        vars.resize(at.var + 2 * terms);
        limbs.resize(at.limb + terms);
        return at;
    }
    // Pair term q of a run: sign * magnitude * a * b (sign 0 for a zero).
    void set_pair(const PairSlots &at, uint64_t q, int32_t sign, uint64_t magnitude, uint32_t a, uint32_t b) {
        limbs[at.limb + q] = magnitude;
        set_pair(at, q, vexa_bigint{sign, sign != 0 ? 1u : 0u, &limbs[at.limb + q]}, a, b);
    }
    void set_pair(const PairSlots &at, uint64_t q, const vexa_bigint &coeff, uint32_t a, uint32_t b) {
        coeffs[at.term + q] = coeff;
        counts[at.term + q] = 2;
        vars[at.var + 2 * q] = a;
        vars[at.var + 2 * q + 1] = b;
    }
};

// The entries in the order of the canonical form that the library sorts
// terms into: diagonal ones by position, then the others by their smaller
// position and then the larger. On input in this order the library's sort
// has next to nothing to do. A counting sort on the smaller position, then a
// sort of each (short) bucket; a big file is counted, placed and sorted by
// several threads, each over its own share of the entries.
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
    std::vector<uint32_t> diagonal;  // entries, by position
    HugeScratch<Pair> pairs;
    std::vector<uint32_t> bucket_end;  // pairs of smaller position lo end at bucket_end[lo]

    // The smaller position of pair q.
    uint32_t lo_of(uint64_t q) const {
        return static_cast<uint32_t>(std::upper_bound(bucket_end.begin(), bucket_end.end(), q) - bucket_end.begin());
    }
};

EntryOrder order_entries(const Problem &p, const IndexMap &map) {
    if (p.entries.size() >= UINT32_MAX) throw std::length_error("more than 2^32 entries");
    const std::size_t n = map.used.size();
    const uint64_t m = p.entries.size();
    // Each part keeps a counter per position: no more parts than the entries
    // pay for.
    const uint32_t parts = static_cast<uint32_t>(std::min<uint64_t>(part_count(m), std::max<uint64_t>(1, m / (n + 1))));
    std::vector<std::vector<uint32_t>> next(parts);     // per part, per smaller position: its next slot
    std::vector<std::vector<uint64_t>> diag(parts);     // per part: position << 32 | entry, in file order
    run_parts(parts, [&](uint32_t part) {
        const auto [begin, end] = part_range(m, parts, part);
        std::vector<uint32_t> &count = next[part];
        count.assign(n, 0);
        for (uint64_t k = begin; k < end; ++k) {
            const Entry &e = p.entries[k];
            const uint64_t a = map.position(e.i), b = map.position(e.j);
            if (a == b) {
                diag[part].push_back(a << 32 | k);
            } else {
                ++count[std::min(a, b)];
            }
        }
    });
    EntryOrder o;
    // Slots: bucket by bucket, and inside a bucket part by part, so that
    // entries of one pair keep their file order.
    o.bucket_end.resize(n);
    uint32_t run = 0;
    for (std::size_t v = 0; v < n; ++v) {
        for (uint32_t part = 0; part < parts; ++part) {
            const uint32_t c = next[part][v];
            next[part][v] = run;
            run += c;
        }
        o.bucket_end[v] = run;
    }
    o.pairs.resize(run);
    run_parts(parts, [&](uint32_t part) {
        const auto [begin, end] = part_range(m, parts, part);
        std::vector<uint32_t> &slot = next[part];
        for (uint64_t k = begin; k < end; ++k) {
            const Entry &e = p.entries[k];
            const uint64_t a = map.position(e.i), b = map.position(e.j);
            if (a == b) continue;
            constexpr int64_t kLimit = int64_t(1) << 62;
            const int64_t v = e.w.fits_int64() ? e.w.to_int64() : EntryOrder::kWide;
            const bool small = v > -kLimit && v < kLimit;
            o.pairs[slot[std::min(a, b)]++] = EntryOrder::Pair{static_cast<uint32_t>(std::max(a, b)),
                                                                static_cast<uint32_t>(k), small ? v : EntryOrder::kWide};
        }
        std::vector<uint32_t>().swap(slot);
    });
    // Each part sorts the buckets of its share of the pairs.
    run_parts(parts, [&](uint32_t part) {
        const auto [q0, q1] = part_range(o.pairs.size(), parts, part);
        if (q0 == q1) return;
        const auto by_hi = [](const EntryOrder::Pair &x, const EntryOrder::Pair &y) { return x.hi < y.hi; };
        // The buckets that start in [q0, q1): from the first whose start,
        // the end of the one before, is at least q0.
        uint64_t lo = q0 == 0 ? 0
                              : 1 + static_cast<uint64_t>(std::lower_bound(o.bucket_end.begin(), o.bucket_end.end(), q0) -
                                                          o.bucket_end.begin());
        for (uint64_t begin = lo == 0 ? 0 : o.bucket_end[lo - 1]; lo < n && begin < q1; ++lo) {
            const uint64_t end = o.bucket_end[lo];
            const auto first = o.pairs.begin() + static_cast<std::ptrdiff_t>(begin);
            const auto last = o.pairs.begin() + static_cast<std::ptrdiff_t>(end);
            if (!std::is_sorted(first, last, by_hi)) std::sort(first, last, by_hi);
            begin = end;
        }
    });
    // The diagonal: a counting sort of the (few) diagonal entries.
    std::vector<uint32_t> diag_next(n + 1, 0);
    for (const auto &d : diag) {
        for (const uint64_t x : d) ++diag_next[(x >> 32) + 1];
    }
    for (std::size_t v = 0; v < n; ++v) diag_next[v + 1] += diag_next[v];
    o.diagonal.resize(diag_next[n]);
    for (const auto &d : diag) {
        for (const uint64_t x : d) o.diagonal[diag_next[x >> 32]++] = static_cast<uint32_t>(x);
    }
    return o;
}

// Appends the pairs of `o` as terms factor * w * x_lo * x_hi, negated when
// `negate`, in canonical order; the parts fill their share of the slots at
// once. A weight past 62 bits is made afterwards, on this thread.
void add_pairs(BulkTerms &bulk, const Problem &p, const EntryOrder &o, uint32_t first, bool negate, int factor) {
    const uint64_t count = o.pairs.size();
    const BulkTerms::PairSlots at = bulk.grow_pairs(count);
    const uint32_t parts = part_count(count);
    std::vector<std::vector<uint64_t>> wide(parts);  // pairs left to this thread
    run_parts(parts, [&](uint32_t part) {
        const auto [begin, end] = part_range(count, parts, part);
        uint32_t lo = begin < count ? o.lo_of(begin) : 0;
        for (uint64_t q = begin; q < end; ++q) {
            while (o.bucket_end[lo] <= q) ++lo;
            const EntryOrder::Pair &pair = o.pairs[q];
            if (pair.w == EntryOrder::kWide) {
                wide[part].push_back(q);
                continue;
            }
            const int64_t w = pair.w * factor;
            const int32_t sign = w == 0 ? 0 : ((w < 0) != negate ? -1 : 1);
            bulk.set_pair(at, q, sign, w < 0 ? uint64_t(0) - uint64_t(w) : uint64_t(w), first + lo, first + pair.hi);
        }
    });
    for (const auto &list : wide) {
        for (const uint64_t q : list) {
            const Int &w = p.entries[o.pairs[q].k].w;
            const Int &kept = factor == 1 ? bulk.keep(w) : bulk.keep(w.to_cpp_int() * factor);
            vexa_bigint rec = kept.record();
            if (negate) rec.sign = -rec.sign;
            bulk.set_pair(at, q, rec, first + o.lo_of(q), first + o.pairs[q].hi);
        }
    }
}

// Terms of a qubo or matrix file: -w x_i x_j, or -w x_i on the diagonal.
void matrix_terms(const Problem &p, const IndexMap &map, uint32_t first, BulkTerms &bulk) {
    const EntryOrder order = order_entries(p, map);
    bulk.reserve(p.entries.size(), p.entries.size());
    // The weights are copied (one word each, as a rule) so that the entries
    // can go before the expression is made, and the library reads them in
    // order instead of gathering them across the entries.
    for (const uint32_t k : order.diagonal) {
        const Entry &e = p.entries[k];
        const uint32_t a = first + static_cast<uint32_t>(map.position(e.i));
        if (e.w.limb_count() <= 1) {
            if (!e.w.is_zero()) bulk.add_value(-e.w.sign(), e.w.limbs()[0], a);
        } else {
            bulk.add(bulk.keep(e.w), true, a);
        }
    }
    add_pairs(bulk, p, order, first, true, 1);
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
            bulk.add_value(d > 0 ? -1 : 1, d > 0 ? uint64_t(d) : uint64_t(0) - uint64_t(d), v);
        }
    }
    std::vector<int64_t>().swap(degree);
    add_pairs(bulk, p, order_entries(p, map), first, false, 2);
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
