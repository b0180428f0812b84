#include "report.hpp"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "problem_expr.hpp"

namespace vexa::cli {

namespace {

using Json = nlohmann::ordered_json;

// Exact integers go out as JSON numbers while they fit 64 bits, else as
// decimal text, so that no reader rounds them.
Json json_int(const Int &v) {
    if (v.fits_int64()) return v.to_int64();
    return v.str();
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

}  // namespace

Int objective_of(const Int &energy) { return -energy; }

std::string text_report(const Outcome &o) {
    std::string out;
    auto row = [&](const std::string &key, const std::string &value) {
        out += key;
        out += std::string(key.size() < 12 ? 12 - key.size() : 1, ' ');
        out += value + "\n";
    };
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
    out += "info\n";
    for (const auto &[k, v] : o.info) out += "  " + k + " = " + v + "\n";
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
    for (const auto &[k, v] : o.info) info[k] = v;
    j["info"] = std::move(info);
    return j.dump(2) + "\n";
}

}  // namespace vexa::cli
