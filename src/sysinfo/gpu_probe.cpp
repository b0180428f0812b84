// NVIDIA devices through the management library, opened at run time only.
// The library is optional: when it is missing or fails, the answer is
// "(none)", and nothing is printed.
#include <dlfcn.h>

#include <map>

#include "sysinfo/probes.hpp"

namespace vexa {

namespace {

// The few entry points used, with the library's C signatures; a device handle
// is an opaque pointer and every call returns 0 on success.
using NvmlDevice = void *;
using NvmlInit = int (*)();
using NvmlShutdown = int (*)();
using NvmlDeviceGetCount = int (*)(unsigned *);
using NvmlDeviceGetHandleByIndex = int (*)(unsigned, NvmlDevice *);
using NvmlDeviceGetName = int (*)(NvmlDevice, char *, unsigned);
constexpr int kNvmlSuccess = 0;
constexpr unsigned kNameSize = 256;

template <class Fn>
Fn lookup(void *library, const char *symbol) {
    return reinterpret_cast<Fn>(::dlsym(library, symbol));
}

// Device names and how often each occurs, sorted by name.
std::map<std::string, unsigned> count_devices(void *library) {
    std::map<std::string, unsigned> devices;
    const auto init = lookup<NvmlInit>(library, "nvmlInit_v2");
    const auto shutdown = lookup<NvmlShutdown>(library, "nvmlShutdown");
    const auto get_count = lookup<NvmlDeviceGetCount>(library, "nvmlDeviceGetCount_v2");
    const auto get_handle = lookup<NvmlDeviceGetHandleByIndex>(library, "nvmlDeviceGetHandleByIndex_v2");
    const auto get_name = lookup<NvmlDeviceGetName>(library, "nvmlDeviceGetName");
    if (!init || !shutdown || !get_count || !get_handle || !get_name) return devices;
    if (init() != kNvmlSuccess) return devices;
    unsigned count = 0;
    if (get_count(&count) != kNvmlSuccess) count = 0;
    for (unsigned i = 0; i < count; ++i) {
        NvmlDevice device = nullptr;
        if (get_handle(i, &device) != kNvmlSuccess) continue;
        char name[kNameSize] = {};
        if (get_name(device, name, kNameSize) != kNvmlSuccess) continue;
        name[kNameSize - 1] = '\0';
        ++devices[name];
    }
    shutdown();
    return devices;
}

}  // namespace

std::string gpu_text_from(std::initializer_list<const char *> libraries) {
    void *library = nullptr;
    for (const char *file : libraries) {
        library = ::dlopen(file, RTLD_LAZY);
        if (library != nullptr) break;
    }
    if (library == nullptr) return "(none)";
    const std::map<std::string, unsigned> devices = count_devices(library);
    ::dlclose(library);
    if (devices.empty()) return "(none)";
    std::string text;
    for (const auto &[name, count] : devices) {
        if (!text.empty()) text += ", ";
        text += name + " x" + std::to_string(count);
    }
    return text;
}

std::string gpu_text() { return gpu_text_from({"libnvidia-ml.so.1", "libnvidia-ml.so"}); }

}  // namespace vexa
