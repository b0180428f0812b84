#include "expr/merge.hpp"

#include <boost/sort/block_indirect_sort/block_indirect_sort.hpp>

#include "core/parallel.hpp"

namespace vexa {

namespace {

struct TermLess {
    bool operator()(const TermImpl &a, const TermImpl &b) const { return TermOrder{}(a.vars, b.vars); }
};

// The compacted output of one chunk, kept in place at the front of the
// chunk's own range of the sorted vector.
struct ChunkOut {
    uint64_t begin = 0;  // first slot of the chunk's range
    uint64_t start = 0;  // first live output term
    uint64_t len = 0;    // live output terms
    coeff_t constant = 0;
};

// Sums runs of equal monomials in terms[begin, end), writing the survivors to
// the front of the range. A zero coefficient is skipped; a running sum that
// reaches zero drops the term, and a later term of the same monomial starts
// it again in the same place.
void compact_chunk(TermBuffer &terms, uint64_t begin, uint64_t end, ChunkOut &out) {
    uint64_t w = begin;
    for (uint64_t i = begin; i < end; ++i) {
        TermImpl &t = terms[i];
        if (t.coeff.is_zero()) continue;
        if (t.vars.degree() == 0) {
            out.constant += t.coeff;
            continue;
        }
        if (w > begin && terms[w - 1].vars == t.vars) {
            terms[w - 1].coeff += t.coeff;
            if (terms[w - 1].coeff.is_zero()) --w;
            continue;
        }
        if (w != i) terms[w] = std::move(t);
        ++w;
    }
    out.begin = out.start = begin;
    out.len = w - begin;
}

}  // namespace

ExprImpl merge_terms(TermBuffer &terms, coeff_t constant) {
    if (terms.empty()) {
        terms.clear();
        return ExprImpl(std::move(constant));
    }

    boost::sort::blk_detail::block_indirect_sort<768, 64, TermImpl *, TermLess>(terms.begin(), terms.end(),
                                                                                 TermLess{}, hardware_threads());

    const uint64_t n = terms.size;
    uint32_t threads = parallel_threads(n);
    if (threads < 2 || n < kParallelMin) threads = 1;
    const uint64_t chunk_size = (n + threads - 1) / threads;

    std::vector<ChunkOut> chunks(threads);
    par_items(threads, threads, [&](uint64_t c) {
        const uint64_t begin = std::min(n, c * chunk_size);
        compact_chunk(terms, begin, std::min(n, begin + chunk_size), chunks[c]);
    });

    // Seams: a run of one monomial may span chunk boundaries, and even cross
    // chunks whose output is empty. Fold each chunk's last term forward.
    for (uint32_t c = 0; c + 1 < threads; ++c) {
        ChunkOut &cur = chunks[c];
        ChunkOut &next = chunks[c + 1];
        if (cur.len == 0) continue;
        TermImpl &last = terms[cur.start + cur.len - 1];
        if (next.len == 0) {
            next.start = next.begin;
            terms[next.start] = std::move(last);
            next.len = 1;
            --cur.len;
        } else if (terms[next.start].vars == last.vars) {
            TermImpl &first = terms[next.start];
            first.coeff += last.coeff;
            --cur.len;
            if (first.coeff.is_zero()) {
                ++next.start;
                --next.len;
            }
        }
    }

    uint64_t total = 0;
    for (const ChunkOut &chunk : chunks) {
        total += chunk.len;
        constant += chunk.constant;
    }

    // Gather: term p of the result goes to the head (p = 0) or to slot p - 1
    // of the same block. Every term moves left or stays, so one pass in
    // increasing order needs no second buffer.
    ExprImpl result(std::move(constant));
    uint64_t p = 0;
    for (uint32_t c = 0; c < threads; ++c) {
        const ChunkOut &chunk = chunks[c];
        for (uint64_t j = 0; j < chunk.len; ++j, ++p) {
            TermImpl &src = terms[chunk.start + j];
            if (p == 0) {
                result.head = std::move(src);
            } else {
                terms[p - 1] = std::move(src);
            }
        }
    }
    terms.truncate(total == 0 ? 0 : total - 1);
    terms.release_unused_pages();
    result.adopt_tail(std::move(terms));
    return result;
}

}  // namespace vexa
