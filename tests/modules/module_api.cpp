#include "module_api.hpp"

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace vexa::test {

namespace {

// Opens a module file and looks up every function of its family's list.
template <class Table>
Table open_module(const std::string &file) {
    const std::string path = std::string(VEXA_TEST_MODULE_DIR) + file;
    Table t;
    t.handle = dlopen(path.c_str(), RTLD_NOW);
    if (t.handle == nullptr) {
        std::fprintf(stderr, "test: cannot open %s: %s\n", path.c_str(), dlerror());
        std::abort();
    }
    t.each_slot([&](const SymbolRow &row, auto &slot) {
        const std::string name = std::string(Table::prefix) + row.name;
        void *p = dlsym(t.handle, name.c_str());
        if (p == nullptr) {
            std::fprintf(stderr, "test: missing symbol %s\n", name.c_str());
            std::abort();
        }
        slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(p);
    });
    return t;
}

template <class Table>
constexpr bool is_exhaustive = std::is_same_v<Table, ExhaustiveModuleTable>;

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

const NimbaModuleTable &built_nimba_module() {
    static const NimbaModuleTable t = open_module<NimbaModuleTable>("nimbasolver_cppint.so");
    return t;
}

const ExhaustiveModuleTable &built_exhaustive_module() {
    static const ExhaustiveModuleTable t = open_module<ExhaustiveModuleTable>("exhaustive_cppint.so");
    return t;
}

template <class Table>
void *create_handle(const Table &f, const TestModel &m, bool integer) {
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
    if constexpr (is_exhaustive<Table>) {
        (void)integer;
        h = f.create(nullptr, m.bin_count, degrees, &m.constant, counts.data(), vars.data(), coefs.data(), -1);
    } else if (integer) {
        h = f.create_int(nullptr, m.bin_count, m.int_count, m.int_lower.data(), m.int_upper.data(), degrees,
                         &m.constant, counts.data(), vars.data(), coefs.data());
    } else {
        h = f.create(nullptr, m.bin_count, degrees, &m.constant, counts.data(), vars.data(), coefs.data());
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

template <class Table>
Outcome search_handle(const Table &f, void *h, const TestModel &m, const Params &p, bool integer) {
    std::vector<vexa_param> list;
    for (const auto &[k, v] : p) list.push_back({k.c_str(), v.c_str()});
    list.push_back({nullptr, nullptr});
    OutRecord out(m.bin_count);
    Outcome r;
    r.ints.assign(m.int_count, coeff_t(0));
    const auto t0 = std::chrono::steady_clock::now();
    void *sols;
    if constexpr (is_exhaustive<Table>) {
        (void)integer;
        sols = f.search(h, &out.sol, list.data());
    } else if (integer) {
        sols = f.search_int(h, &out.sol, list.data(), r.ints.data());
    } else {
        sols = f.search(h, &out.sol, list.data(), nullptr);
    }
    r.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    r.energy = from_record(out.energy);
    r.bits = out.bits;
    r.tts = out.tts;
    if (sols != nullptr) {
        r.has_list = true;
        const uint64_t count = f.sol_list_count(sols);
        for (uint64_t i = 0; i < count; ++i) {
            OutRecord item(m.bin_count);
            f.sol_list_get(sols, i, &item.sol);
            r.list.push_back({from_record(item.energy), item.bits, item.tts});
        }
        f.sol_list_destroy(sols);
    }
    if (vexa_info_pair *info = f.get_info(h)) {
        for (vexa_info_pair *q = info; q->key != nullptr; ++q) r.info[q->key] = q->value;
        f.free_info(info);
    }
    return r;
}

template <class Table>
Outcome solve(const Table &f, const TestModel &m, const Params &p) {
    void *h = create_handle(f, m);
    Outcome r = search_handle(f, h, m, p);
    f.destroy(h);
    return r;
}

Outcome solve_int(const TestModel &m, const Params &p) {
    const NimbaModuleTable &f = built_nimba_module();
    void *h = create_handle(f, m, true);
    Outcome r = search_handle(f, h, m, p, true);
    f.destroy(h);
    return r;
}

template void *create_handle(const NimbaModuleTable &, const TestModel &, bool);
template void *create_handle(const ExhaustiveModuleTable &, const TestModel &, bool);
template Outcome search_handle(const NimbaModuleTable &, void *, const TestModel &, const Params &, bool);
template Outcome search_handle(const ExhaustiveModuleTable &, void *, const TestModel &, const Params &, bool);
template Outcome solve(const NimbaModuleTable &, const TestModel &, const Params &);
template Outcome solve(const ExhaustiveModuleTable &, const TestModel &, const Params &);

}  // namespace vexa::test
