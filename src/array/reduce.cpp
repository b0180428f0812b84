// Reductions of arrays.
#include "array/reduce.hpp"

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include "model/model.hpp"
#include "model/sol.hpp"

namespace vexa {

namespace {

// Chunk c of `threads` over [0, n): n*c/threads to n*(c+1)/threads.
uint64_t chunk_edge(uint64_t n, uint64_t c, uint64_t threads) {
    return static_cast<uint64_t>((static_cast<unsigned __int128>(n) * c) / threads);
}

// Partial sums of `threads` contiguous chunks, each on its own plain thread.
std::vector<ExprImpl> partial_sums(const ExprImpl *const *items, uint64_t n, uint32_t threads) {
    std::vector<ExprImpl> partials(threads);
    std::vector<std::thread> pool;
    pool.reserve(threads);
    for (uint32_t c = 0; c < threads; ++c) {
        pool.emplace_back([&, c]() {
            const uint64_t end = chunk_edge(n, c + 1, threads);
            for (uint64_t i = chunk_edge(n, c, threads); i < end; ++i) partials[c].append_terms(*items[i]);
        });
    }
    for (auto &t : pool) t.join();
    return partials;
}

bool sum_in_parallel(uint64_t n, uint32_t threads) { return threads >= 2 && n >= kParallelMin; }

}  // namespace

ExprImpl sum_exprs(const ExprImpl *const *items, uint64_t n) {
    const uint32_t threads = hardware_threads();
    if (!sum_in_parallel(n, threads)) {
        ExprImpl acc;
        for (uint64_t i = 0; i < n; ++i) acc.append_terms(*items[i]);
        return acc;
    }
    std::vector<ExprImpl> partials = partial_sums(items, n, threads);
    ExprImpl acc;
    uint64_t total = 0;
    for (const ExprImpl &p : partials) {
        acc.constant += p.constant;
        total += p.term_count();
    }
    acc.reserve_tail(total);
    for (ExprImpl &p : partials) {
        if (p.has_head()) acc.push_tail(std::move(p.head));
        for (uint64_t i = 0; i < p.size; ++i) acc.push_tail(std::move(p.data[i]));
    }
    return acc;
}

ExprImpl sum_expr_array(const ArrayImpl<ExprImpl> &a) {
    const uint64_t n = a.count();
    std::vector<const ExprImpl *> items(n);
    for (uint64_t i = 0; i < n; ++i) items[i] = &a.data[i];
    const uint32_t threads = hardware_threads();
    ExprImpl acc;
    if (!sum_in_parallel(n, threads)) {
        for (uint64_t i = 0; i < n; ++i) acc.append_terms(a.data[i]);
    } else {
        for (ExprImpl &p : partial_sums(items.data(), n, threads)) acc.append_terms(std::move(p));
    }
    acc.attr = sum_of_array(items.data(), n);
    return acc;
}

namespace {

// Offset of output element o of a sum along `axis`: o's digits by the
// output's strides, placed on a's axes other than `axis`.
template <class T>
uint64_t vector_sum_base(const ArrayImpl<T> &a, const std::vector<uint64_t> &out_strides, uint64_t axis,
                         uint64_t o) {
    uint64_t base = 0;
    uint64_t j = 0;
    for (uint64_t k = 0; k < a.ndim(); ++k) {
        if (k == axis) continue;
        const uint64_t digit = o / out_strides[j];
        o %= out_strides[j];
        base += digit * a.strides[k];
        ++j;
    }
    return base;
}

}  // namespace

template <class T>
ArrayImpl<ExprImpl> *do_vector_sum(const ArrayImpl<T> &a, int axis) {
    const uint64_t ax = static_cast<uint64_t>(axis);
    std::vector<uint64_t> shape = a.shape;
    shape.erase(shape.begin() + axis);
    const uint64_t extent = a.shape[ax];
    const uint64_t stride = a.strides[ax];
    const std::vector<uint64_t> out_strides = row_major_strides(shape);
    return build_array_par<ExprImpl>(std::move(shape), [&](uint64_t o) {
        const uint64_t base = vector_sum_base(a, out_strides, ax, o);
        ExprImpl acc;
        for (uint64_t j = 0; j < extent; ++j) add_element(acc, a.data[base + j * stride]);
        return acc;
    });
}

#define VEXA_INSTANTIATE_VECTOR_SUM(word, T, tag) template ArrayImpl<ExprImpl> *do_vector_sum<T>(const ArrayImpl<T> &, int);
VEXA_ARRAY_FAMILIES(VEXA_INSTANTIATE_VECTOR_SUM)
#undef VEXA_INSTANTIATE_VECTOR_SUM

void raw_vector_sum(const void *elements, uint32_t kind, const uint64_t *shape, uint64_t ndim, int axis,
                    ExprImpl **out) {
    // A shape-only array gives the strides and the output addressing.
    ArrayImpl<unsigned int> layout(std::vector<uint64_t>(shape, shape + ndim));
    const uint64_t ax = static_cast<uint64_t>(axis);
    std::vector<uint64_t> out_shape = layout.shape;
    out_shape.erase(out_shape.begin() + axis);
    const std::vector<uint64_t> out_strides = row_major_strides(out_shape);
    const uint64_t outputs = element_count(out_shape);
    const uint64_t extent = layout.shape[ax];
    const uint64_t stride = layout.strides[ax];

    par_for(outputs, [&](uint64_t o) { out[o] = new ExprImpl(); });
    auto fill = [&](uint64_t o) {
        const uint64_t base = vector_sum_base(layout, out_strides, ax, o);
        ExprImpl &acc = *out[o];
        for (uint64_t j = 0; j < extent; ++j) {
            const uint64_t at = base + j * stride;
            switch (kind) {
                case 0: add_element(acc, *static_cast<const ExprImpl *const *>(elements)[at]); break;
                case 1: add_element(acc, static_cast<unsigned int>(static_cast<const uint32_t *>(elements)[at])); break;
                default: add_element(acc, static_cast<const TermImpl *>(elements)[at]); break;
            }
        }
    };
    const uint32_t threads = hardware_threads();
    if (threads < 2 || outputs * extent < kParallelMin) {
        for (uint64_t o = 0; o < outputs; ++o) fill(o);
        return;
    }
    run_on_fresh_threads(threads, outputs, [&](uint32_t, uint64_t, uint64_t begin, uint64_t end) {
        for (uint64_t o = begin; o < end; ++o) fill(o);
    });
}

void onehot_rows(const int32_t *values, const uint64_t *shape, uint64_t ndim, int32_t *out) {
    if (ndim == 0) return;
    const uint64_t width = shape[ndim - 1];
    const uint64_t rows = element_count(std::vector<uint64_t>(shape, shape + ndim - 1));
    for (uint64_t r = 0; r < rows; ++r) {
        int64_t total = 0;
        int32_t index = -1;
        for (uint64_t w = 0; w < width; ++w) {
            const int32_t v = values[r * width + w];
            total += v;
            if (v == 1) index = static_cast<int32_t>(w);
        }
        out[r] = total == 1 ? index : -1;
    }
}

ArrayImpl<coeff_t> *onehot_to_index(const ArrayImpl<coeff_t> &a, int axis) {
    const int64_t rank = static_cast<int64_t>(a.ndim());
    if (rank == 0) return nullptr;
    int64_t ax = axis;
    if (ax < 0) ax += rank;
    if (ax < 0 || ax >= rank) return nullptr;
    uint64_t outer = 1, inner = 1;
    for (int64_t k = 0; k < ax; ++k) outer *= a.shape[k];
    for (int64_t k = ax + 1; k < rank; ++k) inner *= a.shape[k];
    const uint64_t width = a.shape[ax];
    std::vector<uint64_t> shape = a.shape;
    shape.erase(shape.begin() + ax);
    if (shape.empty()) shape.push_back(1);
    return build_array<coeff_t>(std::move(shape), [&](uint64_t r) {
        const uint64_t o = r / inner;
        const uint64_t i = r % inner;
        int64_t found = -1;
        uint64_t ones = 0;
        for (uint64_t w = 0; w < width; ++w) {
            const coeff_t &v = a.data[o * width * inner + w * inner + i];
            if (v == 1) {
                ++ones;
                found = static_cast<int64_t>(w);
            } else if (v != 0) {
                return coeff_t(-1);
            }
        }
        return coeff_t(ones == 1 ? found : -1);
    });
}

void to_int32(const ArrayImpl<coeff_t> &a, int32_t *out) {
    static const coeff_t kMax = std::numeric_limits<int32_t>::max();
    static const coeff_t kMin = std::numeric_limits<int32_t>::min();
    par_for(a.count(), [&](uint64_t i) {
        const coeff_t &v = a.data[i];
        if (v > kMax) {
            out[i] = std::numeric_limits<int32_t>::max();
        } else if (v < kMin) {
            out[i] = std::numeric_limits<int32_t>::min();
        } else {
            out[i] = static_cast<int32_t>(v);
        }
    });
}

ArrayImpl<coeff_t> *values_from_sol(const Sol &sol, const ArrayImpl<unsigned int> &vars) {
    const ModelImpl &m = *sol.model;
    return build_array_par<coeff_t>(vars.shape, [&](uint64_t i) {
        const uint32_t code = vars.data[i];
        const bool negated = (code & kNegBit) != 0;
        const uint32_t dense = m.dense_index(code);
        const bool bit = dense != kNoIndex && bit_of(sol.bits.data(), dense);
        return coeff_t(bit != negated ? 1 : 0);
    });
}

}  // namespace vexa
