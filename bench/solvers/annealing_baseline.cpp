#include "annealing_baseline.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace bench {

namespace {

// The QUBO as adjacency lists, both directions.
struct Graph {
    uint32_t n = 0;
    std::vector<int64_t> h;
    std::vector<uint64_t> start;
    std::vector<uint32_t> to;
    std::vector<int64_t> w;
};

Graph graph_of(const Qubo &q) {
    Graph g;
    g.n = q.n;
    g.h.assign(q.n, 0);
    for (const auto &[i, c] : q.linear) g.h[i] += c;
    std::vector<uint64_t> degree(q.n + 1, 0);
    for (const auto &[ij, c] : q.quadratic) {
        ++degree[ij.first + 1];
        ++degree[ij.second + 1];
    }
    for (uint32_t i = 0; i < q.n; ++i) degree[i + 1] += degree[i];
    g.start = degree;
    g.to.resize(degree[q.n]);
    g.w.resize(degree[q.n]);
    std::vector<uint64_t> at(degree.begin(), degree.end() - 1);
    for (const auto &[ij, c] : q.quadratic) {
        g.to[at[ij.first]] = ij.second;
        g.w[at[ij.first]++] = c;
        g.to[at[ij.second]] = ij.first;
        g.w[at[ij.second]++] = c;
    }
    return g;
}

// The hottest temperature takes the largest possible change half the time,
// the coldest one the smallest change one time in a thousand (one in a
// hundred leaves the end of each read too hot on +-1 graphs: G11 then ends
// near a cut of 546 where this range reaches 564, the published annealing's
// figure).
void beta_range(const Graph &g, double &hot, double &cold) {
    double max_delta = 0.0, min_delta = std::numeric_limits<double>::infinity();
    for (uint32_t i = 0; i < g.n; ++i) {
        double d = std::fabs(static_cast<double>(g.h[i]));
        if (g.h[i] != 0) min_delta = std::min(min_delta, d);
        for (uint64_t k = g.start[i]; k < g.start[i + 1]; ++k) {
            d += std::fabs(static_cast<double>(g.w[k]));
            min_delta = std::min(min_delta, std::fabs(static_cast<double>(g.w[k])));
        }
        max_delta = std::max(max_delta, d);
    }
    if (max_delta == 0.0) max_delta = 1.0;
    if (!std::isfinite(min_delta) || min_delta == 0.0) min_delta = 1.0;
    hot = std::log(2.0) / max_delta;
    cold = std::log(1000.0) / min_delta;
}

int64_t anneal_thread(const Graph &g, double seconds, uint64_t seed, uint64_t &reads) {
    constexpr uint32_t kSweeps = 1000;
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    double hot = 0, cold = 0;
    beta_range(g, hot, cold);
    std::vector<double> beta(kSweeps);
    for (uint32_t s = 0; s < kSweeps; ++s) beta[s] = hot * std::pow(cold / hot, static_cast<double>(s) / (kSweeps - 1));
    std::vector<uint8_t> x(g.n);
    std::vector<int64_t> gain(g.n);  // energy change of flipping i
    int64_t best = std::numeric_limits<int64_t>::max();
    const auto t0 = std::chrono::steady_clock::now();
    auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(); };
    do {
        int64_t energy = 0;
        for (uint32_t i = 0; i < g.n; ++i) x[i] = rng() & 1u;
        for (uint32_t i = 0; i < g.n; ++i) {
            int64_t field = g.h[i];
            for (uint64_t k = g.start[i]; k < g.start[i + 1]; ++k) field += g.w[k] * x[g.to[k]];
            gain[i] = x[i] ? -field : field;
            if (x[i]) energy += g.h[i];
        }
        for (uint32_t i = 0; i < g.n; ++i) {
            for (uint64_t k = g.start[i]; k < g.start[i + 1]; ++k) {
                if (g.to[k] > i && x[i] && x[g.to[k]]) energy += g.w[k];
            }
        }
        for (uint32_t s = 0; s < kSweeps; ++s) {
            const double b = beta[s];
            for (uint32_t i = 0; i < g.n; ++i) {
                const int64_t d = gain[i];
                if (d > 0 && unit(rng) >= std::exp(-b * static_cast<double>(d))) continue;
                // Flip i: its own gain changes sign, each neighbour's by the coupling.
                energy += d;
                gain[i] = -d;
                const int64_t sign = x[i] ? -1 : 1;  // +1 when i turns on
                x[i] ^= 1u;
                for (uint64_t k = g.start[i]; k < g.start[i + 1]; ++k) {
                    const uint32_t j = g.to[k];
                    gain[j] += (x[j] ? -1 : 1) * sign * g.w[k];
                }
            }
            if (s % 64 == 63 && elapsed() >= seconds) break;
        }
        best = std::min(best, energy);
        ++reads;
    } while (elapsed() < seconds);
    return best;
}

}  // namespace

AnnealingResult anneal_baseline(const Qubo &q, double seconds, uint32_t threads, uint64_t seed) {
    const Graph g = graph_of(q);
    threads = std::max(threads, 1u);
    std::vector<int64_t> best(threads);
    std::vector<uint64_t> reads(threads, 0);
    std::vector<std::thread> pool;
    for (uint32_t t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] { best[t] = anneal_thread(g, seconds, seed * 1000003 + t, reads[t]); });
    }
    for (std::thread &th : pool) th.join();
    AnnealingResult r;
    r.energy = *std::min_element(best.begin(), best.end());
    for (const uint64_t k : reads) r.reads += k;
    return r;
}

}  // namespace bench
