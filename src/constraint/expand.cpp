#include "constraint/expand.hpp"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "constraint/attr.hpp"
#include "core/fatal.hpp"
#include "core/int_var_table.hpp"
#include "core/literal.hpp"
#include "core/variable_table.hpp"

namespace vexa {

namespace {

std::atomic<uint64_t> slack_counter{0};

// f + c as a plain value.
ExprImpl shifted(const ExprImpl &f, const coeff_t &c) {
    ExprImpl out = ExprImpl::plain_copy(f);
    out.constant += c;
    return out;
}

// Coefficients of a slack that reaches every other value of [lo, hi - 1]:
// powers of two from 2, the remainder last, so the subset sums rise in steps
// of at most 2 from 0 to hi - 1 - lo.
std::vector<coeff_t> slack_coeffs(const coeff_t &lo, const coeff_t &hi) {
    coeff_t rest = hi - lo;
    rest -= 1;
    coeff_t pw = 2;
    std::vector<coeff_t> out;
    while (rest > 0) {
        out.push_back(pw < rest ? pw : rest);
        rest -= pw;
        pw *= 2;
    }
    return out;
}

// lo + sum c_i * b_i over fresh slack bits.
ExprImpl make_slack(const coeff_t &lo, const coeff_t &hi) {
    const std::string name = "{s" + std::to_string(slack_counter.fetch_add(1)) + "}";
    const std::vector<coeff_t> coeffs = slack_coeffs(lo, hi);
    uint32_t first = 0;
    if (coeffs.size() == 1) {
        first = new_var(name.c_str());
    } else {
        const uint64_t dims[1] = {coeffs.size()};
        first = new_var_array(name.c_str(), dims, 1);
    }
    ExprImpl s(lo);
    for (size_t i = 0; i < coeffs.size(); ++i) {
        const uint32_t code = first + static_cast<uint32_t>(i);
        s.add_term(make_term(coeffs[i], &code, 1));
    }
    return s;
}

// Bit encoding of a native integer, made once per integer and kept, so that
// every binarised expression over it shares the same bits. Holds the integer
// table's lock, and the variable table's inside it while bits are made.
std::vector<std::pair<coeff_t, uint32_t>> encoding_of(uint32_t code) {
    IntVarTable &table = IntVarTable::instance();
    std::lock_guard<std::mutex> lock(table.mutex);
    const IntVarRecord *record = literal_is_int(code) ? find_int_var(literal_int_index(code)) : nullptr;
    if (record == nullptr) fatal("binarize: not an integer variable index");
    const uint32_t index = literal_int_index(code);
    auto found = table.encodings.find(index);
    if (found != table.encodings.end() && !found->second.empty()) return found->second;

    const coeff_t range = record->upper - record->lower;
    std::vector<coeff_t> coeffs;
    coeff_t sum = 0;
    coeff_t c = 1;
    while (sum + c <= range) {
        coeffs.push_back(c);
        sum += c;
        if (c > range / 2) break;
        c *= 2;
    }
    if (sum < range) coeffs.push_back(range - sum);

    const std::string base = int_var_str(index);
    std::vector<std::pair<coeff_t, uint32_t>> encoding;
    for (size_t k = 0; k < coeffs.size(); ++k) {
        const std::string bit_name = base + "#" + std::to_string(k);
        encoding.emplace_back(coeffs[k], new_var(bit_name.c_str()));
    }
    table.encodings[index] = encoding;
    return encoding;
}

// The value a term literal stands for, as an expression over binary bits.
ExprImpl literal_value(uint32_t code) {
    if (!literal_is_int(code)) return literal_expr(1, code);
    const IntVarRecord *record = find_int_var(literal_int_index(code));
    if (record == nullptr) fatal("binarize: unknown integer variable");
    ExprImpl v(record->lower);
    for (const auto &[c, bit] : encoding_of(code)) v.add_term(make_term(c, &bit, 1));
    return v;
}

void binarize_term(ExprImpl &result, const TermImpl &t) {
    if (t.coeff.is_zero()) return;
    bool atom = false;
    for (uint32_t k = 0; k < t.vars.degree(); ++k) atom = atom || literal_is_int(t.vars.slot[k]);
    if (!atom) {
        result.add_term(t);
        return;
    }
    ExprImpl acc(t.coeff);
    for (uint32_t k = 0; k < t.vars.degree(); ++k) acc = acc.mul(literal_value(t.vars.slot[k]));
    result.append_terms(acc);
}

}  // namespace

ExprImpl between_penalty(const ExprImpl &f, const coeff_t &lo, const coeff_t &hi) {
    const coeff_t d = hi - lo;
    ExprImpl out;
    if (d < 0) return out;
    if (d == 0) {
        out = shifted(f, -lo).sqr();
    } else if (d == 1) {
        // Zero on the two allowed integers, positive elsewhere: no slack needed.
        out = shifted(f, -lo).mul(shifted(f, -hi));
    } else {
        // (f - S)(f - S - 1) vanishes exactly when f is S or S + 1.
        ExprImpl f_minus_s = ExprImpl::plain_copy(f);
        ExprImpl s = make_slack(lo, hi);
        s.negate();
        f_minus_s.append_terms(s);
        out = f_minus_s.mul(shifted(f_minus_s, -1));
    }
    out.attr = kPlainAttr;
    return out;
}

ExprImpl expand_cons(const ExprImpl &e) {
    if (!is_live_sum(e.attr)) {
        // Classic constraints are their penalty already; an encoded integer keeps its word.
        ExprImpl out = ExprImpl::plain_copy(e);
        if (is_varint(e.attr)) out.attr = e.attr;
        return out;
    }
    ExprImpl acc = ExprImpl::plain_copy(e);
    // Copied first: records may be appended (and the table moved) while expanding.
    const std::vector<SumItem> items = sum_entry(e.attr & kIndexMask).items;
    for (const SumItem &item : items) {
        coeff_t lo, hi;
        if (!get_bounds(item.id, lo, hi)) fatal("expand_cons: constraint carries no bounds");
        const ExprExprEntry &record = exprexpr_entry(item.id);
        if (record.shape_hinge != 0) {
            fatal("expand_cons: vexa::abs/relu terms have no classic penalty form (|f|^k is not a polynomial)");
        }
        const ExprImpl body = ExprImpl::plain_copy(*record.body);
        ExprImpl p;
        if (lo == hi) {
            p = shifted(body, -lo).sqr();
        } else {
            if (item.weight < 0) {
                fatal("expand_cons: a one-sided/range constraint carries a NEGATIVE weight; its slack-based "
                      "penalty form is only valid for positive weights. Keep the expression in cons() form and "
                      "use a bundled solver.");
            }
            p = between_penalty(body, lo, hi);
        }
        if (item.weight != 1) p.imul_int(item.weight);
        acc.append_terms(std::move(p));
    }
    if (const ExprImpl *r = sum_entry(e.attr & kIndexMask).remainder.get()) acc.append_terms(*r);
    acc.attr = kPlainAttr;
    return acc;
}

ExprImpl binarize(const ExprImpl &e) {
    if (is_constraint(e.attr)) {
        fatal("binarize: constraint expressions are not supported — call expand_cons() first, then binarize the "
              "plain penalty form.");
    }
    if (!e.has_int_atom()) return ExprImpl::plain_copy(e);
    ExprImpl result(e.constant);
    for (uint64_t i = 0; i < e.term_count(); ++i) binarize_term(result, e.term(i));
    result.attr = kPlainAttr;
    return result;
}

}  // namespace vexa
