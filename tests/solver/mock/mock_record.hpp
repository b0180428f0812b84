// What a test module records of the calls it receives, and what it answers.
// The module exports mock_record(); tests reach it with dlopen(RTLD_NOLOAD)
// on the path the library opened.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/coeff.hpp"
#include "vexa/solver_module.h"

namespace mock {

struct Cons {
    std::string kind;  // "add_constraint", "add_constraint_nl" or "add_constraint_set"
    const void *weight = nullptr, *lower = nullptr, *upper = nullptr, *body_constant = nullptr;
    uint64_t n_vars = 0;
    const uint32_t *vars = nullptr;
    std::vector<uint32_t> vars_copy;
    const void *coeffs = nullptr;
    uint64_t n_quad = 0;
    const uint64_t *quad_head = nullptr;
    const uint32_t *quad_vars = nullptr;
    const void *quad_coeffs = nullptr;
    std::vector<vexa::coeff_t> allowed_low, allowed_high;  // copied: the arrays live for the call only
    int shape_exponent = -1, shape_hinge = -1;              // set by set_cons_shape
};

struct Search {
    std::vector<std::pair<std::string, std::string>> params;
    void *hint = nullptr;
    uint32_t var_count = 0, word_count = 0;
    int stop_seen = -1;  // the stop byte when the search began; -1 without one
};

struct Answer {
    vexa::coeff_t energy = 0;
    std::vector<uint64_t> bits;
    double tts = 0.0;
};

// What the next searches answer.
struct Reply {
    Answer best;
    bool list = false;  // return a solution list (else null)
    std::vector<Answer> entries;
    bool info = false;  // get_info returns `pairs` (else null)
    std::vector<std::pair<std::string, std::string>> pairs;
    std::vector<vexa::coeff_t> ints;  // search_int's integer values
};

struct Record {
    std::vector<std::string> calls;
    // create / create_int
    void *w = reinterpret_cast<void *>(1);
    uint32_t bin_count = 0, int_count = 0, degree_count = 0;
    const void *constant = nullptr;
    const uint64_t *term_counts = nullptr;
    std::vector<const uint32_t *> var_lists;
    std::vector<const void *> coef_lists;
    int32_t reserved = 0;
    const void *int_lower = nullptr, *int_upper = nullptr;
    std::vector<Cons> cons;
    // set_remainder
    const void *rem_constant = nullptr;
    uint64_t rem_terms = 0;
    const uint64_t *rem_head = nullptr;
    const uint32_t *rem_vars = nullptr;
    const void *rem_coeffs = nullptr;
    std::vector<Search> searches;
    std::vector<vexa_module_callback> callbacks;
    std::vector<void *> destroyed;
    int lists_destroyed = 0;
    int info_freed = 0;
    const volatile uint8_t *external_stop = nullptr;  // set_external_stop
    Reply reply;

    void clear() { *this = Record(); }
};

}  // namespace mock
