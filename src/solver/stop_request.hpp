// The stop request of a solver wrapper: one byte that the wrapper's
// terminate sets and the running search polls (the module through its
// set_external_stop address, the library's own searches directly).
//
// Rule: a request stays set until a search call of the wrapper returns, and
// only the return of the last search running on the wrapper clears it. So
//   - a request made during a search is never lost: that search sees it;
//   - a request made while no search runs stops the next search at once (it
//     returns the start state it evaluated, as with a zero time limit);
//   - once a search call has returned, the next one runs normally unless a
//     new request comes.
// request() only stores to a lock-free atomic, so it may be called from any
// thread and from a signal handler.
#pragma once

#include <atomic>
#include <cstdint>

namespace vexa {

class StopRequest {
public:
    static_assert(std::atomic<uint8_t>::is_always_lock_free, "the stop byte must be lock-free");
    static_assert(sizeof(std::atomic<uint8_t>) == 1, "modules read the stop byte as a plain byte");

    void request() noexcept { flag_.store(1, std::memory_order_relaxed); }
    bool requested() const noexcept { return flag_.load(std::memory_order_relaxed) != 0; }

    // The byte as modules and the integer engine read it.
    const volatile uint8_t *address() const noexcept {
        return reinterpret_cast<const volatile uint8_t *>(&flag_);
    }

    // Held for the length of one search call; the last one out clears the
    // request.
    class Scope {
    public:
        explicit Scope(StopRequest &r) noexcept : r_(r) { r_.active_.fetch_add(1, std::memory_order_acq_rel); }
        ~Scope() {
            if (r_.active_.fetch_sub(1, std::memory_order_acq_rel) == 1) r_.flag_.store(0, std::memory_order_relaxed);
        }
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;

    private:
        StopRequest &r_;
    };

private:
    std::atomic<uint8_t> flag_{0};
    std::atomic<uint32_t> active_{0};
};

}  // namespace vexa
