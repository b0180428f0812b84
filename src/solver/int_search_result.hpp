// The end of a native integer search: the best state checked against the
// energy a solution computes, and the result record.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/number_type.hpp"
#include "model/model.hpp"
#include "solver/params.hpp"
#include "solver/result.hpp"
#include "solver/solution_list.hpp"

namespace vexa::intsearch {

// A search state (binary variables first, then integer ones) as a result
// holds it: packed bits, bit i set when variable i is not 0, and the integer
// values.
template <class T>
void fill_assignment(const std::vector<T> &state, uint32_t n_bin, std::vector<uint64_t> &bits,
                     std::vector<coeff_t> &ints) {
    bits.assign((static_cast<uint64_t>(n_bin) + 63) / 64, 0);
    for (uint32_t i = 0; i < n_bin; ++i) {
        if (!is_zero(state[i])) bits[i >> 6] |= uint64_t(1) << (i & 63);
    }
    ints.clear();
    for (size_t k = n_bin; k < state.size(); ++k) ints.push_back(to_coeff(state[k]));
}

// What the threads left behind, in exact form.
struct SearchOutcome {
    bool has_best = false;
    nimba_solver_result_entry best;  // energy as the search kept it
    std::vector<nimba_solver_result_entry> listed;
    double run_time = 0.0;
    uint64_t rounds = 0, proposals = 0;
    uint64_t gpu_rounds = 0, gpu_submissions = 0;
};

template <class T>
void take_list(const SolutionList<T, T> &list, uint32_t n_bin, std::vector<nimba_solver_result_entry> &out) {
    for (const auto &entry : list.entries) {
        nimba_solver_result_entry e;
        e.energy = to_coeff(entry.energy);
        e.tts = entry.tts;
        fill_assignment(entry.state, n_bin, e.bits, e.int_vals);
        out.push_back(std::move(e));
    }
}

// Writes the debug line of VEXA_TESSIX_INT_DEBUG, checks that a best state
// exists and that its energy is the one comp_energy gives (fatal with the
// solver's tag otherwise), and builds the result with its info pairs.
nimba_solver_result *finish_search(const ModelImpl &model, const IntSearchOpts &opts, SearchOutcome &&outcome);

}  // namespace vexa::intsearch
