// Processor name, clock and core count.
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <utility>

#include "sysinfo/probes.hpp"
#include "sysinfo/text_scan.hpp"

namespace vexa {

namespace {

using detail::line_value;
using detail::trim;

constexpr const char *kLscpuModel = "LC_ALL=C LANG=C lscpu 2>/dev/null | grep -i 'Model name'";
constexpr const char *kLscpuMaxMhz = "LC_ALL=C LANG=C lscpu 2>/dev/null | grep -i 'CPU max MHz'";

// The value of the first line lscpu prints for a grep pattern.
std::optional<std::string> lscpu_value(const char *command) {
    const std::optional<std::string> line = detail::command_first_line(command);
    if (!line) return std::nullopt;
    const std::optional<std::string_view> value = line_value(*line);
    if (!value) return std::nullopt;
    return std::string(*value);
}

// The name lines of cpuinfo, or the ARM table for its implementer and part.
std::optional<std::string> cpuinfo_name(const std::string &path) {
    std::ifstream in(path);
    if (!in) return std::nullopt;
    std::optional<uint64_t> implementer;
    std::optional<uint64_t> part;
    std::string raw;
    while (std::getline(in, raw)) {
        const std::string_view line = trim(raw);
        if (line.starts_with("model name") || line.starts_with("Hardware") || line.starts_with("Processor")) {
            const std::optional<std::string_view> value = line_value(line);
            if (!value) continue;
            std::string_view name = *value;
            const size_t at = name.find(" @ ");
            if (at != std::string_view::npos) name = name.substr(0, at);
            return std::string(name);
        }
        if (line.starts_with("CPU implementer")) {
            if (const auto value = line_value(line)) {
                if (const auto number = detail::parse_unsigned_auto(*value)) implementer = number;
            }
        } else if (line.starts_with("CPU part")) {
            if (const auto value = line_value(line)) {
                if (const auto number = detail::parse_unsigned_auto(*value)) part = number;
            }
        }
    }
    if (implementer && part) {
        if (const char *name = arm_part_name(*implementer, *part)) return std::string(name);
    }
    return std::nullopt;
}

// The model string of the device tree, which ends in a zero byte.
std::optional<std::string> devicetree_name(const std::string &path) {
    std::optional<std::string> line = detail::read_first_line(path);
    if (!line) return std::nullopt;
    if (!line->empty() && line->back() == '\0') line->pop_back();
    if (line->empty()) return std::nullopt;
    return line;
}

// A cpufreq file holds the clock in kHz.
std::optional<double> cpufreq_ghz(const std::string &path) {
    const std::optional<std::string> line = detail::read_first_line(path);
    if (!line) return std::nullopt;
    const std::optional<int64_t> khz = detail::parse_integer(trim(*line));
    if (!khz) return std::nullopt;
    return static_cast<double>(*khz) / 1e6;
}

// The greatest "cpu MHz" of all processors in cpuinfo.
std::optional<double> cpuinfo_max_ghz(const std::string &path) {
    std::ifstream in(path);
    if (!in) return std::nullopt;
    double best = 0;
    std::string raw;
    while (std::getline(in, raw)) {
        const std::string_view line = trim(raw);
        if (!line.starts_with("cpu MHz")) continue;
        if (const auto value = line_value(line)) {
            if (const auto mhz = detail::parse_real(*value)) best = std::max(best, *mhz);
        }
    }
    if (best > 0) return best / 1000;
    return std::nullopt;
}

// Distinct (package, core) pairs in the sysfs topology of processors 0..online-1.
uint64_t sysfs_core_count(const std::string &cpu_dir, long online) {
    std::set<std::pair<int64_t, int64_t>> cores;
    for (long i = 0; i < online; ++i) {
        const std::string topology = cpu_dir + "/cpu" + std::to_string(i) + "/topology/";
        const auto package_line = detail::read_first_line(topology + "physical_package_id");
        const auto core_line = detail::read_first_line(topology + "core_id");
        if (!package_line || !core_line) continue;
        const auto package = detail::parse_integer(trim(*package_line));
        const auto core = detail::parse_integer(trim(*core_line));
        if (package && core) cores.emplace(*package, *core);
    }
    return cores.size();
}

// Distinct (physical id, core id) pairs over the blocks of cpuinfo; a block
// ends at an empty line or at the end of the file.
std::optional<uint64_t> cpuinfo_core_count(const std::string &path) {
    std::ifstream in(path);
    if (!in) return std::nullopt;
    std::set<std::pair<int64_t, int64_t>> cores;
    int64_t package = -1;
    int64_t core = -1;
    auto end_block = [&] {
        if (package >= 0 && core >= 0) cores.emplace(package, core);
        package = -1;
        core = -1;
    };
    std::string raw;
    while (std::getline(in, raw)) {
        const std::string_view line = trim(raw);
        if (line.empty()) {
            end_block();
            continue;
        }
        const bool is_package = line.starts_with("physical id");
        if (!is_package && !line.starts_with("core id")) continue;
        const auto value = line_value(line);
        if (!value) continue;
        if (const auto number = detail::parse_integer(*value)) (is_package ? package : core) = *number;
    }
    end_block();
    return cores.size();
}

long online_processors() { return ::sysconf(_SC_NPROCESSORS_ONLN); }

}  // namespace

std::string cpu_name_from(const CpuSources &sources) {
    if (auto name = cpuinfo_name(sources.cpuinfo)) return std::move(*name);
    if (sources.use_lscpu) {
        // An empty model name from lscpu still ends the search.
        if (auto name = lscpu_value(kLscpuModel)) return std::move(*name);
    }
    if (auto name = devicetree_name(sources.devicetree_model)) return std::move(*name);
    return "(unknown CPU)";
}

std::string cpu_name() { return cpu_name_from(CpuSources{}); }

std::optional<double> max_frequency_ghz(const CpuSources &sources) {
    const std::string cpufreq = sources.cpu_dir + "/cpu0/cpufreq/";
    if (auto ghz = cpufreq_ghz(cpufreq + "cpuinfo_max_freq")) return ghz;
    if (auto ghz = cpufreq_ghz(cpufreq + "scaling_max_freq")) return ghz;
    if (sources.use_lscpu) {
        if (const auto value = lscpu_value(kLscpuMaxMhz)) {
            const auto mhz = detail::parse_real(*value);
            if (mhz && *mhz > 0) return *mhz / 1000;
        }
    }
    return cpuinfo_max_ghz(sources.cpuinfo);
}

std::optional<uint64_t> physical_cores(const CpuSources &sources, long online) {
    if (const uint64_t n = sysfs_core_count(sources.cpu_dir, online); n > 0) return n;
    const std::optional<uint64_t> n = cpuinfo_core_count(sources.cpuinfo);
    if (n && *n > 0) return n;
    return std::nullopt;
}

std::string cpu_text_from(const CpuSources &sources, long online) {
    std::string text = cpu_name_from(sources);
    text += "  (max ";
    const std::optional<double> ghz = max_frequency_ghz(sources);
    text += ghz ? detail::fixed_text(*ghz, 2) : "(unknown)";
    text += " GHz, ";
    const std::optional<uint64_t> cores = physical_cores(sources, online);
    text += cores ? std::to_string(*cores) : "(unknown)";
    text += " cores";
    if (online > 0) text += ", " + std::to_string(online) + " threads";
    text += ")";
    return text;
}

std::string cpu_text() { return cpu_text_from(CpuSources{}, online_processors()); }

}  // namespace vexa
