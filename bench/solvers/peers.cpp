#include "peers.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace bench {

namespace {

std::vector<std::string> split_csv(const std::string &line) {
    std::vector<std::string> out;
    std::stringstream ls(line);
    std::string field;
    while (std::getline(ls, field, ',')) out.push_back(field);
    return out;
}

}  // namespace

std::optional<PeerResult> PeerRow::best() const {
    std::optional<PeerResult> b;
    for (const PeerResult &r : results) {
        if (!b || r.energy < b->energy) b = r;
    }
    return b;
}

std::map<std::string, PeerRow> read_peers(const std::string &csv_path) {
    std::map<std::string, PeerRow> out;
    std::ifstream in(csv_path);
    if (!in) return out;
    std::string line;
    std::getline(in, line);
    const std::vector<std::string> header = split_csv(line);
    // instance, best_known_energy, then one column per peer
    if (header.size() < 3 || header[0] != "instance") throw std::runtime_error(csv_path + ": unexpected header");
    uint64_t line_no = 1;
    while (std::getline(in, line)) {
        ++line_no;
        if (line.empty()) continue;
        const std::vector<std::string> fields = split_csv(line);
        if (fields.size() != header.size()) {
            throw std::runtime_error(csv_path + ":" + std::to_string(line_no) + ": " + std::to_string(fields.size()) +
                                     " fields, the header has " + std::to_string(header.size()));
        }
        PeerRow row;
        for (size_t c = 2; c < fields.size(); ++c) {
            if (fields[c] == "-" || fields[c].empty()) continue;
            row.results.push_back({header[c], std::stoll(fields[c])});
        }
        out[fields[0]] = std::move(row);
    }
    return out;
}

}  // namespace bench
