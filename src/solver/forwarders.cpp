#include "solver/forwarders.hpp"

#include "core/bigint.hpp"
#include "model/sol.hpp"

namespace vexa {

double forward_progress(const CallbackTarget &target, const vexa_bigint *energy, const uint64_t *bits,
                        const void *ints, uint64_t int_count, uint32_t event, double tts) {
    if (target.callback == nullptr) return -1.0;
    auto s = std::make_unique<Sol>();
    s->model = target.model;
    s->scale = target.model->scale;
    if (bits != nullptr) s->bits.assign(bits, bits + word_count(target.model->var_count()));
    if (ints != nullptr) {
        const auto *values = static_cast<const coeff_t *>(ints);
        s->int_vals.assign(values, values + int_count);
    }
    s->energy = coeff_from_record(energy);
    s->energy_valid = true;
    s->tts = tts;
    return target.callback(target.ctx, s.release(), event);
}

}  // namespace vexa
