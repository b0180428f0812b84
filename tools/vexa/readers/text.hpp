// Line and number scanning shared by the readers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "readers/problem.hpp"

namespace vexa::cli {

// The longest line a problem file may hold. Past it the input is not a
// problem file (think of /dev/zero), and reading stops with an error instead
// of buffering without bound.
inline constexpr std::size_t kMaxLineBytes = std::size_t(1) << 20;

// A problem file, or standard input for "-", read in chunks. The first bytes
// are read ahead so that the format can be told before the body is read.
class Input {
public:
    // Opens the file; throws ReadError when it cannot be read.
    explicit Input(const std::string &path);
    ~Input();
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    // The name for messages: the path, or "<stdin>".
    const std::string &name() const { return name_; }
    // The complete lines of the first bytes of the file (the whole file when
    // it is short). Throws ReadError when the first line is already too long.
    std::string_view head();
    // Up to `n` bytes; 0 at the end. Throws ReadError on a read error.
    std::size_t read(char *dst, std::size_t n);
    // Bytes still to come when the file is a regular one, else 0.
    uint64_t size_hint() const { return remaining_; }

private:
    std::size_t read_fd(char *dst, std::size_t n);

    std::string name_;
    int fd_ = -1;
    bool own_fd_ = false;
    uint64_t remaining_ = 0;
    std::string ahead_;          // read ahead, served before the descriptor
    std::size_t ahead_pos_ = 0;
    bool head_read_ = false;
};

// Walks a text line by line; "\n" and "\r\n" both end a line. A UTF-8 byte
// order mark at the very start is skipped. The text is either one block in
// memory or an Input pulled in chunks of bounded size.
class LineScanner {
public:
    LineScanner(std::string_view text, const std::string &file);
    LineScanner(Input &in, const std::string &file);

    // The next line that holds something other than white space and is not a
    // comment; false at the end. `comment` tells comment lines by their tokens.
    template <class IsComment>
    bool next(std::vector<std::string_view> &tokens, IsComment &&comment) {
        std::string_view line;
        while (next_line(line)) {
            split(line, tokens);
            if (!tokens.empty() && !comment(tokens)) return true;
        }
        return false;
    }

    uint64_t line() const { return line_; }

    // The complete lines that follow, as one block of about `bytes` (less at
    // the end of the input, more when one line is longer); empty at the end.
    // The scanner moves past them; the caller, who scans the block itself,
    // tells how many lines it held with skip_lines. The block stays valid
    // until the next call on the scanner.
    std::string_view take_lines(std::size_t bytes);
    void skip_lines(uint64_t count) { line_ += count; }
    // Starts the line count at `line` (a scanner over part of a text).
    void set_line(uint64_t line) { line_ = line; }
    // An upper bound on the lines still to come: each one takes at least two
    // bytes. Readers reserve no more than this, whatever a header announces;
    // for a stream of unknown length it is a modest guess.
    uint64_t lines_left() const;
    const std::string &file() const { return file_; }
    [[noreturn]] void fail(const std::string &message) const { throw ReadError(file_, line_ == 0 ? 1 : line_, message); }
    [[noreturn]] void fail_at(uint64_t line, const std::string &message) const { throw ReadError(file_, line, message); }

private:
    bool next_line(std::string_view &line);
    bool refill();
    static void split(std::string_view line, std::vector<std::string_view> &tokens);

    std::string_view text_;
    Input *in_ = nullptr;
    std::vector<char> buf_;
    bool at_end_ = true;  // nothing more to pull from in_
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

// A weight: an optional sign, digits, an optional fraction and an optional
// exponent ("99", "99.0", "1e3", "2.5E2"), accepted when its value is an exact
// integer; anything with a fractional part is refused, since all
// coefficients are exact integers. `what` names the number in messages.
Int parse_weight(const LineScanner &s, std::string_view token, const char *what = "weight");

// Comment lines of the matrix and edge-list formats start with '#' or '%'.
inline bool hash_comment(const std::vector<std::string_view> &tokens) {
    return tokens[0][0] == '#' || tokens[0][0] == '%';
}

}  // namespace vexa::cli
