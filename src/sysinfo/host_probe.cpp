// Memory size, host name, and the machine pairs of a solver result.
#include <sys/sysinfo.h>
#include <unistd.h>

#include <array>
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
    // Probing costs a pipe to lscpu and a load of the GPU management library,
    // several milliseconds that a short search would pay on every result; the
    // machine does not change under a running process, so it is read once.
    static const std::array<std::pair<std::string, std::string>, 4> pairs = {{
        {"os", os_text()},
        {"cpu", cpu_text()},
        {"gpu", gpu_text()},
        {"ram", ram_text()},
    }};
    info.insert(info.end(), pairs.begin(), pairs.end());
}

}  // namespace vexa
