#include "prepared_model.hpp"

#include "exact_energy.hpp"
#include "word_fit.hpp"

namespace vexa::mod {

namespace {

// The flip model straight from the objective in words, once the bound on
// every reachable value is proven: no big-integer copy of the objective is
// made, which on models of millions of terms is most of the preparation.
// False when `stop` ended it early.
bool prepare_in_words(PreparedModel &p, const ModelArrays &arrays, const WordObjective &objective,
                      const std::vector<CanonicalConstraint> &constraints, const StopCheck *stop) {
    auto f = std::make_unique<FlipModel<int64_t>>();
    f->n = objective.n;
    f->h.resize(objective.n);
    for (uint32_t v = 0; v < objective.n; ++v) f->h[v] = static_cast<int64_t>(objective.h[v]);
    const bool done = fill_adjacency(
        *f, objective.pairs,
        [](const WordPair &q, uint32_t &i, uint32_t &j) {
            i = static_cast<uint32_t>(q.key >> 32);
            j = static_cast<uint32_t>(q.key);
        },
        [](const WordPair &q) { return q.w; }, stop);
    if (!done || !fill_constraints(*f, constraints, stop)) return false;
    p.c0 = arrays.constant + to_coeff(objective.constant);
    p.machine_word = true;
    p.words = std::move(f);
    return true;
}

}  // namespace

std::shared_ptr<const PreparedModel> prepare_model(std::string_view tag, const ModelArrays &arrays,
                                                   const StopCheck &stop) {
    const StopCheck *poll = stop ? &stop : nullptr;
    auto p = std::make_shared<PreparedModel>();
    {
        WordObjective objective;
        const WordResult r = objective_in_words(tag, arrays, objective, poll);
        if (r == WordResult::stopped) return nullptr;
        if (r == WordResult::in_words) {
            const std::vector<CanonicalConstraint> constraints = canonical_constraints(tag, arrays);
            if (fits_machine_word(objective, constraints)) {
                if (!prepare_in_words(*p, arrays, objective, constraints, poll)) return nullptr;
                return p;
            }
        }
    }
    // Exact path: the big-integer canonical form, then the number type it
    // allows; polled like the other.
    CanonicalModel canon;
    if (!canonicalize(tag, arrays, canon, poll)) return nullptr;
    p->c0 = canon.c0;
    p->machine_word = fits_machine_word(canon);
    if (p->machine_word) {
        auto f = std::make_unique<FlipModel<int64_t>>();
        if (!compile_flip_model(canon, *f, poll)) return nullptr;
        p->words = std::move(f);
    } else {
        auto f = std::make_unique<FlipModel<coeff_t>>();
        if (!compile_flip_model(canon, *f, poll)) return nullptr;
        p->exact = std::move(f);
    }
    return p;
}

double finish_seconds(const ModelArrays &arrays) {
    uint64_t terms = 0;
    for (const uint64_t count : arrays.term_counts) terms += count;
    return 18e-9 * static_cast<double>(terms);
}

StopCheck preparation_stop(const ModelArrays &arrays, SearchShared &sh) {
    const double reserve = 2 * finish_seconds(arrays);
    return [&sh, reserve] {
        if (sh.stopped()) return true;
        return sh.clock.seconds() + reserve >= sh.time_limit;
    };
}

void offer_zero_state(const ModelArrays &arrays, SearchShared &sh) {
    const std::vector<uint64_t> bits((arrays.bin_count + 63) / 64, 0);
    const coeff_t energy = exact_energy(arrays, bits.data(), nullptr);
    sh.offer(energy, bits.data(), bits.size());
}

}  // namespace vexa::mod
