#include "search_params.hpp"

#include <sched.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>

#include "module_fatal.hpp"

namespace vexa::mod {

namespace {

bool is_decimal_integer(const char *text) {
    const char *p = text;
    if (*p == '-' || *p == '+') ++p;
    if (*p == '\0') return false;
    for (; *p != '\0'; ++p) {
        if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
    }
    return true;
}

}  // namespace

SearchParams parse_search_params(std::string_view tag, const vexa_param *params) {
    SearchParams p;
    if (params == nullptr) return p;
    for (const vexa_param *q = params; q->key != nullptr; ++q) {
        const char *value = q->value != nullptr ? q->value : "";
        const std::string_view key = q->key;
        if (key == "time_limit") {
            p.has_time_limit = true;
            p.time_limit = std::strtod(value, nullptr);
            if (!(p.time_limit == p.time_limit)) p.time_limit = 0.0;  // NaN
        } else if (key == "target_energy") {
            if (!is_decimal_integer(value)) {
                module_fatal(tag, std::string("target_energy is not a decimal integer: '") + value + "'");
            }
            p.has_target = true;
            p.target_energy = coeff_t(value[0] == '+' ? value + 1 : value);
        } else if (key == "seed") {
            p.has_seed = true;
            p.seed = std::strtoull(value, nullptr, 10);
        } else if (key == "threads" || key == "thread_count") {
            const unsigned long t = std::strtoul(value, nullptr, 10);
            if (t == 0) module_fatal(tag, "threads must be >= 1.");
            p.threads = t > 4096 ? 4096u : static_cast<uint32_t>(t);
        } else if (key == "topk_sols") {
            const unsigned long k = std::strtoul(value, nullptr, 10);
            if (k == 0) module_fatal(tag, "topk_sols must be >= 1.");
            p.topk = k;
        } else if (key == "best_energy_sols") {
            p.best_energy = true;
            p.best_energy_cap = std::isdigit(static_cast<unsigned char>(value[0])) ? std::strtoul(value, nullptr, 10) : 0;
        }
    }
    return p;
}

uint32_t default_thread_count() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof(set), &set) == 0) {
        const int n = CPU_COUNT(&set);
        if (n > 0) return static_cast<uint32_t>(n);
    }
    const unsigned hw = std::thread::hardware_concurrency();
    return hw > 0 ? hw : 1;
}

uint64_t resolve_seed(const SearchParams &p) {
    if (p.has_seed) return p.seed;
    std::random_device rd;
    return (static_cast<uint64_t>(rd()) << 32) ^ rd();
}

}  // namespace vexa::mod
