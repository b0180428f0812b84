#include "report.hpp"

#include <cstdio>
#include <random>
#include <nlohmann/json.hpp>

#include "problem_expr.hpp"

namespace vexa::cli {

namespace {

using Json = nlohmann::ordered_json;

// Numbers whose text must reach the document unchanged (integers wider
// than 64 bits, info values) are stored as strings behind a mark, and the
// quoted string is replaced by the bare text once the document is written.
// The mark starts with a control character and holds a per-process random
// word, so no file name or info text can pass for it.
const std::string &raw_mark() {
    static const std::string mark = [] {
        std::random_device rd;
        char word[32];
        std::snprintf(word, sizeof word, "%08x%08x", rd(), rd());
        return "\x01raw" + std::string(word) + ":";
    }();
    return mark;
}

Json raw_number(const std::string &text) { return raw_mark() + text; }

Json json_int(const Int &v) {
    if (v.fits_int64()) return v.to_int64();
    return raw_number(v.str());
}

// The document with every marked string replaced by its bare text.
std::string unmark(std::string doc) {
    // The writer escapes the control character as \u0001.
    const std::string quoted_mark = "\"\\u0001" + raw_mark().substr(1);
    std::string out;
    out.reserve(doc.size());
    std::size_t from = 0;
    for (;;) {
        const std::size_t at = doc.find(quoted_mark, from);
        if (at == std::string::npos) break;
        const std::size_t end = doc.find('"', at + quoted_mark.size());
        out.append(doc, from, at - from);
        out.append(doc, at + quoted_mark.size(), end - at - quoted_mark.size());
        from = end + 1;
    }
    out.append(doc, from, std::string::npos);
    return out;
}

std::string digits(const std::vector<int> &values) {
    std::string s;
    s.reserve(values.size());
    for (int v : values) s += static_cast<char>('0' + v);
    return s;
}

std::string seconds(double t) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6f", t);
    return buf;
}

// One "key   value" line of a text report, keys padded to a column.
void append_row(std::string &out, const std::string &key, const std::string &value) {
    out += key;
    out += std::string(key.size() < 12 ? 12 - key.size() : 1, ' ');
    out += value + "\n";
}

// The lines every text report ends with: an early stop, then the search's info.
void append_closing(std::string &out, bool stopped_early, const std::vector<std::pair<std::string, std::string>> &info) {
    if (stopped_early) append_row(out, "stopped", "at the time limit, before every assignment was visited");
    out += "info\n";
    for (const auto &[k, v] : info) out += "  " + k + " = " + v + "\n";
}

}  // namespace

Int objective_of(const Int &energy) { return -energy; }

bool json_number_text(std::string_view t) {
    std::size_t k = 0;
    auto digits = [&] {
        const std::size_t start = k;
        while (k < t.size() && t[k] >= '0' && t[k] <= '9') ++k;
        return k - start;
    };
    if (k < t.size() && t[k] == '-') ++k;
    const std::size_t int_start = k;
    const std::size_t n = digits();
    if (n == 0 || (n > 1 && t[int_start] == '0')) return false;
    if (k < t.size() && t[k] == '.') {
        ++k;
        if (digits() == 0) return false;
    }
    if (k < t.size() && (t[k] == 'e' || t[k] == 'E')) {
        ++k;
        if (k < t.size() && (t[k] == '+' || t[k] == '-')) ++k;
        if (digits() == 0) return false;
    }
    return k == t.size();
}

std::string text_report(const Outcome &o) {
    std::string out;
    auto row = [&](const std::string &key, const std::string &value) { append_row(out, key, value); };
    row("file", o.file);
    row("format", std::string(format_name(o.format)) + (o.format == Format::gset ? " (Max-Cut, maximise the cut)"
                                                                                 : " (maximise f)"));
    row("variables", std::to_string(o.variables));
    row("entries", std::to_string(o.entries));
    row("solver", o.solver);
    row("energy", o.best.energy.str());
    row(objective_name(o.format), objective_of(o.best.energy).str());
    row("tts", seconds(o.best.tts) + " s");
    if (o.variables > 0) {
        row("assignment", digits(o.best.assignment) + "  (x" + std::to_string(o.index_base) + " .. x" +
                              std::to_string(o.variables - 1 + o.index_base) + ")");
    } else {
        row("assignment", "(no variables)");
    }
    if (!o.topk.empty()) {
        out += "solutions\n";
        for (const auto &s : o.topk) {
            out += "  energy " + s.energy.str() + "  tts " + seconds(s.tts) + " s  " + digits(s.assignment) + "\n";
        }
    }
    append_closing(out, o.stopped_early, o.info);
    return out;
}

std::string json_report(const Outcome &o) {
    Json j;
    j["file"] = o.file;
    j["format"] = format_name(o.format);
    j["variables"] = o.variables;
    j["entries"] = o.entries;
    j["index_base"] = o.index_base;
    j["solver"] = o.solver;
    j["energy"] = json_int(o.best.energy);
    j["objective"] = {{"name", objective_name(o.format)}, {"value", json_int(objective_of(o.best.energy))}};
    j["tts"] = o.best.tts;
    j["assignment"] = o.best.assignment;
    Json sols = Json::array();
    for (const auto &s : o.topk) {
        sols.push_back({{"energy", json_int(s.energy)}, {"tts", s.tts}, {"assignment", s.assignment}});
    }
    j["solutions"] = std::move(sols);
    Json info = Json::object();
    for (const auto &[k, v] : o.info) info[k] = json_number_text(v) ? raw_number(v) : Json(v);
    j["info"] = std::move(info);
    j["stopped_early"] = o.stopped_early;
    return unmark(j.dump(2)) + "\n";
}

namespace {
Int lp_objective(const LpOutcome &o) { return o.maximize ? -o.energy : o.energy; }
}  // namespace

std::string lp_text_report(const LpOutcome &o) {
    std::string out;
    auto row = [&](const std::string &key, const std::string &value) { append_row(out, key, value); };
    row("file", o.file);
    row("format", std::string("lp (") + (o.maximize ? "maximise" : "minimise") + " the objective)");
    row("variables", std::to_string(o.names.size()));
    row("rows", std::to_string(o.rows));
    row("solver", o.solver);
    row("energy", o.energy.str());
    row("objective", lp_objective(o).str());
    row("violated", std::to_string(o.violated) + " rows");
    row("tts", seconds(o.tts) + " s");
    out += "values\n";
    for (std::size_t k = 0; k < o.names.size(); ++k) out += "  " + o.names[k] + " = " + o.values[k].str() + "\n";
    append_closing(out, o.stopped_early, o.info);
    return out;
}

std::string lp_json_report(const LpOutcome &o) {
    Json j;
    j["file"] = o.file;
    j["format"] = "lp";
    j["sense"] = o.maximize ? "maximize" : "minimize";
    j["variables"] = o.names.size();
    j["rows"] = o.rows;
    j["solver"] = o.solver;
    j["energy"] = json_int(o.energy);
    j["objective"] = json_int(lp_objective(o));
    j["violated_rows"] = o.violated;
    j["tts"] = o.tts;
    Json values = Json::object();
    for (std::size_t k = 0; k < o.names.size(); ++k) values[o.names[k]] = json_int(o.values[k]);
    j["values"] = std::move(values);
    Json info = Json::object();
    for (const auto &[k, v] : o.info) info[k] = json_number_text(v) ? raw_number(v) : Json(v);
    j["info"] = std::move(info);
    j["stopped_early"] = o.stopped_early;
    return unmark(j.dump(2)) + "\n";
}

}  // namespace vexa::cli
