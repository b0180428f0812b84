// Fuzz target: the qubo reader on arbitrary bytes. A ReadError is the expected
// answer to bad input; anything else (a crash, a sanitizer report, another
// exception) is a finding. Accepted input must respect the header it read.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "readers/readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    try {
        const vexa::cli::Problem p = vexa::cli::read_qubo(text, "fuzz");
        for (const vexa::cli::Entry &e : p.entries) {
            if (e.i >= p.n || e.j >= p.n) std::abort();
        }
    } catch (const vexa::cli::ReadError &) {
    }
    return 0;
}
