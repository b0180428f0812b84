// Small text readers shared by the machine probes. None of them throws on bad
// input: a file that cannot be read or a number that does not parse comes back
// as an empty optional.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vexa::detail {

// Blank, tab, carriage return and line feed cut from both ends.
std::string_view trim(std::string_view text);

// The text after the first ':' of a line, trimmed; empty optional without ':'.
std::optional<std::string_view> line_value(std::string_view line);

// The whole text as an unsigned number in the base its prefix names
// ("0x41", "017", "65"). No sign, nothing left over.
std::optional<uint64_t> parse_unsigned_auto(std::string_view text);

// The whole text as a signed decimal integer.
std::optional<int64_t> parse_integer(std::string_view text);

// The whole text as a finite floating-point number, independent of the locale.
std::optional<double> parse_real(std::string_view text);

// The first line of a file, without its line feed; empty optional if the file
// cannot be opened or holds nothing.
std::optional<std::string> read_first_line(const std::string &path);

// The first line (at most 255 bytes) that a shell command writes to its
// standard output; empty optional if the command cannot start or says nothing.
std::optional<std::string> command_first_line(const char *command);

// Fixed notation with the given number of decimals, independent of the locale.
std::string fixed_text(double value, int decimals);

}  // namespace vexa::detail
