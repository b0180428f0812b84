#include <algorithm>

#include "readers/readers.hpp"
#include "readers/text.hpp"

namespace vexa::cli {

namespace {
bool qubo_comment(const std::vector<std::string_view> &tokens) { return tokens[0][0] == 'c'; }
}  // namespace

Problem read_qubo(LineScanner &s) {
    std::vector<std::string_view> tok;
    if (!s.next(tok, qubo_comment)) s.fail("no header line 'p qubo 0 maxNodes nNodes nLinks'");
    if (tok[0] != "p" || tok.size() != 6 || tok[1] != "qubo") {
        s.fail("expected the header 'p qubo 0 maxNodes nNodes nLinks', found " + quoted(tok[0]) +
               (tok.size() > 1 ? " ..." : ""));
    }
    Problem p;
    p.format = Format::qubo;
    p.index_base = 0;
    const uint64_t header_line = s.line();
    p.n = parse_count(s, tok[3], kMaxVariables, "variable count");
    const uint64_t nodes = parse_count(s, tok[4], UINT64_MAX, "count of diagonal entries");
    const uint64_t links = parse_count(s, tok[5], UINT64_MAX, "count of off-diagonal entries");
    const uint64_t announced = nodes + links < nodes ? UINT64_MAX : nodes + links;
    p.entries.reserve(std::min(announced, s.lines_left()));
    uint64_t seen_nodes = 0, seen_links = 0;
    while (s.next(tok, qubo_comment)) {
        if (tok[0] == "p") s.fail("a second header line");
        if (tok.size() != 3) s.fail("expected 'i j w', found " + std::to_string(tok.size()) + " fields");
        const uint32_t i = parse_index(s, tok[0], p.n, 0);
        const uint32_t j = parse_index(s, tok[1], p.n, 0);
        p.entries.push_back(Entry{i, j, parse_weight(s, tok[2])});
        ++(i == j ? seen_nodes : seen_links);
    }
    if (seen_nodes != nodes) {
        s.fail_at(header_line, "the header announces " + std::to_string(nodes) + " diagonal entries, the file has " +
                                   std::to_string(seen_nodes));
    }
    if (seen_links != links) {
        s.fail_at(header_line, "the header announces " + std::to_string(links) +
                                   " off-diagonal entries, the file has " + std::to_string(seen_links));
    }
    return p;
}

Problem read_qubo(std::string_view text, const std::string &file) {
    LineScanner s(text, file);
    return read_qubo(s);
}

}  // namespace vexa::cli
