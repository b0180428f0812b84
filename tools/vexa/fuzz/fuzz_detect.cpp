// Fuzz target: format recognition followed by the chosen reader, with the
// first bytes of the input taken as the file name.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "readers/readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view all(reinterpret_cast<const char *>(data), size);
    const std::size_t cut = all.find('\n');
    const std::string name(all.substr(0, cut == std::string_view::npos ? 0 : cut));
    const std::string_view text = cut == std::string_view::npos ? all : all.substr(cut + 1);
    try {
        const vexa::cli::Format f = vexa::cli::detect_format(text, name);
        const vexa::cli::Problem p = vexa::cli::read_problem(text, name, f, 1);
        if (p.format != f) std::abort();
        for (const vexa::cli::Entry &e : p.entries) {
            if (e.i >= p.n || e.j >= p.n) std::abort();
        }
    } catch (const vexa::cli::ReadError &) {
    }
    return 0;
}
