// Builds a model from coefficient and index arrays through the C++ bulk path
// (TermList, Expr::from_terms, Model::from), as a user program would, and
// prints the best of several timings. The arrays come from a file written by
// bench/python/bulk_model.py, so that both sides build the same model.
//
//   vexa_bench_bulk_model FILE [REPEATS]
// FILE: int64 n, int64 m, then m int64 coefficients, m rows, m cols.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "vexa/vexa.hpp"

int main(int argc, char **argv) {
    if (argc < 2) {
        std::cerr << "usage: vexa_bench_bulk_model FILE [REPEATS]\n";
        return 2;
    }
    const int repeats = argc > 2 ? std::stoi(argv[2]) : 3;
    std::ifstream in(argv[1], std::ios::binary);
    int64_t n = 0, m = 0;
    in.read(reinterpret_cast<char *>(&n), 8);
    in.read(reinterpret_cast<char *>(&m), 8);
    if (!in || n <= 0 || m < 0) {
        std::cerr << argv[1] << ": bad header\n";
        return 2;
    }
    std::vector<int64_t> coeffs(m), rows(m), cols(m);
    in.read(reinterpret_cast<char *>(coeffs.data()), 8 * m);
    in.read(reinterpret_cast<char *>(rows.data()), 8 * m);
    in.read(reinterpret_cast<char *>(cols.data()), 8 * m);
    if (!in) {
        std::cerr << argv[1] << ": short file\n";
        return 2;
    }
    double best = 1e300;
    uint64_t terms = 0;
    for (int r = 0; r < repeats; ++r) {
        const auto t0 = std::chrono::steady_clock::now();
        const vexa::Vars x("x", static_cast<uint64_t>(n));
        vexa::TermList list;
        list.reserve(static_cast<std::size_t>(m));
        for (int64_t k = 0; k < m; ++k) {
            if (rows[k] == cols[k]) {
                list.add(coeffs[k], x[rows[k]]);
            } else {
                list.add(coeffs[k], x[rows[k]], x[cols[k]]);
            }
        }
        const vexa::Model model = vexa::Model::from(vexa::Expr::from_terms(list));
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        best = std::min(best, s);
        terms = model.term_count(1) + model.term_count(2);
    }
    std::printf("%.6f %llu\n", best, static_cast<unsigned long long>(terms));
    return 0;
}
