#include "readers/text.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

namespace vexa::cli {

namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// The scanner's buffer: room for the longest line and as much again to read.
constexpr std::size_t kScanBuffer = 2 * kMaxLineBytes;
// Exact integers of more digits than this are not weights anyone means.
constexpr std::size_t kMaxWeightDigits = 100000;

std::string too_long() { return "a line longer than " + std::to_string(kMaxLineBytes >> 20) + " MiB; not a problem file"; }

}  // namespace

// ---------------------------------------------------------------------------
// Input
// ---------------------------------------------------------------------------

Input::Input(const std::string &path) {
    if (path == "-") {
        name_ = "<stdin>";
        fd_ = STDIN_FILENO;
        return;
    }
    name_ = path;
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) throw ReadError(path, 0, std::string("cannot open: ") + std::strerror(errno));
    own_fd_ = true;
    struct stat st {};
    if (::fstat(fd_, &st) == 0) {
        if (S_ISDIR(st.st_mode)) {
            ::close(fd_);
            throw ReadError(path, 0, "is a directory");
        }
        if (S_ISREG(st.st_mode)) remaining_ = static_cast<uint64_t>(st.st_size);
    }
}

Input::~Input() {
    if (own_fd_) ::close(fd_);
}

std::size_t Input::read_fd(char *dst, std::size_t n) {
    for (;;) {
        const ssize_t got = ::read(fd_, dst, n);
        if (got >= 0) {
            const auto g = static_cast<uint64_t>(got);
            remaining_ = remaining_ > g ? remaining_ - g : 0;
            return static_cast<std::size_t>(got);
        }
        if (errno != EINTR) throw ReadError(name_, 0, std::string("cannot read: ") + std::strerror(errno));
    }
}

std::string_view Input::head() {
    if (!head_read_) {
        head_read_ = true;
        // One longest line and its line end.
        ahead_.resize(kMaxLineBytes + 1);
        std::size_t filled = 0;
        while (filled < ahead_.size()) {
            const std::size_t got = read_fd(ahead_.data() + filled, ahead_.size() - filled);
            if (got == 0) break;
            filled += got;
        }
        const bool whole = filled < ahead_.size();
        ahead_.resize(filled);
        if (whole) return ahead_;
    } else if (ahead_.size() <= kMaxLineBytes) {
        return ahead_;
    }
    const std::size_t last = ahead_.rfind('\n');
    if (last == std::string::npos) throw ReadError(name_, 1, too_long());
    return std::string_view(ahead_).substr(0, last + 1);
}

std::size_t Input::read(char *dst, std::size_t n) {
    if (ahead_pos_ < ahead_.size()) {
        const std::size_t k = std::min(n, ahead_.size() - ahead_pos_);
        std::memcpy(dst, ahead_.data() + ahead_pos_, k);
        ahead_pos_ += k;
        if (ahead_pos_ == ahead_.size()) std::string().swap(ahead_), ahead_pos_ = 0;
        return k;
    }
    return read_fd(dst, n);
}

// ---------------------------------------------------------------------------
// LineScanner
// ---------------------------------------------------------------------------

LineScanner::LineScanner(std::string_view text, const std::string &file) : text_(text), file_(file) {
    if (text_.substr(0, kByteOrderMark.size()) == kByteOrderMark) pos_ = kByteOrderMark.size();
}

LineScanner::LineScanner(Input &in, const std::string &file)
    : in_(&in), buf_(kScanBuffer), at_end_(false), file_(file) {
    refill();
    if (text_.substr(0, kByteOrderMark.size()) == kByteOrderMark) pos_ = kByteOrderMark.size();
}

bool LineScanner::refill() {
    const std::size_t rest = text_.size() - pos_;
    if (rest > kMaxLineBytes) fail_at(line_ + 1, too_long());
    if (rest > 0) std::memmove(buf_.data(), text_.data() + pos_, rest);
    const std::size_t got = in_->read(buf_.data() + rest, buf_.size() - rest);
    text_ = std::string_view(buf_.data(), rest + got);
    pos_ = 0;
    if (got == 0) at_end_ = true;
    return got > 0;
}

