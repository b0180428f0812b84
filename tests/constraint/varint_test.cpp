// Encoded integers through the C interface: their bits, names and records,
// and, over all bit settings, exactly the values of their declared range.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "constraint/varint.hpp"
#include "support/constraint_util.hpp"
#include "vexa/array.h"
#include "vexa/constraint.h"
#include "vexa/var.h"

namespace {

using namespace vexa::test;
using vexa::coeff_t;

std::vector<coeff_t> coeffs_of(const coeff_t &lo, const coeff_t &hi) {
    const uint64_t n = vexa_comp_coeffs_count(In(lo).get(), In(hi).get());
    std::vector<Out> out(n);
    std::vector<vexa_bigint> recs(n, vexa_bigint{0, 0, nullptr});
    vexa_comp_coeffs(In(lo).get(), In(hi).get(), recs.data());
    std::vector<coeff_t> values;
    for (uint64_t i = 0; i < n; ++i) {
        *&out[i] = recs[i];
        values.push_back(out[i].value());
    }
    return values;
}

coeff_t read(void (*fn)(const ExprImpl *, vexa_bigint *), const ExprImpl *e) {
    Out out;
    fn(e, &out);
    return out.value();
}

TEST(EncodedIntegers, CoefficientsArePowersOfTwoWithTheRemainderLast) {
    EXPECT_TRUE(coeffs_of(0, 0).empty());
    EXPECT_TRUE(coeffs_of(3, 1).empty());
    EXPECT_EQ(coeffs_of(0, 1), (std::vector<coeff_t>{1}));
    EXPECT_EQ(coeffs_of(10, 13), (std::vector<coeff_t>{1, 2}));
    EXPECT_EQ(coeffs_of(-2, 3), (std::vector<coeff_t>{1, 2, 2}));
    EXPECT_EQ(coeffs_of(0, 6), (std::vector<coeff_t>{1, 2, 3}));
    EXPECT_EQ(coeffs_of(0, 7), (std::vector<coeff_t>{1, 2, 4}));
    const std::vector<coeff_t> wide = coeffs_of(0, pow2(80));
    EXPECT_EQ(wide.size(), 81u);
    EXPECT_EQ(wide.back(), 1);  // 2^80 - (2^80 - 1)
}

// Over every bit setting the value stays in [lo, hi] and reaches each value;
// decompose gives bits that add up to the value asked for.
TEST(EncodedIntegers, TakeExactlyEveryValueOfTheirRange) {
    vexa_var_reset();
    for (uint64_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        coeff_t lo = static_cast<int>(rng() % 41) - 20;
        if (seed % 10 == 0) lo += pow2(70);  // far beyond 64 bits
        const coeff_t hi = lo + static_cast<int>(rng() % 40);
        ExprPtr v(vexa_varintelem_create(nullptr, In(lo).get(), In(hi).get()));
        EXPECT_EQ(read(vexa_varintelem_min, v.get()), lo);
        EXPECT_EQ(read(vexa_varintelem_max, v.get()), hi);
        const uint64_t n = vexa_varintelem_var_count(v.get());
        ASSERT_EQ(n, coeffs_of(lo, hi).size());
        std::vector<uint32_t> bits;
        for (uint64_t i = 0; i < n; ++i) bits.push_back(vexa_varintelem_var(v.get(), i));
        std::set<coeff_t> reached;
        for (uint64_t mask = 0; mask < (uint64_t(1) << n); ++mask) {
            const coeff_t value = evaluate(
                v.get(),
                [&](uint32_t code) {
                    for (uint64_t i = 0; i < n; ++i) {
                        if (bits[i] == code) return coeff_t((mask >> i) & 1);
                    }
                    ADD_FAILURE() << "a variable that is not one of the bits";
                    return coeff_t(0);
                },
                false);
            EXPECT_GE(value, lo);
            EXPECT_LE(value, hi);
            reached.insert(value);
        }
        EXPECT_EQ(coeff_t(reached.size()), hi - lo + 1);

        std::vector<uint32_t> vars(n);
        std::vector<vexa_bigint> recs(n, vexa_bigint{0, 0, nullptr});
        for (coeff_t target = lo; target <= hi; ++target) {
            ASSERT_EQ(vexa_varintelem_decompose(v.get(), In(target).get(), vars.data(), recs.data()), n);
            coeff_t sum = lo;
            for (uint64_t i = 0; i < n; ++i) {
                EXPECT_EQ(vars[i], bits[i]);
                Out bit;
                *&bit = recs[i];
                recs[i] = vexa_bigint{0, 0, nullptr};
                Out c;
                vexa_varintelem_coeff(v.get(), i, &c);
                sum += bit.value() * c.value();
            }
            EXPECT_EQ(sum, target);
        }
    }
}

TEST(EncodedIntegers, NamesRecordsAndTheirEnd) {
    vexa_var_reset();
    ExprPtr x(vexa_varintelem_create("x", In(2).get(), In(7).get()));
    EXPECT_EQ(constant_of(x.get()), 2);
    ASSERT_EQ(vexa_varintelem_var_count(x.get()), 3u);
    EXPECT_STREQ(vexa_var_str(vexa_varintelem_var(x.get(), 1)), "x[1]");
    uint32_t vars[3];
    vexa_bigint recs[3] = {};
    vexa_varintelem_decompose(x.get(), In(6).get(), vars, recs);
    std::vector<coeff_t> bits;
    for (vexa_bigint &r : recs) {
        Out o;
        *&o = r;
        bits.push_back(o.value());
    }
    EXPECT_EQ(bits, (std::vector<coeff_t>{0, 1, 1}));  // 6 = 2 + 2 + 2, taken from the top

    ExprPtr one_bit(vexa_varintelem_create("flag", In(0).get(), In(1).get()));
    EXPECT_STREQ(vexa_var_str(vexa_varintelem_var(one_bit.get(), 0)), "flag");
    const uint64_t before = vexa_var_count();
    ExprPtr fixed(vexa_varintelem_create("k", In(4).get(), In(4).get()));
    EXPECT_EQ(vexa_var_count(), before);
    EXPECT_EQ(vexa_varintelem_var_count(fixed.get()), 0u);
    EXPECT_EQ(constant_of(fixed.get()), 4);
    EXPECT_EQ(vexa_expr_term_count(fixed.get()), 0u);

    // Given bits and coefficients are taken as they are.
    const uint32_t given[2] = {vexa_new_var("a"), vexa_new_var("b")};
    const In c5(5), c9(9);
    const vexa_bigint cs[2] = {*c5.get(), *c9.get()};
    ExprPtr custom(vexa_varintelem_create_with_vars("c", In(0).get(), In(3).get(), cs, given, 2));
    Out c1;
    vexa_varintelem_coeff(custom.get(), 1, &c1);
    EXPECT_EQ(c1.value(), 9);
    EXPECT_EQ(vexa_varintelem_var(custom.get(), 0), given[0]);

    // A copy is the same integer; replacing its polynomial keeps it one.
    ExprPtr copy(vexa_varintelem_clone(x.get()));
    EXPECT_EQ(read(vexa_varintelem_max, copy.get()), 7);
    ExprPtr other(vexa_expr_create_var(given[1]));
    vexa_varintelem_replace_expr(copy.get(), other.get());
    EXPECT_STREQ(vexa_expr_str(copy.get()), "b");
    EXPECT_EQ(read(vexa_varintelem_min, copy.get()), 2);
    vexa_varintelem_destroy(copy.release());

    // Changing the value ends it.
    vexa_expr_iadd_int(x.get(), In(1).get());
    const char *not_varint =
        "^vexa: VarInt accessor called on a value that is not a VarInt \\(plain Expr or ExprExpr\\)\\.\n$";
    EXPECT_DEATH(vexa_varintelem_min(x.get(), nullptr), not_varint);
    ExprPtr cons(vexa_cons_between(other.get(), In(0).get(), In(1).get()));
    EXPECT_DEATH(vexa_varintelem_var_count(cons.get()), not_varint);
    ExprPtr stale(vexa_expr_create());
    stale->attr = 0x7FFFFFF0u;
    EXPECT_DEATH(vexa_varintelem_var_count(stale.get()),
                 "^vexa: VarInt accessor called on a value that is no longer a VarInt \\(e\\.g\\. after vi \\+= 1, "
                 "vi\\.sqr\\(\\)\\)\\.\n$");
    // An encoded integer survives expansion with its word.
    ExprPtr kept(vexa_expr_expand_cons(one_bit.get()));
    EXPECT_EQ(read(vexa_varintelem_max, kept.get()), 1);
}

}  // namespace

