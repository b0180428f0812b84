#include "instance_reader.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace bench {

namespace {

void add_quadratic(Qubo &q, uint32_t i, uint32_t j, int64_t w) {
    if (i > j) std::swap(i, j);
    q.quadratic[{i, j}] += w;
}

}  // namespace

Qubo read_qbsolv(const std::string &path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot open " + path);
    Qubo q;
    std::string line;
    bool header = false;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == 'c') continue;
        std::istringstream ls(line);
        if (line[0] == 'p') {
            std::string p, kind;
            uint64_t target, n, nodes, links;
            if (!(ls >> p >> kind >> target >> n >> nodes >> links)) throw std::runtime_error("bad header in " + path);
            q.n = static_cast<uint32_t>(n);
            header = true;
            continue;
        }
        uint32_t i, j;
        double w;
        if (!(ls >> i >> j >> w)) continue;
        if (!header) throw std::runtime_error("term before header in " + path);
        const auto wi = static_cast<int64_t>(w);
        if (static_cast<double>(wi) != w) throw std::runtime_error("non-integer weight in " + path);
        if (i >= q.n || j >= q.n) throw std::runtime_error("index out of range in " + path);
        // The file's polynomial is maximised; we minimise its negation.
        if (i == j) {
            q.linear[i] -= wi;
        } else {
            add_quadratic(q, i, j, -wi);
        }
    }
    return q;
}

Qubo read_gset(const std::string &path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot open " + path);
    Qubo q;
    uint64_t n, m;
    if (!(in >> n >> m)) throw std::runtime_error("bad header in " + path);
    q.n = static_cast<uint32_t>(n);
    for (uint64_t e = 0; e < m; ++e) {
        uint32_t i, j;
        int64_t w;
        if (!(in >> i >> j >> w)) throw std::runtime_error("truncated edge list in " + path);
        if (i < 1 || j < 1 || i > n || j > n || i == j) throw std::runtime_error("bad edge in " + path);
        --i;
        --j;
        // -cut: -w x_i - w x_j + 2 w x_i x_j
        q.linear[i] -= w;
        q.linear[j] -= w;
        add_quadratic(q, i, j, 2 * w);
    }
    return q;
}

Qubo read_instance(const std::string &path, InstanceKind kind) {
    return kind == InstanceKind::qubo ? read_qbsolv(path) : read_gset(path);
}

}  // namespace bench
