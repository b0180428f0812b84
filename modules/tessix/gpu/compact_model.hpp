// The model as the replicas search it: a polynomial of degree two over flat
// variables (binary first, then integers) with every coefficient in int64_t,
//   E - c0 = sum h_i x_i + sum_{i<j} J_ij x_i x_j + sum s_i x_i^2
//            + sum_c P_c(B_c),   B_c = b0_c + sum a_ci x_i,
// the quadratic part as symmetric adjacency lists (CSR) and each constraint
// body linear, listed per variable. Negated binary literals are expanded and
// x^2 of a binary variable folded into h, so the value equals that of the
// caller's arrays for every assignment within the bounds. It exists only when
// a bound on every reachable energy, field, body and penalty proves that
// int64_t is exact; otherwise the builder declines and says why.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/coeff.hpp"
#include "compact_view.hpp"
#include "model_arrays.hpp"

namespace vexa::tessix {

struct CompactModel {
    uint32_t n = 0, n_bin = 0;
    coeff_t c0;  // kept exact, outside the search
    std::vector<int64_t> lower, upper, h, sq;
    std::vector<uint64_t> adj_start;
    std::vector<uint32_t> adj_var;
    std::vector<int64_t> adj_w;
    std::vector<int64_t> c_weight, c_lower, c_upper, c_b0;
    std::vector<uint8_t> c_exponent;
    std::vector<uint32_t> c_allowed_start;
    std::vector<int64_t> allowed_lo, allowed_hi;
    std::vector<uint32_t> occ_start, occ_cons;
    std::vector<int64_t> occ_a;

    uint32_t constraint_count() const { return static_cast<uint32_t>(c_weight.size()); }
    CompactView view() const;
};

struct CompactBuild {
    bool ok = false;
    std::string reason;  // why the model cannot be searched here, when !ok
    CompactModel model;
};

// Binary handles: the canonical form of the module library and its
// machine-word proof. Integer handles: the same expansion over flat indices,
// bounded with the variables' value ranges. Declines on a constraint body
// with products, on a term of more than two factors, and on a bound above
// 2^60.
CompactBuild build_compact_model(const mod::ModelArrays &arrays);

}  // namespace vexa::tessix
