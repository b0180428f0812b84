// Model construction: validate the binary simplified form, number the
// variables densely, lay out one flat array per degree, and turn declared
// constraints into native ones.
#include "model/model.hpp"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <string>

#include "core/fatal.hpp"
#include "core/int_var_table.hpp"
#include "core/profile_clock.hpp"
#include "core/literal.hpp"
#include "core/parallel.hpp"
#include "core/variable_table.hpp"
#include "expr/simplify.hpp"

namespace vexa {

namespace {

constexpr uint32_t kNeg = kNegatedBit;
constexpr uint32_t kInt = kIntAtomBit;
constexpr uint32_t kEmpty = kEmptyLiteral;

const char *kBodyNegated =
    "Model: constraint body not simplified as binary (negated literal in degree 1-2 term). Call "
    "simplify_as_binary() on the model expression first.";
const char *kBodyUnsorted =
    "Model: constraint body not simplified as binary (unsorted/duplicate vars). Call simplify_as_binary() on "
    "the model expression first.";
const char *kExprNegated =
    "Model: expression not simplified as binary (negated literal in degree 1-2 term). Call simplify_as_binary() "
    "first.";
const char *kExprUnsorted =
    "Model: expression not simplified as binary (unsorted/duplicate vars). Call simplify_as_binary() first.";
const char *kNotLinear = "Model: native constraints require a linear body (degree >= 2 term found)";
const char *kNegatedInBody = "Model: unexpected negated literal in constraint body";

bool is_int_atom(uint32_t w) { return literal_is_int(w); }

// The active terms of an expression in order: the head unless its
// coefficient is 0, then the whole tail.
template <class Fn>
void for_active_terms(const ExprImpl &e, Fn &&fn) {
    if (e.has_head()) fn(e.head);
    for (uint64_t i = 0; i < e.size; ++i) fn(e.data[i]);
}

// Immediate checks of a constraint body's terms.
void check_body(const ExprImpl &body) {
    for_active_terms(body, [](const TermImpl &t) {
        const uint32_t s0 = t.vars.slot[0];
        const uint32_t s1 = t.vars.slot[1];
        if ((s0 != kEmpty && (s0 & kNeg)) || (s1 != kEmpty && (s1 & kNeg))) fatal(kBodyNegated);
        if (s0 != kEmpty && s1 != kEmpty && (s0 > s1 || (s0 == s1 && !is_int_atom(s0)))) fatal(kBodyUnsorted);
    });
}

bool body_is_nonlinear(const ExprImpl &body) {
    bool found = false;
    for_active_terms(body, [&](const TermImpl &t) { found = found || t.vars.degree() == 2; });
    return found;
}

struct Bounds {
    coeff_t lower, upper;
};

Bounds bounds_of(uint32_t id) {
    Bounds b;
    if (!get_bounds(id, b.lower, b.upper)) fatal("Model: constraint carries no bounds");
    return b;
}

// The records are filled where they are kept, in the model's list.
void start_record(NativeConstraint &nc, const SumItem &item, const ExprImpl &body, Bounds bounds) {
    nc.weight = item.weight;
    nc.lower = std::move(bounds.lower);
    nc.upper = std::move(bounds.upper);
    nc.body_constant = body.constant;
}

// `sorted` is scratch space, kept by the caller across records.
void linear_record(NativeConstraint &nc, const SumItem &item, std::vector<uint32_t> &sorted) {
    Bounds bounds = bounds_of(item.id);
    const ExprExprEntry &entry = exprexpr_entry(item.id);
    const ExprImpl &body = *entry.body;
    check_body(body);
    start_record(nc, item, body, std::move(bounds));
    nc.allowed = entry.allowed;
    nc.shape_exponent = entry.shape_exponent;
    nc.shape_hinge = entry.shape_hinge;
    const uint64_t terms = body.size + (body.has_head() ? 1 : 0);
    nc.vars.reserve(terms);
    nc.coeffs.reserve(terms);
    auto push = [&](const TermImpl &t) {
        if (t.vars.degree() != 1) fatal(kNotLinear);
        if (t.vars.slot[0] & kNeg) fatal(kNegatedInBody);
        nc.vars.push_back(t.vars.slot[0]);
        nc.coeffs.push_back(t.coeff);
    };
    for_active_terms(body, push);
    sorted.assign(nc.vars.begin(), nc.vars.end());
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
        fatal("Model: constraint body not simplified as binary (duplicate variable across terms). Call "
              "simplify_as_binary() on the model expression first.");
    }
}

void nonlinear_record(NativeConstraint &nc, const SumItem &item) {
    Bounds bounds = bounds_of(item.id);
    const ExprImpl &body = *exprexpr_entry(item.id).body;
    check_body(body);
    start_record(nc, item, body, std::move(bounds));
    nc.quad_head.push_back(0);
    for_active_terms(body, [&](const TermImpl &t) {
        const uint32_t degree = t.vars.degree();
        if (degree == 0) {
            nc.quad_coeffs.push_back(t.coeff);
            nc.quad_head.push_back(nc.quad_vars.size());
        } else if (degree == 1) {
            if (t.vars.slot[0] & kNeg) fatal(kNegatedInBody);
            nc.vars.push_back(t.vars.slot[0]);
            nc.coeffs.push_back(t.coeff);
        } else {
            if ((t.vars.slot[0] | t.vars.slot[1]) & kNeg) fatal(kNegatedInBody);
            nc.quad_vars.push_back(t.vars.slot[0]);
            nc.quad_vars.push_back(t.vars.slot[1]);
            nc.quad_coeffs.push_back(t.coeff);
            nc.quad_head.push_back(nc.quad_vars.size());
        }
    });
}

// The first fault found by the parallel scan; later ones are ignored.
struct ScanError {
    std::atomic<uint8_t> set{0};
    std::mutex mutex;
    std::string message;

