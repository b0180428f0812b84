#include "best_known.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace bench {

std::vector<InstanceEntry> read_best_known(const std::string &csv_path) {
    std::ifstream in(csv_path);
    if (!in) throw std::runtime_error("cannot open " + csv_path);
    std::vector<InstanceEntry> out;
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        std::stringstream ls(line);
        std::string name, file, kind, energy;
        std::getline(ls, name, ',');
        std::getline(ls, file, ',');
        std::getline(ls, kind, ',');
        std::getline(ls, energy, ',');
        if (kind != "qubo" && kind != "maxcut") throw std::runtime_error("unknown kind " + kind);
        out.push_back({name, file, kind == "qubo" ? InstanceKind::qubo : InstanceKind::maxcut, std::stoll(energy)});
    }
    return out;
}

}  // namespace bench
