// einsum: the subscript is parsed and resolved into per-input stride lists
// once; each output element then walks its range of the summed labels with
// one digit vector, multiplying the addressed input elements.
#include "array/einsum.hpp"

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "array/array.hpp"
#include "core/fatal.hpp"

namespace vexa {

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

// Labels are bytes ordered as signed char.
using Label = signed char;

struct Subscript {
    std::vector<std::string> inputs;
    std::string output;
    bool explicit_output = false;
};

std::string quoted(const std::string &s) { return "\"" + s + "\""; }

Subscript parse_subscript(const std::string &text, int n_inputs) {
    Subscript sub;
    const size_t len = text.size();
    size_t p = 0;
    auto arrow_at = [&](size_t q) { return q + 1 < len && text[q] == '-' && text[q + 1] == '>'; };
    for (int k = 0; k < n_inputs; ++k) {
        std::string labels;
        while (p < len && text[p] != ',' && !arrow_at(p)) {
            if (!is_blank(text[p])) labels += text[p];
            ++p;
        }
        sub.inputs.push_back(labels);
        if (k + 1 < n_inputs) {
            if (p >= len || text[p] != ',') {
                fatal("einsum: expected ',' separating " + std::to_string(n_inputs) + " inputs in subscript " +
                      quoted(text));
            }
            ++p;
        }
    }
    while (p < len && is_blank(text[p])) ++p;
    if (p >= len || text[p] == ',') return sub;  // implicit output
    if (!arrow_at(p)) {
        fatal(std::string("einsum: unexpected trailing character '") + text[p] + "' in subscript " + quoted(text));
    }
    sub.explicit_output = true;
    for (p += 2; p < len; ++p) {
        if (!is_blank(text[p])) sub.output += text[p];
    }
    return sub;
}

// One axis of an input: the position of its label among the output labels
// or the summed labels, and the input's stride along it.
struct AxisStep {
    uint64_t pos;
    uint64_t stride;
};

// Calls f with the typed array behind an input pointer.
template <class F>
decltype(auto) with_input(uint32_t tag, const void *p, F &&f) {
    switch (tag) {
        case 0: return f(*static_cast<const ArrayImpl<unsigned int> *>(p));
        case 1: return f(*static_cast<const ArrayImpl<coeff_t> *>(p));
        case 2: return f(*static_cast<const ArrayImpl<TermImpl> *>(p));
        default: return f(*static_cast<const ArrayImpl<ExprImpl> *>(p));
    }
}

struct Plan {
    int n = 0;
    const uint32_t *tags = nullptr;
    const void *const *arrays = nullptr;
    std::vector<uint64_t> out_shape, sum_shape;
    std::vector<std::vector<AxisStep>> out_terms, sum_terms;
    uint64_t out_total = 1, sum_total = 1;
    bool has_expr_input = false;
};

Plan make_plan(const char *subscript, int n_inputs, const uint32_t *tags, const void *const *arrays,
               uint64_t out_dim) {
    if (n_inputs < 1) fatal("einsum: requires at least one input");
    const std::string text(subscript);
    Subscript sub = parse_subscript(text, n_inputs);

    std::map<Label, uint64_t> label_size;
    for (int k = 0; k < n_inputs; ++k) {
        if (tags[k] > 3) fatal("einsum: unknown input type tag " + std::to_string(tags[k]));
        const std::vector<uint64_t> &shape =
            with_input(tags[k], arrays[k], [](const auto &a) -> const std::vector<uint64_t> & { return a.shape; });
        const std::string &labels = sub.inputs[k];
        if (shape.size() != labels.size()) {
            fatal("einsum: input " + std::to_string(k) + " has " + std::to_string(shape.size()) +
                  " dims but subscript has " + std::to_string(labels.size()) + " labels (subscript=" +
                  quoted(text) + ")");
        }
        for (size_t axis = 0; axis < labels.size(); ++axis) {
            const Label l = static_cast<Label>(labels[axis]);
            auto [it, fresh] = label_size.emplace(l, shape[axis]);
            if (!fresh && it->second != shape[axis]) {
                fatal(std::string("einsum: inconsistent size for label '") + labels[axis] +
                      "': " + std::to_string(it->second) + " vs " + std::to_string(shape[axis]));
            }
        }
    }

    if (!sub.explicit_output) {
        std::map<Label, int> occurrences;
        for (const std::string &labels : sub.inputs) {
            for (char c : labels) ++occurrences[static_cast<Label>(c)];
        }
        for (const auto &[l, count] : occurrences) {
            if (count == 1) sub.output += static_cast<char>(l);
        }
    }
    for (char c : sub.output) {
        if (label_size.count(static_cast<Label>(c)) == 0) {
            fatal(std::string("einsum: output label '") + c + "' not in any input");
        }
    }
    std::string sum_labels;
    for (const auto &[l, extent] : label_size) {
        if (sub.output.find(static_cast<char>(l)) == std::string::npos) sum_labels += static_cast<char>(l);
    }

    Plan plan;
    plan.n = n_inputs;
    plan.tags = tags;
    plan.arrays = arrays;
    // A repeated output label keeps its last position.
    const uint64_t n_out = sub.output.size();
    std::map<Label, uint64_t> label_index;
    for (uint64_t k = 0; k < n_out; ++k) label_index[static_cast<Label>(sub.output[k])] = k;
    for (uint64_t j = 0; j < sum_labels.size(); ++j) label_index[static_cast<Label>(sum_labels[j])] = n_out + j;
    for (char c : sub.output) plan.out_shape.push_back(label_size[static_cast<Label>(c)]);
    for (char c : sum_labels) plan.sum_shape.push_back(label_size[static_cast<Label>(c)]);
    plan.out_terms.resize(n_inputs);
    plan.sum_terms.resize(n_inputs);
    for (int k = 0; k < n_inputs; ++k) {
        const std::vector<uint64_t> &strides =
            with_input(tags[k], arrays[k], [](const auto &a) -> const std::vector<uint64_t> & { return a.strides; });
        const std::string &labels = sub.inputs[k];
        for (size_t axis = 0; axis < labels.size(); ++axis) {
            const uint64_t index = label_index[static_cast<Label>(labels[axis])];
            if (index < n_out) {
                plan.out_terms[k].push_back({index, strides[axis]});
            } else {
                plan.sum_terms[k].push_back({index - n_out, strides[axis]});
            }
        }
    }

    if (n_out != out_dim) {
        fatal("einsum: OutDim mismatch \u2014 subscript " + quoted(text) + " produces " + std::to_string(n_out) +
              " output axis(es), but the call was einsum<" + std::to_string(out_dim) + ">()");
    }
    plan.out_total = element_count(plan.out_shape);
    plan.sum_total = element_count(plan.sum_shape);
    for (int k = 0; k < n_inputs; ++k) plan.has_expr_input |= tags[k] == 3;
    return plan;
}

// Per-input offsets of output element o, before the summed labels.
std::vector<uint64_t> output_bases(const Plan &plan, uint64_t o) {
    const std::vector<uint64_t> strides = row_major_strides(plan.out_shape);
    std::vector<uint64_t> digits(plan.out_shape.size());
    for (size_t j = 0; j < digits.size(); ++j) {
        digits[j] = o / strides[j];
        o %= strides[j];
    }
    std::vector<uint64_t> base(plan.n, 0);
    for (int k = 0; k < plan.n; ++k) {
        for (const AxisStep &s : plan.out_terms[k]) base[k] += digits[s.pos] * s.stride;
    }
    return base;
}

// Walks flat sum indices [s0, s1) and calls step(offsets) at each, offsets
// holding the addressed element of every input.
template <class Step>
void walk_sum(const Plan &plan, const std::vector<uint64_t> &base, uint64_t s0, uint64_t s1, Step &&step) {
    if (s0 >= s1) return;
    const size_t nd = plan.sum_shape.size();
    std::vector<uint64_t> digits(nd);
    uint64_t rest = s0;
    for (size_t j = nd; j-- > 0;) {
        digits[j] = rest % plan.sum_shape[j];
        rest /= plan.sum_shape[j];
    }
    std::vector<uint64_t> offsets(plan.n);
    for (uint64_t s = s0; s < s1; ++s) {
        for (int k = 0; k < plan.n; ++k) {
            uint64_t off = base[k];
            for (const AxisStep &a : plan.sum_terms[k]) off += digits[a.pos] * a.stride;
            offsets[k] = off;
        }
        step(offsets);
        for (size_t j = nd; j-- > 0;) {
            if (++digits[j] < plan.sum_shape[j]) break;
            digits[j] = 0;
        }
    }
}

void contract_int(const Plan &plan, const std::vector<uint64_t> &base, uint64_t s0, uint64_t s1, coeff_t &acc) {
    walk_sum(plan, base, s0, s1, [&](const std::vector<uint64_t> &off) {
        coeff_t product = 1;
        for (int k = 0; k < plan.n; ++k) product *= static_cast<const ArrayImpl<coeff_t> *>(plan.arrays[k])->data[off[k]];
        acc += product;
    });
}

// One step without expression inputs: one monomial, or a constant. The
// monomial is handed to emit(term); a constant is added to `constant`.
// The first integer factor is copied rather than multiplied into a 1.
template <class Emit>
void monomial(const Plan &plan, const std::vector<uint64_t> &off, coeff_t &constant, Emit &&emit) {
    coeff_t coef;
    bool unit = true;
    auto scale = [&](const coeff_t &c) {
        if (unit) {
            coef = c;
            unit = false;
        } else {
            coef *= c;
        }
    };
    TermImpl t{};
    for (int k = 0; k < plan.n; ++k) {
        switch (plan.tags[k]) {
            case 0: t.vars.append(static_cast<const ArrayImpl<unsigned int> *>(plan.arrays[k])->data[off[k]]); break;
            case 1: scale(static_cast<const ArrayImpl<coeff_t> *>(plan.arrays[k])->data[off[k]]); break;
            default: {
                const TermImpl &e = static_cast<const ArrayImpl<TermImpl> *>(plan.arrays[k])->data[off[k]];
                scale(e.coeff);
                t.vars.append(e.vars);
                break;
            }
        }
        if (!unit && coef.is_zero()) return;
    }
    if (unit) coef = 1;
    if (t.vars.degree() == 0) {
        constant += coef;
        return;
    }
    t.coeff = std::move(coef);
    emit(std::move(t));
}

void add_monomial(const Plan &plan, const std::vector<uint64_t> &off, ExprImpl &acc) {
    monomial(plan, off, acc.constant, [&](TermImpl &&t) { acc.add_term(std::move(t)); });
}

// One step with an expression input: the expression product of every element.
void add_product(const Plan &plan, const std::vector<uint64_t> &off, ExprImpl &acc) {
    ExprImpl p(coeff_t(1));
    for (int k = 0; k < plan.n; ++k) {
        switch (plan.tags[k]) {
            case 0: p = p.mul_var(static_cast<const ArrayImpl<unsigned int> *>(plan.arrays[k])->data[off[k]]); break;
            case 1: p.imul_int(static_cast<const ArrayImpl<coeff_t> *>(plan.arrays[k])->data[off[k]]); break;
            case 2: p = p.mul_term(static_cast<const ArrayImpl<TermImpl> *>(plan.arrays[k])->data[off[k]]); break;
            default: p = p.mul(static_cast<const ArrayImpl<ExprImpl> *>(plan.arrays[k])->data[off[k]]); break;
        }
    }
    p.attr = kPlainAttr;
    acc.append_terms(std::move(p));
}

void contract_expr(const Plan &plan, const std::vector<uint64_t> &base, uint64_t s0, uint64_t s1, ExprImpl &acc) {
    if (plan.has_expr_input) {
        walk_sum(plan, base, s0, s1, [&](const std::vector<uint64_t> &off) { add_product(plan, off, acc); });
    } else {
        walk_sum(plan, base, s0, s1, [&](const std::vector<uint64_t> &off) { add_monomial(plan, off, acc); });
    }
}

uint64_t chunk_edge(uint64_t n, uint64_t c, uint64_t threads) {
    return static_cast<uint64_t>((static_cast<unsigned __int128>(n) * c) / threads);
}

// Runs fn(c, begin, end) for the `threads` chunks of the sum range, one plain
// thread each.
template <class Fn>
void over_sum_chunks(uint64_t sum_total, uint32_t threads, Fn &&fn) {
    std::vector<std::thread> pool;
    pool.reserve(threads);
    for (uint32_t c = 0; c < threads; ++c) {
        pool.emplace_back([&, c]() { fn(c, chunk_edge(sum_total, c, threads), chunk_edge(sum_total, c + 1, threads)); });
    }
    for (auto &t : pool) t.join();
}

// One output element with all threads. Without expression inputs a step
// yields at most one term, so the element's tail is reserved for the whole
// sum range up front and chunk c writes its terms straight into the slots
// from its first sum index on. The element then
// holds the same terms in the same order as the partial-sum way, without a
// second block and a move of every term; only chunks after a step that gave
// no term (a zero or a constant) are slid down to close the gap.
ExprImpl split_monomial_element(const Plan &plan, uint64_t o, uint32_t threads) {
    const std::vector<uint64_t> base = output_bases(plan, o);
    ExprImpl element;
    element.reserve_tail(plan.sum_total);
    TermImpl *slots = element.data;
    std::vector<coeff_t> constants(threads);
    std::vector<uint64_t> counts(threads, 0);
    over_sum_chunks(plan.sum_total, threads, [&](uint32_t c, uint64_t s0, uint64_t s1) {
        TermImpl *at = slots + s0;
        uint64_t n = 0;
        walk_sum(plan, base, s0, s1, [&](const std::vector<uint64_t> &off) {
            monomial(plan, off, constants[c], [&](TermImpl &&t) { new (at + n++) TermImpl(std::move(t)); });
        });
        counts[c] = n;
    });
    uint64_t end = 0;
    for (uint32_t c = 0; c < threads; ++c) {
        element.constant += constants[c];
        const uint64_t from = chunk_edge(plan.sum_total, c, threads);
        if (from != end) {
            // Slots below `from` past `end` are free, and those of this chunk
            // are emptied in rising order, so each target slot is free.
            for (uint64_t i = 0; i < counts[c]; ++i) {
                new (slots + end + i) TermImpl(std::move(slots[from + i]));
                slots[from + i].~TermImpl();
            }
        }
        end += counts[c];
    }
    element.size = end;
    return element;
}

// One output element with all threads: partial sums over chunks of the sum
// range, whose terms are then moved into the element's tail in chunk order.
ExprImpl split_expr_element(const Plan &plan, uint64_t o, uint32_t threads) {
    if (!plan.has_expr_input) return split_monomial_element(plan, o, threads);
    const std::vector<uint64_t> base = output_bases(plan, o);
    std::vector<ExprImpl> partials(threads);
    over_sum_chunks(plan.sum_total, threads, [&](uint32_t c, uint64_t s0, uint64_t s1) {
        if (s1 - s0 > 1) partials[c].reserve_tail(s1 - s0 - 1);
        contract_expr(plan, base, s0, s1, partials[c]);
    });
    ExprImpl element;
    std::vector<uint64_t> offsets(threads + 1, 0);
    for (uint32_t c = 0; c < threads; ++c) {
        element.constant += partials[c].constant;
        offsets[c + 1] = offsets[c] + partials[c].term_count();
    }
    const uint64_t total = offsets[threads];
    element.reserve_tail(total);
    TermImpl *slots = element.data;
    auto move_partial = [&](uint32_t c) {
        ExprImpl &p = partials[c];
        uint64_t at = offsets[c];
        if (p.has_head()) new (&slots[at++]) TermImpl(std::move(p.head));
        for (uint64_t i = 0; i < p.size; ++i) new (&slots[at++]) TermImpl(std::move(p.data[i]));
    };
    if (threads == 1 || total < kParallelMin) {
        for (uint32_t c = 0; c < threads; ++c) move_partial(c);
    } else {
        std::vector<std::thread> pool;
        for (uint32_t c = 0; c < threads; ++c) pool.emplace_back(move_partial, c);
        for (auto &t : pool) t.join();
    }
    element.size = total;
    return element;
}

coeff_t split_int_element(const Plan &plan, uint64_t o, uint32_t threads) {
    const std::vector<uint64_t> base = output_bases(plan, o);
    std::vector<coeff_t> partials(threads);
    over_sum_chunks(plan.sum_total, threads,
                    [&](uint32_t c, uint64_t s0, uint64_t s1) { contract_int(plan, base, s0, s1, partials[c]); });
    coeff_t sum = 0;
    for (const coeff_t &p : partials) sum += p;
    return sum;
}

}  // namespace

