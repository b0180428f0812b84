// Exported functions of solutions.
#include <string>
#include <vector>

#include "core/bigint.hpp"
#include "core/fatal.hpp"
#include "core/literal.hpp"
#include "core/text_buffer.hpp"
#include "core/variable_table.hpp"
#include "expr/simplify.hpp"
#include "model/sol.hpp"
#include "vexa/sol.h"

using namespace vexa;

static_assert(sizeof(std::vector<uint64_t>) == sizeof(vexa_word_vector),
              "the word-vector record must have the layout of the library's word vector");

namespace {

struct SolStrTag {};

uint32_t dense_or_die(const Sol *s, uint32_t word, const char *what) {
    const uint32_t dense = s->model->dense_index(word);
    if (dense == kNoIndex) {
        fatal(std::string(what) + ": variable not in model (index=" + std::to_string(literal_var_index(word)) + ")");
    }
    return dense;
}

uint32_t int_dense_or_die(const Sol *s, uint32_t word, const char *what) {
    if (!literal_is_int(word)) fatal(std::string(what) + ": not an integer variable index");
    const uint32_t index = literal_int_index(word);
    const auto &map = s->model->int_index_map;
    if (index >= map.size() || map[index] == kNoIndex) fatal(std::string(what) + ": integer variable not in model");
    return map[index];
}

void store_bit(Sol *s, uint32_t dense, bool value) {
    uint64_t &word = s->bits[dense >> 6];
    const uint64_t mask = uint64_t(1) << (dense & 63);
    word = value ? (word | mask) : (word & ~mask);
    s->energy_valid = false;
}

}  // namespace

extern "C" {

Sol *vexa_sol_create(Model *m) { return make_sol(m->ref).release(); }

Sol *vexa_sol_create_from_expr(const ExprImpl *e) {
    const ExprImpl simplified = expr_simplify_as_binary(*e);
    return make_sol(std::make_shared<ModelImpl>(simplified, 1.0, nullptr)).release();
}

Sol *vexa_sol_clone(const Sol *s) { return new Sol(*s); }

void vexa_sol_destroy(Sol *s) { delete s; }

int vexa_sol_get(const Sol *s, uint32_t var) {
    const uint32_t dense = dense_or_die(s, var, "Sol::get");
    return bit_of(s->bits.data(), dense) != literal_negated(var) ? 1 : 0;
}

void vexa_sol_set(Sol *s, uint32_t var, int value) {
    const uint32_t dense = dense_or_die(s, var, "Sol::set");
    const bool negated = literal_negated(var);
    store_bit(s, dense, negated ? (1 - value) != 0 : value != 0);
}

void vexa_sol_flip(Sol *s, uint32_t var) {
    const uint32_t dense = dense_or_die(s, var, "Sol::flip");
    s->bits[dense >> 6] ^= uint64_t(1) << (dense & 63);
    s->energy_valid = false;
}

void vexa_sol_get_int(const Sol *s, uint32_t var, vexa_bigint *out) {
    coeff_to_record(s->int_vals[int_dense_or_die(s, var, "Sol::get")], out);
}

void vexa_sol_set_int(Sol *s, uint32_t var, const vexa_bigint *value) {
    const uint32_t k = int_dense_or_die(s, var, "Sol::set");
    coeff_t v = coeff_from_record(value);
    const coeff_t &lo = s->model->int_lower[k];
    const coeff_t &hi = s->model->int_upper[k];
    if (v < lo || v > hi) {
        fatal("Sol::set: value " + coeff_text(v) + " outside the integer variable's bounds [" + coeff_text(lo) + "," +
              coeff_text(hi) + "]");
    }
    s->int_vals[k] = std::move(v);
    s->energy_valid = false;
}

int vexa_sol_has(const Sol *s, uint32_t var) { return s->model->dense_index(var) != kNoIndex ? 1 : 0; }

void vexa_sol_set_from_sol(Sol *dst, const Sol *src) {
    const ModelImpl &from = *src->model;
    for (uint32_t i = 0; i < from.vars.size(); ++i) {
        const uint32_t v = from.vars[i];
        vexa_sol_set(dst, v, vexa_sol_get(src, v));
    }
    for (uint32_t i = 0; i < from.int_atoms.size(); ++i) {
        vexa_bigint rec{0, 0, nullptr};
        coeff_to_record(src->int_vals[i], &rec);
        vexa_sol_set_int(dst, from.int_atoms[i] | kIntAtomBit, &rec);
        std::free(rec.limbs);
    }
}

void vexa_sol_energy(const Sol *s, vexa_bigint *out) {
    if (!s->energy_valid) {
        fatal("Sol::energy(): energy is invalid (variable changed after last computation). Call comp_energy() "
              "first.");
    }
    coeff_to_record(s->energy, out);
}

void vexa_sol_energy_int(const Sol *s, vexa_bigint *out) {
    if (!s->energy_valid) fatal("Sol::energy_int(): energy is invalid. Call comp_energy() first.");
    coeff_to_record(s->energy, out);
}

void vexa_sol_compute_energy(Sol *s, vexa_bigint *out) {
    if (!s->energy_valid) {
        s->energy = comp_energy(*s->model, s->bits.data(), s->int_vals.data());
        s->energy_valid = true;
    }
    coeff_to_record(s->energy, out);
}

void vexa_sol_set_energy(Sol *s, const vexa_bigint *value) {
    s->energy = coeff_from_record(value);
    s->energy_valid = true;
}

int vexa_sol_energy_valid(const Sol *s) { return s->energy_valid ? 1 : 0; }

double vexa_sol_tts(const Sol *s) { return s->tts; }

void vexa_sol_set_tts(Sol *s, double t) { s->tts = t; }

double vexa_sol_scale(const Sol *s) { return s->scale; }

uint64_t vexa_sol_var_count(const Sol *s) { return s->model->vars.size(); }

uint32_t vexa_sol_model_var(const Sol *s, uint32_t i) { return s->model->vars[i]; }

Model *vexa_sol_model(Sol *s) { return reinterpret_cast<Model *>(s); }

uint64_t *vexa_sol_bits(Sol *s) { return s->bits.data(); }

void *vexa_sol_int_vals(Sol *s) { return s->int_vals.data(); }

uint64_t vexa_sol_int_count(const Sol *s) { return s->int_vals.size(); }

void vexa_sol_steal_bits(Sol *s, vexa_word_vector *out) {
    *reinterpret_cast<std::vector<uint64_t> *>(out) = std::move(s->bits);
    s->bits = std::vector<uint64_t>();
}

const char *vexa_sol_str(const Sol *s) {
    if (!s->energy_valid) {
        fatal("Sol::str(): energy is invalid (variable changed after last computation). Call comp_energy() "
              "first.");
    }
    // Item i is the model's variable at dense position i, named as the
    // variable table names it, with its bit: every dense position has one, so
    // a valid solution always prints.
    const std::vector<uint32_t> &vars = s->model->vars;
    std::string text = coeff_text(s->energy) + ":{";
    for (size_t i = 0; i < vars.size(); ++i) {
        if (i > 0) text += ",";
        text += "{";
        text += var_str(vars[i]);
        text += ",";
        text += bit_of(s->bits.data(), static_cast<uint32_t>(i)) ? "1" : "0";
        text += "}";
    }
    text += "}";
    return keep_text<SolStrTag>(text);
}

}  // extern "C"
