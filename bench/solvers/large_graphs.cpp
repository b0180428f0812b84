#include "large_graphs.hpp"

#include <algorithm>
#include <random>
#include <set>

namespace bench {

namespace {

// -cut of one edge: -w x_i - w x_j + 2w x_i x_j.
void add_edge(GeneratedGraph &g, uint32_t i, uint32_t j, int64_t w) {
    if (i == j) return;
    g.qubo.linear[i] -= w;
    g.qubo.linear[j] -= w;
    g.qubo.quadratic[{std::min(i, j), std::max(i, j)}] += 2 * w;
    ++g.edges;
}

}  // namespace

GeneratedGraph toroidal_graph(uint32_t rows, uint32_t cols, uint64_t seed) {
    std::mt19937_64 rng(seed);
    GeneratedGraph g;
    g.name = "torus" + std::to_string(rows * cols);
    g.qubo.n = rows * cols;
    for (uint32_t r = 0; r < rows; ++r) {
        for (uint32_t c = 0; c < cols; ++c) {
            const uint32_t v = r * cols + c;
            add_edge(g, v, r * cols + (c + 1) % cols, (rng() & 1u) ? 1 : -1);
            add_edge(g, v, ((r + 1) % rows) * cols + c, (rng() & 1u) ? 1 : -1);
        }
    }
    return g;
}

GeneratedGraph planar_graph(uint32_t rows, uint32_t cols, uint64_t seed) {
    std::mt19937_64 rng(seed);
    GeneratedGraph g;
    g.name = "planar" + std::to_string(rows * cols);
    g.qubo.n = rows * cols;
    for (uint32_t r = 0; r < rows; ++r) {
        for (uint32_t c = 0; c < cols; ++c) {
            const uint32_t v = r * cols + c;
            if (c + 1 < cols) add_edge(g, v, v + 1, 1);
            if (r + 1 < rows) add_edge(g, v, v + cols, 1);
            if (r + 1 < rows && c + 1 < cols) {
                if (rng() & 1u) {
                    add_edge(g, v, v + cols + 1, 1);
                } else {
                    add_edge(g, v + 1, v + cols, 1);
                }
            }
        }
    }
    return g;
}

GeneratedGraph random_sparse_graph(uint32_t n, uint64_t m, uint64_t seed) {
    std::mt19937_64 rng(seed);
    GeneratedGraph g;
    g.name = "random" + std::to_string(n);
    g.qubo.n = n;
    std::set<std::pair<uint32_t, uint32_t>> seen;
    while (g.edges < m) {
        const auto i = static_cast<uint32_t>(rng() % n), j = static_cast<uint32_t>(rng() % n);
        if (i == j || !seen.insert({std::min(i, j), std::max(i, j)}).second) continue;
        add_edge(g, i, j, 1);
    }
    return g;
}

}  // namespace bench
