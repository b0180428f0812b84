#include "prepared_model.hpp"

#include "word_fit.hpp"

namespace vexa::mod {

std::shared_ptr<const PreparedModel> prepare_model(std::string_view tag, const ModelArrays &arrays) {
    auto p = std::make_shared<PreparedModel>();
    p->canon = canonicalize(tag, arrays);
    p->machine_word = fits_machine_word(p->canon);
    if (p->machine_word) {
        p->words = std::make_unique<FlipModel<int64_t>>(compile_flip_model<int64_t>(p->canon));
    } else {
        p->exact = std::make_unique<FlipModel<coeff_t>>(compile_flip_model<coeff_t>(p->canon));
    }
    return p;
}

}  // namespace vexa::mod