bool LineScanner::next_line(std::string_view &line) {
    for (;;) {
        const std::size_t left = text_.size() - pos_;
        if (left > 0) {
            const char *p = text_.data() + pos_;
            const auto *nl = static_cast<const char *>(std::memchr(p, '\n', left));
            if (nl != nullptr) {
                line = std::string_view(p, static_cast<std::size_t>(nl - p));
                pos_ += line.size() + 1;
                ++line_;
                if (line.size() > kMaxLineBytes) fail(too_long());
                return true;
            }
        }
        if (!at_end_) {
            refill();
            continue;
        }
        if (left == 0) return false;
        line = text_.substr(pos_);
        pos_ = text_.size();
        ++line_;
        if (line.size() > kMaxLineBytes) fail(too_long());
        return true;
    }
}

std::string_view LineScanner::take_lines(std::size_t bytes) {
    if (in_ != nullptr && !at_end_ && text_.size() - pos_ < bytes) {
        const std::size_t rest = text_.size() - pos_;
        if (buf_.size() < bytes + kMaxLineBytes) {
            std::vector<char> bigger(bytes + kMaxLineBytes);
            std::memcpy(bigger.data(), text_.data() + pos_, rest);
            buf_.swap(bigger);
        } else if (rest > 0) {
            std::memmove(buf_.data(), text_.data() + pos_, rest);
        }
        std::size_t have = rest;
        pos_ = 0;
        while (!at_end_ && have < bytes) {
            const std::size_t got = in_->read(buf_.data() + have, buf_.size() - have);
            if (got == 0) at_end_ = true;
            have += got;
        }
        text_ = std::string_view(buf_.data(), have);
    }
    const std::string_view rest = text_.substr(pos_);
    std::size_t cut = rest.size();
    if (in_ != nullptr && !at_end_) {
        // Up to the last line end; the part after it is the start of a line
        // still being read.
        const std::size_t nl = rest.rfind('\n');
        if (nl == std::string_view::npos) fail_at(line_ + 1, too_long());
        cut = nl + 1;
    }
    pos_ += cut;
    return rest.substr(0, cut);
}

uint64_t LineScanner::lines_left() const {
    const uint64_t buffered = text_.size() - pos_;
    if (in_ == nullptr) return buffered / 2 + 1;
    const uint64_t hint = in_->size_hint();
    return hint > 0 || at_end_ ? (buffered + hint) / 2 + 1 : uint64_t(1) << 20;
}

void LineScanner::split(std::string_view line, std::vector<std::string_view> &tokens) {
    tokens.clear();
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && is_space(line[i])) ++i;
        const std::size_t start = i;
        while (i < line.size() && !is_space(line[i])) ++i;
        if (i > start) tokens.push_back(line.substr(start, i - start));
    }
}

// ---------------------------------------------------------------------------
// Tokens
// ---------------------------------------------------------------------------

std::string quoted(std::string_view token) {
    std::string out = "'";
    for (char c : token.substr(0, 40)) out += (c >= 32 && c < 127) ? c : '?';
    if (token.size() > 40) out += "...";
    return out + "'";
}

const char *format_name(Format f) {
    switch (f) {
        case Format::qubo: return "qubo";
        case Format::matrix: return "matrix";
        case Format::gset: return "gset";
    }
    return "?";
}

std::optional<Format> parse_format(std::string_view name) {
    if (name == "qubo") return Format::qubo;
    if (name == "matrix") return Format::matrix;
    if (name == "gset") return Format::gset;
    return std::nullopt;
}

uint64_t parse_count(const LineScanner &s, std::string_view token, uint64_t max, const char *what) {
    uint64_t v = 0;
    const auto res = std::from_chars(token.data(), token.data() + token.size(), v);
    const bool digits_only = !token.empty() && is_digit(token[0]);
    if (!digits_only || res.ec == std::errc::invalid_argument || res.ptr != token.data() + token.size()) {
        s.fail(quoted(token) + " is not a " + what);
    }
    if (res.ec == std::errc::result_out_of_range || v > max) {
        s.fail(std::string(what) + " " + quoted(token) + " is larger than " + std::to_string(max));
    }
    return v;
}

