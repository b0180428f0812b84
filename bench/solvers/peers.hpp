// The peers table peers.csv: per instance, the energies other published
// heuristics reached at equal CPU time ("-" where one was not run).
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace bench {

struct PeerResult {
    std::string peer;  // the column name
    int64_t energy;
};

struct PeerRow {
    std::vector<PeerResult> results;  // the peers that ran on the instance

    // The lowest energy any peer reached, and who reached it.
    std::optional<PeerResult> best() const;
};

// Instance name -> its row. A missing file gives an empty table; a malformed
// one throws std::runtime_error.
std::map<std::string, PeerRow> read_peers(const std::string &csv_path);

}  // namespace bench
