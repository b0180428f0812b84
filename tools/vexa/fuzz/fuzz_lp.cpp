// Fuzz target: the LP reader on arbitrary bytes. A ReadError is the expected
// answer to bad input; anything else (a crash, a sanitizer report, another
// exception) is a finding. Accepted input must name only variables it holds,
// with bounds in order, and rows with a side that binds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "readers/lp.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    try {
        const vexa::cli::LpProblem p = vexa::cli::read_lp(text, "fuzz");
        const std::size_t n = p.vars.size();
        for (const vexa::cli::LpVariable &v : p.vars) {
            if (v.kind == vexa::cli::LpKind::continuous || v.lower_infinite || v.upper_infinite || v.lower > v.upper) {
                std::abort();
            }
        }
        for (const vexa::cli::LpTerm &t : p.linear) {
            if (t.a >= n || t.c.is_zero()) std::abort();
        }
        for (const vexa::cli::LpTerm &t : p.quadratic) {
            if (t.a >= n || t.b >= n || t.a > t.b || t.c.is_zero()) std::abort();
        }
        for (const vexa::cli::LpRow &r : p.rows) {
            if (r.terms.empty() || (r.lower_infinite && r.upper_infinite)) std::abort();
            for (const vexa::cli::LpTerm &t : r.terms) {
                if (t.a >= n || t.c.is_zero()) std::abort();
            }
        }
    } catch (const vexa::cli::ReadError &) {
    }
    return 0;
}
