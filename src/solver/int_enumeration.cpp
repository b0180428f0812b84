#include "solver/int_enumeration.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "constraint/pricing.hpp"
#include "core/fatal.hpp"
#include "core/literal.hpp"
#include "model/sol.hpp"
#include "solver/flat_problem.hpp"
#include "solver/gray_counter.hpp"
#include "solver/params.hpp"
#include "solver/search_arith.hpp"
#include "solver/search_settings.hpp"

namespace vexa {

double enumeration_log2_states(const ModelImpl &m) {
    double s = static_cast<double>(m.var_count());
    for (uint64_t k = 0; k < m.int_count(); ++k) {
        s += std::log2(m.int_upper[k].convert_to<double>() - m.int_lower[k].convert_to<double>() + 1.0);
    }
    return s;
}

void check_enumeration_size(const ModelImpl &m) {
    const double s = enumeration_log2_states(m);
    if (s > 32.0) {
        fatal("ExhaustiveSolver: integer search space (~2^" + std::to_string(static_cast<long long>(s)) +
              " states) exceeds the 2^32 enumeration limit.");
    }
}

namespace {

struct EnumSettings {
    bool best_list = false;
    uint64_t cap = 0;
};

EnumSettings read_settings(const vexa_param *params) {
    EnumSettings s;
    for (size_t i = 0, n = param_count(params); i < n; ++i) {
        if (std::strcmp(params[i].key, "best_energy_sols") != 0) {
            fatal(std::string("ExhaustiveSolver: search parameter '") + params[i].key +
                  "' is not supported for native integer models yet.");
        }
        s.best_list = true;
        s.cap = best_energy_cap_of(params[i].value != nullptr ? params[i].value : "");
    }
    return s;
}

// Compressed lists: for each coordinate, the items that hold it.
struct Adjacency {
    std::vector<uint64_t> start;  // one more entry than coordinates
    std::vector<uint32_t> items;

