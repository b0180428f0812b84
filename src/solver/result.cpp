#include "solver/result.hpp"

#include <cstdio>
#include <cstdlib>
#include <new>

#include "core/bigint.hpp"
#include "sysinfo/probes.hpp"

namespace vexa {

std::string seconds_text(double seconds) {
    char text[64];
    std::snprintf(text, sizeof(text), "%f", seconds);
    return text;
}

namespace {
template <class T>
T *zeroed(size_t n) {
    void *p = std::calloc(n == 0 ? 1 : n, sizeof(T));
    if (p == nullptr) throw std::bad_alloc();
    return static_cast<T *>(p);
}
}  // namespace

ModuleSolutionBox::ModuleSolutionBox(uint32_t bin_count) {
    sol_.var_count = zeroed<uint32_t>(1);
    sol_.word_count = zeroed<uint32_t>(1);
    sol_.energy = zeroed<vexa_bigint>(1);
    *sol_.var_count = bin_count;
    *sol_.word_count = static_cast<uint32_t>((static_cast<uint64_t>(bin_count) + 63) / 64);
    sol_.bits = zeroed<uint64_t>(*sol_.word_count);
    sol_.tts = zeroed<double>(1);
}

ModuleSolutionBox::~ModuleSolutionBox() {
    std::free(sol_.energy->limbs);
    std::free(sol_.energy);
    std::free(sol_.bits);
    std::free(sol_.tts);
    std::free(sol_.word_count);
    std::free(sol_.var_count);
}

coeff_t ModuleSolutionBox::energy() const { return coeff_from_record(sol_.energy); }

std::vector<uint64_t> ModuleSolutionBox::bits() const {
    return std::vector<uint64_t>(sol_.bits, sol_.bits + *sol_.word_count);
}

TessixSolutionBox::TessixSolutionBox(uint32_t bin_count) {
    sol_.word_count = static_cast<uint32_t>((static_cast<uint64_t>(bin_count) + 63) / 64);
    sol_.bits = zeroed<uint64_t>(sol_.word_count);
}

TessixSolutionBox::~TessixSolutionBox() {
    std::free(sol_.energy.limbs);
    std::free(sol_.bits);
    if (sol_.info != nullptr) {
        for (vexa_info_pair *p = sol_.info; p->key != nullptr; ++p) {
            std::free(p->key);
            std::free(p->value);
        }
        std::free(sol_.info);
    }
}

coeff_t TessixSolutionBox::energy() const { return coeff_from_record(&sol_.energy); }

void TessixSolutionBox::append_info(nimba_solver_result &r) const {
    if (sol_.info == nullptr) return;
    for (const vexa_info_pair *p = sol_.info; p->key != nullptr; ++p) {
        r.info.emplace_back(p->key, p->value != nullptr ? p->value : "");
    }
}

void add_machine_pairs(nimba_solver_result &r) { add_machine_info(r.info); }

}  // namespace vexa
