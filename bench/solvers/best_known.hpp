// The instance table best_known.csv: name, file, kind, best known energy.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "instance_reader.hpp"

namespace bench {

struct InstanceEntry {
    std::string name;
    std::string file;  // relative to the table's directory
    InstanceKind kind;
    int64_t best_known;
};

// Throws std::runtime_error on a malformed table.
std::vector<InstanceEntry> read_best_known(const std::string &csv_path);

}  // namespace bench
