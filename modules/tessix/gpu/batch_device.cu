// Launch code: the model's arrays copied once per handle, one thread per
// replica running run_replica over arrays interleaved by replica (entry i of
// replica k at i * replicas + k), so that the threads of a warp, which sweep
// the variables in the same order, read and write neighbouring words.
#include <cuda_runtime.h>

#include <cstring>
#include <vector>

#include "batch.hpp"

namespace vexa::tessix {

namespace {

__global__ void replica_kernel(CompactView m, ReplicaJob job, int64_t *x, int64_t *field, int64_t *body,
                               int64_t *energies) {
    const uint32_t k = blockIdx.x * blockDim.x + threadIdx.x;
    if (k >= job.replicas) return;
    ReplicaView r{x + k, field + k, body + k, job.replicas, 0};
    energies[k] = run_replica(m, r, job, k);
}

constexpr uint32_t kBlock = 128;

}  // namespace

struct DeviceSession {
    CompactView view;  // device pointers
    std::vector<void *> owned;
    int64_t *x = nullptr, *field = nullptr, *body = nullptr, *energies = nullptr;
    uint32_t capacity = 0;  // replicas the buffers hold
    std::vector<int64_t> staging;

    template <class T>
    bool copy(const T *host, uint64_t count, const T *&out) {
        out = nullptr;
        if (count == 0) return true;
        void *p = nullptr;
        if (cudaMalloc(&p, count * sizeof(T)) != cudaSuccess) return false;
        owned.push_back(p);
        if (cudaMemcpy(p, host, count * sizeof(T), cudaMemcpyHostToDevice) != cudaSuccess) return false;
        out = static_cast<const T *>(p);
        return true;
    }

    bool reserve(uint32_t replicas) {
        if (replicas <= capacity) return true;
        for (void *p : {static_cast<void *>(x), static_cast<void *>(field), static_cast<void *>(body),
                        static_cast<void *>(energies)}) {
            if (p != nullptr) cudaFree(p);
        }
        x = field = body = energies = nullptr;
        capacity = 0;
        const uint64_t r = replicas;
        const uint64_t cons = view.n_cons > 0 ? view.n_cons : 1;
        if (cudaMalloc(&x, r * view.n * sizeof(int64_t)) != cudaSuccess) return false;
        if (cudaMalloc(&field, r * view.n * sizeof(int64_t)) != cudaSuccess) return false;
        if (cudaMalloc(&body, r * cons * sizeof(int64_t)) != cudaSuccess) return false;
        if (cudaMalloc(&energies, r * sizeof(int64_t)) != cudaSuccess) return false;
        capacity = replicas;
        return true;
    }

    ~DeviceSession() {
        for (void *p : owned) cudaFree(p);
        for (void *p : {static_cast<void *>(x), static_cast<void *>(field), static_cast<void *>(body),
                        static_cast<void *>(energies)}) {
            if (p != nullptr) cudaFree(p);
        }
    }
};

int device_count() {
    int count = 0;
    if (cudaGetDeviceCount(&count) != cudaSuccess) {
        cudaGetLastError();  // clear the sticky error of a missing driver
        return 0;
    }
    return count;
}

const char *device_name() {
    static thread_local char name[256];
    cudaDeviceProp prop;
    if (device_count() <= 0 || cudaGetDeviceProperties(&prop, 0) != cudaSuccess) return "none";
    std::strncpy(name, prop.name, sizeof name - 1);
    name[sizeof name - 1] = 0;
    return name;
}

DeviceSession *device_session_open(const CompactView &h) {
    if (device_count() <= 0 || cudaSetDevice(0) != cudaSuccess) return nullptr;
    auto *s = new DeviceSession;
    CompactView &d = s->view;
    d.n = h.n;
    d.n_bin = h.n_bin;
    d.n_cons = h.n_cons;
    const uint64_t adj = h.adj_start[h.n], occ = h.occ_start[h.n], allowed = h.c_allowed_start[h.n_cons];
    const bool ok = s->copy(h.lower, h.n, d.lower) && s->copy(h.upper, h.n, d.upper) && s->copy(h.h, h.n, d.h) &&
                    s->copy(h.sq, h.n, d.sq) && s->copy(h.adj_start, uint64_t(h.n) + 1, d.adj_start) &&
                    s->copy(h.adj_var, adj, d.adj_var) && s->copy(h.adj_w, adj, d.adj_w) &&
                    s->copy(h.c_weight, h.n_cons, d.c_weight) && s->copy(h.c_lower, h.n_cons, d.c_lower) &&
                    s->copy(h.c_upper, h.n_cons, d.c_upper) && s->copy(h.c_b0, h.n_cons, d.c_b0) &&
                    s->copy(h.c_exponent, h.n_cons, d.c_exponent) &&
                    s->copy(h.c_allowed_start, uint64_t(h.n_cons) + 1, d.c_allowed_start) &&
                    s->copy(h.allowed_lo, allowed, d.allowed_lo) && s->copy(h.allowed_hi, allowed, d.allowed_hi) &&
                    s->copy(h.occ_start, uint64_t(h.n) + 1, d.occ_start) && s->copy(h.occ_cons, occ, d.occ_cons) &&
                    s->copy(h.occ_a, occ, d.occ_a);
    if (!ok) {
        delete s;
        cudaGetLastError();
        return nullptr;
    }
    return s;
}

void device_session_close(DeviceSession *s) { delete s; }

bool device_run_batch(DeviceSession *s, const ReplicaJob &job, int64_t *states, int64_t *energies) {
    const uint32_t n = s->view.n, R = job.replicas;
    if (R == 0) return true;
    if (!s->reserve(R)) return false;
    std::vector<int64_t> &st = s->staging;
    st.resize(static_cast<uint64_t>(R) * n);
    for (uint32_t k = 0; k < R; ++k) {
        for (uint32_t i = 0; i < n; ++i) st[static_cast<uint64_t>(i) * R + k] = states[static_cast<uint64_t>(k) * n + i];
    }
    const uint64_t bytes = st.size() * sizeof(int64_t);
    if (bytes > 0 && cudaMemcpy(s->x, st.data(), bytes, cudaMemcpyHostToDevice) != cudaSuccess) return false;
    replica_kernel<<<(R + kBlock - 1) / kBlock, kBlock>>>(s->view, job, s->x, s->field, s->body, s->energies);
    if (cudaGetLastError() != cudaSuccess || cudaDeviceSynchronize() != cudaSuccess) return false;
    if (bytes > 0 && cudaMemcpy(st.data(), s->x, bytes, cudaMemcpyDeviceToHost) != cudaSuccess) return false;
    if (cudaMemcpy(energies, s->energies, R * sizeof(int64_t), cudaMemcpyDeviceToHost) != cudaSuccess) return false;
    for (uint32_t k = 0; k < R; ++k) {
        for (uint32_t i = 0; i < n; ++i) states[static_cast<uint64_t>(k) * n + i] = st[static_cast<uint64_t>(i) * R + k];
    }
    return true;
}

}  // namespace vexa::tessix
