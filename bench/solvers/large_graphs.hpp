// Large sparse Max-Cut graphs of the kinds the biggest G-set instances are
// (toroidal grids with +-1 weights, planar graphs, sparse random graphs),
// generated from a seed, as QUBOs to minimise (-cut).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "instance_reader.hpp"

namespace bench {

struct GeneratedGraph {
    std::string name;
    uint64_t edges = 0;
    Qubo qubo;
};

// A rows x cols torus, each edge weighted +1 or -1 at random.
GeneratedGraph toroidal_graph(uint32_t rows, uint32_t cols, uint64_t seed);
// A rows x cols grid with one diagonal per cell, its direction at random:
// planar, mean degree about 6, unit weights.
GeneratedGraph planar_graph(uint32_t rows, uint32_t cols, uint64_t seed);
// n vertices, m distinct random edges of unit weight.
GeneratedGraph random_sparse_graph(uint32_t n, uint64_t m, uint64_t seed);

}  // namespace bench
