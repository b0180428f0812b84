#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "batch.hpp"

namespace vexa::tessix {

void run_batch_host(const CompactView &view, const ReplicaJob &job, int64_t *states, int64_t *energies,
                    uint32_t threads, const volatile uint8_t *stop) {
    std::atomic<uint32_t> next{0};
    auto work = [&]() {
        std::vector<int64_t> field(view.n), body(view.n_cons);
        for (;;) {
            const uint32_t k = next.fetch_add(1);
            if (k >= job.replicas) return;
            ReplicaView r{states + static_cast<uint64_t>(k) * view.n, field.data(), body.data(), 1, 0};
            if (stop != nullptr && *stop != 0) {
                replica_load(view, r);
                energies[k] = r.energy;
                continue;
            }
            energies[k] = run_replica(view, r, job, k);
        }
    };
    threads = std::max<uint32_t>(1, std::min(threads, job.replicas));
    std::vector<std::thread> pool;
    for (uint32_t t = 1; t < threads; ++t) pool.emplace_back(work);
    work();
    for (std::thread &t : pool) t.join();
}

}  // namespace vexa::tessix
