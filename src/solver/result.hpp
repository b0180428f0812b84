// nimba_solver_result: the one result record of every solver path.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "vexa/solver_module.h"

struct nimba_solver_result_entry {
    vexa::coeff_t energy;
    double tts = 0.0;
    std::vector<uint64_t> bits;
    std::vector<vexa::coeff_t> int_vals;
};

struct nimba_solver_result {
    vexa::coeff_t energy;
    double tts = 0.0;
    double scale = 1.0;
    std::vector<uint64_t> bits;
    std::vector<vexa::coeff_t> int_vals;
    std::vector<nimba_solver_result_entry> topk;
    std::vector<std::pair<std::string, std::string>> info;
};

namespace vexa {

// Seconds on the monotonic clock, for run times and tts.
inline double monotonic_seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// "%f" of a number of seconds.
std::string seconds_text(double seconds);

// A ModuleSolution for bin_count variables, every field from malloc and
// zeroed; freed (with the energy's limbs) on destruction.
class ModuleSolutionBox {
public:
    explicit ModuleSolutionBox(uint32_t bin_count);
    ~ModuleSolutionBox();
    ModuleSolutionBox(const ModuleSolutionBox &) = delete;
    ModuleSolutionBox &operator=(const ModuleSolutionBox &) = delete;
    ModuleSolution *get() { return &sol_; }
    coeff_t energy() const;
    std::vector<uint64_t> bits() const;
    double tts() const { return *sol_.tts; }

private:
    ModuleSolution sol_{};
};

// A TessixSolution for bin_count variables: bits from calloc, energy and
// info empty. Frees the energy's limbs, the bits and any info the module
// stored (each string and the array come from malloc).
class TessixSolutionBox {
public:
    explicit TessixSolutionBox(uint32_t bin_count);
    ~TessixSolutionBox();
    TessixSolutionBox(const TessixSolutionBox &) = delete;
    TessixSolutionBox &operator=(const TessixSolutionBox &) = delete;
    TessixSolution *get() { return &sol_; }
    coeff_t energy() const;
    std::vector<uint64_t> bits() const { return std::vector<uint64_t>(sol_.bits, sol_.bits + sol_.word_count); }
    double tts() const { return sol_.tts; }
    // Appends the module's info pairs in their order.
    void append_info(nimba_solver_result &r) const;

private:
    TessixSolution sol_{};
};

// Reads a module's solution list, entry by entry, into the result's top-k
// list, then destroys it. A null list is nothing to read.
template <class Table>
void take_module_list(nimba_solver_result &r, const Table &table, void *list, uint32_t bin_count) {
    if (list == nullptr) return;
    const uint64_t n = table.sol_list_count(list);
    for (uint64_t i = 0; i < n; ++i) {
        ModuleSolutionBox box(bin_count);
        table.sol_list_get(list, i, box.get());
        r.topk.push_back(nimba_solver_result_entry{box.energy(), box.tts(), box.bits(), {}});
    }
    table.sol_list_destroy(list);
}

// Appends the pairs of a module's get_info, when the module has one, and
// hands the array back to free_info.
template <class Table>
void take_module_info(nimba_solver_result &r, const Table &table, void *handle) {
    if (table.get_info == nullptr) return;
    vexa_info_pair *info = table.get_info(handle);
    if (info == nullptr) return;
    for (const vexa_info_pair *p = info; p->key != nullptr; ++p) {
        r.info.emplace_back(p->key, p->value != nullptr ? p->value : "");
    }
    if (table.free_info != nullptr) table.free_info(info);
}

// Appends "os", "cpu", "gpu" and "ram".
void add_machine_pairs(nimba_solver_result &r);

// The result of one binary module search: the best state the module wrote,
// its solution list, "run_time", the module's own info pairs and the
// machine pairs, in that order.
template <class Table>
nimba_solver_result *module_search_result(const Table &table, void *handle, const ModuleSolutionBox &best,
                                          void *list, double run_time, double scale, uint32_t bin_count) {
    auto r = std::make_unique<nimba_solver_result>();
    r->energy = best.energy();
    r->tts = best.tts();
    r->scale = scale;
    r->bits = best.bits();
    take_module_list(*r, table, list, bin_count);
    r->info.emplace_back("run_time", seconds_text(run_time));
    take_module_info(*r, table, handle);
    add_machine_pairs(*r);
    return r.release();
}

}  // namespace vexa
