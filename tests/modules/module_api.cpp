#include "module_api.hpp"

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace vexa::test {

namespace {

void *sym(void *lib, const std::string &name) {
    void *p = dlsym(lib, name.c_str());
    if (p == nullptr) {
        std::fprintf(stderr, "test: missing symbol %s\n", name.c_str());
        std::abort();
    }
    return p;
}

template <class F>
F fn(void *lib, const std::string &name) {
    return reinterpret_cast<F>(sym(lib, name));
}

ModuleFunctions load(const std::string &file, const std::string &prefix, bool exhaustive) {
    const std::string path = std::string(VEXA_TEST_MODULE_DIR) + file;
    void *lib = dlopen(path.c_str(), RTLD_NOW);
    if (lib == nullptr) {
        std::fprintf(stderr, "test: cannot open %s: %s\n", path.c_str(), dlerror());
        std::abort();
    }
    ModuleFunctions f;
    f.exhaustive = exhaustive;
    f.create = sym(lib, prefix + "create");
    f.destroy = fn<vexa_module_destroy_fn>(lib, prefix + "destroy");
    f.search = sym(lib, prefix + "search");
    if (!exhaustive) {
        f.create_int = fn<vexa_nimba_create_int_fn>(lib, prefix + "create_int");
        f.search_int = fn<vexa_nimba_search_int_fn>(lib, prefix + "search_int");
    }
    f.list_count = fn<vexa_sol_list_count_fn>(lib, prefix + "sol_list_count");
    f.list_get = fn<vexa_sol_list_get_fn>(lib, prefix + "sol_list_get");
    f.list_destroy = fn<vexa_sol_list_destroy_fn>(lib, prefix + "sol_list_destroy");
    f.register_callback = fn<vexa_register_callback_fn>(lib, prefix + "register_callback");
    f.get_info = fn<vexa_get_info_fn>(lib, prefix + "get_info");
    f.free_info = fn<vexa_free_info_fn>(lib, prefix + "free_info");
    f.add_constraint = fn<vexa_add_constraint_fn>(lib, prefix + "add_constraint");
    f.add_constraint_nl = fn<vexa_add_constraint_nl_fn>(lib, prefix + "add_constraint_nl");
    f.add_constraint_set = fn<vexa_add_constraint_set_fn>(lib, prefix + "add_constraint_set");
    f.set_cons_shape = fn<vexa_set_cons_shape_fn>(lib, prefix + "set_cons_shape");
    f.set_remainder = fn<vexa_set_remainder_fn>(lib, prefix + "set_remainder");
    return f;
}

coeff_t from_record(const vexa_bigint &r) {
    coeff_t v = 0;
    for (uint32_t i = r.nlimbs; i-- > 0;) v = (v << 64) + r.limbs[i];
    return r.sign < 0 ? coeff_t(-v) : v;
}

// Reads one out record the way the library does, freeing its limbs.
struct OutRecord {
    uint32_t var_count, word_count;
    vexa_bigint energy{0, 0, nullptr};
    std::vector<uint64_t> bits;
    double tts = 0.0;
    ModuleSolution sol;

    explicit OutRecord(uint32_t n) : var_count(n), word_count((n + 63) / 64), bits(word_count + 1, 0) {
        sol = {&var_count, &word_count, &energy, bits.data(), &tts};
    }
    ~OutRecord() { std::free(energy.limbs); }
    OutRecord(const OutRecord &) = delete;
    OutRecord &operator=(const OutRecord &) = delete;
};

}  // namespace

const ModuleFunctions &nimba_module() {
    static const ModuleFunctions f = load("nimbasolver_cppint.so", "vexa_nimba_solver_", false);
    return f;
}

const ModuleFunctions &exhaustive_module() {
    static const ModuleFunctions f = load("exhaustive_cppint.so", "vexa_exhaustive_", true);
    return f;
}

void *create_handle(const ModuleFunctions &f, const TestModel &m, bool integer) {
    std::vector<uint64_t> counts;
    std::vector<const uint32_t *> vars;
    std::vector<const void *> coefs;
    if (!m.coef1.empty() || !m.coef2.empty()) {
        counts.push_back(m.coef1.size());
        vars.push_back(m.vars1.data());
        coefs.push_back(m.coef1.data());
    }
    if (!m.coef2.empty()) {
        counts.push_back(m.coef2.size());
        vars.push_back(m.vars2.data());
        coefs.push_back(m.coef2.data());
    }
    const auto degrees = static_cast<uint32_t>(counts.size());
    void *h;
    if (integer) {
        h = f.create_int(nullptr, m.bin_count, m.int_count, m.int_lower.data(), m.int_upper.data(), degrees,
                         &m.constant, counts.data(), vars.data(), coefs.data());
    } else if (f.exhaustive) {
        h = reinterpret_cast<vexa_exhaustive_create_fn>(f.create)(nullptr, m.bin_count, degrees, &m.constant,
                                                                  counts.data(), vars.data(), coefs.data(), -1);
    } else {
        h = reinterpret_cast<vexa_nimba_create_fn>(f.create)(nullptr, m.bin_count, degrees, &m.constant, counts.data(),
                                                             vars.data(), coefs.data());
    }
    for (const TestConstraint &c : m.constraints) {
        if (!c.quad_coeffs.empty()) {
            f.add_constraint_nl(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), c.vars.data(),
                                c.coeffs.data(), c.quad_coeffs.size(), c.quad_head.data(), c.quad_vars.data(),
                                c.quad_coeffs.data());
        } else if (!c.allowed_low.empty()) {
            f.add_constraint_set(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), c.vars.data(),
                                 c.coeffs.data(), c.allowed_low.size(), c.allowed_low.data(), c.allowed_high.data());
        } else {
            f.add_constraint(h, &c.weight, &c.lower, &c.upper, &c.body_constant, c.vars.size(), c.vars.data(),
                             c.coeffs.data());
        }
        if (c.exponent != 2 || c.hinge != 0) f.set_cons_shape(h, c.exponent, c.hinge);
    }
    if (m.has_remainder) {
        f.set_remainder(h, &m.remainder_constant, m.remainder_coeffs.size(), m.remainder_head.data(),
                        m.remainder_vars.data(), m.remainder_coeffs.data());
    }
    return h;
}

