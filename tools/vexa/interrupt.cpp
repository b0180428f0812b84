#include "interrupt.hpp"

#include <signal.h>
#include <unistd.h>

namespace vexa::cli {

namespace {

std::atomic<int> g_signal{0};
// The target is published in two steps; the handler reads the object first
// and the function second, and set_stop_target writes them the other way
// round, so a function is never called with a stale object.
std::atomic<const void *> g_solver{nullptr};
std::atomic<detail::StopFn> g_stop{nullptr};

static_assert(std::atomic<int>::is_always_lock_free);
static_assert(std::atomic<const void *>::is_always_lock_free);
static_assert(std::atomic<detail::StopFn>::is_always_lock_free);

void stop_target() {
    const void *solver = g_solver.load();
    const detail::StopFn stop = g_stop.load();
    if (stop != nullptr && solver != nullptr) stop(solver);
}

extern "C" void on_stop_signal(int sig) {
    int none = 0;
    if (!g_signal.compare_exchange_strong(none, sig)) _exit(128 + sig);
    stop_target();
}

}  // namespace

namespace detail {

void set_stop_target(StopFn fn, const void *solver) {
    if (fn == nullptr) {
        g_stop.store(nullptr);
        g_solver.store(nullptr);
        return;
    }
    g_solver.store(solver);
    g_stop.store(fn);
    // A signal that came before the search had a target still stops it.
    if (g_signal.load() != 0) stop_target();
}

}  // namespace detail

void install_stop_handlers() {
    struct sigaction sa {};
    sa.sa_handler = on_stop_signal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
}

int interrupt_status() {
    const int sig = g_signal.load();
    return sig == 0 ? 0 : 128 + sig;
}

}  // namespace vexa::cli
