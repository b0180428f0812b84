// Line and number scanning shared by the readers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "readers/problem.hpp"

namespace vexa::cli {

// Walks a text line by line; "\n" and "\r\n" both end a line.
class LineScanner {
public:
    LineScanner(std::string_view text, const std::string &file) : text_(text), file_(file) {}

    // The next line that holds something other than white space and is not a
    // comment; false at the end. `comment` tells comment lines by their tokens.
    template <class IsComment>
    bool next(std::vector<std::string_view> &tokens, IsComment &&comment) {
        while (pos_ < text_.size()) {
            const std::size_t end = text_.find('\n', pos_);
            const std::string_view line = text_.substr(pos_, end == std::string_view::npos ? end : end - pos_);
            pos_ = end == std::string_view::npos ? text_.size() : end + 1;
            ++line_;
            split(line, tokens);
            if (!tokens.empty() && !comment(tokens)) return true;
        }
        return false;
    }

    uint64_t line() const { return line_; }
    // An upper bound on the lines still to come: each one takes at least two
    // bytes. Readers reserve no more than this, whatever a header announces.
    uint64_t lines_left() const { return (text_.size() - pos_) / 2 + 1; }
    const std::string &file() const { return file_; }
    [[noreturn]] void fail(const std::string &message) const { throw ReadError(file_, line_ == 0 ? 1 : line_, message); }
    [[noreturn]] void fail_at(uint64_t line, const std::string &message) const { throw ReadError(file_, line, message); }

private:
    static void split(std::string_view line, std::vector<std::string_view> &tokens);

    std::string_view text_;
    const std::string &file_;
    std::size_t pos_ = 0;
    uint64_t line_ = 0;
};

// A token for messages: quoted, and cut short when long.
std::string quoted(std::string_view token);

// A count or index: decimal digits only, at most `max`.
uint64_t parse_count(const LineScanner &s, std::string_view token, uint64_t max, const char *what);

// An index counted from `base`, checked against n variables; returns it 0-based.
uint32_t parse_index(const LineScanner &s, std::string_view token, uint64_t n, unsigned base);

// A weight: an optional sign and digits, optionally followed by a point and
// zeros ("99.0"); anything with a fractional part is refused, since all
// coefficients are exact integers.
Int parse_weight(const LineScanner &s, std::string_view token);

// Comment lines of the matrix and edge-list formats start with '#' or '%'.
inline bool hash_comment(const std::vector<std::string_view> &tokens) {
    return tokens[0][0] == '#' || tokens[0][0] == '%';
}

}  // namespace vexa::cli
