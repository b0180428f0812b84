// A solver module for tests: records every call and answers as told. Built
// once per family (heuristic, or exhaustive with MOCK_EXHAUSTIVE); variants
// without some functions hide them at link time.
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "mock_record.hpp"
#include "solver/module_symbols.h"

#define MOCK_EXPORT extern "C" __attribute__((visibility("default")))
#ifdef MOCK_EXHAUSTIVE
#define FN(name) vexa_exhaustive_##name
#else
#define FN(name) vexa_nimba_solver_##name
#endif

namespace {

mock::Record g_record;
int g_handle;  // every create answers &g_handle

struct List {
    std::vector<mock::Answer> entries;
};

void write_answer(const mock::Answer &a, vexa_bigint *energy, uint64_t *bits, uint32_t words, double *tts) {
    vexa::coeff_t mag = abs(a.energy);
    std::vector<uint64_t> limbs;
    while (mag != 0) {
        limbs.push_back(static_cast<uint64_t>(mag & 0xFFFFFFFFFFFFFFFFull));
        mag >>= 64;
    }
    std::free(energy->limbs);
    energy->sign = a.energy.sign();
    energy->nlimbs = static_cast<uint32_t>(limbs.size());
    energy->limbs = nullptr;
    if (!limbs.empty()) {
        energy->limbs = static_cast<uint64_t *>(std::malloc(limbs.size() * 8));
        std::memcpy(energy->limbs, limbs.data(), limbs.size() * 8);
    }
    for (uint32_t i = 0; i < words && i < a.bits.size(); ++i) bits[i] = a.bits[i];
    *tts = a.tts;
}

void *answer(ModuleSolution *best, const vexa_param *params, void *hint) {
    mock::Search s;
    s.stop_seen = g_record.external_stop != nullptr ? *g_record.external_stop : -1;
    for (const vexa_param *p = params; p->key != nullptr; ++p) s.params.emplace_back(p->key, p->value);
    s.hint = hint;
    s.var_count = *best->var_count;
    s.word_count = *best->word_count;
    g_record.searches.push_back(std::move(s));
    write_answer(g_record.reply.best, best->energy, best->bits, *best->word_count, best->tts);
    if (!g_record.reply.list) return nullptr;
    return new List{g_record.reply.entries};
}

mock::Cons &start_cons(const char *kind, const void *weight, const void *lower, const void *upper,
                       const void *body_constant, uint64_t n_vars, const uint32_t *vars, const void *coeffs) {
    g_record.calls.push_back(kind);
    mock::Cons c;
    c.kind = kind;
    c.weight = weight;
    c.lower = lower;
    c.upper = upper;
    c.body_constant = body_constant;
    c.n_vars = n_vars;
    c.vars = vars;
    c.vars_copy.assign(vars, vars + n_vars);
    c.coeffs = coeffs;
    g_record.cons.push_back(std::move(c));
    return g_record.cons.back();
}

void note_create(uint32_t bin_count, uint32_t degree_count, const void *constant, const uint64_t *term_counts,
                 const uint32_t *const *var_lists, const void *const *coef_lists) {
    g_record.bin_count = bin_count;
    g_record.degree_count = degree_count;
    g_record.constant = constant;
    g_record.term_counts = term_counts;
    g_record.var_lists.assign(var_lists, var_lists + degree_count);
    g_record.coef_lists.assign(coef_lists, coef_lists + degree_count);
}

}  // namespace

MOCK_EXPORT mock::Record *mock_record() { return &g_record; }

#ifdef MOCK_EXHAUSTIVE
MOCK_EXPORT void *FN(create)(void *w, uint32_t bin_count, uint32_t degree_count, const void *constant,
                             const uint64_t *term_counts, const uint32_t *const *var_lists,
                             const void *const *coef_lists, int32_t reserved) {
    g_record.calls.push_back("create");
    g_record.w = w;
    note_create(bin_count, degree_count, constant, term_counts, var_lists, coef_lists);
    g_record.reserved = reserved;
    return &g_handle;
}

MOCK_EXPORT void *FN(search)(void *, ModuleSolution *best, const vexa_param *params) {
    g_record.calls.push_back("search");
    return answer(best, params, nullptr);
}
#else
MOCK_EXPORT void *FN(create)(void *w, uint32_t bin_count, uint32_t degree_count, const void *constant,
                             const uint64_t *term_counts, const uint32_t *const *var_lists,
                             const void *const *coef_lists) {
    g_record.calls.push_back("create");
    g_record.w = w;
    note_create(bin_count, degree_count, constant, term_counts, var_lists, coef_lists);
    return &g_handle;
}

MOCK_EXPORT void *FN(create_int)(void *w, uint32_t bin_count, uint32_t int_count, const void *int_lower,
                                 const void *int_upper, uint32_t degree_count, const void *constant,
                                 const uint64_t *term_counts, const uint32_t *const *var_lists,
                                 const void *const *coef_lists) {
    g_record.calls.push_back("create_int");
    g_record.w = w;
    note_create(bin_count, degree_count, constant, term_counts, var_lists, coef_lists);
    g_record.int_count = int_count;
    g_record.int_lower = int_lower;
    g_record.int_upper = int_upper;
    return &g_handle;
}

MOCK_EXPORT void *FN(search)(void *, ModuleSolution *best, const vexa_param *params, void *hint) {
    g_record.calls.push_back("search");
    return answer(best, params, hint);
}

