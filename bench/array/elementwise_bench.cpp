// Element-wise a + b (two expression arrays) and a * c (expression array by an
// integer array) on n elements, against a plain loop that does the same
// expression operations into a std::vector; reports ns per element.
//
//   vexa_bench_elementwise [n] [threads]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "common/measure.hpp"
#include "array/array.hpp"
#include "core/parallel.hpp"
#include "expr/expr.hpp"
#include "vexa/array.h"
#include "vexa/var.h"

namespace {

using namespace vexa::bench;

template <class F>
double best_of(int runs, F &&f) {
    double best = 1e9;
    for (int r = 0; r < runs; ++r) {
        const auto t0 = std::chrono::steady_clock::now();
        f();
        best = std::min(best, seconds_since(t0));
    }
    return best;
}

}  // namespace

int main(int argc, char **argv) {
    const uint64_t n = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000000;
    if (argc > 2) vexa::detail::override_hardware_threads(static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)));
    std::printf("n %llu, threads %u\n", (unsigned long long)n, vexa::hardware_threads());

    vexa_var_array *x = vexa_array_var_create_named("x", &n, 1);
    vexa_var_array *y = vexa_array_var_create_named("y", &n, 1);
    const uint64_t one = 1;
    vexa_bigint two{1, 1, const_cast<uint64_t *>(&one)};
    uint64_t three_limb = 3;
    vexa_bigint three{1, 1, &three_limb};
    // a[i] = x[i] + 1, b[i] = y[i] - x[i], c[i] = 3.
    vexa_expr_array *a = vexa_array_var_add_int(x, &two);
    vexa_expr_array *b = vexa_array_var_sub_array_var(y, x);
    vexa_int_array *c = vexa_array_int_create(&n, 1);
    for (uint64_t i = 0; i < n; ++i) vexa_array_int_set(c, i, &three);
    const auto &ra = *reinterpret_cast<const ArrayImpl<ExprImpl> *>(a);
    const auto &rb = *reinterpret_cast<const ArrayImpl<ExprImpl> *>(b);
    const auto &rc = *reinterpret_cast<const ArrayImpl<vexa::coeff_t> *>(c);

    const double add_array = best_of(3, [&] { vexa_array_expr_destroy(vexa_array_expr_add_array_expr(a, b)); });
    const double add_loop = best_of(3, [&] {
        std::vector<ExprImpl> out;
        out.reserve(n);
        for (uint64_t i = 0; i < n; ++i) {
            ExprImpl e = ExprImpl::plain_copy(ra.data[i]);
            e.append_terms(rb.data[i]);
            out.push_back(std::move(e));
        }
    });
    const double mul_array = best_of(3, [&] { vexa_array_expr_destroy(vexa_array_expr_mul_array_int(a, c)); });
    const double mul_loop = best_of(3, [&] {
        std::vector<ExprImpl> out;
        out.reserve(n);
        for (uint64_t i = 0; i < n; ++i) {
            ExprImpl e = ExprImpl::plain_copy(ra.data[i]);
            e.imul_int(rc.data[i]);
            out.push_back(std::move(e));
        }
    });
    const double ns = 1e9 / double(n);
    std::printf("a + b  array %.1f ns/element, plain loop (one thread) %.1f ns/element\n", add_array * ns, add_loop * ns);
    std::printf("a * c  array %.1f ns/element, plain loop (one thread) %.1f ns/element\n", mul_array * ns, mul_loop * ns);
    vexa_array_expr_destroy(a);
    vexa_array_expr_destroy(b);
    vexa_array_int_destroy(c);
    vexa_array_var_destroy(x);
    vexa_array_var_destroy(y);
    return 0;
}
