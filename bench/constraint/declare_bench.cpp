// Declares m one-hot constraints over rows of w variables the way a user of
// the C interface does: each row sum built by adding variables, declared with
// vexa_cons_between(row, 1, 1), and added into one expression; then builds
// the model. Prints the wall time of each part, the processor time (all
// threads, which a busy machine disturbs less) and the peak memory.
//
//   vexa_bench_declare [m] [w] [threads]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "common/measure.hpp"
#include "core/parallel.hpp"
#include "vexa/constraint.h"
#include "vexa/expr.h"
#include "vexa/model.h"
#include "vexa/var.h"

using namespace vexa::bench;

namespace {

double cpu_seconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

}  // namespace

int main(int argc, char **argv) {
    const uint64_t m = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100000;
    const uint64_t w = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 10;
    const uint32_t threads = argc > 3 ? static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)) : 2;
    vexa::detail::override_hardware_threads(threads);
    std::printf("constraints %llu, width %llu, threads %u\n", (unsigned long long)m, (unsigned long long)w,
                vexa::hardware_threads());

    const uint64_t dims[2] = {m, w};
    const uint32_t first = vexa_new_var_array("x", dims, 2);
    uint64_t one_limb = 1;
    const vexa_bigint one{1, 1, &one_limb};

    const double c0 = cpu_seconds();
    const auto t0 = std::chrono::steady_clock::now();
    ExprImpl *total = vexa_expr_create();
    for (uint64_t r = 0; r < m; ++r) {
        const uint32_t row0 = first + static_cast<uint32_t>(r * w);
        ExprImpl *row = vexa_expr_create_var(row0);
        for (uint64_t k = 1; k < w; ++k) vexa_expr_iadd_var(row, row0 + static_cast<uint32_t>(k));
        ExprImpl *c = vexa_cons_between(row, &one, &one);
        vexa_expr_iadd_expr(total, c);
        vexa_expr_destroy(c);
        vexa_expr_destroy(row);
    }
    const double declare_s = seconds_since(t0);
    const double c1 = cpu_seconds();

    const auto t1 = std::chrono::steady_clock::now();
    Model *model = vexa_model_create(total);
    const double model_s = seconds_since(t1);
    const double c2 = cpu_seconds();
    if (model == nullptr) {
        std::fprintf(stderr, "vexa_model_create failed\n");
        return 1;
    }

    std::printf("declare %.3f s, model %.3f s, total %.3f s (processor %.3f + %.3f s), peak %.0f MiB\n",
                declare_s, model_s, declare_s + model_s, c1 - c0, c2 - c1, status_mib("VmHWM:"));
    vexa_model_destroy(model);
    vexa_expr_destroy(total);
    return 0;
}
