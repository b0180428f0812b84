// Clusters of the overlap of two binary states: the variables where states
// a and b differ, connected when they share a product or a constraint.
// Flipping one whole cluster in both states trades it between them: every
// term and every constraint body then has all its differing variables
// flipped or none, so the two energies trade amounts and their sum stays
// the same.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "flip_model.hpp"

namespace vexa::mod {

template <class T>
struct OverlapCluster {
    std::vector<uint32_t> members;  // the last cluster grown, its start first

    explicit OverlapCluster(const FlipModel<T> &model)
        : m_(&model), mark_(model.n, 0), cons_mark_(model.constraint_count(), 0) {}

    // The cluster of differing variable `start` (a[start] != b[start]).
    void grow(const uint8_t *a, const uint8_t *b, uint32_t start) {
        const FlipModel<T> &f = *m_;
        if (++stamp_ == 0) {
            std::fill(mark_.begin(), mark_.end(), 0u);
            std::fill(cons_mark_.begin(), cons_mark_.end(), 0u);
            stamp_ = 1;
        }
        members.clear();
        stack_.clear();
        stack_.push_back(start);
        mark_[start] = stamp_;
        auto visit = [&](uint32_t j) {
            if (mark_[j] != stamp_ && a[j] != b[j]) {
                mark_[j] = stamp_;
                stack_.push_back(j);
            }
        };
        while (!stack_.empty()) {
            const uint32_t i = stack_.back();
            stack_.pop_back();
            members.push_back(i);
            for (uint64_t e = f.adj_start[i]; e < f.adj_start[i + 1]; ++e) visit(f.adj_var[e]);
            if (!f.has_constraints()) continue;
            for (uint32_t q = f.var_occ_start[i]; q < f.var_occ_start[i + 1]; ++q) {
                const uint32_t c = f.occ_cons[f.var_occ[q]];
                if (cons_mark_[c] == stamp_) continue;
                cons_mark_[c] = stamp_;
                for (uint32_t o = f.cons_occ_start[c]; o < f.cons_occ_start[c + 1]; ++o) visit(f.occ_var[o]);
            }
        }
    }

private:
    const FlipModel<T> *m_;
    std::vector<uint32_t> mark_, cons_mark_, stack_;
    uint32_t stamp_ = 0;
};

}  // namespace vexa::mod
