// Per-instance rows and per-group summaries of a benchmark run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct Row {
    std::string name;
    std::string group;  // bqp50, bqp100, bqp250, bqp500, gset
    uint32_t vars = 0;
    int64_t energy = 0;
    int64_t best_known = 0;
    double gap_percent = 0.0;  // (energy - best known) / |best known| * 100
    double tts = 0.0;
    double wall = 0.0;
    uint64_t seed = 0;
    std::string arithmetic;
};

std::string group_of(const std::string &instance_name);

void print_header();
void print_row(const Row &r);
void print_summary(const std::vector<Row> &rows);

}  // namespace bench
