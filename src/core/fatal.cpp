#include "core/fatal.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace vexa {

namespace {
[[noreturn]] void write_and_abort(std::string_view message, bool newline) {
    std::string line = "vexa: ";
    line.append(message);
    if (newline) line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
    std::abort();
}
}  // namespace

void fatal(std::string_view message) { write_and_abort(message, true); }

void fatal(std::string_view tag, std::string_view message) {
    std::string text(tag);
    text.append(": ");
    text.append(message);
    write_and_abort(text, true);
}
void fatal_no_newline(std::string_view message) { write_and_abort(message, false); }

}  // namespace vexa