MOCK_EXPORT void *FN(search_int)(void *, ModuleSolution *best, const vexa_param *params, void *out_ints) {
    g_record.calls.push_back("search_int");
    auto *ints = static_cast<vexa::coeff_t *>(out_ints);
    for (size_t i = 0; i < g_record.reply.ints.size() && i < g_record.int_count; ++i) ints[i] = g_record.reply.ints[i];
    return answer(best, params, nullptr);
}
#endif

MOCK_EXPORT void FN(destroy)(void *h) {
    g_record.calls.push_back("destroy");
    g_record.destroyed.push_back(h);
}

MOCK_EXPORT uint64_t FN(sol_list_count)(void *list) {
    g_record.calls.push_back("sol_list_count");
    return static_cast<List *>(list)->entries.size();
}

MOCK_EXPORT void FN(sol_list_get)(void *list, uint64_t index, ModuleSolution *out) {
    g_record.calls.push_back("sol_list_get");
    write_answer(static_cast<List *>(list)->entries[index], out->energy, out->bits, *out->word_count, out->tts);
}

MOCK_EXPORT void FN(sol_list_destroy)(void *list) {
    g_record.calls.push_back("sol_list_destroy");
    ++g_record.lists_destroyed;
    delete static_cast<List *>(list);
}

MOCK_EXPORT void FN(register_callback)(vexa_module_callback cb) {
    g_record.calls.push_back("register_callback");
    g_record.callbacks.push_back(cb);
}

MOCK_EXPORT vexa_info_pair *FN(get_info)(void *) {
    g_record.calls.push_back("get_info");
    if (!g_record.reply.info) return nullptr;
    const auto &pairs = g_record.reply.pairs;
    auto *out = static_cast<vexa_info_pair *>(std::calloc(pairs.size() + 1, sizeof(vexa_info_pair)));
    for (size_t i = 0; i < pairs.size(); ++i) {
        out[i].key = strdup(pairs[i].first.c_str());
        out[i].value = strdup(pairs[i].second.c_str());
    }
    return out;
}

MOCK_EXPORT void FN(free_info)(vexa_info_pair *info) {
    g_record.calls.push_back("free_info");
    ++g_record.info_freed;
    for (vexa_info_pair *p = info; p->key != nullptr; ++p) {
        std::free(p->key);
        std::free(p->value);
    }
    std::free(info);
}

MOCK_EXPORT void FN(add_constraint)(void *, const void *weight, const void *lower, const void *upper,
                                    const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                    const void *coeffs) {
    start_cons("add_constraint", weight, lower, upper, body_constant, n_vars, vars, coeffs);
}

MOCK_EXPORT void FN(add_constraint_nl)(void *, const void *weight, const void *lower, const void *upper,
                                       const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                       const void *coeffs, uint64_t n_quad, const uint64_t *quad_head,
                                       const uint32_t *quad_vars, const void *quad_coeffs) {
    mock::Cons &c = start_cons("add_constraint_nl", weight, lower, upper, body_constant, n_vars, vars, coeffs);
    c.n_quad = n_quad;
    c.quad_head = quad_head;
    c.quad_vars = quad_vars;
    c.quad_coeffs = quad_coeffs;
}

MOCK_EXPORT void FN(add_constraint_set)(void *, const void *weight, const void *lower, const void *upper,
                                        const void *body_constant, uint64_t n_vars, const uint32_t *vars,
                                        const void *coeffs, uint64_t n_allowed, const void *allowed_low,
                                        const void *allowed_high) {
    mock::Cons &c = start_cons("add_constraint_set", weight, lower, upper, body_constant, n_vars, vars, coeffs);
    const auto *lo = static_cast<const vexa::coeff_t *>(allowed_low);
    const auto *hi = static_cast<const vexa::coeff_t *>(allowed_high);
    c.allowed_low.assign(lo, lo + n_allowed);
    c.allowed_high.assign(hi, hi + n_allowed);
}

MOCK_EXPORT void FN(set_cons_shape)(void *, uint8_t exponent, uint8_t hinge) {
    g_record.calls.push_back("set_cons_shape");
    if (g_record.cons.empty()) return;
    g_record.cons.back().shape_exponent = exponent;
    g_record.cons.back().shape_hinge = hinge;
}

MOCK_EXPORT void FN(set_remainder)(void *, const void *constant, uint64_t n_terms, const uint64_t *head,
                                   const uint32_t *vars, const void *coeffs) {
    g_record.calls.push_back("set_remainder");
    g_record.rem_constant = constant;
    g_record.rem_terms = n_terms;
    g_record.rem_head = head;
    g_record.rem_vars = vars;
    g_record.rem_coeffs = coeffs;
}

// Recorded apart from `calls`, so that call sequences read as they did
// before modules took the stop byte.
MOCK_EXPORT void FN(set_external_stop)(void *, const volatile uint8_t *stop) { g_record.external_stop = stop; }

// The mock defines every function of its family's list, with the list's types.
#ifdef MOCK_EXHAUSTIVE
#define MOCK_SYMBOLS VEXA_EXHAUSTIVE_MODULE_SYMBOLS
#else
#define MOCK_SYMBOLS VEXA_NIMBA_MODULE_SYMBOLS
#endif
#define MOCK_CHECK(name, type, need) static_assert(std::is_same_v<decltype(&FN(name)), type>, #name);
MOCK_SYMBOLS(MOCK_CHECK)