uint32_t parse_index(const LineScanner &s, std::string_view token, uint64_t n, unsigned base) {
    uint64_t v = 0;
    const auto res = std::from_chars(token.data(), token.data() + token.size(), v);
    if (token.empty() || !is_digit(token[0]) || res.ec == std::errc::invalid_argument ||
        res.ptr != token.data() + token.size()) {
        s.fail(quoted(token) + " is not an index");
    }
    if (res.ec == std::errc::result_out_of_range || v < base || v - base >= n) {
        if (n == 0) s.fail("index " + std::string(token) + " given, but the header announces no variables");
        s.fail("index " + std::string(token.substr(0, 40)) + " out of range " + std::to_string(base) + ".." +
               std::to_string(n - 1 + base));
    }
    return static_cast<uint32_t>(v - base);
}

Int parse_weight(const LineScanner &s, std::string_view token, const char *what) {
    const char *begin = token.data();
    const char *end = begin + token.size();
    // The common case: a plain decimal integer of 64 bits.
    {
        int64_t v = 0;
        const char *from = begin != end && *begin == '+' ? begin + 1 : begin;
        const auto res = std::from_chars(from, end, v);
        const bool plain = from != end && (is_digit(*from) || (from == begin && *from == '-'));
        if (plain && res.ec == std::errc() && res.ptr == end) return Int(v);
    }
    std::size_t k = 0;
    const bool negative = k < token.size() && token[k] == '-';
    if (k < token.size() && (token[k] == '-' || token[k] == '+')) ++k;
    const std::size_t int_start = k;
    while (k < token.size() && is_digit(token[k])) ++k;
    std::string digits(token.substr(int_start, k - int_start));
    std::size_t fraction_digits = 0;
    if (k < token.size() && token[k] == '.') {
        const std::size_t frac_start = ++k;
        while (k < token.size() && is_digit(token[k])) ++k;
        fraction_digits = k - frac_start;
        digits.append(token.substr(frac_start, fraction_digits));
    }
    if (digits.empty()) s.fail(quoted(token) + " is not a number");
    int64_t exponent = 0;
    if (k < token.size() && (token[k] == 'e' || token[k] == 'E')) {
        ++k;
        const char *from = begin + k;
        const char *sign = from;
        if (from != end && *from == '+') ++from;
        const auto res = std::from_chars(from, end, exponent);
        if (res.ec == std::errc::invalid_argument || from == end || !(is_digit(*from) || (from == sign && *from == '-'))) {
            s.fail(quoted(token) + " is not a number");
        }
        if (res.ec == std::errc::result_out_of_range) exponent = *from == '-' ? INT64_MIN / 2 : INT64_MAX / 2;
        k = static_cast<std::size_t>(res.ptr - begin);
    }
    if (k != token.size()) s.fail(quoted(token) + " is not a number");

    // The value is digits * 10^shift; an integer when the digits cut off by
    // a negative shift are all zeros.
    const std::size_t first = digits.find_first_not_of('0');
    if (first == std::string::npos) return Int(0);
    digits.erase(0, first);
    const int64_t shift = exponent - static_cast<int64_t>(fraction_digits);
    if (shift < 0) {
        const uint64_t cut = static_cast<uint64_t>(-shift);
        const std::size_t last = digits.find_last_not_of('0');
        if (cut > digits.size() - 1 - last) {
            s.fail(what + (" " + quoted(token)) + " is not an integer; coefficients are exact integers");
        }
        digits.resize(digits.size() - cut);
    } else if (shift > 0) {
        if (static_cast<uint64_t>(shift) > kMaxWeightDigits - std::min(digits.size(), kMaxWeightDigits)) {
            s.fail(what + (" " + quoted(token)) + " has more than " + std::to_string(kMaxWeightDigits) + " digits");
        }
        digits.append(static_cast<std::size_t>(shift), '0');
    }
    if (digits.size() > kMaxWeightDigits) {
        s.fail(what + (" " + quoted(token)) + " has more than " + std::to_string(kMaxWeightDigits) + " digits");
    }
    return Int((negative ? "-" : "") + digits);
}

}  // namespace vexa::cli
