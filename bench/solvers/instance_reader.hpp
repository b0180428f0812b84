// Reading benchmark instances into a QUBO to minimise:
//   qbsolv files (Beasley): f(x) = -(sum w_ii x_i + sum w_ij x_i x_j);
//   G-set Max-Cut files:    f(x) = -cut = -sum w_ij (x_i + x_j - 2 x_i x_j).
// Nothing here knows about solvers.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace bench {

struct Qubo {
    uint32_t n = 0;                                      // declared variable count
    std::map<uint32_t, int64_t> linear;                  // i -> coefficient
    std::map<std::pair<uint32_t, uint32_t>, int64_t> quadratic;  // (i < j) -> coefficient
};

enum class InstanceKind { qubo, maxcut };

// Throws std::runtime_error on a malformed file.
Qubo read_qbsolv(const std::string &path);
Qubo read_gset(const std::string &path);
Qubo read_instance(const std::string &path, InstanceKind kind);

}  // namespace bench
