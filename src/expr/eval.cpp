// Evaluation under a value map, substitution and reachable bounds.
#include "expr/eval.hpp"

#include <algorithm>
#include <vector>

#include "core/fatal.hpp"
#include "core/int_var_table.hpp"
#include "core/literal.hpp"
#include "core/parallel.hpp"
#include "expr/simplify.hpp"

namespace vexa {

namespace {

// Threads of evaluation and substitution: all of them, from 10,000 terms on.
uint32_t eval_threads(uint64_t n_terms) {
    const uint32_t hw = hardware_threads();
    return (hw < 2 || n_terms < kParallelMin) ? 1 : hw;
}

coeff_t term_value(const TermImpl &t, const ValueMap &values) {
    coeff_t v = t.coeff;
    const uint32_t degree = t.vars.degree();
    for (uint32_t k = 0; k < degree; ++k) {
        const uint32_t code = t.vars.slot[k];
        auto it = values.find(code & ~kNegBit);
        if (it == values.end()) fatal("eval: variable not found in mapping");
        if (code & kNegBit) {
            v *= coeff_t(1) - it->second;
        } else {
            v *= it->second;
        }
    }
    return v;
}

// c * prod(replacement of each literal); a literal without an entry of its
// exact code stays itself.
ExprImpl expand_term(const TermImpl &t, const ReplaceMap &map) {
    ExprImpl product{t.coeff};
    const uint32_t degree = t.vars.degree();
    for (uint32_t k = 0; k < degree; ++k) {
        const uint32_t code = t.vars.slot[k];
        auto it = map.find(code);
        if (it != map.end()) {
            product = product.mul(*it->second);
        } else {
            product = product.mul(literal_expr(1, code));
        }
    }
    return product;
}

}  // namespace

ExprImpl replace_plain(const ExprImpl &e, const ReplaceMap &map) {
    const uint64_t n = e.term_count();
    const uint32_t threads = eval_threads(n);
    if (threads == 1) {
        ExprImpl acc{e.constant};
        for (uint64_t i = 0; i < n; ++i) acc.append_terms(expand_term(e.term(i), map));
        return acc;
    }
    // One partial expression per chunk, joined in chunk order: the terms come
    // out in the order of the serial loop, whatever thread ran a chunk.
    std::vector<ExprImpl> partial(fresh_chunk_count(threads, n));
    run_on_fresh_threads(threads, n, [&](uint32_t, uint64_t c, uint64_t begin, uint64_t end) {
        for (uint64_t i = begin; i < end; ++i) partial[c].append_terms(expand_term(e.term(i), map));
    });
    uint64_t tail = 0;
    for (const ExprImpl &p : partial) tail += p.term_count();
    ExprImpl result{e.constant};
    result.reserve_tail(tail);
    for (ExprImpl &p : partial) result.append_terms(std::move(p));
    return result;
}

std::pair<coeff_t, coeff_t> reachable_bounds(const ExprImpl &e) {
    const ExprImpl s = expr_simplify_as_binary(e);
    coeff_t lo = s.constant;
    coeff_t hi = s.constant;
    for (uint64_t i = 0; i < s.term_count(); ++i) {
        const TermImpl &t = s.term(i);
        if (t.coeff.is_zero()) continue;
        coeff_t a = t.coeff;
        coeff_t b = t.coeff;
        const uint32_t degree = t.vars.degree();
        for (uint32_t k = 0; k < degree; ++k) {
            const uint32_t code = t.vars.slot[k];
            coeff_t l = 0;
            coeff_t u = 1;
            if (code & kIntBit) {
                const IntVarRecord *record = find_int_var(literal_int_index(code));
                if (record == nullptr) fatal("reachable bounds: unknown integer variable");
                l = record->lower;
                u = record->upper;
            }
            const coeff_t p[4] = {a * l, a * u, b * l, b * u};
            a = *std::min_element(p, p + 4);
            b = *std::max_element(p, p + 4);
        }
        lo += a;
        hi += b;
    }
    return {std::move(lo), std::move(hi)};
}

coeff_t eval_map(const ExprImpl &e, const ValueMap &values) {
    const uint64_t n_terms = e.term_count();
    const uint32_t threads = eval_threads(n_terms);
    coeff_t total = e.constant;
    if (threads == 1) {
        for (uint64_t i = 0; i < n_terms; ++i) total += term_value(e.term(i), values);
    } else {
        std::vector<coeff_t> partial(threads);
        run_on_fresh_threads(threads, n_terms, [&](uint32_t t, uint64_t, uint64_t begin, uint64_t end) {
            for (uint64_t i = begin; i < end; ++i) partial[t] += term_value(e.term(i), values);
        });
        for (const coeff_t &p : partial) total += p;
    }
    return total;
}

}  // namespace vexa
