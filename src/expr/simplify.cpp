#include "expr/simplify.hpp"

#include <boost/sort/block_indirect_sort/block_indirect_sort.hpp>
#include <utility>
#include <vector>

#include "core/fatal.hpp"
#include "core/parallel.hpp"
#include "expr/merge.hpp"

namespace vexa {

namespace {

// A linear term that the binary rewrite of a product of literals left behind.
struct ExtraTerm1 {
    coeff_t coeff;
    uint32_t var;  // without the negation bit
};

struct ExtraLess {
    bool operator()(const ExtraTerm1 &a, const ExtraTerm1 &b) const { return a.var < b.var; }
};

// What one rewriting thread collects besides the terms it rewrites in place.
struct RewriteBlock {
    std::vector<ExtraTerm1> extras;
    coeff_t delta = 0;
};

// Rewrites one term under x*x = x and ~x = 1 - x. The term stays one term;
// constants go to the block's delta and linear leftovers to its extras.
void rewrite_binary(TermImpl &t, RewriteBlock &block) {
    const uint32_t degree = t.vars.degree();
    if (degree == 0 || t.coeff.is_zero()) return;
    uint32_t &s0 = t.vars.slot[0];
    if (degree == 1) {
        if (s0 & kNegBit) {
            block.delta += t.coeff;
            t.coeff = -t.coeff;
            s0 &= ~kNegBit;
        }
        return;
    }
    uint32_t &s1 = t.vars.slot[1];
    const bool n0 = (s0 & kNegBit) != 0;
    const bool n1 = (s1 & kNegBit) != 0;
    const uint32_t v0 = s0 & ~kNegBit;
    const uint32_t v1 = s1 & ~kNegBit;
    if (v0 == v1) {
        if (n0 != n1) {  // x * ~x
            t.coeff = 0;
        } else if (n0) {  // ~x * ~x = 1 - x
            block.delta += t.coeff;
            t.coeff = -t.coeff;
            s0 = v0;
            s1 = kEmptyVar;
        } else if ((v0 & kIntBit) == 0) {  // x * x = x for a binary variable
            s1 = kEmptyVar;
        }
        // An integer atom squared stays a square.
        return;
    }
    if (n0 && n1) {  // c - c*x - c*y + c*x*y
        block.delta += t.coeff;
        block.extras.push_back(ExtraTerm1{-t.coeff, v0});
        block.extras.push_back(ExtraTerm1{-t.coeff, v1});
    } else if (n0) {  // c*y - c*x*y
        block.extras.push_back(ExtraTerm1{t.coeff, v1});
        t.coeff = -t.coeff;
    } else if (n1) {  // c*x - c*x*y
        block.extras.push_back(ExtraTerm1{t.coeff, v0});
        t.coeff = -t.coeff;
    }
    s0 = v0;
    s1 = v1;
    t.vars.sort();
}

// A buffer of n terms built by make(i, slot) in place: in parallel from
// 10,000 terms on, serially (and exception-safe) below.
template <class Make>
TermBuffer build_terms(uint64_t n, Make &&make) {
    TermBuffer terms(n);
    if (n < kParallelMin) {
        for (uint64_t i = 0; i < n; ++i) {
            make(i, &terms.data[i]);
            ++terms.size;
        }
    } else {
        par_for(n, [&](uint64_t i) { make(i, &terms.data[i]); });
        terms.size = n;
    }
    return terms;
}

TermBuffer copy_terms(const ExprImpl &e, bool sort_slots) {
    return build_terms(e.term_count(), [&](uint64_t i, TermImpl *slot) {
        TermImpl *t = new (slot) TermImpl(e.term(i));
        if (sort_slots) t->vars.sort();
    });
}

}  // namespace

ExprImpl expr_simplify(const ExprImpl &e) {
    TermBuffer terms = copy_terms(e, true);
    return merge_terms(terms, e.constant);
}

namespace {

// The terms of an expression that is going away, moved out with its block:
// no term is copied (the head, if any, is appended).
TermBuffer take_terms(ExprImpl &e) {
    TermBuffer terms;
    terms.data = std::exchange(e.data, nullptr);
    terms.size = std::exchange(e.size, 0);
    terms.capacity = std::exchange(e.capacity, 0);
    if (e.has_head()) {
        terms.push_back(std::move(e.head));
        e.head = TermImpl{};
    }
    return terms;
}

ExprImpl simplify_binary_terms(TermBuffer terms, coeff_t constant);

}  // namespace

ExprImpl expr_simplify_as_binary(const ExprImpl &e) { return simplify_binary_terms(copy_terms(e, false), e.constant); }

ExprImpl expr_simplify_as_binary(ExprImpl &&e) {
    coeff_t constant = std::move(e.constant);
    e.constant = coeff_t(0);
    return simplify_binary_terms(take_terms(e), std::move(constant));
}

namespace {

// x*x = x and ~x = 1 - x on a buffer of terms, then the merge.
ExprImpl simplify_binary_terms(TermBuffer terms, coeff_t constant) {
    const uint64_t n = terms.size;
    const uint32_t hw = hardware_threads();
    const uint32_t threads = (hw < 2 || n < kParallelMin) ? 1 : hw;

    std::vector<RewriteBlock> blocks(threads);
    if (threads == 1) {
        for (uint64_t i = 0; i < n; ++i) rewrite_binary(terms[i], blocks[0]);
    } else {
        run_on_fresh_threads(threads, n, [&](uint32_t t, uint64_t, uint64_t begin, uint64_t end) {
            for (uint64_t i = begin; i < end; ++i) rewrite_binary(terms[i], blocks[t]);
        });
    }

    uint64_t extra_count = 0;
    for (RewriteBlock &b : blocks) {
        constant += b.delta;
        extra_count += b.extras.size();
    }
    if (extra_count > 0) {
        std::vector<ExtraTerm1> extras;
        extras.reserve(extra_count);
        for (RewriteBlock &b : blocks) {
            for (ExtraTerm1 &x : b.extras) extras.push_back(std::move(x));
            b.extras.clear();
        }
        boost::sort::blk_detail::block_indirect_sort<768, 64, std::vector<ExtraTerm1>::iterator, ExtraLess>(
            extras.begin(), extras.end(), ExtraLess{}, hw);
        std::vector<TermImpl> linear;
        for (uint64_t i = 0; i < extras.size();) {
            coeff_t sum = 0;
            const uint32_t var = extras[i].var;
            for (; i < extras.size() && extras[i].var == var; ++i) sum += extras[i].coeff;
            if (!sum.is_zero()) {
                TermImpl t{std::move(sum), {}};
                t.vars.append(var);
                linear.push_back(std::move(t));
            }
        }
        terms.grow_to(terms.size + linear.size());
        for (TermImpl &t : linear) terms.push_back(std::move(t));
    }
    return merge_terms(terms, std::move(constant));
}

}  // namespace

ExprImpl expr_simplify_as_spin(const ExprImpl &e) {
    TermBuffer terms = build_terms(e.term_count(), [&](uint64_t i, TermImpl *slot) {
        const TermImpl &src = e.term(i);
        TermImpl &dst = *new (slot) TermImpl();
        if (src.coeff.is_zero()) return;  // stays an empty term with coefficient 0
        dst.coeff = src.coeff;
        const uint32_t degree = src.vars.degree();
        bool odd = false;
        for (uint32_t k = 0; k < degree; ++k) {
            uint32_t code = src.vars.slot[k];
            if (code & kIntBit) {
                fatal("simplify_as_spin(): native integer variables (int_var) are not supported "
                      "(spin rules do not apply to integer atoms).");
            }
            if (code & kNegBit) {
                code &= ~kNegBit;
                odd = !odd;
            }
            dst.vars.slot[k] = code;
        }
        if (odd) dst.coeff = -dst.coeff;
        dst.vars.sort();
        if (degree == 2 && dst.vars.slot[0] == dst.vars.slot[1]) dst.vars = VarArray{};  // s*s = 1
    });
    return merge_terms(terms, e.constant);
}

}  // namespace vexa
