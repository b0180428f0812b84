#include "module_client.hpp"

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

double silent_callback(void *, const vexa_bigint *, const uint64_t *, uint32_t, double) { return -1.0; }

void *symbol(void *lib, const std::string &name) {
    void *p = dlsym(lib, name.c_str());
    if (p == nullptr) {
        std::fprintf(stderr, "bench: symbol not found: %s\n", name.c_str());
        std::exit(2);
    }
    return p;
}

vexa::coeff_t from_record(const vexa_bigint &r) {
    vexa::coeff_t v = 0;
    for (uint32_t i = r.nlimbs; i-- > 0;) v = (v << 64) + r.limbs[i];
    return r.sign < 0 ? vexa::coeff_t(-v) : v;
}

}  // namespace

ModuleClient::ModuleClient(const std::string &path, Family family) : family_(family) {
    void *lib = dlopen(path.c_str(), RTLD_NOW);
    if (lib == nullptr) {
        std::fprintf(stderr, "bench: cannot load %s: %s\n", path.c_str(), dlerror());
        std::exit(2);
    }
    if (family == Family::accelerated) {
        create_ = symbol(lib, "vexa_tessix_cpu_solver_create");
        search_ = symbol(lib, "vexa_tessix_cpu_solver_search");
        destroy_ = reinterpret_cast<vexa_module_destroy_fn>(symbol(lib, "vexa_tessix_cpu_solver_destroy"));
        list_destroy_ = reinterpret_cast<vexa_sol_list_destroy_fn>(symbol(lib, "vexa_tessix_cpu_sol_list_destroy"));
        reinterpret_cast<vexa_register_callback_fn>(symbol(lib, "vexa_tessix_cpu_register_callback"))(silent_callback);
        return;
    }
    const std::string prefix = family == Family::heuristic ? "vexa_nimba_solver_" : "vexa_exhaustive_";
    create_ = symbol(lib, prefix + "create");
    search_ = symbol(lib, prefix + "search");
    destroy_ = reinterpret_cast<vexa_module_destroy_fn>(symbol(lib, prefix + "destroy"));
    get_info_ = reinterpret_cast<vexa_get_info_fn>(symbol(lib, prefix + "get_info"));
    free_info_ = reinterpret_cast<vexa_free_info_fn>(symbol(lib, prefix + "free_info"));
    list_destroy_ = reinterpret_cast<vexa_sol_list_destroy_fn>(symbol(lib, prefix + "sol_list_destroy"));
    reinterpret_cast<vexa_register_callback_fn>(symbol(lib, prefix + "register_callback"))(silent_callback);
}

ModuleRun ModuleClient::solve(const FlatModel &model, const TextPairs &params) const {
    const auto vars = model.var_lists();
    const auto coefs = model.coef_lists();
    const auto degrees = static_cast<uint32_t>(model.term_counts.size());
    if (family_ == Family::accelerated) return solve_accelerated(model, params);
    void *h;
    if (family_ == Family::heuristic) {
        h = reinterpret_cast<vexa_nimba_create_fn>(create_)(nullptr, model.var_count, degrees, &model.constant,
                                                            model.term_counts.data(), vars.data(), coefs.data());
    } else {
        h = reinterpret_cast<vexa_exhaustive_create_fn>(create_)(nullptr, model.var_count, degrees,
                                                                 &model.constant, model.term_counts.data(),
                                                                 vars.data(), coefs.data(), -1);
    }
    std::vector<vexa_param> plist;
    for (const auto &[k, v] : params) plist.push_back({k.c_str(), v.c_str()});
    plist.push_back({nullptr, nullptr});

    uint32_t var_count = model.var_count, word_count = (model.var_count + 63) / 64;
    vexa_bigint energy{0, 0, nullptr};
    std::vector<uint64_t> bits(word_count + 1, 0);
    double tts = 0.0;
    ModuleSolution sol{&var_count, &word_count, &energy, bits.data(), &tts};

    const auto t0 = std::chrono::steady_clock::now();
    void *list;
    if (family_ == Family::heuristic) {
        list = reinterpret_cast<vexa_nimba_search_fn>(search_)(h, &sol, plist.data(), nullptr);
    } else {
        list = reinterpret_cast<vexa_exhaustive_search_fn>(search_)(h, &sol, plist.data());
    }
    const auto t1 = std::chrono::steady_clock::now();
    if (list != nullptr) list_destroy_(list);

    ModuleRun run;
    run.energy = from_record(energy);
    std::free(energy.limbs);
    bits.resize(word_count);
    run.bits = std::move(bits);
    run.tts = tts;
    run.wall = std::chrono::duration<double>(t1 - t0).count();
    if (vexa_info_pair *info = get_info_(h)) {
        for (vexa_info_pair *p = info; p->key != nullptr; ++p) run.info.emplace_back(p->key, p->value);
        free_info_(info);
    }
    destroy_(h);
    return run;
}

ModuleRun ModuleClient::solve_accelerated(const FlatModel &model, const TextPairs &params) const {
    const auto vars = model.var_lists();
    const auto coefs = model.coef_lists();
    const auto degrees = static_cast<uint32_t>(model.term_counts.size());
    void *h = reinterpret_cast<vexa_nimba_create_fn>(create_)(nullptr, model.var_count, degrees, &model.constant,
                                                              model.term_counts.data(), vars.data(), coefs.data());
    std::vector<vexa_param> plist;
    for (const auto &[k, v] : params) plist.push_back({k.c_str(), v.c_str()});
    plist.push_back({nullptr, nullptr});
    const uint32_t word_count = (model.var_count + 63) / 64;
    std::vector<uint64_t> bits(word_count + 1, 0);
    TessixSolution sol{};
    sol.bits = bits.data();
    sol.word_count = word_count;
    const auto t0 = std::chrono::steady_clock::now();
    void *list = reinterpret_cast<vexa_tessix_search_fn>(search_)(h, &sol, model.var_count, plist.data(), nullptr);
    const auto t1 = std::chrono::steady_clock::now();
    if (list != nullptr) list_destroy_(list);

    ModuleRun run;
    run.energy = from_record(sol.energy);
    std::free(sol.energy.limbs);
    bits.resize(word_count);
    run.bits = std::move(bits);
    run.tts = sol.tts;
    run.wall = std::chrono::duration<double>(t1 - t0).count();
    if (sol.info != nullptr) {
        for (vexa_info_pair *p = sol.info; p->key != nullptr; ++p) {
            run.info.emplace_back(p->key, p->value);
            std::free(p->key);
            std::free(p->value);
        }
        std::free(sol.info);
    }
    destroy_(h);
    return run;
}

}  // namespace bench
