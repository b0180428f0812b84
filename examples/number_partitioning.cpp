// Number partitioning: split numbers into two sets of equal sum. With a spin
// s_i = 2 x_i - 1 per number, the squared difference (sum a_i s_i)^2 is 0
// exactly for a perfect split.
#include <cstdint>
#include <iostream>
#include <vector>

#include "vexa/vexa.hpp"

int main() {
    const std::vector<int64_t> numbers = {25, 7, 13, 31, 42, 17, 21, 10, 3, 56, 8, 19};
    const vexa::Vars x("x", numbers.size());

    vexa::Expr difference;
    for (uint64_t i = 0; i < numbers.size(); ++i) difference += numbers[i] * (2 * x[i] - 1);
    const vexa::Model model = vexa::Model::from(vexa::sqr(std::move(difference)));

    const vexa::Result r = vexa::NimbaSolver(model).search({.time_limit = 1.0, .seed = 7, .target_energy = 0});
    int64_t left = 0, right = 0;
    std::cout << "set A:";
    for (uint64_t i = 0; i < numbers.size(); ++i) {
        if (r(x[i]) == 1) {
            left += numbers[i];
            std::cout << " " << numbers[i];
        } else {
            right += numbers[i];
        }
    }
    std::cout << "\nset B:";
    for (uint64_t i = 0; i < numbers.size(); ++i) {
        if (r(x[i]) == 0) std::cout << " " << numbers[i];
    }
    std::cout << "\nsums " << left << " and " << right << ", energy " << r.energy() << " (the squared difference)\n";
    return r.energy() == (left - right) * (left - right) ? 0 : 1;
}
