// The GPU side of tessix_cppint.so in a build without a CUDA compiler: no
// device is ever usable, so the driver keeps every search on the CPU family.
#include "tessix_exports.hpp"

extern "C" {

VEXA_API int32_t vexa_tessix_gpu_device_count(void) { return 0; }

}  // extern "C"
