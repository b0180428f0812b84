// The two formats of the shape "n m" and m lines "i j w", 1-based.
#include <algorithm>

#include "readers/readers.hpp"
#include "readers/text.hpp"

namespace vexa::cli {

namespace {

// Reads one "n m" block whose header tokens are in `tok`; fills `p` when `keep`.
void read_block(LineScanner &s, std::vector<std::string_view> &tok, Problem &p, bool keep) {
    if (tok.size() != 2) s.fail("expected the header 'n m', found " + std::to_string(tok.size()) + " fields");
    const uint64_t header_line = s.line();
    const uint64_t n = parse_count(s, tok[0], kMaxVariables, "variable count");
    const uint64_t m = parse_count(s, tok[1], UINT64_MAX, "count of entries");
    if (keep) {
        p.n = n;
        p.index_base = 1;
        p.entries.reserve(std::min(m, s.lines_left()));
    }
    for (uint64_t k = 0; k < m; ++k) {
        if (!s.next(tok, hash_comment)) {
            s.fail_at(header_line, "the header announces " + std::to_string(m) + " entries, the file has " +
                                       std::to_string(k));
        }
        if (tok.size() != 3) {
            s.fail("expected 'i j w', found " + std::to_string(tok.size()) + " fields" +
                   (tok.size() == 2 ? " (more entries than the header announces?)" : ""));
        }
        const uint32_t i = parse_index(s, tok[0], n, 1);
        const uint32_t j = parse_index(s, tok[1], n, 1);
        Int w = parse_weight(s, tok[2]);
        if (keep) p.entries.push_back(Entry{i, j, std::move(w)});
    }
}

// A single "n m" block whose header tokens are in `tok`, then the end.
Problem read_single(LineScanner &s, std::vector<std::string_view> &tok, Format format) {
    Problem p;
    p.format = format;
    read_block(s, tok, p, true);
    if (s.next(tok, hash_comment)) s.fail("more entries than the header announces");
    return p;
}

}  // namespace

Problem read_matrix(LineScanner &s, uint64_t instance) {
    std::vector<std::string_view> tok;
    if (!s.next(tok, hash_comment)) s.fail("no header line 'n m'");
    if (tok.size() != 1) return read_single(s, tok, Format::matrix);
    // A collection: the number of problems, then the blocks.
    const uint64_t count = parse_count(s, tok[0], UINT64_MAX, "count of problems");
    const uint64_t count_line = s.line();
    if (instance < 1 || instance > count) {
        s.fail("instance " + std::to_string(instance) + " asked for, the file holds " + std::to_string(count));
    }
    Problem p;
    p.format = Format::matrix;
    p.collection = count;
    for (uint64_t b = 1; b <= count; ++b) {
        if (!s.next(tok, hash_comment)) {
            s.fail_at(count_line, "the file announces " + std::to_string(count) + " problems and holds " +
                                      std::to_string(b - 1));
        }
        read_block(s, tok, p, b == instance);
    }
    if (s.next(tok, hash_comment)) s.fail("more lines than the announced problems hold");
    return p;
}

Problem read_gset(LineScanner &s) {
    std::vector<std::string_view> tok;
    if (!s.next(tok, hash_comment)) s.fail("no header line 'n m'");
    return read_single(s, tok, Format::gset);
}

Problem read_matrix(std::string_view text, const std::string &file, uint64_t instance) {
    LineScanner s(text, file);
    return read_matrix(s, instance);
}

Problem read_gset(std::string_view text, const std::string &file) {
    LineScanner s(text, file);
    return read_gset(s);
}

namespace {
Problem read_any(LineScanner &s, Format format, uint64_t instance) {
    switch (format) {
        case Format::qubo: return read_qubo(s);
        case Format::matrix: return read_matrix(s, instance);
        case Format::gset: return read_gset(s);
    }
    s.fail_at(0, "unknown format");
}
}  // namespace

Problem read_problem(std::string_view text, const std::string &file, Format format, uint64_t instance) {
    LineScanner s(text, file);
    return read_any(s, format, instance);
}

Problem read_problem(Input &in, const std::string &file, Format format, uint64_t instance) {
    LineScanner s(in, file);
    return read_any(s, format, instance);
}

}  // namespace vexa::cli