Outcome search_handle(const ModuleFunctions &f, void *h, const TestModel &m, const Params &p, bool integer) {
    std::vector<vexa_param> list;
    for (const auto &[k, v] : p) list.push_back({k.c_str(), v.c_str()});
    list.push_back({nullptr, nullptr});
    OutRecord out(m.bin_count);
    Outcome r;
    r.ints.assign(m.int_count, coeff_t(0));
    const auto t0 = std::chrono::steady_clock::now();
    void *sols;
    if (integer) {
        sols = f.search_int(h, &out.sol, list.data(), r.ints.data());
    } else if (f.exhaustive) {
        sols = reinterpret_cast<vexa_exhaustive_search_fn>(f.search)(h, &out.sol, list.data());
    } else {
        sols = reinterpret_cast<vexa_nimba_search_fn>(f.search)(h, &out.sol, list.data(), nullptr);
    }
    r.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    r.energy = from_record(out.energy);
    r.bits = out.bits;
    r.tts = out.tts;
    if (sols != nullptr) {
        r.has_list = true;
        const uint64_t count = f.list_count(sols);
        for (uint64_t i = 0; i < count; ++i) {
            OutRecord item(m.bin_count);
            f.list_get(sols, i, &item.sol);
            r.list.push_back({from_record(item.energy), item.bits, item.tts});
        }
        f.list_destroy(sols);
    }
    if (vexa_info_pair *info = f.get_info(h)) {
        for (vexa_info_pair *q = info; q->key != nullptr; ++q) r.info[q->key] = q->value;
        f.free_info(info);
    }
    return r;
}

Outcome solve(const ModuleFunctions &f, const TestModel &m, const Params &p) {
    void *h = create_handle(f, m);
    Outcome r = search_handle(f, h, m, p);
    f.destroy(h);
    return r;
}

Outcome solve_int(const TestModel &m, const Params &p) {
    const ModuleFunctions &f = nimba_module();
    void *h = create_handle(f, m, true);
    Outcome r = search_handle(f, h, m, p, true);
    f.destroy(h);
    return r;
}

}  // namespace vexa::test
