#include "core/bigint.hpp"

#include <cstdlib>
#include <new>

namespace vexa {

coeff_t coeff_from_record(const vexa_bigint *rec) {
    if (rec->sign == 0 || rec->nlimbs == 0) return coeff_t(0);
    coeff_t result;
    if (rec->nlimbs == 1) {
        result = rec->limbs[0];
    } else {
        boost::multiprecision::import_bits(result, rec->limbs, rec->limbs + rec->nlimbs, 64, false);
    }
    if (rec->sign < 0) result = -result;
    return result;
}

void coeff_to_record(const coeff_t &value, vexa_bigint *out) {
    vexa_bigint local{0, 0, nullptr};
    const int s = value.sign();
    if (s != 0) {
        const auto &backend = value.backend();
        // The magnitude's limbs are 64 bits wide on this platform.
        static_assert(sizeof(*backend.limbs()) == sizeof(uint64_t));
        uint32_t n = static_cast<uint32_t>(backend.size());
        while (n > 1 && backend.limbs()[n - 1] == 0) --n;
        auto *block = static_cast<uint64_t *>(std::malloc(n * sizeof(uint64_t)));
        if (block == nullptr) throw std::bad_alloc();
        for (uint32_t i = 0; i < n; ++i) block[i] = backend.limbs()[i];
        local = {s < 0 ? -1 : 1, n, block};
    }
    std::free(out->limbs);
    *out = local;
}

}  // namespace vexa
