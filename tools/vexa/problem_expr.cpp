#include "problem_expr.hpp"

#include <algorithm>
#include <cstdint>

namespace vexa::cli {

namespace {

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

    uint64_t position(uint32_t index) const {
        if (!dense.empty()) return dense[index];
        return static_cast<uint64_t>(std::lower_bound(used.begin(), used.end(), index) - used.begin());
    }
};

Int twice(const Int &w) {
    if (w.fits_int64()) {
        const int64_t v = w.to_int64();
        if (v > INT64_MIN / 2 && v < INT64_MAX / 2) return 2 * v;
    }
    return Int(w.to_cpp_int() * 2);
}

}  // namespace

ProblemEnergy build_energy(const Problem &p) {
    IndexMap map(p);
    Vars vars("x", map.used.size());
    auto var_of = [&](uint32_t index) { return vars[map.position(index)]; };
    TermList terms;
    terms.reserve(p.format == Format::gset ? 3 * p.entries.size() : p.entries.size());
    for (const Entry &e : p.entries) {
        const Var a = var_of(e.i), b = var_of(e.j);
        if (p.format == Format::gset) {
            // -w * (x_i + x_j - 2 x_i x_j); a loop cuts nothing.
            if (e.i == e.j) continue;
            const Int neg = -e.w;
            terms.add(neg, a);
            terms.add(neg, b);
            terms.add(twice(e.w), a, b);
        } else if (e.i == e.j) {
            terms.add(-e.w, a);
        } else {
            terms.add(-e.w, a, b);
        }
    }
    Expr energy = simplify_as_binary(Expr::from_terms(terms));
    return ProblemEnergy{std::move(map.used), std::move(vars), std::move(energy)};
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