void *einsum(const char *subscript, int n_inputs, const uint32_t *tags, const void *const *arrays,
             uint32_t expr_output, uint64_t out_dim) {
    const Plan plan = make_plan(subscript, n_inputs, tags, arrays, out_dim);
    const uint32_t threads = hardware_threads();
    // Few outputs over a huge contraction: each output is split over all
    // threads, since parallelism over the outputs would be empty.
    const bool split_sum = plan.out_total < kParallelMin && threads >= 2 && plan.sum_total > 99999 && plan.out_total != 0;

    if (expr_output == 0) {
        for (int k = 0; k < n_inputs; ++k) {
            if (tags[k] != 1) {
                fatal("einsum: int output requires all inputs to be coeff_t (input " + std::to_string(k) +
                      " has type tag " + std::to_string(tags[k]) + ")");
            }
        }
        if (split_sum) {
            return build_array<coeff_t>(plan.out_shape, [&](uint64_t o) { return split_int_element(plan, o, threads); });
        }
        return build_array_par<coeff_t>(plan.out_shape, [&](uint64_t o) {
            coeff_t acc = 0;
            contract_int(plan, output_bases(plan, o), 0, plan.sum_total, acc);
            return acc;
        });
    }
    if (split_sum) {
        return build_array<ExprImpl>(plan.out_shape, [&](uint64_t o) { return split_expr_element(plan, o, threads); });
    }
    return build_array_par<ExprImpl>(plan.out_shape, [&](uint64_t o) {
        ExprImpl acc;
        if (plan.sum_total > 1) acc.reserve_tail(plan.sum_total - 1);
        contract_expr(plan, output_bases(plan, o), 0, plan.sum_total, acc);
        return acc;
    });
}

}  // namespace vexa
