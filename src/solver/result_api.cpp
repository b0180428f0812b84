// Exported readers of nimba_solver_result and its conversion into solutions.
#include <memory>

#include "core/bigint.hpp"
#include "model/sol.hpp"
#include "solver/result.hpp"
#include "vexa/solver.h"

using namespace vexa;

namespace {

// The library's word vector behind a caller's three-word record.
std::vector<uint64_t> &as_vector(vexa_word_vector *out) { return *reinterpret_cast<std::vector<uint64_t> *>(out); }

// A solution of `m` that takes over `bits`; the integer values are copied,
// or the lower bounds when the result has none.
Sol *make_result_sol(Model *m, const coeff_t &energy, double tts, std::vector<uint64_t> &bits,
                     const std::vector<coeff_t> &int_vals) {
    auto s = std::make_unique<Sol>();
    s->model = m->ref;
    s->scale = s->model->scale;
    s->bits = std::move(bits);
    bits.clear();
    s->int_vals = int_vals.empty() ? s->model->int_lower : int_vals;
    s->energy = energy;
    s->energy_valid = true;
    s->tts = tts;
    return s.release();
}

}  // namespace

extern "C" {

void vexa_nimba_solver_result_energy(const nimba_solver_result *r, vexa_bigint *out) {
    coeff_to_record(r->energy, out);
}

double vexa_nimba_solver_result_tts(const nimba_solver_result *r) { return r->tts; }

const uint64_t *vexa_nimba_solver_result_bits(const nimba_solver_result *r) { return r->bits.data(); }

uint64_t vexa_nimba_solver_result_topk_count(const nimba_solver_result *r) { return r->topk.size(); }

void vexa_nimba_solver_result_topk_energy(const nimba_solver_result *r, uint64_t i, vexa_bigint *out) {
    coeff_to_record(r->topk[i].energy, out);
}

double vexa_nimba_solver_result_topk_tts(const nimba_solver_result *r, uint64_t i) { return r->topk[i].tts; }

const uint64_t *vexa_nimba_solver_result_topk_bits(const nimba_solver_result *r, uint64_t i) {
    return r->topk[i].bits.data();
}

void vexa_nimba_solver_result_steal_bits(nimba_solver_result *r, vexa_word_vector *out) {
    as_vector(out) = std::move(r->bits);
    r->bits.clear();
}

void vexa_nimba_solver_result_steal_topk_bits(nimba_solver_result *r, uint64_t i, vexa_word_vector *out) {
    as_vector(out) = std::move(r->topk[i].bits);
    r->topk[i].bits.clear();
}

uint64_t vexa_nimba_solver_result_info_count(const nimba_solver_result *r) { return r->info.size(); }

const char *vexa_nimba_solver_result_info_key(const nimba_solver_result *r, uint64_t i) {
    return r->info[i].first.c_str();
}

const char *vexa_nimba_solver_result_info_value(const nimba_solver_result *r, uint64_t i) {
    return r->info[i].second.c_str();
}

Sol *vexa_nimba_solver_result_to_sol(nimba_solver_result *r, Model *m) {
    return make_result_sol(m, r->energy, r->tts, r->bits, r->int_vals);
}

Sol *vexa_nimba_solver_result_topk_to_sol(nimba_solver_result *r, uint64_t i, Model *m) {
    nimba_solver_result_entry &e = r->topk[i];
    return make_result_sol(m, e.energy, e.tts, e.bits, e.int_vals);
}

void vexa_nimba_solver_result_destroy(nimba_solver_result *r) { delete r; }

}  // extern "C"
