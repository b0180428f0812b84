// What the readers make of a problem file: the entries of one weighted
// matrix or edge list, with the file's own variable count and sense.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/huge_page_allocator.hpp"
#include "vexa/vexa.hpp"

namespace vexa::cli {

enum class Format {
    qubo,    // qbsolv text: "p qubo 0 maxNodes nNodes nLinks", then "i j w", 0-based; maximise f
    matrix,  // MQLib / Beasley: "n m", then "i j w", 1-based; maximise f
    gset,    // G-set Max-Cut edge list: "n m", then "i j w", 1-based; maximise the cut
};

const char *format_name(Format f);
std::optional<Format> parse_format(std::string_view name);

// One line of the body. Indices are 0-based whatever the file's base.
struct Entry {
    uint32_t i;
    uint32_t j;
    Int w;
};

// For qubo and matrix files, f(x) = sum over entries of w * x_i * x_j (x_i
// alone when i == j), each line counted once. For gset files the cut is the
// sum over entries of w * (x_i + x_j - 2 x_i x_j). Both are maximised.
struct Problem {
    Format format = Format::qubo;
    uint64_t n = 0;         // variables the header announces
    unsigned index_base = 0;  // how the file counts its indices
    uint64_t collection = 0;  // problems in a Beasley collection file; 0 for a single problem
    HugeVector<Entry> entries;  // huge pages: a big file holds hundreds of megabytes here
};

// The largest variable count a header may announce.
inline constexpr uint64_t kMaxVariables = 100000000;

// A problem with the input: the text reads "FILE:LINE: message", or
// "FILE: message" when no line is to blame.
class ReadError : public std::runtime_error {
public:
    ReadError(const std::string &file, uint64_t line, const std::string &message)
        : std::runtime_error(file + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": " + message),
          line_(line),
          message_(message) {}

    uint64_t line() const { return line_; }
    const std::string &message() const { return message_; }

private:
    uint64_t line_;
    std::string message_;
};

}  // namespace vexa::cli
