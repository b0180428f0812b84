// What a binary search needs beyond the arrays, built once per handle (and
// again after a constraint is added): the canonical polynomial, the decision
// between the machine-word and the exact path, and the flip model in the
// chosen number type.
#pragma once

#include <memory>

#include "canonical_model.hpp"
#include "flip_model.hpp"
#include "model_arrays.hpp"

namespace vexa::mod {

struct PreparedModel {
    CanonicalModel canon;
    bool machine_word = false;
    std::unique_ptr<FlipModel<int64_t>> words;  // set when machine_word
    std::unique_ptr<FlipModel<coeff_t>> exact;  // set otherwise
};

std::shared_ptr<const PreparedModel> prepare_model(std::string_view tag, const ModelArrays &arrays);

}  // namespace vexa::mod
