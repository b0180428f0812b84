#include "solver/module_wiring.hpp"

#include <string>

#include "core/fatal.hpp"
#include "solver/flat_problem.hpp"

namespace vexa {

FlatPointers::FlatPointers(const ModelImpl &m) {
    for (uint32_t d = 1; d <= m.max_degree; ++d) {
        term_counts.push_back(m.term_counts[d - 1]);
        var_lists.push_back(m.term_vars[d - 1].data());
        coef_lists.push_back(m.term_coeffs[d - 1].data());
    }
}

bool any_shaped(const ModelImpl &m) {
    for (const NativeConstraint &c : m.native_constraints) {
        if (!plain_shape(c)) return true;
    }
    return false;
}

bool any_nonlinear(const ModelImpl &m) {
    for (const NativeConstraint &c : m.native_constraints) {
        if (!c.quad_coeffs.empty()) return true;
    }
    return false;
}

bool any_allowed(const ModelImpl &m) {
    for (const NativeConstraint &c : m.native_constraints) {
        if (!c.allowed.empty()) return true;
    }
    return false;
}

AllowedEnds::AllowedEnds(const NativeConstraint &c) {
    for (const auto &[lo, hi] : c.allowed) {
        low.push_back(lo);
        high.push_back(hi);
    }
}

std::vector<uint32_t> flat_words(const std::vector<uint32_t> &words, uint32_t n_bin) {
    std::vector<uint32_t> out;
    out.reserve(words.size());
    for (uint32_t w : words) out.push_back(flat_index(w, n_bin));
    return out;
}

void check_no_int_remainder(const ModelImpl &m, const char *tag) {
    if (m.has_remainder) {
        fatal(std::string(tag) + ": internal error \xe2\x80\x94 a free-form remainder with integer variables should "
              "have been rejected at Model.");
    }
}

}  // namespace vexa