    // pairs (coordinate, item), items ascending per coordinate
    void build(uint32_t n, const std::vector<std::pair<uint32_t, uint32_t>> &pairs) {
        start.assign(n + 1, 0);
        for (const auto &p : pairs) ++start[p.first + 1];
        for (uint32_t i = 0; i < n; ++i) start[i + 1] += start[i];
        items.resize(pairs.size());
        std::vector<uint64_t> fill(start.begin(), start.end() - 1);
        for (const auto &p : pairs) items[fill[p.first]++] = p.second;
    }
};

struct Found {
    std::vector<uint64_t> pos;
    double tts;
};

// The stop byte is read once per 4096 states.
constexpr uint64_t kStopPollMask = 4095;

template <class T>
nimba_solver_result *run_enumeration(const ModelImpl &m, const EnumSettings &settings, const volatile uint8_t *stop) {
    const FlatProblem<T> p(m);
    const uint32_t nb = p.n_bin;
    const uint32_t n = p.total;

    std::vector<uint64_t> radix(n, 2);
    for (uint32_t k = 0; k < p.n_int; ++k) {
        radix[nb + k] = static_cast<uint64_t>(m.int_upper[k] - m.int_lower[k]) + 1;
    }
    MixedRadixGray gray(radix);

    // A term is listed once under each coordinate it holds, a constraint
    // once under each coordinate of its body.
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
    for (uint32_t t = 0; t < p.terms.size(); ++t) {
        const uint32_t a = literal_var_index(p.terms[t].lit[0]);
        pairs.emplace_back(a, t);
        if (p.terms[t].lit[1] != kEmptyLiteral) {
            const uint32_t b = literal_var_index(p.terms[t].lit[1]);
            if (b != a) pairs.emplace_back(b, t);
        }
    }
    Adjacency term_adj;
    term_adj.build(n, pairs);
    pairs.clear();
    for (uint32_t c = 0; c < p.cons.size(); ++c) {
        std::vector<uint32_t> coords;
        for (uint32_t lit : p.cons[c].vars) coords.push_back(literal_var_index(lit));
        for (uint32_t lit : p.cons[c].quad_vars) coords.push_back(literal_var_index(lit));
        std::sort(coords.begin(), coords.end());
        coords.erase(std::unique(coords.begin(), coords.end()), coords.end());
        for (uint32_t v : coords) pairs.emplace_back(v, c);
    }
    Adjacency cons_adj;
    cons_adj.build(n, pairs);

    std::vector<T> val(n, T(0));
    for (uint32_t k = 0; k < p.n_int; ++k) val[nb + k] = p.lower[k];
    std::vector<T> body(p.cons.size());
    for (uint32_t c = 0; c < p.cons.size(); ++c) body[c] = p.body(p.cons[c], val.data());

    const double t0 = monotonic_seconds();
    // The first state, all binary variables 0 and integers at their lower
    // bounds, priced as a solution prices it.
    std::vector<uint64_t> zero_bits(word_count(nb), 0);
    T energy = from_coeff<T>(comp_energy(m, zero_bits.data(), m.int_lower.data()));
    T best = energy;
    std::vector<uint64_t> best_pos = gray.pos();
    double best_tts = 0.0;
    uint64_t states = 1;
    std::vector<Found> best_list;
    if (settings.best_list) best_list.push_back(Found{gray.pos(), 0.0});

    const FlatTerm<T> *terms = p.terms.data();
    bool stopped_early = false;
    for (;;) {
        if (((states - 1) & kStopPollMask) == 0 && stop != nullptr && *stop != 0) {
            stopped_early = true;
            break;
        }
        const uint64_t i = gray.next_digit();
        if (i == n) break;
        T old_value = T(0);
        for (uint64_t a = term_adj.start[i]; a < term_adj.start[i + 1]; ++a) {
            old_value += p.term_value(terms[term_adj.items[a]], val.data());
        }
        for (uint64_t a = cons_adj.start[i]; a < cons_adj.start[i + 1]; ++a) {
            const uint32_t c = cons_adj.items[a];
            old_value += constraint_penalty(p.cons[c], body[c]);
        }
        gray.move(i);
        if (gray.dir(i) > 0) {
            val[i] += T(1);
        } else {
            val[i] -= T(1);
        }
        T new_value = T(0);
        for (uint64_t a = term_adj.start[i]; a < term_adj.start[i + 1]; ++a) {
            new_value += p.term_value(terms[term_adj.items[a]], val.data());
        }
        for (uint64_t a = cons_adj.start[i]; a < cons_adj.start[i + 1]; ++a) {
            const uint32_t c = cons_adj.items[a];
            body[c] = p.body(p.cons[c], val.data());
            new_value += constraint_penalty(p.cons[c], body[c]);
        }
        energy += new_value - old_value;
        ++states;
        if (energy < best) {
            best = energy;
            best_pos = gray.pos();
            best_tts = monotonic_seconds() - t0;
            if (settings.best_list) {
                best_list.clear();
                best_list.push_back(Found{gray.pos(), best_tts});
            }
        } else if (settings.best_list && energy == best &&
                   (settings.cap == 0 || best_list.size() < settings.cap)) {
            best_list.push_back(Found{gray.pos(), monotonic_seconds() - t0});
        }
    }

    auto fill = [&](const std::vector<uint64_t> &pos, std::vector<uint64_t> &bits, std::vector<coeff_t> &ints) {
        bits.assign(word_count(nb), 0);
        for (uint32_t b = 0; b < nb; ++b) bits[b >> 6] |= static_cast<uint64_t>(pos[b] & 1) << (b & 63);
        ints.resize(p.n_int);
        for (uint32_t k = 0; k < p.n_int; ++k) ints[k] = m.int_lower[k] + pos[nb + k];
    };

    // The last state visited, priced from scratch as a solution prices it,
    // must agree with the running sum.
    {
        std::vector<uint64_t> bits;
        std::vector<coeff_t> ints;
        fill(gray.pos(), bits, ints);
        if (comp_energy(m, bits.data(), ints.data()) != to_coeff(energy)) {
            fatal("ExhaustiveSolver: internal error \xe2\x80\x94 incremental energy drift in integer enumeration.");
        }
    }

    auto r = std::make_unique<nimba_solver_result>();
    r->energy = to_coeff(best);
    r->tts = best_tts;
    fill(best_pos, r->bits, r->int_vals);
    for (const Found &f : best_list) {
        nimba_solver_result_entry e;
        e.energy = r->energy;
        e.tts = f.tts;
        fill(f.pos, e.bits, e.int_vals);
        r->topk.push_back(std::move(e));
    }
    r->info.emplace_back("run_time", seconds_text(monotonic_seconds() - t0));
    r->info.emplace_back("states", std::to_string(states));
    r->info.emplace_back("engine", "integer-cpu");
    if (stopped_early) r->info.emplace_back("stopped_early", "1");
    add_machine_pairs(*r);
    return r.release();
}

}  // namespace

nimba_solver_result *enumerate_integer_model(const ModelImpl &m, const vexa_param *params,
                                             const volatile uint8_t *stop) {
    const EnumSettings settings = read_settings(params);
    switch (choose_width(m, flat_max_abs(m))) {
        case ArithWidth::w64: return run_enumeration<int64_t>(m, settings, stop);
        case ArithWidth::w128: return run_enumeration<int128>(m, settings, stop);
        case ArithWidth::exact: break;
    }
    return run_enumeration<coeff_t>(m, settings, stop);
}

}  // namespace vexa
