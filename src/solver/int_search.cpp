// The native integer search: setup, the arithmetic width, and the run of
// one search on it. The shared record is in int_search_engine.hpp, a thread
// in int_search_worker.hpp, the GPU thread in int_search_gpu_thread.hpp, the
// threads and the timer in int_search_monitor.hpp, the final check and the
// result in int_search_result.cpp.
#include "solver/int_search.hpp"

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/fatal.hpp"
#include "solver/int_search_engine.hpp"
#include "solver/int_search_gpu_thread.hpp"
#include "solver/int_search_monitor.hpp"
#include "solver/int_search_result.hpp"
#include "solver/search_arith.hpp"

namespace vexa {

namespace {

template <class T>
nimba_solver_result *run_search(const ModelImpl &model, IntSearchOpts &opts) {
    intsearch::Engine<T> engine(model, opts);
    const FlatProblem<T> &p = engine.tables_.p;
    engine.start_ = intsearch::Clock::now();

    if (opts.callback != nullptr) {
        std::vector<T> first(p.total, T(0));
        for (uint32_t k = 0; k < p.n_int; ++k) first[p.n_bin + k] = p.lower[k];
        const T energy = p.full_energy(first.data());
        engine.fire(engine.make_sol(&first, energy, 0.0), 0);
    }

    // The GPU thread runs beside the workers, from before the first of them
    // starts until the same stop or time limit ends it.
    std::thread gpu;
    if (opts.gpu_handle != nullptr && opts.gpu_round != nullptr) {
        gpu = std::thread([&engine] { intsearch::GpuThread<T>(engine).run(); });
    }
    intsearch::run_workers(engine);
    if (gpu.joinable()) gpu.join();

    intsearch::SearchOutcome outcome;
    outcome.gpu_rounds = engine.gpu_rounds_.load();
    outcome.gpu_submissions = engine.gpu_submissions_.load();
    outcome.has_best = engine.has_best_;
    if (engine.has_best_) {
        outcome.best.energy = to_coeff(engine.best_energy_);
        outcome.best.tts = engine.best_tts_;
        intsearch::fill_assignment(engine.best_state_, p.n_bin, outcome.best.bits, outcome.best.int_vals);
    }
    intsearch::take_list(engine.solutions_, p.n_bin, outcome.listed);
    outcome.rounds = engine.rounds_.load();
    outcome.proposals = engine.proposals_.load();
    outcome.run_time = engine.elapsed();
    return intsearch::finish_search(model, opts, std::move(outcome));
}

}  // namespace

nimba_solver_result *nimba_int_search(const ModelImpl &model, IntSearchOpts &opts, const vexa_param *params,
                                      const uint64_t *hint_bits, const coeff_t *hint_ints,
                                      uint64_t hint_int_count) {
    opts.seed = std::random_device("default")();
    opts.threads = default_search_threads();
    parse_int_params(opts, params);
    const std::string name = opts.solver_name;
    if (hint_bits != nullptr) {
        if (hint_int_count != model.int_count()) fatal(name + ": hint integer-variable count mismatch.");
        for (uint64_t k = 0; k < hint_int_count; ++k) {
            if (hint_ints[k] < model.int_lower[k] || hint_ints[k] > model.int_upper[k]) {
                fatal(name + ": hint value outside the integer variable's bounds.");
            }
        }
        opts.hint_bits = hint_bits;
        opts.hint_ints = hint_ints;
    }
    if (!opts.model) {
        // A caller without a shared reference: callbacks get a borrowed one.
        opts.model = std::shared_ptr<ModelImpl>(std::shared_ptr<ModelImpl>(), const_cast<ModelImpl *>(&model));
    }
    switch (choose_width(model, flat_max_abs(model))) {
        case ArithWidth::w64: return run_search<int64_t>(model, opts);
        case ArithWidth::w128: return run_search<int128>(model, opts);
        case ArithWidth::exact: break;
    }
    return run_search<coeff_t>(model, opts);
}

}  // namespace vexa
