// Max-Cut of a G-set graph: the cut of an assignment is the weight of the
// edges whose ends differ, sum w (x_i + x_j - 2 x_i x_j). The solver minimises,
// so the energy is -cut.
//
//   vexa_example_maxcut [GRAPH] [SECONDS]     (default: examples/data/G11.txt, 2 s)
#include <cstdint>
#include <fstream>
#include <iostream>
#include <string>

#include "vexa/vexa.hpp"

int main(int argc, char **argv) {
    const std::string path = argc > 1 ? argv[1] : VEXA_EXAMPLE_DATA "/G11.txt";
    const double seconds = argc > 2 ? std::stod(argv[2]) : 2.0;
    std::ifstream in(path);
    uint64_t n = 0, m = 0;
    if (!(in >> n >> m)) {
        std::cerr << path << ": cannot read the header 'n m'\n";
        return 2;
    }
    const vexa::Vars x("x", n);
    // Many terms at once: a term list goes in with one bulk addition.
    vexa::TermList terms;
    terms.reserve(3 * m);
    for (uint64_t k = 0; k < m; ++k) {
        uint64_t i = 0, j = 0;
        int64_t w = 0;
        if (!(in >> i >> j >> w) || i < 1 || j < 1 || i > n || j > n) {
            std::cerr << path << ": bad edge " << k + 1 << "\n";
            return 2;
        }
        terms.add(-w, x[i - 1]).add(-w, x[j - 1]).add(2 * w, x[i - 1], x[j - 1]);
    }
    const vexa::Model model = vexa::Model::from(vexa::Expr::from_terms(terms));
    std::cout << path << ": " << n << " vertices, " << m << " edges\n";

    const vexa::Result r = vexa::NimbaSolver(model).search({.time_limit = seconds, .seed = 1});
    std::cout << "cut " << -r.energy() << " found after " << r.tts() << " s\n";
    std::cout << "side of vertex 1..10:";
    for (uint64_t i = 0; i < 10 && i < n; ++i) std::cout << " " << (r.has(x[i]) ? r(x[i]) : 0);
    std::cout << "\n";
    return 0;
}
