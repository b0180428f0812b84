// Ctrl-C during a search. The first SIGINT or SIGTERM asks the running search
// to stop; it returns its best state as usual, the tool prints it and exits
// with 128 + the signal's number (130 for SIGINT). A second signal ends the
// process at once with that status.
#pragma once

#include <atomic>

namespace vexa::cli {

namespace detail {
using StopFn = void (*)(const void *);
void set_stop_target(StopFn fn, const void *solver);
}  // namespace detail

// Installs the handlers of SIGINT and SIGTERM.
void install_stop_handlers();

// 0 while no signal has come, else 128 + the number of the first one.
int interrupt_status();

// Makes `solver` the search a signal stops for as long as this lives. A signal
// that came before stops the search as soon as it starts.
class StopTarget {
public:
    template <class Solver>
    explicit StopTarget(const Solver &solver) {
        detail::set_stop_target([](const void *s) { static_cast<const Solver *>(s)->terminate(); }, &solver);
    }
    ~StopTarget() { detail::set_stop_target(nullptr, nullptr); }
    StopTarget(const StopTarget &) = delete;
    StopTarget &operator=(const StopTarget &) = delete;
};

}  // namespace vexa::cli
