// Machine probes: what the library tells about the build and the machine it
// runs on. Every probe is best effort and ends in a fixed text instead of a
// failure. The probes cache nothing: each call reads the system again.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vexa {

// Where the processor probes look. The defaults are the live system; tests
// point them at fixture files and switch lscpu off.
struct CpuSources {
    std::string cpuinfo = "/proc/cpuinfo";
    std::string devicetree_model = "/sys/firmware/devicetree/base/model";
    std::string cpu_dir = "/sys/devices/system/cpu";
    bool use_lscpu = true;
};

// Processor name: a name line of cpuinfo, else the ARM part table, else
// lscpu, else the device tree model, else "(unknown CPU)".
std::string cpu_name();
std::string cpu_name_from(const CpuSources &sources);

// Name, two blanks and "(max F GHz, C cores, T threads)"; unknown parts read
// "(unknown)", and the threads are left out unless `online` is positive.
std::string cpu_text();
std::string cpu_text_from(const CpuSources &sources, long online);

// Highest clock in GHz: cpufreq's cpuinfo_max_freq, scaling_max_freq, lscpu's
// "CPU max MHz", the greatest "cpu MHz" of cpuinfo.
std::optional<double> max_frequency_ghz(const CpuSources &sources);

// Distinct (package, core) pairs: sysfs topology of the first `online`
// processors, else the blocks of cpuinfo. Empty when neither gives one.
std::optional<uint64_t> physical_cores(const CpuSources &sources, long online);

// The name Linux would give an ARM main ID register's implementer and part,
// or nullptr for a pair the table does not list.
const char *arm_part_name(uint64_t implementer, uint64_t part);

struct ArmPart {
    uint32_t implementer;
    uint32_t part;
    const char *name;
};
// The whole table, for inspection.
const std::vector<ArmPart> &arm_part_table();

// NVIDIA devices as "name xN" per distinct name, sorted by name and joined by
// ", "; "(none)" when the management library is missing or finds nothing.
std::string gpu_text();
// The same, trying the given library names in order with dlopen.
std::string gpu_text_from(std::initializer_list<const char *> libraries);

// PRETTY_NAME of os-release, else NAME and VERSION, else "Linux".
std::string os_text();
std::string os_text_from(const std::string &os_release_path);

// Installed memory as "N.NNN GiB", or "(unknown)".
std::string ram_text();
// The form of ram_text for a byte count; 0 is "(unknown)".
std::string gib_text(uint64_t bytes);

// The host name, or "(unknown)".
std::string host_name();

// Appends "os", "cpu", "gpu" and "ram", in that order, to a result's info.
// The four texts are probed on the first call and reused for the process.
void add_machine_info(std::vector<std::pair<std::string, std::string>> &info);

// The build date in the form "Aug 16 2026" or "Aug 6 2026", made from the
// compiler's date text ("Aug  6 2026" pads a one-digit day with a blank).
std::string build_date_from(const char *compiler_date);

}  // namespace vexa
