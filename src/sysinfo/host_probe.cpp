// Memory size, host name, and the machine pairs of a solver result.
#include <sys/sysinfo.h>
#include <unistd.h>

#include <vector>

#include "sysinfo/probes.hpp"
#include "sysinfo/text_scan.hpp"

namespace vexa {

std::string gib_text(uint64_t bytes) {
    if (bytes == 0) return "(unknown)";
    return detail::fixed_text(static_cast<double>(bytes) / 1073741824.0, 3) + " GiB";
}

std::string ram_text() {
    struct sysinfo info {};
    if (::sysinfo(&info) != 0) return "(unknown)";
    return gib_text(static_cast<uint64_t>(info.totalram) * info.mem_unit);
}

std::string host_name() {
    const long max = ::sysconf(_SC_HOST_NAME_MAX);
    std::vector<char> buffer(max > 0 ? static_cast<size_t>(max) + 1 : 256, '\0');
    if (::gethostname(buffer.data(), buffer.size()) != 0) return "(unknown)";
    buffer.back() = '\0';
    return buffer.data();
}

void add_machine_info(std::vector<std::pair<std::string, std::string>> &info) {
    info.emplace_back("os", os_text());
    info.emplace_back("cpu", cpu_text());
    info.emplace_back("gpu", gpu_text());
    info.emplace_back("ram", ram_text());
}

}  // namespace vexa