    void record(const char *text) {
        uint8_t expected = 0;
        if (set.compare_exchange_strong(expected, 1)) {
            std::lock_guard<std::mutex> lock(mutex);
            message = text;
        }
    }
};

}  // namespace

ModelImpl::ModelImpl(const ExprImpl &expr_in, double, const ConstraintListImpl *list) {
    scale = 1.0;

    // Step A: linear items first, then nonlinear ones, each checked now.
    std::vector<const SumItem *> linear_items, nonlinear_items;
    if (list != nullptr) {
        for (const SumItem &item : list->items) {
            bounds_of(item.id);
            const ExprExprEntry &entry = exprexpr_entry(item.id);
            check_body(*entry.body);
            if (body_is_nonlinear(*entry.body)) {
                if (entry.shape_hinge != 0) {
                    fatal("vexa::abs/relu: nonlinear bodies are not supported yet (the body must be linear)");
                }
                nonlinear_items.push_back(&item);
            } else {
                linear_items.push_back(&item);
            }
        }
    }

    // Step B: the remainder joins the objective in the flat arrays.
    const bool with_remainder = list != nullptr && list->has_remainder;
    ExprImpl merged;
    ExprImpl remainder_simplified;
    const ExprImpl *source = &expr_in;
    if (with_remainder) {
        ExprImpl sum = ExprImpl::plain_copy(expr_in);
        sum.append_terms(list->remainder);
        merged = expr_simplify_as_binary(sum);
        source = &merged;
    }
    const ExprImpl &expr = *source;
    ProfileClock watch("  [Model] ");
    watch.start();
    constant = expr.constant;
    if (with_remainder) remainder_simplified = expr_simplify_as_binary(list->remainder);

    // Step C: native constraints, still with the expression's words.
    std::vector<NativeConstraint> pending;
    pending.reserve(linear_items.size() + nonlinear_items.size());
    std::vector<uint32_t> scratch;
    for (const SumItem *item : linear_items) linear_record(pending.emplace_back(), *item, scratch);
    for (const SumItem *item : nonlinear_items) nonlinear_record(pending.emplace_back(), *item);

    // Step D, phase 1a: count terms per degree and chunk, validate, flag
    // the variables that occur.
    const uint64_t V = vexa::var_count();  // the registry, not this model
    const uint64_t I = IntVarTable::instance().next_index.load(std::memory_order_relaxed);
    std::vector<uint8_t> var_flags(V, 0);
    std::vector<uint8_t> int_flags(I, 0);
    const bool head_active = expr.has_head();
    const uint64_t N = expr.size;
    if (N == 0) {
        max_degree = head_active ? expr.head.vars.degree() : 0;
    } else {
        max_degree = expr.data[N - 1].vars.degree();
    }
    const uint32_t T = std::max<uint32_t>(1, parallel_threads(N));
    const uint64_t C = std::min<uint64_t>(4ull * T, N);
    const uint64_t chunk_size = C == 0 ? 0 : (N + C - 1) / C;
    const uint32_t scan_threads = N < kParallelMin ? 1 : T;
    const uint32_t D = max_degree;
    std::vector<uint32_t> counters((C + 1) * D, 0);  // row 0: the head; row c + 1: chunk c

    ScanError error;
    auto scan = [&](const TermImpl &t, uint64_t row) {
        const uint32_t degree = t.vars.degree();
        if (degree == 0) return;
        if (degree > D) {  // the terms are not in degree order
            error.record(kExprUnsorted);
            return;
        }
        ++counters[row * D + degree - 1];
        for (uint32_t k = 0; k < degree; ++k) {
            const uint32_t w = t.vars.slot[k];
            if (is_int_atom(w)) {
                if ((literal_int_index(w)) >= I) {
                    error.record("Model: unknown integer variable index.");
                    return;
                }
            } else if (w & kNeg) {
                error.record(kExprNegated);
                return;
            } else if (w >= V) {
                error.record("Model: unknown binary variable index.");
                return;
            }
            if (k == 1) {
                const uint32_t w0 = t.vars.slot[0] & ~kNeg;
                const uint32_t w1 = w & ~kNeg;
                if (w1 < w0 || (w1 == w0 && !is_int_atom(w1))) {
                    error.record(kExprUnsorted);
                    return;
                }
            }
        }
        for (uint32_t k = 0; k < degree; ++k) {
            const uint32_t w = t.vars.slot[k];
            if (is_int_atom(w)) {
                int_flags[literal_int_index(w)] = 1;
            } else {
                var_flags[w] = 1;
            }
        }
    };
    if (head_active) scan(expr.head, 0);
    par_items(C, scan_threads, [&](uint64_t c) {
        const uint64_t end = std::min(N, (c + 1) * chunk_size);
        for (uint64_t i = c * chunk_size; i < end; ++i) scan(expr.data[i], c + 1);
    });
    if (error.set.load() != 0) fatal(error.message);

    auto flag_word = [&](uint32_t w) {
        if (is_int_atom(w)) {
            if ((literal_int_index(w)) >= I) fatal("Model: unknown integer variable index.");
            int_flags[literal_int_index(w)] = 1;
        } else {
            if ((w & ~kNeg) >= V) fatal("Model: unknown binary variable index.");
            var_flags[w & ~kNeg] = 1;
        }
    };
    for (const NativeConstraint &nc : pending) {
        for (uint32_t w : nc.vars) flag_word(w);
        for (uint32_t w : nc.quad_vars) flag_word(w);
    }
    if (with_remainder) {
        for_active_terms(remainder_simplified, [&](const TermImpl &t) {
            for (uint32_t k = 0; k < t.vars.degree(); ++k) {
                if (is_int_atom(t.vars.slot[k])) {
                    fatal("Model: native integer variables (int_var) in a free-form penalty remainder are not "
                          "supported yet.");
                }
                flag_word(t.vars.slot[k]);
            }
        });
    }
    watch.report("Phase 1a (parallel count + validate + var_flags)");

    // Step E, phase 1b: exact sizes and each chunk's write offsets.
    term_counts.assign(D, 0);
    std::vector<uint64_t> offsets((C + 1) * D, 0);
    for (uint32_t d = 0; d < D; ++d) {
        uint64_t running = 0;
        for (uint64_t row = 0; row <= C; ++row) {
            offsets[row * D + d] = running;
            running += counters[row * D + d];
        }
        term_counts[d] = running;
    }
    for (uint32_t d = 0; d < D; ++d) {
        term_vars.emplace_back(term_counts[d] * (d + 1));
        term_coeffs.emplace_back(term_counts[d]);
    }
    watch.report("Phase 1b (merge counts + allocate flat arrays)");
    small_coeffs.assign(D, true);
    if (D == 0 && pending.empty()) return;

    // Step F, phase 1c: fill in expression order within each degree.
    std::vector<std::atomic<bool>> big(D);
    for (auto &b : big) b.store(false);
    auto place = [&](const TermImpl &t, uint64_t &next) {
        const uint32_t degree = t.vars.degree();
        if (degree == 0) return;
        const uint64_t pos = next++;
        term_coeffs[degree - 1][pos] = t.coeff;
        if (t.coeff.backend().size() > 1 || t.coeff.backend().limbs()[0] > 0x7FFFFFFFFFFFFFFFull) {
            big[degree - 1].store(true, std::memory_order_relaxed);
        }
        for (uint32_t k = 0; k < degree; ++k) term_vars[degree - 1][pos * degree + k] = t.vars.slot[k];
    };
    if (head_active) {
        const uint32_t degree = expr.head.vars.degree();
        if (degree > 0) place(expr.head, offsets[degree - 1]);
    }
    par_items(C, scan_threads, [&](uint64_t c) {
        const uint64_t end = std::min(N, (c + 1) * chunk_size);
        for (uint64_t i = c * chunk_size; i < end; ++i) {
            const uint32_t degree = expr.data[i].vars.degree();
            if (degree > 0) place(expr.data[i], offsets[(c + 1) * D + degree - 1]);
        }
    });
    for (uint32_t d = 0; d < D; ++d) small_coeffs[d] = !big[d].load();
    watch.report("Phase 1c (parallel fill flat arrays)");

    // Step G, phase 2: dense numbering by a scan of the flags.
    index_map.assign(V, kNoIndex);
    const uint64_t VC = V >= 4ull * T ? 4ull * T : std::max<uint64_t>(V, 1);
    const uint64_t v_chunk = V >= 4ull * T ? (V + VC - 1) / VC : 1;
    std::vector<uint64_t> v_count(VC + 1, 0);
    const uint32_t number_threads = V < kParallelMin ? 1 : T;
    par_items(VC, number_threads, [&](uint64_t c) {
        const uint64_t end = std::min(V, (c + 1) * v_chunk);
        uint64_t count = 0;
        for (uint64_t i = c * v_chunk; i < end; ++i) count += var_flags[i];
        v_count[c + 1] = count;
    });
    for (uint64_t c = 0; c < VC; ++c) v_count[c + 1] += v_count[c];
    vars.resize(v_count[VC]);
    par_items(VC, number_threads, [&](uint64_t c) {
        const uint64_t end = std::min(V, (c + 1) * v_chunk);
        uint64_t dense = v_count[c];
        for (uint64_t i = c * v_chunk; i < end; ++i) {
            if (var_flags[i]) {
                index_map[i] = static_cast<uint32_t>(dense);
                vars[dense++] = static_cast<uint32_t>(i);
            }
        }
    });
    watch.report("Phase 2 (parallel prefix-sum var_flags scan + dense index_map)");

    // Step H, phase 2i: integer atoms.
    if (I != 0) {
        int_index_map.assign(I, kNoIndex);
        for (uint64_t i = 0; i < I; ++i) {
            if (int_flags[i]) {
                int_index_map[i] = static_cast<uint32_t>(int_atoms.size());
                int_atoms.push_back(static_cast<uint32_t>(i));
            }
        }
        int_lower.resize(int_atoms.size());
        int_upper.resize(int_atoms.size());
        for (uint64_t k = 0; k < int_atoms.size(); ++k) {
            const IntVarRecord *record = find_int_var(int_atoms[k]);
            if (record == nullptr) fatal("Model: integer variable bounds lookup failed.");
            int_lower[k] = record->lower;
            int_upper[k] = record->upper;
        }
        if (!int_atoms.empty()) watch.report("Phase 2i (integer-atom mapping)");
    }

    auto remap = [&](uint32_t w) {
        if (is_int_atom(w)) return int_index_map[literal_int_index(w)] | kInt;
        return index_map[literal_var_index(w)] | (w & kNeg);
    };

    // Step I: native constraints in dense words.
    if (!pending.empty()) {
        for (NativeConstraint &nc : pending) {
            for (uint32_t &w : nc.vars) w = remap(w);
            for (uint32_t &w : nc.quad_vars) w = remap(w);
        }
        native_constraints = std::move(pending);
        watch.report("Native constraints (remap)");
    }

    // Step J: the remainder's own rows.
    if (with_remainder) {
        has_remainder = true;
        remainder_constant = remainder_simplified.constant;
        remainder_head.push_back(0);
        for_active_terms(remainder_simplified, [&](const TermImpl &t) {
            if (t.coeff.is_zero()) return;
            for (uint32_t k = 0; k < t.vars.degree(); ++k) remainder_vars.push_back(remap(t.vars.slot[k]));
            remainder_coeffs.push_back(t.coeff);
            remainder_head.push_back(remainder_vars.size());
        });
        watch.report("Remainder (remap)");
    }

    // Step K, phase 3: the flat arrays in dense words.
    if (D > 0) {
        for (uint32_t d = 0; d < D; ++d) {
            FlatArray<uint32_t> &words = term_vars[d];
            par_for(words.size(), [&](uint64_t i) { words[i] = remap(words[i]); });
        }
        watch.report("Phase 3 (parallel remap)");
    }
}

}  // namespace vexa
