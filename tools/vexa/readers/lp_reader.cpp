// CPLEX LP files, read line by line. Rows, objective terms and name lists run
// freely across lines; a section starts with its keyword at the start of a
// line. A backslash starts a comment that runs to the end of the line.
#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cctype>
#include <cstring>
#include <deque>
#include <optional>
#include <unordered_map>

#include "readers/lp.hpp"
#include "readers/readers.hpp"

namespace vexa::cli {

namespace {

using boost::multiprecision::cpp_int;

constexpr std::size_t kMaxNameBytes = 255;

enum class Section { objective_min, objective_max, rows, bounds, generals, binaries, end, eof };

enum class T { name, number, plus, minus, times, caret, slash, lbracket, rbracket, colon, sense, end };

struct Tok {
    T kind = T::end;
    std::string text;
    Int value;       // of a number
    char sense = 0;  // 'L' (<=), 'G' (>=), 'E' (=)
    uint64_t line = 0;
};

std::string lower(std::string_view s) {
    std::string out(s);
    for (char &c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

bool is_name_char(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || (c != '\0' && std::strchr("_!\"#$%&(),.;?@`'{}|~", c) != nullptr);
}

bool lp_comment(const std::vector<std::string_view> &tokens) { return tokens[0][0] == '\\'; }

std::string describe(const Tok &t) {
    if (t.kind == T::end) return "the end of the section";
    return cli::quoted(t.text);
}

// The section a line starts, and how many of its words the keyword takes.
std::optional<Section> section_of(const LineScanner &s, const std::vector<std::string_view> &words, std::size_t &used) {
    const std::string w = lower(words[0]);
    const std::string next = words.size() > 1 ? lower(words[1]) : std::string();
    used = 1;
    if (w == "minimize" || w == "minimise" || w == "minimum" || w == "min") return Section::objective_min;
    if (w == "maximize" || w == "maximise" || w == "maximum" || w == "max") return Section::objective_max;
    if ((w == "subject" && next == "to") || (w == "such" && next == "that")) {
        used = 2;
        return Section::rows;
    }
    if (w == "st" || w == "s.t." || w == "st.") return Section::rows;
    if (w == "bounds" || w == "bound") return Section::bounds;
    if ((w == "general" || w == "generals") && next == "constraints") s.fail("general constraints are not supported");
    if (w == "general" || w == "generals" || w == "gen" || w == "integer" || w == "integers") return Section::generals;
    if (w == "binary" || w == "binaries" || w == "bin") return Section::binaries;
    if (w == "semi-continuous" || w == "semicontinuous" || w == "semi" || w == "semis") {
        s.fail("semi-continuous variables (section " + cli::quoted(words[0]) + ") are not supported");
    }
    if (w == "sos" || w == "sos1" || w == "sos2") s.fail("SOS constraints (section " + cli::quoted(words[0]) + ") are not supported");
    if (w == "pwl" || w == "pwlobj" || w == "piecewise") {
        s.fail("piecewise-linear terms (section " + cli::quoted(words[0]) + ") are not supported");
    }
    if (w == "lazy" && next == "constraints") s.fail("lazy constraints are not supported");
    if (w == "user" && next == "cuts") s.fail("user cuts are not supported");
    if (w == "end") return Section::end;
    return std::nullopt;
}

// Tokens of the current section, pulled line by line from the scanner. At
// the keyword of the next section it answers T::end until enter() is called.
class Lexer {
public:
    explicit Lexer(LineScanner &s) : s_(s) {}

    const Tok &peek(std::size_t k = 0) {
        while (q_.size() <= k && fill()) {
        }
        if (k < q_.size()) return q_[k];
        end_.line = s_.line();
        return end_;
    }
    Tok take() {
        peek();
        if (q_.empty()) return end_;
        Tok t = std::move(q_.front());
        q_.pop_front();
        return t;
    }
    // Moves on to the next section; the tokens of the current one must be used up.
    Section enter() {
        while (!boundary_ && fill()) {
        }
        boundary_ = false;
        q_ = std::move(carry_);
        carry_.clear();
        return next_;
    }
    // The line where the next section starts.
    uint64_t next_line() const { return next_line_; }
    LineScanner &scanner() { return s_; }

private:
    bool fill() {
        if (boundary_) return false;
        if (!s_.next(words_, lp_comment)) {
            boundary_ = true;
            next_ = Section::eof;
            next_line_ = s_.line();
            return false;
        }
        std::size_t used = 0;
        if (const std::optional<Section> sec = section_of(s_, words_, used)) {
            boundary_ = true;
            next_ = *sec;
            next_line_ = s_.line();
            lex(used, carry_);
            return false;
        }
        lex(0, q_);
        return true;
    }

    void lex(std::size_t from, std::deque<Tok> &out) {
        const uint64_t line = s_.line();
        for (std::size_t w = from; w < words_.size(); ++w) {
            const std::string_view word = words_[w];
            std::size_t i = 0;
            while (i < word.size()) {
                const char c = word[i];
                Tok t;
                t.line = line;
                if (c == '\\') return;  // a comment to the end of the line
                if (std::isdigit(static_cast<unsigned char>(c)) ||
                    (c == '.' && i + 1 < word.size() && std::isdigit(static_cast<unsigned char>(word[i + 1])))) {
                    const std::size_t start = i;
                    while (i < word.size() && std::isdigit(static_cast<unsigned char>(word[i]))) ++i;
                    if (i < word.size() && word[i] == '.') {
                        ++i;
                        while (i < word.size() && std::isdigit(static_cast<unsigned char>(word[i]))) ++i;
                    }
                    if (i < word.size() && (word[i] == 'e' || word[i] == 'E')) {
                        std::size_t k = i + 1;
                        if (k < word.size() && (word[k] == '+' || word[k] == '-')) ++k;
                        if (k < word.size() && std::isdigit(static_cast<unsigned char>(word[k]))) {
                            while (k < word.size() && std::isdigit(static_cast<unsigned char>(word[k]))) ++k;
                            i = k;
                        }
                    }
                    t.kind = T::number;
                    t.text = std::string(word.substr(start, i - start));
                    t.value = parse_weight(s_, t.text, "coefficient");
                } else if (is_name_char(c)) {
                    const std::size_t start = i;
                    while (i < word.size() && is_name_char(word[i])) ++i;
                    if (i - start > kMaxNameBytes) {
                        s_.fail("name " + cli::quoted(word.substr(start, i - start)) + " is longer than " +
                                std::to_string(kMaxNameBytes) + " characters");
                    }
                    t.kind = T::name;
                    t.text = std::string(word.substr(start, i - start));
                } else {
                    ++i;
                    t.text = std::string(1, c);
                    switch (c) {
                        case '+': t.kind = T::plus; break;
                        case '-':
                            if (i < word.size() && word[i] == '>') s_.fail("indicator constraints are not supported");
                            t.kind = T::minus;
                            break;
                        case '*': t.kind = T::times; break;
                        case '^': t.kind = T::caret; break;
                        case '/': t.kind = T::slash; break;
                        case '[': t.kind = T::lbracket; break;
                        case ']': t.kind = T::rbracket; break;
                        case ':': t.kind = T::colon; break;
                        case '<':
                        case '>':
                        case '=':
                            t.kind = T::sense;
                            t.sense = c == '<' ? 'L' : c == '>' ? 'G' : 'E';
                            if (i < word.size() && (word[i] == '=' || (c == '=' && (word[i] == '<' || word[i] == '>')))) {
                                if (c == '=' && word[i] != '=') t.sense = word[i] == '<' ? 'L' : 'G';
                                t.text += word[i];
                                ++i;
                            }
                            if (c == '<' && i < word.size() && word[i] == '-') s_.fail("indicator constraints are not supported");
                            break;
                        default: s_.fail("unexpected character " + cli::quoted(word.substr(i - 1, 1)));
                    }
                }
                out.push_back(std::move(t));
            }
        }
    }

    LineScanner &s_;
    std::vector<std::string_view> words_;
    std::deque<Tok> q_, carry_;
    Tok end_;
    bool boundary_ = false;
    Section next_ = Section::eof;
    uint64_t next_line_ = 0;
};

// A linear expression with a constant, as read; variables may repeat.
struct Linear {
    std::vector<std::pair<uint32_t, cpp_int>> terms;
    cpp_int constant;
    bool any_var = false;
};

struct QuadEntry {
    uint32_t a, b;
    cpp_int c;
    uint64_t line;
};

// A bound value: a number, or an infinity of the given sign.
struct Value {
    cpp_int v;
    int infinite = 0;
};

class Reader {
public:
    explicit Reader(LineScanner &s) : s_(s), lx_(s) {}

    LpProblem read() {
        // The objective comes first, before any other text.
        if (lx_.peek().kind != T::end) s_.fail_at(lx_.peek().line, "expected Minimize or Maximize before anything else");
        bool seen_objective = false;
        for (;;) {
            const Section sec = lx_.enter();
            const uint64_t line = lx_.next_line();
            if (!seen_objective && sec != Section::objective_min && sec != Section::objective_max) {
                if (sec == Section::eof) s_.fail_at(line == 0 ? 1 : line, "no Minimize or Maximize section");
                s_.fail_at(line, "expected Minimize or Maximize before anything else");
            }
            switch (sec) {
                case Section::objective_min:
                case Section::objective_max:
                    if (seen_objective) s_.fail_at(line, "a second objective section");
                    seen_objective = true;
                    p_.maximize = sec == Section::objective_max;
                    objective();
                    break;
                case Section::rows: rows(); break;
                case Section::bounds: bounds(); break;
                case Section::generals: names(LpKind::integer, "Generals"); break;
                case Section::binaries: names(LpKind::binary, "Binaries"); break;
                case Section::end:
                    if (lx_.peek().kind != T::end) s_.fail_at(lx_.peek().line, "text after End");
                    if (lx_.enter() != Section::eof) s_.fail_at(lx_.next_line(), "text after End");
                    return finish();
                case Section::eof: return finish();
            }
        }
    }

private:
    uint32_t var(const Tok &t) {
        if (t.kind != T::name) s_.fail_at(t.line, "expected a variable name, found " + describe(t));
        const auto [it, inserted] = index_.try_emplace(t.text, static_cast<uint32_t>(p_.vars.size()));
        if (inserted) {
            if (p_.vars.size() >= kMaxVariables) s_.fail_at(t.line, "more than " + std::to_string(kMaxVariables) + " variables");
            LpVariable v;
            v.name = t.text;
            v.line = t.line;
            p_.vars.push_back(std::move(v));
            bound_line_.push_back(0);
        }
        return it->second;
    }

    static bool is_infinity(const Tok &t) {
        if (t.kind != T::name) return false;
        const std::string w = lower(t.text);
        return w == "inf" || w == "infinity";
    }

    // Terms until one that cannot continue the expression: a term without a
    // sign before it, a sense, a row name ("name:") or the end of the section.
    // `quad` takes the "[ ... ] / 2" parts of the objective; null in rows.
    // Without `constants`, a lone number also ends it: in "lo <= body <= hi"
    // the body holds variables only, which tells "3 >= x + y" followed by a
    // row "-2 <= z" from "3 >= x + y - 2".
    void expression(Linear &out, std::vector<QuadEntry> *quad, bool constants = true) {
        bool first = true;
        for (;;) {
            std::size_t signs = 0;
            while (lx_.peek(signs).kind == T::plus || lx_.peek(signs).kind == T::minus) ++signs;
            if (!first && signs == 0) return;
            if (!constants && lx_.peek(signs).kind == T::number) {
                const T after = lx_.peek(signs + 1).kind;
                const bool coefficient = after == T::times || (after == T::name && lx_.peek(signs + 2).kind != T::colon);
                if (!coefficient) return;
            }
            int sign = 1;
            const bool had_sign = signs > 0;
            for (; signs > 0; --signs) {
                if (lx_.take().kind == T::minus) sign = -sign;
            }
            const Tok &t = lx_.peek();
            if (t.kind == T::number) {
                cpp_int c = t.value.to_cpp_int() * sign;
                lx_.take();
                const bool times = lx_.peek().kind == T::times;
                if (times) lx_.take();
                const Tok &n = lx_.peek();
                if (n.kind == T::name && !(lx_.peek(1).kind == T::colon)) {
                    out.terms.emplace_back(var(n), std::move(c));
                    out.any_var = true;
                    lx_.take();
                } else if (n.kind == T::lbracket && quad == nullptr) {
                    s_.fail_at(n.line, "quadratic terms in rows are not supported");
                } else if (times) {
                    s_.fail_at(n.line, "expected a variable after '*', found " + describe(n));
                } else {
                    out.constant += c;
                }
            } else if (t.kind == T::name && !is_infinity(t)) {
                if (lx_.peek(1).kind == T::colon) {
                    if (had_sign) s_.fail_at(t.line, "expected a term after the sign, found the row name " + cli::quoted(t.text));
                    return;
                }
                out.terms.emplace_back(var(t), cpp_int(sign));
                out.any_var = true;
                lx_.take();
            } else if (t.kind == T::lbracket) {
                if (quad == nullptr) s_.fail_at(t.line, "quadratic terms in rows are not supported");
                if (sign < 0) s_.fail_at(t.line, "a '-' before '[' is not supported; give the signs inside the brackets");
                bracket(*quad);
            } else {
                if (had_sign) s_.fail_at(t.line, "expected a term after the sign, found " + describe(t));
                return;
            }
            first = false;
        }
    }

    // "[ a x ^ 2 + b x * y ... ] / 2", from the '['.
    void bracket(std::vector<QuadEntry> &quad) {
        const uint64_t open_line = lx_.take().line;
        bool first = true;
        for (;;) {
            if (lx_.peek().kind == T::rbracket) {
                lx_.take();
                break;
            }
            int sign = 1;
            bool had_sign = false;
            while (lx_.peek().kind == T::plus || lx_.peek().kind == T::minus) {
                if (lx_.take().kind == T::minus) sign = -sign;
                had_sign = true;
            }
            if (!first && !had_sign) {
                s_.fail_at(lx_.peek().line, "expected '+', '-' or ']' in the quadratic part, found " + describe(lx_.peek()));
            }
            first = false;
            cpp_int c = sign;
            if (lx_.peek().kind == T::number) {
                c *= lx_.take().value.to_cpp_int();
                if (lx_.peek().kind == T::times) lx_.take();
            }
            const Tok a = lx_.take();
            if (a.kind == T::end) s_.fail_at(open_line, "'[' without ']'");
            const uint32_t va = var(a);
            const Tok op = lx_.take();
            uint32_t vb = va;
            if (op.kind == T::caret) {
                const Tok two = lx_.take();
                if (two.kind != T::number || two.value != Int(2)) {
                    s_.fail_at(two.line, "only squares (x ^ 2) are supported, found the power " + describe(two));
                }
            } else if (op.kind == T::times) {
                vb = var(lx_.take());
            } else {
                s_.fail_at(op.kind == T::end ? a.line : op.line,
                           "a term inside [ ] must be a square (x ^ 2) or a product (x * y); " + cli::quoted(a.text) +
                               " stands alone");
            }
            quad.push_back(QuadEntry{std::min(va, vb), std::max(va, vb), std::move(c), a.line});
        }
        const Tok slash = lx_.take();
        const Tok two = slash.kind == T::slash ? lx_.take() : slash;
        if (slash.kind != T::slash || two.kind != T::number || two.value != Int(2)) {
            s_.fail_at(two.kind == T::end ? open_line : two.line, "the quadratic part of the objective must end in '] / 2'");
        }
    }

    // Sorts, merges and drops zeros.
    static std::vector<LpTerm> merge(std::vector<std::pair<uint32_t, cpp_int>> &terms) {
        std::stable_sort(terms.begin(), terms.end(), [](const auto &x, const auto &y) { return x.first < y.first; });
        std::vector<LpTerm> out;
        for (std::size_t k = 0; k < terms.size();) {
            cpp_int sum = 0;
            const uint32_t v = terms[k].first;
            for (; k < terms.size() && terms[k].first == v; ++k) sum += terms[k].second;
            if (sum != 0) out.push_back(LpTerm{v, v, Int(sum)});
        }
        return out;
    }

    void objective() {
        if (lx_.peek().kind == T::name && lx_.peek(1).kind == T::colon) {
            lx_.take();
            lx_.take();
        }
        Linear obj;
        std::vector<QuadEntry> quad;
        expression(obj, &quad);
        if (lx_.peek().kind != T::end) s_.fail_at(lx_.peek().line, "unexpected " + describe(lx_.peek()) + " in the objective");
        p_.linear = merge(obj.terms);
        p_.constant = Int(obj.constant);
        std::stable_sort(quad.begin(), quad.end(), [](const QuadEntry &x, const QuadEntry &y) {
            return x.a != y.a ? x.a < y.a : x.b < y.b;
        });
        for (std::size_t k = 0; k < quad.size();) {
            cpp_int sum = 0;
            const std::size_t first = k;
            for (; k < quad.size() && quad[k].a == quad[first].a && quad[k].b == quad[first].b; ++k) sum += quad[k].c;
            if (sum == 0) continue;
            const QuadEntry &q = quad[first];
            if (sum % 2 != 0) {
                const std::string what = q.a == q.b ? p_.vars[q.a].name + " ^ 2" : p_.vars[q.a].name + " * " + p_.vars[q.b].name;
                s_.fail_at(q.line, "the coefficient of " + what + " is " + sum.str() +
                                       " / 2, which is not an integer; coefficients are exact integers");
            }
            p_.quadratic.push_back(LpTerm{q.a, q.b, Int(cpp_int(sum / 2))});
        }
    }

    // A signed number after a sense.
    cpp_int constant_after_sense() {
        int sign = 1;
        while (lx_.peek().kind == T::plus || lx_.peek().kind == T::minus) {
            if (lx_.take().kind == T::minus) sign = -sign;
        }
        const Tok t = lx_.take();
        if (t.kind != T::number) s_.fail_at(t.kind == T::end ? s_.line() : t.line, "expected a number, found " + describe(t));
        return t.value.to_cpp_int() * sign;
    }

    void rows() {
        for (;;) {
            const Tok &head = lx_.peek();
            if (head.kind == T::end) return;
            LpRow row;
            row.line = head.line;
            if (head.kind == T::name && lx_.peek(1).kind == T::colon) {
                row.name = lx_.take().text;
                lx_.take();
            }
            Linear left;
            expression(left, nullptr);
            const Tok s1 = lx_.take();
            if (s1.kind != T::sense) {
                s_.fail_at(s1.kind == T::end ? row.line : s1.line, "expected <=, >= or = in the row, found " + describe(s1));
            }
            Linear middle;
            if (left.any_var) {
                middle.constant = constant_after_sense();
            } else {
                expression(middle, nullptr, false);
            }
            cpp_int lo, hi;
            bool lo_inf = false, hi_inf = false;
            if (lx_.peek().kind == T::sense) {
                // lo <= body <= hi, or hi >= body >= lo.
                const Tok s2 = lx_.take();
                if (left.any_var || !middle.any_var) s_.fail_at(s2.line, "a row with two senses needs a number at each end");
                if (s1.sense != s2.sense || s1.sense == 'E') {
                    s_.fail_at(s2.line, "the two senses of a ranged row must both be <= or both be >=");
                }
                const cpp_int far = constant_after_sense();
                const cpp_int near = left.constant - middle.constant;
                const cpp_int other = far - middle.constant;
                lo = s1.sense == 'L' ? near : other;
                hi = s1.sense == 'L' ? other : near;
                row.terms = merge(middle.terms);
            } else {
                // left - middle (sense) 0, with the variables on the left.
                char sense = s1.sense;
                if (!left.any_var && middle.any_var) {
                    std::swap(left, middle);
                    sense = sense == 'L' ? 'G' : sense == 'G' ? 'L' : 'E';
                }
                for (auto &t : middle.terms) left.terms.emplace_back(t.first, -t.second);
                const cpp_int rhs = middle.constant - left.constant;
                row.terms = merge(left.terms);
                lo = hi = rhs;
                lo_inf = sense == 'L';
                hi_inf = sense == 'G';
            }
            const std::string what = row.name.empty() ? "the row" : "row " + cli::quoted(row.name);
            if (!lo_inf && !hi_inf && lo > hi) s_.fail_at(row.line, what + " has an empty range " + lo.str() + " .. " + hi.str());
            if (row.terms.empty()) {
                // Nothing to decide: a row that holds goes, one that cannot is an error.
                if ((!lo_inf && lo > 0) || (!hi_inf && hi < 0)) s_.fail_at(row.line, what + " has no variables and can never hold");
                continue;
            }
            row.lower = Int(lo);
            row.upper = Int(hi);
            row.lower_infinite = lo_inf;
            row.upper_infinite = hi_inf;
            if (!p_.rows.empty() && join_range(p_.rows.back(), row)) continue;
            p_.rows.push_back(std::move(row));
        }
    }

    // Two-sided rows are often written as two rows "NAME_lo: body >= lo" and
    // "NAME_hi: body <= hi" one after the other; such a pair is read as the
    // one row "NAME: lo <= body <= hi".
    static bool join_range(LpRow &first, const LpRow &second) {
        auto stem = [](const std::string &name, std::string_view suffix) {
            return name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0
                       ? name.substr(0, name.size() - suffix.size())
                       : std::string();
        };
        const std::string lo = stem(first.name, "_lo");
        if (lo.empty() || lo != stem(second.name, "_hi")) return false;
        const bool sides = !first.lower_infinite && first.upper_infinite && second.lower_infinite && !second.upper_infinite;
        if (!sides || first.lower > second.upper || first.terms.size() != second.terms.size()) return false;
        for (std::size_t k = 0; k < first.terms.size(); ++k) {
            if (first.terms[k].a != second.terms[k].a || first.terms[k].c != second.terms[k].c) return false;
        }
        first.name = lo;
        first.upper = second.upper;
        first.upper_infinite = false;
        return true;
    }

    Value value() {
        int sign = 1;
        while (lx_.peek().kind == T::plus || lx_.peek().kind == T::minus) {
            if (lx_.take().kind == T::minus) sign = -sign;
        }
        const Tok t = lx_.take();
        Value v;
        if (is_infinity(t)) {
            v.infinite = sign;
        } else if (t.kind == T::number) {
            v.v = t.value.to_cpp_int() * sign;
        } else {
            s_.fail_at(t.kind == T::end ? s_.line() : t.line, "expected a bound, found " + describe(t));
        }
        return v;
    }

    // x (sense) v.
    void apply(uint32_t x, char sense, const Value &v, uint64_t line) {
        LpVariable &var = p_.vars[x];
        bound_line_[x] = line;
        if (sense != 'G') {  // an upper bound
            if (v.infinite < 0) s_.fail_at(line, "upper bound -infinity for " + cli::quoted(var.name));
            var.upper_infinite = v.infinite > 0;
            if (v.infinite == 0) var.upper = Int(v.v);
        }
        if (sense != 'L') {  // a lower bound
            if (v.infinite > 0) s_.fail_at(line, "lower bound +infinity for " + cli::quoted(var.name));
            var.lower_infinite = v.infinite < 0;
            if (v.infinite == 0) var.lower = Int(v.v);
        }
    }

    static char flipped(char sense) { return sense == 'L' ? 'G' : sense == 'G' ? 'L' : 'E'; }

    void bounds() {
        for (;;) {
            const Tok &head = lx_.peek();
            if (head.kind == T::end) return;
            const uint64_t line = head.line;
            if (head.kind == T::name && !is_infinity(head)) {
                const uint32_t x = var(lx_.take());
                const Tok t = lx_.take();
                if (t.kind == T::name && lower(t.text) == "free") {
                    bound_line_[x] = line;
                    p_.vars[x].lower_infinite = true;
                    p_.vars[x].upper_infinite = true;
                } else if (t.kind == T::sense) {
                    apply(x, t.sense, value(), line);
                } else {
                    s_.fail_at(t.kind == T::end ? line : t.line,
                               "expected <=, >=, = or 'free' after " + cli::quoted(p_.vars[x].name) + ", found " + describe(t));
                }
                continue;
            }
            // v (sense) x [(sense) w]
            const Value v = value();
            const Tok s1 = lx_.take();
            if (s1.kind != T::sense) s_.fail_at(s1.kind == T::end ? line : s1.line, "expected <=, >= or =, found " + describe(s1));
            const uint32_t x = var(lx_.take());
            apply(x, flipped(s1.sense), v, line);
            if (lx_.peek().kind == T::sense) {
                const Tok s2 = lx_.take();
                apply(x, s2.sense, value(), line);
            }
        }
    }

    void names(LpKind kind, const char *section) {
        for (;;) {
            const Tok t = lx_.take();
            if (t.kind == T::end) return;
            if (t.kind != T::name) s_.fail_at(t.line, std::string("expected a variable name in ") + section + ", found " + describe(t));
            LpVariable &v = p_.vars[var(t)];
            if (v.kind != LpKind::continuous && v.kind != kind) {
                s_.fail_at(t.line, "variable " + cli::quoted(v.name) + " is declared both binary and general integer");
            }
            v.kind = kind;
        }
    }

    LpProblem finish() {
        for (std::size_t k = 0; k < p_.vars.size(); ++k) {
            LpVariable &v = p_.vars[k];
            const uint64_t line = bound_line_[k] != 0 ? bound_line_[k] : v.line;
            const std::string name = cli::quoted(v.name);
            switch (v.kind) {
                case LpKind::continuous:
                    s_.fail_at(v.line, "continuous variable " + v.name + ": only binary and integer variables are supported");
                case LpKind::binary:
                    // The bounds narrow 0..1.
                    if (v.lower_infinite || v.lower < Int(0)) v.lower = 0;
                    if (v.upper_infinite || v.upper > Int(1)) v.upper = 1;
                    v.lower_infinite = v.upper_infinite = false;
                    break;
                case LpKind::integer:
                    if (v.lower_infinite) s_.fail_at(line, "integer variable " + name + " has no lower bound; give one in Bounds");
                    if (v.upper_infinite) s_.fail_at(line, "integer variable " + name + " has no upper bound; give one in Bounds");
                    break;
            }
            if (v.lower > v.upper) {
                s_.fail_at(line, "the bounds of " + name + " are empty: " + v.lower.str() + " > " + v.upper.str());
            }
        }
        // A side that no assignment within the bounds can reach is dropped,
        // and a row left with no side is no row.
        std::size_t kept = 0;
        for (std::size_t k = 0; k < p_.rows.size(); ++k) {
            LpRow &r = p_.rows[k];
            cpp_int least = 0, most = 0;
            for (const LpTerm &t : r.terms) {
                const cpp_int c = t.c.to_cpp_int();
                const cpp_int lo = p_.vars[t.a].lower.to_cpp_int(), hi = p_.vars[t.a].upper.to_cpp_int();
                least += c * (c > 0 ? lo : hi);
                most += c * (c > 0 ? hi : lo);
            }
            if (!r.lower_infinite && r.lower.to_cpp_int() <= least) r.lower_infinite = true;
            if (!r.upper_infinite && r.upper.to_cpp_int() >= most) r.upper_infinite = true;
            if (r.lower_infinite && r.upper_infinite) continue;
            if (kept != k) p_.rows[kept] = std::move(r);
            ++kept;
        }
        p_.rows.resize(kept);
        return std::move(p_);
    }

    LineScanner &s_;
    Lexer lx_;
    LpProblem p_;
    std::unordered_map<std::string, uint32_t> index_;
    std::vector<uint64_t> bound_line_;
};

}  // namespace

LpProblem read_lp(LineScanner &s) { return Reader(s).read(); }

LpProblem read_lp(std::string_view text, const std::string &file) {
    LineScanner s(text, file);
    return read_lp(s);
}

LpProblem read_lp(Input &in, const std::string &file) {
    LineScanner s(in, file);
    return read_lp(s);
}

bool looks_like_lp(std::string_view head, const std::string &path) {
    const std::string name = lower(path);
    if (name.size() >= 3 && name.compare(name.size() - 3, 3, ".lp") == 0) return true;
    LineScanner s(head, path);
    std::vector<std::string_view> words;
    if (!s.next(words, lp_comment)) return false;
    std::size_t used = 0;
    try {
        const std::optional<Section> sec = section_of(s, words, used);
        return sec == Section::objective_min || sec == Section::objective_max;
    } catch (const ReadError &) {
        return false;
    }
}

}  // namespace vexa::cli
