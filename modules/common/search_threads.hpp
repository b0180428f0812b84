// Thread layout of a search. Without a callback thread 0 runs on the caller.
// With one, every search thread is a new thread and the caller watches the
// timer that the callback's answers set: every 20 ms it compares the time
// since the last tick with the interval and, when due, calls the callback
// with event 2 and the best state so far (energy 0 and no state before the
// first). The caller also notices the end of the threads within a
// millisecond, so a stop is not delayed by the watch.
#pragma once

#include <cstdint>
#include <functional>

#include "search_shared.hpp"

namespace vexa::mod {

void run_search_threads(SearchShared &shared, uint32_t threads, const std::function<void(uint32_t)> &body);

}  // namespace vexa::mod
