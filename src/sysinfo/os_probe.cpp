// Operating system name from os-release.
#include <fstream>
#include <map>

#include "sysinfo/probes.hpp"
#include "sysinfo/text_scan.hpp"

namespace vexa {

namespace {

// A value of two or more characters wrapped in a matching pair of double or
// single quotes loses them; an unmatched quote stays part of the value.
std::string_view unquote(std::string_view value) {
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
        return value.substr(1, value.size() - 2);
    }
    return value;
}

}  // namespace

std::string os_text_from(const std::string &os_release_path) {
    std::ifstream in(os_release_path);
    if (!in) return "Linux";
    std::map<std::string, std::string, std::less<>> fields;
    std::string raw;
    while (std::getline(in, raw)) {
        const std::string_view line = detail::trim(raw);
        if (line.empty() || line.front() == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string_view::npos) continue;
        fields.insert_or_assign(std::string(detail::trim(line.substr(0, eq))),
                                std::string(unquote(detail::trim(line.substr(eq + 1)))));
    }
    auto field = [&](std::string_view key) -> const std::string * {
        const auto it = fields.find(key);
        return it == fields.end() ? nullptr : &it->second;
    };
    if (const std::string *pretty = field("PRETTY_NAME"); pretty && !pretty->empty()) return *pretty;
    const std::string *name = field("NAME");
    std::string text = name ? *name : "Linux";
    if (const std::string *version = field("VERSION"); version && !version->empty()) text += " " + *version;
    return text;
}

std::string os_text() { return os_text_from("/etc/os-release"); }

}  // namespace vexa
