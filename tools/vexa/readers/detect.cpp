#include <algorithm>
#include <cctype>

#include "readers/readers.hpp"
#include "readers/text.hpp"

namespace vexa::cli {

namespace {

std::string lower(std::string_view s) {
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

bool ends_with(const std::string &s, std::string_view suffix) {
    return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// "G1", "G43.txt": the names of the G-set graphs.
bool gset_name(std::string_view base) {
    if (base.size() < 2 || base[0] != 'G') return false;
    std::size_t k = 1;
    while (k < base.size() && base[k] >= '0' && base[k] <= '9') ++k;
    return k > 1 && (k == base.size() || base.substr(k) == ".txt");
}

bool first_is_comment(const std::vector<std::string_view> &tokens) {
    return hash_comment(tokens) || tokens[0] == "c";
}

}  // namespace

Format detect_format(std::string_view text, const std::string &path) {
    LineScanner s(text, path);
    std::vector<std::string_view> tok;
    const bool any = s.next(tok, first_is_comment);
    if (any && (tok[0] == "p" || tok[0][0] == 'c')) return Format::qubo;
    const bool single_number = any && tok.size() == 1;
    const std::size_t slash = path.find_last_of('/');
    const std::string_view base = std::string_view(path).substr(slash == std::string::npos ? 0 : slash + 1);
    const std::string name = lower(base);
    if (ends_with(name, ".qubo")) return Format::qubo;
    if (ends_with(name, ".gset") || ends_with(name, ".mc") || gset_name(base)) return Format::gset;
    if (ends_with(name, ".mat") || ends_with(name, ".bqp") || ends_with(name, ".mqlib")) return Format::matrix;
    if (single_number) return Format::matrix;  // the problem count of a Beasley collection
    // Past the header line: an edge list has no loops, a matrix usually has a diagonal.
    while (s.next(tok, hash_comment)) {
        if (tok.size() >= 2 && tok[0] == tok[1]) return Format::matrix;
    }
    throw ReadError(path, 0, "cannot tell the format from the file; give --format qubo, matrix or gset");
}

}  // namespace vexa::cli
