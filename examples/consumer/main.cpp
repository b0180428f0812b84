// Uses the installed package: the C++ header and the shared library.
#include <iostream>

#include <vexa/vexa.hpp>

int main() {
    const vexa::Var x("x"), y("y");
    const vexa::Model model = vexa::Model::from(vexa::sqr(x + y - 1));
    vexa::Sol sol(model);
    int best = -1;
    for (int bits = 0; bits < 4; ++bits) {
        sol.set(x, bits & 1);
        sol.set(y, bits >> 1);
        if (sol.comp_energy() == 0 && best < 0) best = bits;
    }
    std::cout << "(x + y - 1)^2 = " << vexa::simplify_as_binary(vexa::sqr(x + y - 1)) << "\n";
    std::cout << "first zero at x=" << (best & 1) << " y=" << (best >> 1) << "\n";
    return best == 1 ? 0 : 1;
}
