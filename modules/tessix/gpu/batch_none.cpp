// The device side of a build without a CUDA compiler: no device, ever.
#include "batch.hpp"

namespace vexa::tessix {

struct DeviceSession {};

int device_count() { return 0; }
const char *device_name() { return "none"; }
DeviceSession *device_session_open(const CompactView &) { return nullptr; }
void device_session_close(DeviceSession *s) { delete s; }
bool device_run_batch(DeviceSession *, const ReplicaJob &, int64_t *, int64_t *) { return false; }

}  // namespace vexa::tessix
