#include "energy_record.hpp"

#include <cstdlib>
#include <new>

namespace vexa::mod {

coeff_t record_to_coeff(const vexa_bigint *rec) {
    coeff_t result = 0;
    if (rec->sign == 0 || rec->nlimbs == 0) return result;
    for (uint32_t i = rec->nlimbs; i-- > 0;) {
        result <<= 64;
        result += rec->limbs[i];
    }
    if (rec->sign < 0) result = -result;
    return result;
}

void coeff_to_out_record(const coeff_t &value, vexa_bigint *out) {
    vexa_bigint local{0, 0, nullptr};
    if (value != 0) {
        coeff_t mag = abs(value);
        const uint32_t n = static_cast<uint32_t>(boost::multiprecision::msb(mag) / 64 + 1);
        auto *block = static_cast<uint64_t *>(std::malloc(n * sizeof(uint64_t)));
        if (block == nullptr) throw std::bad_alloc();
        for (uint32_t i = 0; i < n; ++i) {
            block[i] = static_cast<uint64_t>(mag & 0xFFFFFFFFFFFFFFFFull);
            mag >>= 64;
        }
        local = {value < 0 ? -1 : 1, n, block};
    }
    std::free(out->limbs);
    *out = local;
}

}  // namespace vexa::mod
