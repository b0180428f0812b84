#include "solver/params.hpp"

#include <cstring>

namespace vexa {

size_t param_count(const vexa_param *params) {
    size_t n = 0;
    if (params != nullptr) {
        while (params[n].key != nullptr) ++n;
    }
    return n;
}

ModuleParams ModuleParams::copy(const vexa_param *params) {
    ModuleParams out;
    const size_t n = param_count(params);
    out.pairs_.assign(params, params + n);
    out.pairs_.push_back(vexa_param{nullptr, nullptr});
    return out;
}

ModuleParams ModuleParams::with_time_limit(const vexa_param *params, bool rename_threads) {
    ModuleParams out;
    const size_t n = param_count(params);
    out.pairs_.reserve(n + 2);
    bool has_time_limit = false;
    for (size_t i = 0; i < n; ++i) {
        vexa_param p = params[i];
        if (std::strcmp(p.key, "time_limit") == 0) has_time_limit = true;
        if (rename_threads && std::strcmp(p.key, "threads") == 0) {
            module_thread_count("NimbaSolver", p.value);
            p.key = "thread_count";
        }
        out.pairs_.push_back(p);
    }
    if (!has_time_limit) out.pairs_.push_back(vexa_param{"time_limit", "10.0"});
    out.pairs_.push_back(vexa_param{nullptr, nullptr});
    return out;
}

void parse_int_params(IntSearchOpts &opts, const vexa_param *params) {
    const SearchSettings s = read_search_settings(params, opts.solver_name, SettingsReader::native_integer);
    if (s.has_time_limit) opts.time_limit = s.time_limit;
    if (s.has_target) {
        opts.has_target = true;
        opts.target_energy = s.target_energy;
    }
    if (s.has_seed) opts.seed = s.seed;
    if (s.threads != 0) opts.threads = s.threads;
    if (s.topk != 0) opts.topk_sols = s.topk;
    if (s.best_energy) {
        opts.best_energy_sols = true;
        opts.best_energy_cap = s.best_energy_cap;
    }
    opts.enable_default_callback = s.enable_default_callback;
}

}  // namespace vexa
