// Running a batch of replicas: each starts from its own row of `states`
// (replica k's n values at k * n), runs run_replica with the batch's job and
// leaves its final state there, with E - c0 in energies[k]. The host runner
// and the device runner give the same rows for the same job: a replica's
// work depends only on its start state and (seed, batch, k).
#pragma once

#include <cstdint>

#include "compact_view.hpp"
#include "replica.hpp"

namespace vexa::tessix {

// On `threads` host threads. With a nonzero byte behind `stop` replicas not
// yet started keep their start state (and its energy).
void run_batch_host(const CompactView &m, const ReplicaJob &job, int64_t *states, int64_t *energies,
                    uint32_t threads, const volatile uint8_t *stop);

// The device side, implemented by the launch code; every function is safe to
// call in a build without CUDA or on a machine without a driver.
struct DeviceSession;

// Usable CUDA devices; 0 on any error or without CUDA in the build.
int device_count();

// Copies the model behind a host view to device 0; null when there is no usable device or an
// allocation fails.
DeviceSession *device_session_open(const CompactView &host);
void device_session_close(DeviceSession *s);

// One launch of job.replicas replicas, one thread each; false on a CUDA
// error (the rows are then unchanged).
bool device_run_batch(DeviceSession *s, const ReplicaJob &job, int64_t *states, int64_t *energies);

// A short text for the info pairs: the device name, or "none".
const char *device_name();

}  // namespace vexa::tessix
