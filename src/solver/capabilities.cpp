#include "solver/capabilities.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "core/fatal.hpp"
#include "solver/module_wiring.hpp"

namespace vexa {

namespace {

bool model_demands(const ModelImpl &m, Demand d) {
    switch (d) {
        case Demand::always: return true;
        case Demand::any_constraint: return !m.native_constraints.empty();
        case Demand::any_shaped: return any_shaped(m);
        case Demand::any_nonlinear: return any_nonlinear(m);
        case Demand::any_allowed: return any_allowed(m);
        case Demand::remainder: return m.has_remainder;
        default: return false;
    }
}

bool constraint_demands(const NativeConstraint &c, Demand d) {
    switch (d) {
        case Demand::nonlinear_body: return !c.quad_coeffs.empty();
        case Demand::linear_set: return c.quad_coeffs.empty() && !c.allowed.empty();
        case Demand::allowed_set: return !c.allowed.empty();
        case Demand::shaped: return !plain_shape(c);
        default: return false;
    }
}

[[noreturn]] void refuse(const Requirement &r, std::string_view file) {
    std::string message = r.message;
    const size_t at = message.find("{file}");
    if (at != std::string::npos) message.replace(at, 6, file);
    fatal(message);
}

}  // namespace

void check_requirements(const ModelImpl &m, std::span<const Requirement> rows,
                        bool (*present)(const void *table, std::string_view symbol), const void *table,
                        std::string_view file) {
    // Each row's symbol is looked up once, not once per constraint.
    std::vector<bool> served(rows.size());
    for (size_t i = 0; i < rows.size(); ++i) served[i] = present(table, rows[i].symbol);
    size_t i = 0;
    while (i < rows.size()) {
        if (!per_constraint(rows[i].demand)) {
            if (!served[i] && model_demands(m, rows[i].demand)) refuse(rows[i], file);
            ++i;
            continue;
        }
        size_t end = i;
        while (end < rows.size() && per_constraint(rows[end].demand)) ++end;
        const bool all_served = std::all_of(served.begin() + i, served.begin() + end, [](bool b) { return b; });
        if (!all_served) {
            for (const NativeConstraint &c : m.native_constraints) {
                for (size_t k = i; k < end; ++k) {
                    if (!served[k] && constraint_demands(c, rows[k].demand)) refuse(rows[k], file);
                }
            }
        }
        i = end;
    }
}

}  // namespace vexa
