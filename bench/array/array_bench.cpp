// einsum("i,ij,j->", x, Q, x) over n binary variables and a dense random
// integer matrix (n^2 products), then the binary canonical form of the result;
// reports times and peak memory for one thread count.
//
//   vexa_bench_array [n] [threads]
//
// Peak memory is the process's high-water mark (VmHWM), reset before the
// contraction, so it covers the contraction and the simplification.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "common/measure.hpp"
#include "core/parallel.hpp"
#include "expr/expr.hpp"
#include "vexa/array.h"
#include "vexa/expr.h"
#include "vexa/var.h"

namespace {

using namespace vexa::bench;

}  // namespace

int main(int argc, char **argv) {
    const uint64_t n = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 3000;
    if (argc > 2) vexa::detail::override_hardware_threads(static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)));
    std::printf("n %llu (%llu products), threads %u\n", (unsigned long long)n, (unsigned long long)(n * n),
                vexa::hardware_threads());

    vexa_var_array *x = vexa_array_var_create_named("x", &n, 1);
    std::mt19937_64 rng(2026);
    std::vector<uint64_t> limbs(n * n);
    std::vector<vexa_bigint> q(n * n);
    for (uint64_t i = 0; i < n * n; ++i) {
        limbs[i] = 1 + rng() % 100;
        q[i] = vexa_bigint{(rng() & 1) ? 1 : -1, 1, &limbs[i]};
    }
    const uint64_t qshape[2] = {n, n};
    vexa_int_array *Q = vexa_array_int_create_data(q.data(), qshape, 2);
    std::vector<uint64_t>().swap(limbs);
    std::vector<vexa_bigint>().swap(q);

    const uint32_t tags[3] = {VEXA_ARRAY_TAG_VAR, VEXA_ARRAY_TAG_INT, VEXA_ARRAY_TAG_VAR};
    const void *inputs[3] = {x, Q, x};
    reset_peak();
    const double base_mib = status_mib("VmRSS:");
    auto t0 = std::chrono::steady_clock::now();
    auto *r = static_cast<vexa_expr_array *>(vexa_einsum("i,ij,j->", 3, tags, inputs, 1, 0));
    const double contract = seconds_since(t0);
    const ExprImpl *e = vexa_array_expr_ref(r, 0);
    const uint64_t terms = vexa_expr_term_count(e);
    const double after_contract = status_mib("VmHWM:") - base_mib;
    t0 = std::chrono::steady_clock::now();
    ExprImpl *s = vexa_expr_simplify_as_binary(e);
    const double simplify = seconds_since(t0);
    const double peak = status_mib("VmHWM:") - base_mib;

    std::printf("einsum     %.3f s, %llu terms, peak above start %.1f MiB (%.1f bytes/term)\n", contract,
                (unsigned long long)terms, after_contract, after_contract * 1048576.0 / double(terms));
    std::printf("simplify   %.3f s, %llu terms after\n", simplify, (unsigned long long)vexa_expr_term_count(s));
    std::printf("total      %.3f s, peak above start %.1f MiB\n", contract + simplify, peak);
    vexa_expr_destroy(s);
    vexa_array_expr_destroy(r);
    vexa_array_int_destroy(Q);
    vexa_array_var_destroy(x);
    return 0;
}
