#include "problem_expr.hpp"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cstdint>
#include <deque>
#include <map>

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

// The arrays of one bulk creation. Coefficient records point into the
// problem's own weights (a sign flip negates for free); values that have to be
// computed live in `limbs` (one word each) or, when wider, in `wide`.
struct BulkTerms {
    std::vector<vexa_bigint> coeffs;
    std::vector<uint32_t> counts;
    std::vector<uint32_t> vars;
    std::vector<uint64_t> limbs;
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
    // A computed coefficient.
    const Int &keep(cpp_int v) { return wide.emplace_back(std::move(v)); }
    void add_value(int32_t sign, uint64_t magnitude, uint32_t a, uint32_t b) {
        limbs.push_back(magnitude);
        coeffs.push_back(vexa_bigint{sign, 1, &limbs.back()});
        counts.push_back(b == kNone ? 1 : 2);
        vars.push_back(a);
        if (b != kNone) vars.push_back(b);
    }
};

// Terms of a qubo or matrix file: -w x_i x_j, or -w x_i on the diagonal.
void matrix_terms(const Problem &p, const IndexMap &map, uint32_t first, BulkTerms &bulk) {
    bulk.reserve(p.entries.size(), 0);
    for (const Entry &e : p.entries) {
        const uint32_t a = first + static_cast<uint32_t>(map.position(e.i));
        if (e.i == e.j) {
            bulk.add(e.w, true, a);
        } else {
            bulk.add(e.w, true, a, first + static_cast<uint32_t>(map.position(e.j)));
        }
    }
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
        if (it == exact.end() && w.fits_int64() && !__builtin_add_overflow(degree[k], w.to_int64(), &degree[k])) return;
        if (it == exact.end()) it = exact.emplace(k, cpp_int(degree[k])).first;
        it->second += w.to_cpp_int();
    };
    for (const Entry &e : p.entries) {
        if (e.i == e.j) continue;
        const uint64_t a = map.position(e.i), b = map.position(e.j);
        add_weight(a, e.w);
        add_weight(b, e.w);
        const auto va = first + static_cast<uint32_t>(a), vb = first + static_cast<uint32_t>(b);
        if (e.w.limb_count() <= 1 && e.w.limbs()[0] < (uint64_t(1) << 63)) {
            if (!e.w.is_zero()) bulk.add_value(e.w.sign(), 2 * e.w.limbs()[0], va, vb);
        } else {
            bulk.add(bulk.keep(e.w.to_cpp_int() * 2), false, va, vb);
        }
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
}

ProblemEnergy build(const Problem &p, std::vector<Entry> *release) {
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
        const vexa_bigint zero{0, 0, nullptr};
        raw = vexa_expr_create_from_bulk(&zero, bulk.coeffs.size(), bulk.coeffs.data(), bulk.counts.data(),
                                         bulk.vars.data());
    }
    // The entries are in the expression now; let them go before the
    // canonical form doubles the memory in use.
    if (release != nullptr) std::vector<Entry>().swap(*release);
    std::vector<uint32_t>().swap(map.dense);
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
