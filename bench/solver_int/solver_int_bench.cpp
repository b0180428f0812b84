// Speed of the integer engines, through the exported interface.
//
//   vexa_bench_solver_int [seconds per search] [threads]
//
// (a) native search, 1,000 integer variables in 0..100, sparse quadratic,
//     coefficients within one limb; (b) the same with five linear
//     constraints; (a') and (a'') the model of (a) with coefficients scaled
//     so that the engine runs on 128-bit words and on coeff_t. (c) the
//     enumeration of a model of 2^24 states. Proposals are counted per search
//     thread.
#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "constraint/attr.hpp"
#include "core/coeff.hpp"
#include "expr/expr.hpp"
#include "model/model.hpp"
#include "solver/search_arith.hpp"
#include "vexa/expr.h"
#include "vexa/model.h"
#include "vexa/solver.h"
#include "vexa/var.h"

namespace {

using vexa::coeff_t;

// An input record with its own limbs.
struct Big {
    std::vector<uint64_t> limbs;
    vexa_bigint rec{};
    explicit Big(const coeff_t &v) {
        coeff_t mag = abs(v);
        while (mag != 0) {
            limbs.push_back(static_cast<uint64_t>(mag & 0xFFFFFFFFFFFFFFFFull));
            mag >>= 64;
        }
        rec = {v < 0 ? -1 : (v > 0 ? 1 : 0), static_cast<uint32_t>(limbs.size()), limbs.data()};
    }
    const vexa_bigint *get() const { return &rec; }
};

void add(ExprImpl *e, const coeff_t &c, uint32_t a, uint32_t b = VEXA_EMPTY_VAR) {
    const uint32_t vars[2] = {a, b};
    vexa_expr_iadd_raw_term(e, Big(c).get(), vars, b == VEXA_EMPTY_VAR ? 1 : 2);
}

const char *width_name(const Model *m) {
    const vexa::ModelImpl &mi = *m->ref;
    switch (vexa::choose_width(mi, vexa::flat_max_abs(mi))) {
        case vexa::ArithWidth::w64: return "64-bit words";
        case vexa::ArithWidth::w128: return "128-bit words";
        case vexa::ArithWidth::exact: break;
    }
    return "coeff_t";
}

// 1,000 variables in 0..100: a linear term each and three pair terms per
// variable on average, some of them squares; coefficients up to +-1000 times
// `scale`. With constraints, five sums of 100 variables each, held in a band.
Model *sparse_model(const coeff_t &scale, bool constraints) {
    vexa_var_reset();
    std::mt19937_64 rng(2026);
    const uint32_t n = 1000;
    std::vector<uint32_t> v;
    for (uint32_t i = 0; i < n; ++i) v.push_back(vexa_new_int_var(nullptr, Big(0).get(), Big(100).get()));
    auto coeff = [&]() { return scale * (static_cast<int64_t>(rng() % 2001) - 1000); };
    ExprImpl *e = vexa_expr_create();
    for (uint32_t i = 0; i < n; ++i) add(e, coeff(), v[i]);
    for (uint32_t k = 0; k < 3 * n / 2; ++k) {
        const uint32_t a = v[rng() % n], b = v[rng() % n];
        add(e, coeff(), std::min(a, b), std::max(a, b));
    }
    ExprImpl *s = vexa_expr_simplify_as_binary(e);
    vexa_expr_destroy(e);
    if (constraints) {
        // five declared constraints 2000 <= sum <= 4000, weight 10, kept as
        // native constraints of the model
        std::vector<vexa::SumItem> items;
        for (int c = 0; c < 5; ++c) {
            ExprImpl *body = vexa_expr_create();
            std::vector<uint32_t> pick = v;
            std::shuffle(pick.begin(), pick.end(), rng);
            pick.resize(100);
            std::sort(pick.begin(), pick.end());
            for (uint32_t x : pick) add(body, 1 + static_cast<int64_t>(rng() % 5), x);
            const uint32_t id = vexa::add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
            vexa::set_bounds(id, 2000, 4000);
            items.push_back(vexa::SumItem{id, 10});
            vexa_expr_destroy(body);
        }
        s->attr = vexa::kSumTag | vexa::add_sum(std::move(items), nullptr, true);
    }
    Model *m = vexa_model_create(s);
    vexa_expr_destroy(s);
    return m;
}

std::string info(const nimba_solver_result *r, const char *key) {
    for (uint64_t i = 0; i < vexa_nimba_solver_result_info_count(r); ++i) {
        if (std::string(vexa_nimba_solver_result_info_key(r, i)) == key) return vexa_nimba_solver_result_info_value(r, i);
    }
    return "";
}

void run_search(const char *label, Model *m, const std::string &seconds, const std::string &threads) {
    vexa_nimba_solver_wrapper *w = vexa_nimba_solver_wrapper_create(m);
    const vexa_param params[] = {{"time_limit", seconds.c_str()}, {"threads", threads.c_str()}, {"seed", "1"},
                                 {nullptr, nullptr}};
    nimba_solver_result *r = vexa_nimba_solver_wrapper_search_int(w, params, nullptr, nullptr, 0);
    const double run_time = std::stod(info(r, "run_time"));
    const double proposals = std::stod(info(r, "proposals"));
    const double per_thread = proposals / run_time / std::stod(threads);
    vexa_bigint e{0, 0, nullptr};
    vexa_nimba_solver_result_energy(r, &e);
    std::printf("%-44s %-14s constraints %3llu  %6.2f Mproposals/s/thread  (%s threads, %.2f s, %s rounds)\n", label,
                width_name(m), (unsigned long long)vexa_model_native_cons_count(m), per_thread / 1e6,
                threads.c_str(), run_time, info(r, "rounds").c_str());
    free(e.limbs);
    vexa_nimba_solver_result_destroy(r);
    vexa_nimba_solver_wrapper_destroy(w);
}

// Eight variables in 0..7 (2^24 states): all pair terms, a square each and
// one linear constraint.
void run_enumeration() {
    vexa_var_reset();
    std::mt19937_64 rng(7);
    std::vector<uint32_t> v;
    for (int i = 0; i < 8; ++i) v.push_back(vexa_new_int_var(nullptr, Big(0).get(), Big(7).get()));
    ExprImpl *e = vexa_expr_create();
    for (int i = 0; i < 8; ++i) {
        add(e, static_cast<int64_t>(rng() % 201) - 100, v[i], v[i]);
        add(e, static_cast<int64_t>(rng() % 201) - 100, v[i]);
        for (int j = i + 1; j < 8; ++j) add(e, static_cast<int64_t>(rng() % 201) - 100, v[i], v[j]);
    }
    ExprImpl *s = vexa_expr_simplify_as_binary(e);
    ExprImpl *body = vexa_expr_create();
    for (int i = 0; i < 8; ++i) add(body, 1 + i % 3, v[i]);
    const uint32_t id = vexa::add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    vexa::set_bounds(id, 10, 20);
    s->attr = vexa::kSumTag | vexa::add_sum({vexa::SumItem{id, 3}}, nullptr, true);
    Model *m = vexa_model_create(s);
    vexa_exhaustive_wrapper *w = vexa_exhaustive_wrapper_create(m);
    nimba_solver_result *r = vexa_exhaustive_wrapper_search(w, nullptr);
    const double run_time = std::stod(info(r, "run_time"));
    const double states = std::stod(info(r, "states"));
    std::printf("%-44s %-14s constraints %3llu  %6.2f Mstates/s  (%.0f states, %.2f s)\n",
                "(c) enumeration, 8 x 0..7, dense quadratic", width_name(m),
                (unsigned long long)vexa_model_native_cons_count(m), states / run_time / 1e6, states, run_time);
    vexa_nimba_solver_result_destroy(r);
    vexa_exhaustive_wrapper_destroy(w);
    vexa_model_destroy(m);
    for (ExprImpl *x : {e, s, body}) vexa_expr_destroy(x);
}

}  // namespace

int main(int argc, char **argv) {
    const std::string seconds = argc > 1 ? argv[1] : "3";
    const std::string threads = argc > 2 ? argv[2] : "1";
    Model *a = sparse_model(1, false);
    run_search("(a) 1,000 ints 0..100, sparse quadratic", a, seconds, threads);
    vexa_model_destroy(a);
    Model *b = sparse_model(1, true);
    run_search("(b) the same with 5 linear constraints", b, seconds, threads);
    vexa_model_destroy(b);
    Model *wide = sparse_model(coeff_t(1) << 80, false);
    run_search("(a') coefficients times 2^80", wide, seconds, threads);
    vexa_model_destroy(wide);
    Model *big = sparse_model(coeff_t(1) << 160, false);
    run_search("(a'') coefficients times 2^160", big, seconds, threads);
    vexa_model_destroy(big);
    run_enumeration();
    return 0;
}
