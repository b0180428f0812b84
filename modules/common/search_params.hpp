// Search settings of a module call: the shared reader of the library in its
// module form (unknown keys are skipped, "thread_count" names "threads").
#pragma once

#include <cstdint>
#include <random>
#include <string_view>

#include "solver/search_settings.hpp"

namespace vexa::mod {

using SearchParams = vexa::SearchSettings;

inline SearchParams parse_search_params(std::string_view tag, const vexa_param *params) {
    return read_search_settings(params, tag, SettingsReader::module);
}

// The seed for a search: the given one, else a fresh 64-bit draw.
inline uint64_t resolve_seed(const SearchParams &p) {
    if (p.has_seed) return p.seed;
    std::random_device rd;
    return (static_cast<uint64_t>(rd()) << 32) ^ rd();
}

}  // namespace vexa::mod
