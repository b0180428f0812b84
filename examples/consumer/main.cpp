// Uses the installed package: the C++ header and the shared library.
#include <iostream>

#include <vexa/vexa.hpp>

int main() {
    // Binary: (x + y - 1)^2, every assignment through a solution.
    const vexa::Var x("x"), y("y");
    const vexa::Model model = vexa::Model::from(vexa::sqr(x + y - 1));
    vexa::Sol sol(model);
    int zeros = 0;
    for (int bits = 0; bits < 4; ++bits) {
        sol.set(x, bits & 1);
        sol.set(y, bits >> 1);
        zeros += sol.comp_energy() == 0;
    }
    std::cout << "(x + y - 1)^2 = " << vexa::simplify_as_binary(vexa::sqr(x + y - 1)) << ", zero at " << zeros
              << " assignments\n";

    // Integer: the library enumerates (k - 4)^2 over k in [0, 9] itself.
    const vexa::NativeIntVar k("k", 0, 9);
    const vexa::Result r = vexa::ExhaustiveSolver(vexa::Model::from(vexa::sqr(k - 4))).search();
    std::cout << "argmin of (k - 4)^2: k=" << r(k) << "\n";
    return zeros == 2 && r(k) == 4 ? 0 : 1;
}
