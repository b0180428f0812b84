// Products, squares and exact division of expressions. Every product is laid
// out in one allocation of known size and filled by position, so that many
// threads can write their own slots; nothing is merged on the way.
#include <atomic>

#include "core/fatal.hpp"
#include "core/parallel.hpp"
#include "expr/expr.hpp"

using vexa::coeff_t;

namespace {

// dst = x * y; a product of more than two literals throws before dst changes.
inline void product_into(TermImpl &dst, const TermImpl &x, const TermImpl &y) {
    vexa::VarArray vars = x.vars;
    vars.append(y.vars);
    dst.coeff = x.coeff * y.coeff;
    dst.vars = vars;
}

inline void scaled_into(TermImpl &dst, const TermImpl &x, const coeff_t &k) {
    dst.coeff = x.coeff * k;
    dst.vars = x.vars;
}

// Threads of the fresh-thread product loops: up to 8, none on one core.
uint32_t product_threads() { return std::min<uint32_t>(vexa::hardware_threads(), 8); }

}  // namespace

ExprImpl ExprImpl::mul(const ExprImpl &b) const {
    const ExprImpl &a = *this;
    const uint64_t na = a.term_count();
    const uint64_t nb = b.term_count();
    const bool ca = !a.constant.is_zero();
    const bool cb = !b.constant.is_zero();
    const uint64_t total = na * nb + (ca ? nb : 0) + (cb ? na : 0);

    ExprImpl r;
    r.init_positions(total);
    r.constant = a.constant * b.constant;
    if (total == 0) return r;

    uint64_t p = 0;
    if (ca) {
        vexa::par_for(nb, [&](uint64_t j) { scaled_into(r.position(p + j), b.term(j), a.constant); });
        p += nb;
    }
    if (cb) {
        vexa::par_for(na, [&](uint64_t i) { scaled_into(r.position(p + i), a.term(i), b.constant); });
        p += na;
    }
    // Outer loop over the longer side, so that a long expression times a
    // short one still fans out; positions do not depend on the choice.
    const bool outer_is_b = na < nb;
    const uint64_t outer = outer_is_b ? nb : na;
    const uint64_t inner = outer_is_b ? na : nb;
    auto run_rows = [&](uint64_t begin, uint64_t end) {
        for (uint64_t o = begin; o < end; ++o) {
            for (uint64_t k = 0; k < inner; ++k) {
                const uint64_t i = outer_is_b ? k : o;
                const uint64_t j = outer_is_b ? o : k;
                product_into(r.position(p + i * nb + j), a.term(i), b.term(j));
            }
        }
    };
    if (na * nb > 9'999 && vexa::hardware_threads() >= 2) {
        vexa::run_on_fresh_threads(product_threads(), outer,
                                   [&](uint32_t, uint64_t, uint64_t begin, uint64_t end) { run_rows(begin, end); });
    } else {
        run_rows(0, outer);
    }
    return r;
}

ExprImpl ExprImpl::mul_term(const TermImpl &t) const {
    const uint64_t n = term_count();
    const bool c = !constant.is_zero();
    ExprImpl r;
    r.init_positions(n + (c ? 1 : 0));
    if (c) scaled_into(r.position(0), t, constant);
    const uint64_t p = c ? 1 : 0;
    vexa::par_for(n, [&](uint64_t i) { product_into(r.position(p + i), term(i), t); });
    return r;
}

ExprImpl ExprImpl::mul_var(uint32_t v) const {
    const uint64_t n = term_count();
    const bool c = !constant.is_zero();
    ExprImpl r;
    r.init_positions(n + (c ? 1 : 0));
    if (c) {
        TermImpl &dst = r.position(0);
        dst.coeff = constant;
        dst.vars.append(v);
    }
    const uint64_t p = c ? 1 : 0;
    vexa::par_for(n, [&](uint64_t i) {
        const TermImpl &src = term(i);
        vexa::VarArray vars = src.vars;
        vars.append(v);  // the single-code append: its capacity message ends in "(2)"
        TermImpl &dst = r.position(p + i);
        dst.coeff = src.coeff;
        dst.vars = vars;
    });
    return r;
}

ExprImpl ExprImpl::sqr() const {
    const uint64_t n = term_count();
    const bool c = !constant.is_zero();
    const uint64_t s = c ? 1 : 0;
    const uint64_t total = n * (n - 1) / 2 + n + (c ? n : 0);
    ExprImpl r;
    r.init_positions(n == 0 ? 0 : total);
    r.constant = constant * constant;
    if (n == 0) return r;
    const coeff_t twice_c = constant * 2;

    // Row i: term[i]^2 (both literals kept), then 2c * term[i] when c != 0,
    // then 2 * term[i] * term[j] for every j above i.
    auto run_rows = [&](uint64_t begin, uint64_t end) {
        for (uint64_t i = begin; i < end; ++i) {
            uint64_t pos = n * i - (i - 1) * i / 2 + s * i;
            const TermImpl &ti = term(i);
            product_into(r.position(pos++), ti, ti);
            if (c) scaled_into(r.position(pos++), ti, twice_c);
            for (uint64_t j = i + 1; j < n; ++j) {
                TermImpl &dst = r.position(pos++);
                product_into(dst, ti, term(j));
                dst.coeff <<= 1;
            }
        }
    };
    if (vexa::hardware_threads() >= 2 && n * (n - 1) >= 20'000) {
        vexa::run_on_fresh_threads(product_threads(), n,
                                   [&](uint32_t, uint64_t, uint64_t begin, uint64_t end) { run_rows(begin, end); });
    } else {
        run_rows(0, n);
    }
    return r;
}

namespace {
// Divides in place when exact; false (value untouched) otherwise.
bool divide_exact(coeff_t &value, const coeff_t &d) {
    coeff_t q, rem;
    boost::multiprecision::divide_qr(value, d, q, rem);
    if (!rem.is_zero()) return false;
    value = std::move(q);
    return true;
}
}  // namespace

void ExprImpl::idiv_int(const coeff_t &d) {
    if (d.is_zero()) vexa::fatal("Division by zero");
    if (!divide_exact(constant, d)) vexa::fatal("Indivisible division in Expr constant");
    std::atomic<bool> failed{false};
    if (has_head() && !divide_exact(head.coeff, d)) failed = true;
    vexa::par_for(size, [&](uint64_t i) {
        if (!divide_exact(data[i].coeff, d)) failed.store(true, std::memory_order_relaxed);
    });
    if (failed.load()) vexa::fatal("Indivisible division in Expr term");
}
