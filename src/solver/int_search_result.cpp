#include "solver/int_search_result.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "core/fatal.hpp"
#include "model/sol.hpp"

namespace vexa::intsearch {

nimba_solver_result *finish_search(const ModelImpl &model, const IntSearchOpts &opts, SearchOutcome &&outcome) {
    if (std::getenv("VEXA_TESSIX_INT_DEBUG") != nullptr) {
        std::fprintf(stderr, "[tessix-int-gpu] rounds=%lu submissions=%lu\n",
                     static_cast<unsigned long>(outcome.gpu_rounds),
                     static_cast<unsigned long>(outcome.gpu_submissions));
    }
    const std::string name = opts.solver_name;
    if (!outcome.has_best) fatal(name + ": internal error \xe2\x80\x94 integer engine produced no solution.");

    // The incremental bookkeeping must have kept the energy a solution of
    // this assignment computes from scratch.
    nimba_solver_result_entry &best = outcome.best;
    if (comp_energy(model, best.bits.data(), best.int_vals.data()) != best.energy) {
        fatal(name + ": internal error \xe2\x80\x94 best-state energy mismatch in integer engine.");
    }

    auto r = std::make_unique<nimba_solver_result>();
    r->energy = std::move(best.energy);
    r->tts = best.tts;
    r->bits = std::move(best.bits);
    r->int_vals = std::move(best.int_vals);
    r->topk = std::move(outcome.listed);
    r->info.emplace_back("run_time", seconds_text(outcome.run_time));
    r->info.emplace_back("threads", std::to_string(opts.threads));
    r->info.emplace_back("rounds", std::to_string(outcome.rounds));
    r->info.emplace_back("proposals", std::to_string(outcome.proposals));
    r->info.emplace_back("engine", opts.gpu_handle != nullptr ? "integer-cpu+gpu" : "integer-cpu");
    add_machine_pairs(*r);
    return r.release();
}

}  // namespace vexa::intsearch
