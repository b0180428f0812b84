#include <algorithm>

#include "readers/parallel_parts.hpp"
#include "readers/readers.hpp"
#include "readers/text.hpp"

namespace vexa::cli {

namespace {

bool qubo_comment(const std::vector<std::string_view> &tokens) { return tokens[0][0] == 'c'; }

// Blocks of the body handed to the parts at once, and the least share of a
// block worth a thread of its own.
constexpr std::size_t kBlockBytes = std::size_t(16) << 20;
constexpr std::size_t kPartBytes = std::size_t(1) << 20;

// What one part made of its lines: entries in file order, the counts for
// the header's check, the lines it held, or the first fault in them.
struct BodyPart {
    std::string_view text;
    HugeVector<Entry> entries;
    uint64_t nodes = 0, links = 0, lines = 0;
    bool failed = false;
    uint64_t fault_line = 0;  // counted from the part's start
    std::string fault;
};

void parse_body(BodyPart &part, const std::string &file, uint64_t n) {
    LineScanner s(part.text, file);
    std::vector<std::string_view> tok;
    try {
        while (s.next(tok, qubo_comment)) {
            if (tok[0] == "p") s.fail("a second header line");
            if (tok.size() != 3) s.fail("expected 'i j w', found " + std::to_string(tok.size()) + " fields");
            const uint32_t i = parse_index(s, tok[0], n, 0);
            const uint32_t j = parse_index(s, tok[1], n, 0);
            part.entries.push_back(Entry{i, j, parse_weight(s, tok[2])});
            ++(i == j ? part.nodes : part.links);
        }
    } catch (const ReadError &e) {
        part.failed = true;
        part.fault_line = e.line();
        part.fault = e.message();
    }
    part.lines = s.line();
}

// `block` cut at line ends into `parts` pieces of about equal size; the
// parts' entry arrays are kept from block to block.
void cut_block(std::string_view block, uint32_t parts, std::vector<BodyPart> &out) {
    if (out.size() < parts) out.resize(parts);
    for (uint32_t k = 0; k < parts; ++k) {
        out[k].entries.clear();
        out[k].nodes = out[k].links = out[k].lines = 0;
    }
    std::size_t begin = 0;
    for (uint32_t k = 0; k < parts; ++k) {
        std::size_t end = k + 1 == parts ? block.size() : std::max(begin, block.size() * (k + 1) / parts);
        if (end < block.size()) {
            const std::size_t nl = block.find('\n', end == 0 ? 0 : end - 1);
            end = nl == std::string_view::npos ? block.size() : nl + 1;
        }
        out[k].text = block.substr(begin, end - begin);
        begin = end;
    }
}

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
    std::vector<BodyPart> parts;
    // The body, block by block; a big block is parsed by several threads,
    // each over its own lines, and their entries joined in file order.
    for (std::string_view block = s.take_lines(kBlockBytes); !block.empty(); block = s.take_lines(kBlockBytes)) {
        const uint32_t count = block.size() < 2 * kPartBytes
                                   ? 1u
                                   : std::min<uint32_t>(part_count(block.size(), 0),
                                                        static_cast<uint32_t>(block.size() / kPartBytes));
        cut_block(block, count, parts);
        run_parts(count, [&](uint32_t k) { parse_body(parts[k], s.file(), p.n); });
        for (uint32_t k = 0; k < count; ++k) {
            BodyPart &part = parts[k];
            if (part.failed) s.fail_at(s.line() + part.fault_line, part.fault);
            s.skip_lines(part.lines);
            seen_nodes += part.nodes;
            seen_links += part.links;
            if (p.entries.empty() && p.entries.capacity() < part.entries.size()) p.entries.reserve(part.entries.size());
            p.entries.insert(p.entries.end(), std::make_move_iterator(part.entries.begin()),
                             std::make_move_iterator(part.entries.end()));
        }
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
