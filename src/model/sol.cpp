#include "model/sol.hpp"

#include "constraint/pricing.hpp"

namespace vexa {

namespace {

// A binary word's truth value (integer atoms handled by the caller).
inline bool literal_true(uint32_t w, const uint64_t *bits) {
    return bit_of(bits, literal_var_index(w)) != literal_negated(w);
}

// The sum of all terms of one degree. With every coefficient within 64 bits
// and only binary words, partial sums stay within 128 bits for up to 2^63
// terms, and the machine-word loop gives the exact result without touching
// the heap.
energy_t degree_sum(const ModelImpl &m, uint32_t d, const uint64_t *bits, const coeff_t *int_vals) {
    const uint64_t count = m.term_counts[d - 1];
    const uint32_t *words = m.term_vars[d - 1].data();
    const coeff_t *coeffs = m.term_coeffs[d - 1].data();
    if (m.small_coeffs[d - 1] && m.int_atoms.empty()) {
        int128 sum = 0;
        for (uint64_t i = 0; i < count; ++i) {
            const uint32_t *w = words + i * d;
            bool on = literal_true(w[0], bits);
            if (d == 2) on = on && literal_true(w[1], bits);
            if (on) {
                const auto &backend = coeffs[i].backend();
                const auto magnitude = static_cast<int64_t>(backend.limbs()[0]);
                sum += backend.sign() ? -magnitude : magnitude;
            }
        }
        return to_coeff(sum);
    }
    energy_t sum = 0;
    coeff_t p;
    for (uint64_t i = 0; i < count; ++i) {
        const uint32_t *w = words + i * d;
        p = coeffs[i];
        bool on = true;
        for (uint32_t k = 0; k < d && on; ++k) on = times_dense_word(p, w[k], bits, int_vals);
        if (on) sum += p;
    }
    return sum;
}

}  // namespace

energy_t comp_energy(const ModelImpl &m, const uint64_t *bits, const coeff_t *int_vals) {
    energy_t e = m.constant;
    for (uint32_t d = 1; d <= m.max_degree; ++d) e += degree_sum(m, d, bits, int_vals);
    auto times = [bits, int_vals](coeff_t &p, uint32_t w) { return times_dense_word(p, w, bits, int_vals); };
    for (const NativeConstraint &nc : m.native_constraints) {
        e += constraint_penalty(nc, constraint_body<coeff_t>(nc, times));
    }
    return e;
}

std::unique_ptr<Sol> make_sol(std::shared_ptr<ModelImpl> model) {
    auto s = std::make_unique<Sol>();
    s->scale = model->scale;
    s->bits.assign(word_count(model->var_count()), 0);
    s->int_vals = model->int_lower;
    s->energy = comp_energy(*model, s->bits.data(), s->int_vals.data());
    s->energy_valid = true;
    s->model = std::move(model);
    return s;
}

}  // namespace vexa