// ---- uniform arrays of encoded integers ----

struct ArrayDeleter {
    void operator()(vexa_expr_array *a) const { vexa_array_expr_destroy(a); }
};
using ExprArr = std::unique_ptr<vexa_expr_array, ArrayDeleter>;

// Every element takes exactly the values of [lo, hi] over all settings of
// its own bits; its bits are name[index..][k] in one group, and its record
// names its flat index, in element order.
TEST(EncodedIntegerArrays, EveryElementTakesExactlyItsRange) {
    for (uint64_t seed = 1; seed <= 24; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        vexa_var_reset();
        std::mt19937_64 rng(seed);
        std::vector<uint64_t> shape(rng() % 3);
        for (uint64_t &e : shape) e = 1 + rng() % 3;
        uint64_t count = 1;
        for (uint64_t e : shape) count *= e;
        const coeff_t lo = static_cast<int>(rng() % 21) - 10;
        const coeff_t hi = lo + static_cast<int>(rng() % 12) - 1;  // hi == lo - 1 now and then: no bits
        const uint64_t bits = coeffs_of(lo, hi).size();
        const uint64_t first = vexa_var_count();
        ExprArr a(vexa_array_varint_create_uniform("n", shape.data(), shape.size(), In(lo).get(), In(hi).get()));
        ASSERT_EQ(vexa_array_expr_size(a.get()), count);
        ASSERT_EQ(vexa_var_count(), first + count * bits);
        uint32_t previous_record = 0;
        for (uint64_t e = 0; e < count; ++e) {
            SCOPED_TRACE("element " + std::to_string(e));
            const ExprImpl *v = vexa_array_expr_ref(a.get(), e);
            const vexa::VarIntEntry &entry = vexa::varint_entry(*v);
            EXPECT_EQ(entry.element, e);
            if (e > 0) {
                EXPECT_EQ(v->attr, previous_record + 1) << "records follow element order";
            }
            previous_record = v->attr;
            EXPECT_EQ(read(vexa_varintelem_min, v), lo);
            EXPECT_EQ(read(vexa_varintelem_max, v), hi);
            ASSERT_EQ(vexa_varintelem_var_count(v), bits);

            // The bit's name is the element's index followed by the bit's.
            std::string index;
            for (uint64_t k = shape.size(), rest = e; k-- > 0; rest /= shape[k]) {
                index = "[" + std::to_string(rest % shape[k]) + "]" + index;
            }
            std::vector<uint32_t> codes;
            for (uint64_t k = 0; k < bits; ++k) {
                codes.push_back(vexa_varintelem_var(v, k));
                EXPECT_EQ(codes.back(), first + e * bits + k);
                EXPECT_EQ(std::string(vexa_var_str(codes.back())), "n" + index + "[" + std::to_string(k) + "]");
            }

            ExprPtr plain(vexa_array_varint_get_expr(a.get(), e));
            EXPECT_EQ(plain->attr, vexa::kPlainAttr);
            EXPECT_EQ(flat(plain.get()), flat(v));
            std::set<coeff_t> reached;
            for (uint64_t mask = 0; mask < (uint64_t(1) << bits); ++mask) {
                reached.insert(evaluate(
                    plain.get(),
                    [&](uint32_t code) {
                        for (uint64_t k = 0; k < bits; ++k) {
                            if (codes[k] == code) return coeff_t((mask >> k) & 1);
                        }
                        ADD_FAILURE() << "a variable that is not one of the element's bits";
                        return coeff_t(0);
                    },
                    false));
            }
            std::set<coeff_t> range;
            for (coeff_t x = lo; x <= std::max(lo, hi); ++x) range.insert(x);
            EXPECT_EQ(reached, range);
        }
    }
}

TEST(EncodedIntegerArrays, EmptyArraysAndConstantsMakeNoBits) {
    vexa_var_reset();
    const uint64_t empty[2] = {2, 0};
    const uint64_t before = vexa_var_count();
    ExprArr none(vexa_array_varint_create_uniform("e", empty, 2, In(0).get(), In(9).get()));
    EXPECT_EQ(vexa_array_expr_size(none.get()), 0u);
    const uint64_t two = 2;
    ExprArr fixed(vexa_array_varint_create_uniform("f", &two, 1, In(5).get(), In(5).get()));
    EXPECT_EQ(vexa_var_count(), before);
    EXPECT_STREQ(vexa_array_expr_str(fixed.get()), "{5,5}");
    // Rank 0 holds one value whose bits read name[k].
    ExprArr scalar(vexa_array_varint_create_uniform("s", nullptr, 0, In(0).get(), In(3).get()));
    const ExprImpl *v = vexa_array_expr_ref(scalar.get(), 0);
    ASSERT_EQ(vexa_varintelem_var_count(v), 2u);
    EXPECT_STREQ(vexa_var_str(vexa_varintelem_var(v, 1)), "s[1]");
}
