#include "solver/search_settings.hpp"

#include <sched.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>

#include "core/fatal.hpp"

namespace vexa {

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

// Decimal text as an exact integer. The arithmetic library reads a leading 0
// as an octal prefix ("010" would be 8), so the sign and the leading zeros
// are taken off first and the digits read on their own.
coeff_t decimal_value(const char *text) {
    bool negative = false;
    if (*text == '-' || *text == '+') negative = *text++ == '-';
    while (text[0] == '0' && text[1] != '\0') ++text;
    coeff_t v(text);
    if (negative) v = -v;
    return v;
}

bool switched_on(std::string_view value) { return value == "1" || value == "true" || value == "True"; }

}  // namespace

uint64_t best_energy_cap_of(const char *value) {
    return std::isdigit(static_cast<unsigned char>(value[0])) ? std::strtoul(value, nullptr, 10) : 0;
}

uint64_t module_thread_count(std::string_view tag, const char *value) {
    const unsigned long t = std::strtoul(value, nullptr, 10);
    if (t == 0) fatal(tag, "threads must be >= 1.");
    return t;
}

SearchSettings read_search_settings(const vexa_param *params, std::string_view tag, SettingsReader reader) {
    const bool module = reader == SettingsReader::module;
    SearchSettings s;
    if (params == nullptr) return s;
    for (const vexa_param *p = params; p->key != nullptr; ++p) {
        const std::string_view key = p->key;
        const char *value = p->value != nullptr ? p->value : "";
        if (key == "time_limit") {
            s.has_time_limit = true;
            s.time_limit = std::strtod(value, nullptr);
            if (module && std::isnan(s.time_limit)) s.time_limit = 0.0;
        } else if (key == "target_energy") {
            if (module) {
                if (!is_decimal_integer(value)) {
                    fatal(tag, std::string("target_energy is not a decimal integer: '") + value + "'");
                }
            }
            s.target_energy = decimal_value(value);
            s.has_target = true;
        } else if (key == "seed") {
            s.has_seed = true;
            s.seed = std::strtoull(value, nullptr, 10);
        } else if (key == "threads" || (module && key == "thread_count")) {
            if (module) {
                const uint64_t t = module_thread_count(tag, value);
                s.threads = static_cast<uint32_t>(std::min<uint64_t>(t, kMaxModuleThreads));
            } else {
                s.threads = static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
                if (s.threads == 0) fatal(tag, "threads must be >= 1.");
            }
        } else if (key == "topk_sols") {
            s.topk = std::strtoul(value, nullptr, 10);
            if (s.topk == 0) fatal(tag, "topk_sols must be >= 1.");
        } else if (key == "best_energy_sols") {
            s.best_energy = true;
            s.best_energy_cap = best_energy_cap_of(value);
        } else if (key == "enable_default_callback") {
            s.enable_default_callback = switched_on(value);
        } else if (!module) {
            fatal(tag, "parameter '" + std::string(key) + "' is not supported for native integer models yet.");
        }
    }
    return s;
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

}  // namespace vexa
