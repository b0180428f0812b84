// vexa_const_str: build constants and machine facts by key.
#include <unistd.h>

#include <string_view>

#include "core/text_buffer.hpp"
#include "sysinfo/probes.hpp"
#include "vexa/sysinfo.h"

namespace vexa {

std::string build_date_from(const char *compiler_date) {
    // The compiler writes "Mmm dd yyyy" and pads a one-digit day with a blank.
    std::string date(compiler_date);
    if (date.size() > 4 && date[4] == ' ') date.erase(4, 1);
    return date;
}

}  // namespace vexa

namespace {

struct ConstStrTag {};

constexpr const char *kInvalidKey = "Invalid string parameter";

std::string const_str_answer(std::string_view key) {
    using namespace vexa;
    if (key == "compilation_date") return build_date_from(__DATE__);
    if (key == "version") return VEXA_VERSION_TEXT;
    if (key == "cpu_name") return cpu_name();
    if (key == "cpu_threads") return std::to_string(::sysconf(_SC_NPROCESSORS_ONLN));
    if (key == "total_ram") return ram_text();
    if (key == "hostname") return host_name();
    return kInvalidKey;
}

}  // namespace

extern "C" const char *vexa_const_str(const char *key) {
    return vexa::keep_text<ConstStrTag>(key == nullptr ? std::string(kInvalidKey) : const_str_answer(key));
}
