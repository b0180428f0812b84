// The tool's answer, as text for people or as one JSON document.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "readers/problem.hpp"
#include "vexa/vexa.hpp"

namespace vexa::cli {

struct Outcome {
    struct Solution {
        Int energy;
        double tts = -1.0;
        std::vector<int> assignment;  // one value per file variable, in file order
    };

    std::string file;
    Format format = Format::qubo;
    uint64_t variables = 0;  // as the header announces
    uint64_t entries = 0;
    unsigned index_base = 0;
    std::string solver;
    Solution best;
    std::vector<Solution> topk;
    std::vector<std::pair<std::string, std::string>> info;
    bool stopped_early = false;  // the time limit ended an exhaustive search before it was complete
};

// The objective in the file's sense: the maximum of f, or the cut.
Int objective_of(const Int &energy);

std::string text_report(const Outcome &o);
// Exact integers (energies, objectives) are JSON numbers with all their
// digits, however many; info values that read as numbers are numbers.
std::string json_report(const Outcome &o);

// The answer for an LP file: the objective in the file's sense (the energy
// for Minimize, its negation for Maximize) and the value of every variable
// by name, in the order the file names them.
struct LpOutcome {
    std::string file;
    bool maximize = false;
    uint64_t rows = 0;
    std::string solver;
    Int energy;
    double tts = -1.0;
    std::vector<std::string> names;
    std::vector<Int> values;
    uint64_t violated = 0;  // rows the solution does not meet
    std::vector<std::pair<std::string, std::string>> info;
    bool stopped_early = false;
};

std::string lp_text_report(const LpOutcome &o);
std::string lp_json_report(const LpOutcome &o);

// Whether text is a JSON number as it stands (no sign "+", no leading zeros).
bool json_number_text(std::string_view text);

}  // namespace vexa::cli
