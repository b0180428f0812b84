#include "module_output.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "energy_record.hpp"

namespace vexa::mod {

void fill_module_solution(ModuleSolution *out, const coeff_t &energy, const uint64_t *bits,
                          size_t words, double tts) {
    if (out == nullptr) return;
    if (out->energy != nullptr) coeff_to_out_record(energy, out->energy);
    if (out->bits != nullptr) {
        const size_t room = out->word_count != nullptr ? *out->word_count : words;
        for (size_t w = 0; w < room; ++w) out->bits[w] = w < words ? bits[w] : 0;
    }
    if (out->tts != nullptr) *out->tts = tts;
}

ModuleList *make_module_list(SolutionList &&list) {
    if (!list.active()) return nullptr;
    auto *m = new ModuleList;
    m->entries = std::move(list.entries);
    return m;
}

uint64_t module_list_count(const void *list) {
    return list == nullptr ? 0 : static_cast<const ModuleList *>(list)->entries.size();
}

void module_list_get(const void *list, uint64_t index, ModuleSolution *out) {
    const ListEntry &e = static_cast<const ModuleList *>(list)->entries.at(index);
    fill_module_solution(out, e.energy, e.state.data(), e.state.size(), e.tts);
}

void module_list_destroy(void *list) { delete static_cast<ModuleList *>(list); }

namespace {
char *copy_text(const std::string &s) {
    char *p = static_cast<char *>(std::malloc(s.size() + 1));
    if (p == nullptr) throw std::bad_alloc();
    std::memcpy(p, s.c_str(), s.size() + 1);
    return p;
}
}  // namespace

vexa_info_pair *info_to_c(const InfoPairs &pairs) {
    auto *arr = static_cast<vexa_info_pair *>(std::malloc((pairs.size() + 1) * sizeof(vexa_info_pair)));
    if (arr == nullptr) throw std::bad_alloc();
    for (size_t i = 0; i < pairs.size(); ++i) {
        arr[i].key = copy_text(pairs[i].first);
        arr[i].value = copy_text(pairs[i].second);
    }
    arr[pairs.size()] = {nullptr, nullptr};
    return arr;
}

void info_free(vexa_info_pair *info) {
    if (info == nullptr) return;
    for (vexa_info_pair *p = info; p->key != nullptr; ++p) {
        std::free(p->key);
        std::free(p->value);
    }
    std::free(info);
}

std::string fixed_text(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%f", v);
    return buf;
}

}  // namespace vexa::mod
