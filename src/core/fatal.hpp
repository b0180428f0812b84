// Fatal failure: the only error path for detected misuse, in the library and
// in the solver modules (which compile this file in as well).
#pragma once

#include <string_view>

namespace vexa {

// Writes "vexa: " + message + newline to stderr, then aborts.
[[noreturn]] void fatal(std::string_view message);

// The same with a solver's tag: "vexa: " + tag + ": " + message + newline.
[[noreturn]] void fatal(std::string_view tag, std::string_view message);

// The same without the final newline, for the one message that ends its own line.
[[noreturn]] void fatal_no_newline(std::string_view message);

}  // namespace vexa
