#include "solver/params.hpp"

#include <sched.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "core/fatal.hpp"

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
            if (std::strtoul(p.value, nullptr, 10) == 0) fatal("NimbaSolver: threads must be >= 1.");
            p.key = "thread_count";
        }
        out.pairs_.push_back(p);
    }
    if (!has_time_limit) out.pairs_.push_back(vexa_param{"time_limit", "10.0"});
    out.pairs_.push_back(vexa_param{nullptr, nullptr});
    return out;
}

uint32_t default_search_threads() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof(set), &set) == 0) {
        const int n = CPU_COUNT(&set);
        if (n > 0) return static_cast<uint32_t>(n);
    }
    const unsigned hw = std::thread::hardware_concurrency();
    return hw > 0 ? hw : 1;
}

void parse_int_params(IntSearchOpts &opts, const vexa_param *params) {
    const std::string name = opts.solver_name;
    for (size_t i = 0, n = param_count(params); i < n; ++i) {
        const char *key = params[i].key;
        const char *value = params[i].value;
        if (std::strcmp(key, "time_limit") == 0) {
            opts.time_limit = std::strtod(value, nullptr);
        } else if (std::strcmp(key, "target_energy") == 0) {
            opts.target_energy = coeff_t(value);
            opts.has_target = true;
        } else if (std::strcmp(key, "seed") == 0) {
            opts.seed = std::strtoull(value, nullptr, 10);
        } else if (std::strcmp(key, "threads") == 0) {
            opts.threads = static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
            if (opts.threads == 0) fatal(name + ": threads must be >= 1.");
        } else if (std::strcmp(key, "topk_sols") == 0) {
            opts.topk_sols = std::strtoul(value, nullptr, 10);
            if (opts.topk_sols == 0) fatal(name + ": topk_sols must be >= 1.");
        } else if (std::strcmp(key, "best_energy_sols") == 0) {
            opts.best_energy_sols = true;
            opts.best_energy_cap =
                std::isdigit(static_cast<unsigned char>(value[0])) ? std::strtoul(value, nullptr, 10) : 0;
        } else if (std::strcmp(key, "enable_default_callback") == 0) {
            opts.enable_default_callback =
                std::strcmp(value, "1") == 0 || std::strcmp(value, "true") == 0 || std::strcmp(value, "True") == 0;
        } else {
            fatal(name + ": parameter '" + key + "' is not supported for native integer models yet.");
        }
    }
}

}  // namespace vexa
