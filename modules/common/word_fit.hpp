// Whether a binary model may be searched in 64-bit words. The bound M below
// covers, for every assignment, |f - c0|, every body and distance, every
// penalty, and every one-flip change of any of them:
//   M = sum |h| + sum |J| + sum over constraints |w| * max(Dmax, Dmax^2),
//   Dmax = 2 * (Bmax + Lmax), Bmax = |b0| + sum |a| + sum |b|,
//   Lmax = the largest magnitude among lower, upper and the allowed ends.
// The search forms sums of at most four such values (energy + gain, best -
// energy, body + change), so M <= 2^60 keeps everything inside int64_t.
#pragma once

#include "canonical_model.hpp"

namespace vexa::mod {

// The constraint share of M.
coeff_t constraint_magnitude(const std::vector<CanonicalConstraint> &constraints);

coeff_t reachable_magnitude(const CanonicalModel &m);

bool fits_machine_word(const CanonicalModel &m);

// M <= 2^60 for a model whose objective is given in words: the objective
// share is summed in 128 bits, stopping as soon as it passes the bound.
bool fits_machine_word(const WordObjective &objective, const std::vector<CanonicalConstraint> &constraints);

}  // namespace vexa::mod
