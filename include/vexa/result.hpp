// Vexa for C++: the settings of a search and its result.
#ifndef VEXA_RESULT_HPP
#define VEXA_RESULT_HPP

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vexa/common.h"
#include "vexa/int.hpp"
#include "vexa/model.hpp"
#include "vexa/sol.hpp"
#include "vexa/solver.h"

namespace vexa {

// ---------------------------------------------------------------------------
// Searches.
// ---------------------------------------------------------------------------

// Named search settings; the solver hands the ones that are set to the library
// as text pairs, in this order, followed by `extra`:
//   time_limit "time_limit" (seconds)     seed "seed"       threads "threads"
//   target_energy "target_energy"         topk "topk_sols"
//   best_energy_sols "best_energy_sols" (a cap; 0 keeps every solution of the best energy)
//   default_callback "enable_default_callback" = "1" (a progress line per new best)
// Usable with designated initializers: solver.search({.time_limit = 2.0, .seed = 7}).
struct SearchOptions {
    std::optional<double> time_limit = std::nullopt;
    std::optional<uint64_t> seed = std::nullopt;
    std::optional<uint32_t> threads = std::nullopt;
    std::optional<Int> target_energy = std::nullopt;
    std::optional<uint64_t> topk = std::nullopt;
    std::optional<uint64_t> best_energy_sols = std::nullopt;
    bool default_callback = false;
    std::vector<std::pair<std::string, std::string>> extra = {};

    std::vector<std::pair<std::string, std::string>> params() const {
        std::vector<std::pair<std::string, std::string>> p;
        if (time_limit) {
            char buf[64];
            const auto res = std::to_chars(buf, buf + sizeof buf, *time_limit);
            p.emplace_back("time_limit", std::string(buf, res.ptr));
        }
        if (seed) p.emplace_back("seed", std::to_string(*seed));
        if (threads) p.emplace_back("threads", std::to_string(*threads));
        if (target_energy) p.emplace_back("target_energy", target_energy->str());
        if (topk) p.emplace_back("topk_sols", std::to_string(*topk));
        if (best_energy_sols) p.emplace_back("best_energy_sols", std::to_string(*best_energy_sols));
        if (default_callback) p.emplace_back("enable_default_callback", "1");
        p.insert(p.end(), extra.begin(), extra.end());
        return p;
    }
};

// The outcome of a search: the best solution itself, plus the further
// solutions the search kept (topk, best_energy_sols) and its info pairs
// ("run_time", "threads", "engine", "os", "cpu", ...).
class Result : public Sol {
public:
    const std::vector<Sol> &topk() const noexcept { return topk_; }
    const std::vector<std::pair<std::string, std::string>> &info() const noexcept { return info_; }
    std::optional<std::string> info(std::string_view key) const {
        for (const auto &[k, v] : info_) {
            if (k == key) return v;
        }
        return std::nullopt;
    }

    // Takes over a result record of the C interface (and destroys it).
    static Result adopt(nimba_solver_result *r, const Model &m) {
        struct Guard {
            nimba_solver_result *r;
            ~Guard() { vexa_nimba_solver_result_destroy(r); }
        } guard{r};
        Result out(vexa_nimba_solver_result_to_sol(r, m.handle()));
        const uint64_t k = vexa_nimba_solver_result_topk_count(r);
        out.topk_.reserve(k);
        for (uint64_t i = 0; i < k; ++i) out.topk_.push_back(Sol::adopt(vexa_nimba_solver_result_topk_to_sol(r, i, m.handle())));
        const uint64_t n = vexa_nimba_solver_result_info_count(r);
        for (uint64_t i = 0; i < n; ++i) {
            out.info_.emplace_back(vexa_nimba_solver_result_info_key(r, i), vexa_nimba_solver_result_info_value(r, i));
        }
        return out;
    }

private:
    explicit Result(::Sol *s) noexcept : Sol(s) {}
    std::vector<Sol> topk_;
    std::vector<std::pair<std::string, std::string>> info_;
};

namespace hpp_detail {

// The pairs as a vexa_param list ending in a pair of nulls; valid while `pairs` lives.
inline std::vector<vexa_param> param_list(const std::vector<std::pair<std::string, std::string>> &pairs) {
    std::vector<vexa_param> list;
    list.reserve(pairs.size() + 1);
    for (const auto &[k, v] : pairs) list.push_back(vexa_param{k.c_str(), v.c_str()});
    list.push_back(vexa_param{nullptr, nullptr});
    return list;
}

}  // namespace hpp_detail

}  // namespace vexa

#endif
