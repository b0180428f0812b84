#include "flat_model.hpp"

#include <set>

namespace bench {

FlatModel flatten(const Qubo &q) {
    FlatModel m;
    std::set<uint32_t> used;
    for (const auto &[i, w] : q.linear) {
        if (w != 0) used.insert(i);
    }
    for (const auto &[ij, w] : q.quadratic) {
        if (w != 0) {
            used.insert(ij.first);
            used.insert(ij.second);
        }
    }
    std::vector<uint32_t> dense(q.n, 0xFFFFFFFFu);
    for (uint32_t v : used) {
        dense[v] = static_cast<uint32_t>(m.dense_to_var.size());
        m.dense_to_var.push_back(v);
    }
    m.var_count = static_cast<uint32_t>(m.dense_to_var.size());
    for (const auto &[i, w] : q.linear) {
        if (w == 0) continue;
        m.vars1.push_back(dense[i]);
        m.coef1.emplace_back(w);
    }
    for (const auto &[ij, w] : q.quadratic) {
        if (w == 0) continue;
        m.vars2.push_back(dense[ij.first]);
        m.vars2.push_back(dense[ij.second]);
        m.coef2.emplace_back(w);
    }
    if (!m.coef2.empty()) {
        m.term_counts = {m.coef1.size(), m.coef2.size()};
    } else if (!m.coef1.empty()) {
        m.term_counts = {m.coef1.size()};
    }
    return m;
}

std::vector<const uint32_t *> FlatModel::var_lists() const {
    std::vector<const uint32_t *> out;
    if (term_counts.size() >= 1) out.push_back(vars1.data());
    if (term_counts.size() >= 2) out.push_back(vars2.data());
    return out;
}

std::vector<const void *> FlatModel::coef_lists() const {
    std::vector<const void *> out;
    if (term_counts.size() >= 1) out.push_back(coef1.data());
    if (term_counts.size() >= 2) out.push_back(coef2.data());
    return out;
}

}  // namespace bench
