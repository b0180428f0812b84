#include "readers/text.hpp"

#include <charconv>

namespace vexa::cli {

namespace {
bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
}  // namespace

void LineScanner::split(std::string_view line, std::vector<std::string_view> &tokens) {
    tokens.clear();
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && is_space(line[i])) ++i;
        const std::size_t start = i;
        while (i < line.size() && !is_space(line[i])) ++i;
        if (i > start) tokens.push_back(line.substr(start, i - start));
    }
}

std::string quoted(std::string_view token) {
    std::string out = "'";
    for (char c : token.substr(0, 40)) out += (c >= 32 && c < 127) ? c : '?';
    if (token.size() > 40) out += "...";
    return out + "'";
}

const char *format_name(Format f) {
    switch (f) {
        case Format::qubo: return "qubo";
        case Format::matrix: return "matrix";
        case Format::gset: return "gset";
    }
    return "?";
}

std::optional<Format> parse_format(std::string_view name) {
    if (name == "qubo") return Format::qubo;
    if (name == "matrix") return Format::matrix;
    if (name == "gset") return Format::gset;
    return std::nullopt;
}

uint64_t parse_count(const LineScanner &s, std::string_view token, uint64_t max, const char *what) {
    uint64_t v = 0;
    const auto res = std::from_chars(token.data(), token.data() + token.size(), v);
    const bool digits_only = !token.empty() && is_digit(token[0]);
    if (!digits_only || res.ec == std::errc::invalid_argument || res.ptr != token.data() + token.size()) {
        s.fail(quoted(token) + " is not a " + what);
    }
    if (res.ec == std::errc::result_out_of_range || v > max) {
        s.fail(std::string(what) + " " + quoted(token) + " is larger than " + std::to_string(max));
    }
    return v;
}

uint32_t parse_index(const LineScanner &s, std::string_view token, uint64_t n, unsigned base) {
    uint64_t v = 0;
    const auto res = std::from_chars(token.data(), token.data() + token.size(), v);
    if (token.empty() || !is_digit(token[0]) || res.ec == std::errc::invalid_argument ||
        res.ptr != token.data() + token.size()) {
        s.fail(quoted(token) + " is not an index");
    }
    if (res.ec == std::errc::result_out_of_range || v < base || v - base >= n) {
        if (n == 0) s.fail("index " + std::string(token) + " given, but the header announces no variables");
        s.fail("index " + std::string(token.substr(0, 40)) + " out of range " + std::to_string(base) + ".." +
               std::to_string(n - 1 + base));
    }
    return static_cast<uint32_t>(v - base);
}

Int parse_weight(const LineScanner &s, std::string_view token) {
    std::size_t k = 0;
    if (k < token.size() && (token[k] == '-' || token[k] == '+')) ++k;
    const std::size_t digits_start = k;
    while (k < token.size() && is_digit(token[k])) ++k;
    const std::size_t digits_end = k;
    bool fraction = false;
    if (k < token.size() && token[k] == '.') {
        ++k;
        while (k < token.size() && is_digit(token[k])) {
            if (token[k] != '0') fraction = true;
            ++k;
        }
    }
    if (digits_end == digits_start || k != token.size()) s.fail(quoted(token) + " is not a number");
    if (fraction) s.fail("weight " + quoted(token) + " is not an integer; coefficients are exact integers");
    return Int(token.substr(0, digits_end));
}

}  // namespace vexa::cli
