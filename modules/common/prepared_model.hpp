// What a binary search needs beyond the arrays, built once per handle (and
// again after a constraint is added): the constant of the canonical
// polynomial, the decision between the machine-word and the exact path, and
// the flip model in the chosen number type.
#pragma once

#include <memory>
#include <mutex>
#include <string_view>

#include "canonical_model.hpp"
#include "flip_model.hpp"
#include "model_arrays.hpp"
#include "search_shared.hpp"

namespace vexa::mod {

struct PreparedModel {
    coeff_t c0;
    bool machine_word = false;
    std::unique_ptr<FlipModel<int64_t>> words;  // set when machine_word
    std::unique_ptr<FlipModel<coeff_t>> exact;  // set otherwise
};

// Null when `stop` (optional; polled during the long phases of either
// path) answered true before the model was ready.
std::shared_ptr<const PreparedModel> prepare_model(std::string_view tag, const ModelArrays &arrays,
                                                   const StopCheck &stop = {});

// The stop check for preparing the model inside a search: true once the
// search is stopped, or once so little of its time is left that pricing the
// fallback state and checking it (two exact passes over the terms, about
// 10 ns a term each) would run past the limit.
StopCheck preparation_stop(const ModelArrays &arrays, SearchShared &sh);

// What ending a search on these arrays costs after the stop: the search
// threads' last steps, the exact pass over the terms that checks the
// returned state (about 12 ns a term, less when the search's threads share
// it, but memory-bound) and the caller's own reading of the result: about
// 18 ns a term in all.
double finish_seconds(const ModelArrays &arrays);

// The number type a search ran in, as its info reports it ("none" when the
// model was not prepared in time).
inline const char *arithmetic_name(const PreparedModel *p) {
    return p == nullptr ? "none" : (p->machine_word ? "int64" : "bigint");
}

// The state of all zeros, priced exactly from the arrays and offered to the
// search: what a search returns when its time ran out before the model was
// prepared.
void offer_zero_state(const ModelArrays &arrays, SearchShared &sh);

// A module handle's prepared model (a handle with `mutex`, `arrays` and
// `prepared`), built on first use; null when the search's time ran out (or it
// was stopped) while preparing, and then not kept, so that the next search
// prepares it again.
template <class Handle>
std::shared_ptr<const PreparedModel> prepared_of(std::string_view tag, Handle &h, SearchShared &sh) {
    std::lock_guard<std::mutex> lock(h.mutex);
    sh.finish_reserve = finish_seconds(h.arrays);
    if (!h.prepared) h.prepared = prepare_model(tag, h.arrays, preparation_stop(h.arrays, sh));
    // On a big model, starting the search threads (their arrays, first
    // touched then, and their gains, a pass over the terms) and checking what
    // they find costs a few finish reserves: with less time left than that
    // the caller returns the zero state, and the prepared model waits for
    // the next search.
    constexpr double kStartWorthChecking = 1e-3;
    constexpr double kStartCost = 4.0;  // in finish reserves
    if (h.prepared && sh.finish_reserve >= kStartWorthChecking &&
        sh.clock.seconds() + kStartCost * sh.finish_reserve >= sh.time_limit) {
        return nullptr;
    }
    return h.prepared;
}

// Forgets the prepared model: a constraint has changed the arrays.
template <class Handle>
void invalidate_prepared(Handle &h) {
    std::lock_guard<std::mutex> lock(h.mutex);
    h.prepared.reset();
}

}  // namespace vexa::mod
