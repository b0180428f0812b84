#include "constraint/varint.hpp"

#include "core/fatal.hpp"
#include "core/variable_table.hpp"
#include "expr/expr.hpp"

namespace vexa {

namespace {

constexpr size_t kMaxVarInts = 0x80000000u;

// Registers the record and builds lo + sum c_i * b_i tagged with it.
ExprImpl tagged_value(VarIntEntry entry) {
    ExprImpl value(entry.lower);
    for (size_t i = 0; i < entry.coeffs.size(); ++i) value.add_term(make_term(entry.coeffs[i], &entry.vars[i], 1));
    VarIntSet &set = VarIntSet::instance();
    std::lock_guard<std::mutex> lock(set.mutex);
    if (set.entries.size() >= kMaxVarInts) fatal("VarIntSet: index overflow");
    set.entries.push_back(std::move(entry));
    value.attr = static_cast<uint32_t>(set.entries.size() - 1);
    return value;
}

}  // namespace

VarIntSet &VarIntSet::instance() {
    static VarIntSet set;
    return set;
}

std::vector<coeff_t> comp_coeffs(const coeff_t &lo, const coeff_t &hi) {
    std::vector<coeff_t> out;
    coeff_t rest = hi - lo;
    coeff_t pw = 1;
    while (rest > 0) {
        out.push_back(pw < rest ? pw : rest);
        rest -= pw;
        pw *= 2;
    }
    return out;
}

ExprImpl make_varint(const char *name, const coeff_t &lo, const coeff_t &hi) {
    VarIntEntry entry;
    entry.lower = lo;
    entry.upper = hi;
    entry.coeffs = comp_coeffs(lo, hi);
    const uint64_t n = entry.coeffs.size();
    if (n == 1) {
        entry.vars.push_back(new_var(name));
    } else if (n > 1) {
        const uint64_t dims[1] = {n};
        const uint32_t first = new_var_array(name, dims, 1);
        for (uint64_t i = 0; i < n; ++i) entry.vars.push_back(first + static_cast<uint32_t>(i));
    }
    entry.group = add_aux_group(name, nullptr, 0);
    return tagged_value(std::move(entry));
}

ExprImpl make_varint_with_vars(const char *name, const coeff_t &lo, const coeff_t &hi, std::vector<coeff_t> coeffs,
                               std::vector<uint32_t> vars) {
    VarIntEntry entry;
    entry.lower = lo;
    entry.upper = hi;
    entry.coeffs = std::move(coeffs);
    entry.vars = std::move(vars);
    entry.group = add_aux_group(name, nullptr, 0);
    return tagged_value(std::move(entry));
}

ArrayImpl<ExprImpl> *make_varint_array(const char *name, std::vector<uint64_t> shape, const coeff_t &lo,
                                       const coeff_t &hi) {
    const std::vector<coeff_t> coeffs = comp_coeffs(lo, hi);
    const uint64_t bits = coeffs.size();
    const uint64_t group = add_aux_group(name, shape.data(), shape.size());
    uint32_t base = 0;
    if (element_count(shape) * bits != 0) {
        std::vector<uint64_t> dims = shape;
        dims.push_back(bits);
        base = new_var_array(name, dims.data(), dims.size());
    }
    // Serial, so that the records follow element order.
    return build_array<ExprImpl>(std::move(shape), [&](uint64_t e) {
        VarIntEntry entry;
        entry.group = group;
        entry.element = e;
        entry.lower = lo;
        entry.upper = hi;
        entry.coeffs = coeffs;
        entry.vars.reserve(bits);
        for (uint64_t k = 0; k < bits; ++k) entry.vars.push_back(base + static_cast<uint32_t>(e * bits + k));
        return tagged_value(std::move(entry));
    });
}

const VarIntEntry &varint_entry(const ExprImpl &e) {
    if ((e.attr & 0x80000000u) != 0) {
        fatal("VarInt accessor called on a value that is not a VarInt (plain Expr or ExprExpr).");
    }
    const auto &entries = VarIntSet::instance().entries;
    if (e.attr >= entries.size()) {
        fatal("VarInt accessor called on a value that is no longer a VarInt (e.g. after vi += 1, vi.sqr()).");
    }
    return entries[e.attr];
}

}  // namespace vexa
