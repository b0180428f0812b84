// Exported functions of the variable registry.
#include "core/bigint.hpp"
#include "core/fatal.hpp"
#include "core/int_var_table.hpp"
#include "core/text_buffer.hpp"
#include "core/variable_table.hpp"
#include "vexa/var.h"

using namespace vexa;

namespace {
struct AutoNameTag {};
}  // namespace

extern "C" {

uint32_t vexa_new_var(const char *name) { return new_var(name); }

uint32_t vexa_new_var_array(const char *name, const uint64_t *dims, uint64_t ndims) {
    return new_var_array(name, dims, ndims);
}

uint64_t vexa_var_count(void) { return var_count(); }

uint64_t vexa_used_var_count(void) {
    return var_count() + IntVarTable::instance().total_bits.load(std::memory_order_relaxed);
}

uint64_t vexa_int_var_count(void) {
    return IntVarTable::instance().next_index.load(std::memory_order_relaxed);
}

const char *vexa_auto_var_name(void) { return keep_text<AutoNameTag>(next_auto_name()); }

const char *vexa_var_str(uint32_t code) { return var_str(code); }

void vexa_var_reset(void) { var_reset(); }

uint32_t vexa_new_int_var(const char *name, const vexa_bigint *lo, const vexa_bigint *hi) {
    return new_int_var(name, coeff_from_record(lo), coeff_from_record(hi));
}

uint32_t vexa_new_int_var_array(const char *name, const uint64_t *shape, uint64_t ndim,
                                const vexa_bigint *lo, const vexa_bigint *hi) {
    return new_int_var_array(name, shape, ndim, coeff_from_record(lo), coeff_from_record(hi));
}

void vexa_int_var_bounds(uint32_t code, vexa_bigint *lo_out, vexa_bigint *hi_out) {
    const IntVarRecord *record = nullptr;
    IntVarTable &table = IntVarTable::instance();
    std::lock_guard<std::mutex> lock(table.mutex);
    if ((code & kIntAtomBit) != 0) record = find_int_var(literal_int_index(code));
    if (record == nullptr) fatal("vexa_int_var_bounds: not an integer variable index");
    coeff_to_record(record->lower, lo_out);
    coeff_to_record(record->upper, hi_out);
}

}  // extern "C"
