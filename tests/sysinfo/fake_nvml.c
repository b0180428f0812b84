/* A stand-in for the NVIDIA management library with scripted devices, loaded
 * by the GPU probe through dlopen. The test holds its own handle to this file,
 * sets the scene through fake_nvml_setup and reads the call counts back. */
#include <stddef.h>
#include <string.h>

#define FAKE_MAX_DEVICES 8

static int init_result;
static int count_result;
static unsigned device_count;
static const char *device_names[FAKE_MAX_DEVICES];
static int handle_fails[FAKE_MAX_DEVICES];
static int shutdown_calls;
static int devices[FAKE_MAX_DEVICES];

/* names[i] NULL: nvmlDeviceGetName fails for device i. handle_fail[i] nonzero:
 * nvmlDeviceGetHandleByIndex_v2 fails for it. */
void fake_nvml_setup(int init_rc, int count_rc, unsigned count, const char *const *names, const int *handle_fail) {
    init_result = init_rc;
    count_result = count_rc;
    device_count = count < FAKE_MAX_DEVICES ? count : FAKE_MAX_DEVICES;
    for (unsigned i = 0; i < device_count; ++i) {
        device_names[i] = names ? names[i] : NULL;
        handle_fails[i] = handle_fail ? handle_fail[i] : 0;
    }
    shutdown_calls = 0;
}

int fake_nvml_shutdown_calls(void) { return shutdown_calls; }

int nvmlInit_v2(void) { return init_result; }

int nvmlShutdown(void) {
    ++shutdown_calls;
    return 0;
}

int nvmlDeviceGetCount_v2(unsigned *count) {
    if (count_result != 0) return count_result;
    *count = device_count;
    return 0;
}

int nvmlDeviceGetHandleByIndex_v2(unsigned index, void **device) {
    if (index >= device_count || handle_fails[index]) return 2;
    *device = &devices[index];
    return 0;
}

int nvmlDeviceGetName(void *device, char *name, unsigned length) {
    const size_t index = (size_t)((int *)device - devices);
    if (device_names[index] == NULL) return 999;
    strncpy(name, device_names[index], length);
    return 0;
}
