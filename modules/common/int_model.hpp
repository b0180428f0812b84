// Models with native integer variables in the form their searches move them:
// flat variables (binary first, then integer) with bounds, the terms each
// variable sits in, and the constraints each variable sits in. IntState is
// one assignment with its constraint bodies and exact energy, and prices a
// one-variable change from the terms and constraints that hold the variable
// only: a linear body moves by one product, a nonlinear one is recomputed.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "model_arrays.hpp"
#include "rng.hpp"

namespace vexa::mod {

struct IntModel {
    uint32_t nb = 0, total = 0;
    std::vector<coeff_t> lower, upper, range;  // over all flat variables; binary [0, 1]
    std::vector<uint64_t> term_start;          // term t: literals [start[t], start[t+1])
    std::vector<Literal> term_lits;
    std::vector<coeff_t> term_coef;
    std::vector<std::vector<uint32_t>> term_occ;  // per variable, each term once

    struct ConsOcc {
        uint32_t c;
        coeff_t a;       // summed linear coefficient
        bool nonlinear;  // the variable also sits in a product row
    };
    std::vector<std::vector<ConsOcc>> cons_occ;
    const ModelArrays *arrays = nullptr;

    uint32_t constraint_count() const { return static_cast<uint32_t>(arrays->constraints.size()); }
};

// Terms may hold integer atoms; constraint words are flat indices.
IntModel build_int_model(const ModelArrays &a);

struct IntState {
    const IntModel *m;
    std::vector<coeff_t> x, body;
    coeff_t energy;
    // New bodies of the constraints touched by the last evaluate().
    std::vector<std::pair<uint32_t, coeff_t>> changed;
    uint64_t work = 0;  // terms and constraints visited, for clock polling

    explicit IntState(const IntModel &model);

    // A uniform value within the bounds of variable v.
    coeff_t random_in_range(uint32_t v, Rng &rng) const;
    void randomize(Rng &rng);

    coeff_t term_value(uint32_t t) const;
    coeff_t full_body(uint32_t c) const;
    // Energy and bodies from scratch.
    void recompute();
    // Energy change of setting variable v to `cand`; the new bodies go to `changed`.
    coeff_t evaluate(uint32_t v, const coeff_t &cand);
    // Takes the move evaluated last.
    void apply(uint32_t v, const coeff_t &cand, const coeff_t &delta);

    // Packs the binary part into words and copies the integer part.
    void export_state(uint64_t *words, coeff_t *ints) const;
};

}  // namespace vexa::mod
