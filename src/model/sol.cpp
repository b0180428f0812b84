#include "model/sol.hpp"

namespace vexa {

namespace {

constexpr uint32_t kNeg = 0x80000000u;
constexpr uint32_t kInt = 0x40000000u;

// Multiplies p by the value of a dense word; false when that value is 0
// (and p is then meaningless).
inline bool times_word(coeff_t &p, uint32_t w, const uint64_t *bits, const coeff_t *int_vals) {
    if ((w & (kNeg | kInt)) == kInt) {
        const coeff_t &v = int_vals[w & 0x3FFFFFFFu];
        if (v.is_zero()) return false;
        p *= v;
        return true;
    }
    return bit_of(bits, w & 0x7FFFFFFFu) != ((w & kNeg) != 0);
}

// A binary word's truth value (integer atoms handled by the caller).
inline bool literal_true(uint32_t w, const uint64_t *bits) {
    return bit_of(bits, w & 0x7FFFFFFFu) != ((w & kNeg) != 0);
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
        __int128 sum = 0;
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
        const bool negative = sum < 0;
        const unsigned __int128 mag = negative ? -static_cast<unsigned __int128>(sum) : sum;
        energy_t e = static_cast<uint64_t>(mag >> 64);
        e <<= 64;
        e += static_cast<uint64_t>(mag);
        return negative ? energy_t(-e) : e;
    }
    energy_t sum = 0;
    coeff_t p;
    for (uint64_t i = 0; i < count; ++i) {
        const uint32_t *w = words + i * d;
        p = coeffs[i];
        bool on = true;
        for (uint32_t k = 0; k < d && on; ++k) on = times_word(p, w[k], bits, int_vals);
        if (on) sum += p;
    }
    return sum;
}

}  // namespace

coeff_t constraint_body(const NativeConstraint &nc, const uint64_t *bits, const coeff_t *int_vals) {
    coeff_t body = nc.body_constant;
    coeff_t p;
    for (size_t i = 0; i < nc.vars.size(); ++i) {
        p = nc.coeffs[i];
        if (times_word(p, nc.vars[i], bits, int_vals)) body += p;
    }
    for (size_t r = 0; r + 1 < nc.quad_head.size(); ++r) {
        p = nc.quad_coeffs[r];
        bool on = true;
        for (uint64_t k = nc.quad_head[r]; k < nc.quad_head[r + 1] && on; ++k) {
            on = times_word(p, nc.quad_vars[k], bits, int_vals);
        }
        if (on) body += p;
    }
    return body;
}

coeff_t constraint_distance(const NativeConstraint &nc, const coeff_t &body) {
    if (nc.allowed.empty()) {
        // Both sides count: with lower above upper, a body between them is
        // lower - upper away.
        coeff_t d = 0;
        if (body < nc.lower) d += nc.lower - body;
        if (body > nc.upper) d += body - nc.upper;
        return d;
    }
    auto gap = [&](const coeff_t &lo, const coeff_t &hi) -> coeff_t {
        if (body < lo) return lo - body;
        if (body > hi) return body - hi;
        return 0;
    };
    coeff_t best = gap(nc.allowed[0].first, nc.allowed[0].second);
    for (size_t i = 1; i < nc.allowed.size() && !best.is_zero(); ++i) {
        coeff_t d = gap(nc.allowed[i].first, nc.allowed[i].second);
        if (d < best) best = std::move(d);
    }
    return best;
}

coeff_t constraint_penalty(const NativeConstraint &nc, const coeff_t &body) {
    const coeff_t d = constraint_distance(nc, body);
    coeff_t q = nc.weight * d;
    if (nc.shape_exponent == 2) q *= d;
    return q;
}

energy_t comp_energy(const ModelImpl &m, const uint64_t *bits, const coeff_t *int_vals) {
    energy_t e = m.constant;
    for (uint32_t d = 1; d <= m.max_degree; ++d) e += degree_sum(m, d, bits, int_vals);
    for (const NativeConstraint &nc : m.native_constraints) {
        e += constraint_penalty(nc, constraint_body(nc, bits, int_vals));
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
