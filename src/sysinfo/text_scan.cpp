#include "sysinfo/text_scan.hpp"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace vexa::detail {

std::string_view trim(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    const size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) return {};
    const size_t last = text.find_last_not_of(kSpace);
    return text.substr(first, last - first + 1);
}

std::optional<std::string_view> line_value(std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    return trim(line.substr(colon + 1));
}

std::optional<uint64_t> parse_unsigned_auto(std::string_view text) {
    // strtoull would also take leading blanks and a sign; neither belongs here.
    if (text.empty() || !(text.front() >= '0' && text.front() <= '9')) return std::nullopt;
    const std::string copy(text);
    char *end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(copy.c_str(), &end, 0);
    if (errno != 0 || end != copy.c_str() + copy.size()) return std::nullopt;
    return static_cast<uint64_t>(value);
}

std::optional<int64_t> parse_integer(std::string_view text) {
    int64_t value = 0;
    const char *end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value, 10);
    if (text.empty() || ec != std::errc() || ptr != end) return std::nullopt;
    return value;
}

std::optional<double> parse_real(std::string_view text) {
    double value = 0;
    const char *end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value, std::chars_format::general);
    if (text.empty() || ec != std::errc() || ptr != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<std::string> read_first_line(const std::string &path) {
    std::ifstream in(path);
    if (!in) return std::nullopt;
    std::string line;
    if (!std::getline(in, line)) return std::nullopt;
    return line;
}

std::optional<std::string> command_first_line(const char *command) {
    // "e": the pipe is not inherited by processes other threads start meanwhile.
    FILE *pipe = ::popen(command, "re");
    if (pipe == nullptr) return std::nullopt;
    char buffer[256];
    const bool got = std::fgets(buffer, sizeof buffer, pipe) != nullptr;
    ::pclose(pipe);
    if (!got) return std::nullopt;
    return std::string(buffer);
}

std::string fixed_text(double value, int decimals) {
    char buffer[400];
    const auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    if (ec != std::errc()) return "(unknown)";
    return std::string(buffer, ptr);
}

}  // namespace vexa::detail
