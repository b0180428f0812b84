#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "array_util.hpp"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

// One einsum input of any family, owned, with its tag.
struct Input {
    uint32_t tag = 1;
    VarArr var;
    IntArr ints;
    TermArr terms;
    ExprArr exprs;
    const void *ptr() const {
        switch (tag) {
            case 0: return var.get();
            case 1: return ints.get();
            case 2: return terms.get();
            default: return exprs.get();
        }
    }
};

void *call(const char *sub, std::vector<const Input *> in, uint32_t expr_output, uint64_t out_dim) {
    std::vector<uint32_t> tags;
    std::vector<const void *> ptrs;
    for (const Input *i : in) {
        tags.push_back(i->tag);
        ptrs.push_back(i->ptr());
    }
    return vexa_einsum(sub, int(in.size()), tags.data(), ptrs.data(), expr_output, out_dim);
}

Input var_input(const std::vector<uint64_t> &shape, const std::vector<uint32_t> &codes) {
    Input in;
    in.tag = 0;
    in.var.reset(vexa_array_var_create_data(codes.data(), shape.data(), shape.size()));
    return in;
}

Input int_input(const std::vector<uint64_t> &shape, const std::vector<coeff_t> &values) {
    Input in;
    in.tag = 1;
    in.ints = int_array(shape, values);
    return in;
}

std::vector<uint64_t> shape_of(const vexa_expr_array *a) {
    return shape_vec(vexa_array_expr_shape(a), vexa_array_expr_ndim(a));
}

class Einsum : public ThreeVars {};

// ---- random contractions against a brute-force sum over every label value ----

struct Case {
    std::vector<std::string> labels;  // per input
    std::string output;               // the labels of the result, resolved
    std::string subscript;
    std::map<char, uint64_t> extent;
    std::vector<Input> inputs;
};

// Value of one input element under a 0/1 assignment of variables.
coeff_t element_value(const Input &in, uint64_t i, const std::vector<int> &bits) {
    auto var_value = [&](uint32_t code) -> coeff_t {
        const int b = bits[code & 0x7FFFFFFFu];
        return (code & VEXA_NEGATED_BIT) ? 1 - b : b;
    };
    switch (in.tag) {
        case 0: return var_value(raw(in.var.get()).data[i]);
        case 1: return raw(in.ints.get()).data[i];
        case 2: {
            const TermImpl &t = raw(in.terms.get()).data[i];
            coeff_t v = t.coeff;
            for (uint32_t k = 0; k < t.vars.degree(); ++k) v *= var_value(t.vars.slot[k]);
            return v;
        }
        default: return evaluate(&raw(in.exprs.get()).data[i], [&](uint32_t v) { return coeff_t(bits[v]); }, false);
    }
}

Case random_case(std::mt19937_64 &rng, uint32_t nvars, bool all_int) {
    Case c;
    const std::string pool = "abcd";
    for (char l : pool) c.extent[l] = rng() % 8 == 0 ? 0 : 1 + rng() % 3;
    const int n = 1 + int(rng() % 3);
    uint32_t degree_left = 2;
    std::map<char, int> occurrences;
    for (int k = 0; k < n; ++k) {
        std::string labels;
        const uint64_t rank = rng() % 4;
        for (uint64_t a = 0; a < rank; ++a) labels += pool[rng() % pool.size()];
        for (char l : labels) ++occurrences[l];
        c.labels.push_back(labels);
        std::vector<uint64_t> shape;
        for (char l : labels) shape.push_back(c.extent[l]);
        const uint64_t count = element_count(shape);

        uint32_t tag = all_int ? 1 : uint32_t(rng() % 4);
        if (tag != 1 && degree_left == 0) tag = 1;
        Input in;
        in.tag = tag;
        if (tag == 0) {
            std::vector<uint32_t> codes(count);
            for (uint32_t &v : codes) v = uint32_t(rng() % nvars) | (rng() % 4 == 0 ? VEXA_NEGATED_BIT : 0);
            in.var.reset(vexa_array_var_create_data(codes.data(), shape.data(), shape.size()));
            degree_left -= 1;
        } else if (tag == 1) {
            std::vector<coeff_t> values(count);
            for (coeff_t &v : values) v = int(rng() % 7) - 3;
            in = int_input(shape, values);
        } else if (tag == 2) {
            in.terms.reset(vexa_array_term_create(shape.data(), shape.size()));
            for (uint64_t i = 0; i < count; ++i) {
                TermPtr t(rng() % 3 == 0 ? vexa_term_create(In(int(rng() % 7) - 3).get())
                                         : vexa_term_create_var(In(int(rng() % 7) - 3).get(), uint32_t(rng() % nvars)));
                vexa_array_term_set(in.terms.get(), i, t.get());
            }
            degree_left -= 1;
        } else {
            in.exprs.reset(vexa_array_expr_create(shape.data(), shape.size()));
            for (uint64_t i = 0; i < count; ++i) {
                ExprPtr e(expr_of({{int(rng() % 5) - 2, {uint32_t(rng() % nvars)}},
                                   {int(rng() % 5) - 2, {uint32_t(rng() % nvars) | VEXA_NEGATED_BIT}}},
                                  int(rng() % 5) - 2));
                vexa_array_expr_set(in.exprs.get(), i, e.get());
            }
            degree_left -= 1;
        }
        c.inputs.push_back(std::move(in));
    }
    for (int k = 0; k < n; ++k) c.subscript += (k > 0 ? "," : "") + c.labels[k];
    if (rng() % 2 == 0) {
        for (const auto &[l, count] : occurrences) {
            if (count == 1) c.output += l;
        }
    } else {
        std::string used;
        for (const auto &[l, count] : occurrences) used += l;
        std::shuffle(used.begin(), used.end(), rng);
        c.output = used.substr(0, rng() % (used.size() + 1));
        c.subscript += "->" + c.output;
    }
    return c;
}

// The contraction by its definition: every value of every label, the output
// element addressed by the output labels, the product of the addressed elements.
std::vector<coeff_t> brute_force(const Case &c, const std::vector<int> &bits) {
    std::vector<uint64_t> out_shape;
    for (char l : c.output) out_shape.push_back(c.extent.at(l));
    std::vector<coeff_t> out(element_count(out_shape), 0);
    std::string all;
    for (const std::string &labels : c.labels) {
        for (char l : labels) {
            if (all.find(l) == std::string::npos) all += l;
        }
    }
    std::vector<uint64_t> all_shape;
    for (char l : all) all_shape.push_back(c.extent.at(l));
    for (uint64_t f = 0; f < element_count(all_shape); ++f) {
        const std::vector<uint64_t> value = unflatten(f, all_shape);
        auto value_of = [&](char l) { return value[all.find(l)]; };
        coeff_t product = 1;
        for (size_t k = 0; k < c.inputs.size(); ++k) {
            std::vector<uint64_t> idx, shape;
            for (char l : c.labels[k]) {
                idx.push_back(value_of(l));
                shape.push_back(c.extent.at(l));
            }
            product *= element_value(c.inputs[k], flatten(idx, shape), bits);
        }
        std::vector<uint64_t> oi;
        for (char l : c.output) oi.push_back(value_of(l));
        out[flatten(oi, out_shape)] += product;
    }
    return out;
}

TEST_F(Einsum, RandomContractionsOfEveryFamilyMatchBruteForce) {
    const uint64_t seed = 1312;
    std::mt19937_64 rng(seed);
    const uint32_t nvars = 3;
    for (int round = 0; round < 400; ++round) {
        const bool all_int = round % 4 == 0;
        Case c = random_case(rng, nvars, all_int);
        SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round) + " subscript \"" +
                     c.subscript + "\"");
        std::vector<const Input *> in;
        for (const Input &i : c.inputs) in.push_back(&i);
        ExprArr result(static_cast<vexa_expr_array *>(call(c.subscript.c_str(), in, 1, c.output.size())));
        std::vector<uint64_t> out_shape;
        for (char l : c.output) out_shape.push_back(c.extent.at(l));
        ASSERT_EQ(shape_of(result.get()), out_shape);
        ASSERT_EQ(raw(result.get()).strides, row_major_strides(out_shape));
        IntArr int_result;
        if (all_int) int_result.reset(static_cast<vexa_int_array *>(call(c.subscript.c_str(), in, 0, c.output.size())));
        for (int trial = 0; trial < 3; ++trial) {
            std::vector<int> bits(nvars);
            for (int &b : bits) b = int(rng() % 2);
            const std::vector<coeff_t> expect = brute_force(c, bits);
            for (uint64_t o = 0; o < expect.size(); ++o) {
                const ExprImpl *e = vexa_array_expr_ref(result.get(), o);
                EXPECT_EQ(e->attr, kPlainAttr);
                auto value_of = [&](uint32_t v) { return coeff_t(bits[v]); };
                ASSERT_EQ(evaluate(e, value_of, false), expect[o]) << "output " << o;
                ExprPtr s(vexa_expr_simplify_as_binary(e));
                ASSERT_EQ(evaluate(s.get(), value_of, false), expect[o]) << "simplified output " << o;
                if (all_int) {
                    ASSERT_EQ(raw(int_result.get()).data[o], expect[o]) << "integer output " << o;
                }
            }
        }
    }
}

// ---- shapes and subscripts ----

TEST_F(Einsum, MatrixProductBuildsOneMonomialPerSummedIndex) {
    VarArr names(vexa_array_var_create_named("m", std::vector<uint64_t>{2, 3}.data(), 2));
    Input a;
    a.tag = 0;
    a.var.reset(vexa_array_var_clone(names.get()));
    Input b = int_input({3, 4}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    ExprArr r(static_cast<vexa_expr_array *>(call("ij,jk->ik", {&a, &b}, 1, 2)));
    EXPECT_EQ(shape_of(r.get()), (std::vector<uint64_t>{2, 4}));
    for (uint64_t o = 0; o < 8; ++o) EXPECT_EQ(vexa_array_expr_ref(r.get(), o)->term_count(), 3u);
    EXPECT_STREQ(vexa_expr_str(vexa_array_expr_ref(r.get(), 5)), "2*m[1][0] +6*m[1][1] +10*m[1][2]");
    // Same with the implicit output and with blanks anywhere.
    ExprArr implicit(static_cast<vexa_expr_array *>(call("ij,jk", {&a, &b}, 1, 2)));
    ExprArr blanks(static_cast<vexa_expr_array *>(call(" i j ,\tj k -> i\nk ", {&a, &b}, 1, 2)));
    ExprArr after(static_cast<vexa_expr_array *>(call("ij,jk,->ki", {&a, &b}, 1, 2)));
    EXPECT_STREQ(vexa_array_expr_str(implicit.get()), vexa_array_expr_str(r.get()));
    EXPECT_STREQ(vexa_array_expr_str(blanks.get()), vexa_array_expr_str(r.get()));
    EXPECT_STREQ(vexa_array_expr_str(after.get()), vexa_array_expr_str(r.get()));
}

TEST_F(Einsum, ImplicitOutputsTraceTransposeAndScalars) {
    Input m = int_input({3, 3}, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    IntArr trace(static_cast<vexa_int_array *>(call("ii", {&m}, 0, 0)));
    EXPECT_EQ(vexa_array_int_ndim(trace.get()), 0u);
    EXPECT_EQ(raw(trace.get()).data[0], 15);
    Input r = int_input({2, 3}, {1, 2, 3, 4, 5, 6});
    IntArr t(static_cast<vexa_int_array *>(call("ba", {&r}, 0, 2)));
    EXPECT_STREQ(vexa_array_int_str(t.get()), "{{1,4},{2,5},{3,6}}");
    Input v = int_input({3}, {1, 2, 3});
    IntArr dot(static_cast<vexa_int_array *>(call("i,i->", {&v, &v}, 0, 0)));
    EXPECT_EQ(raw(dot.get()).data[0], 14);
    Input s0 = int_input({}, {-7});
    IntArr copy(static_cast<vexa_int_array *>(call("->", {&s0}, 0, 0)));
    EXPECT_EQ(raw(copy.get()).data[0], -7);
    // "-" is a label unless an arrow follows: "a-b" has three axes.
    Input cube = int_input({1, 2, 1}, {3, 4});
    IntArr dash(static_cast<vexa_int_array *>(call("a-b->-", {&cube}, 0, 1)));
    EXPECT_STREQ(vexa_array_int_str(dash.get()), "{3,4}");
    // A repeated output label: the first axis does not address anything.
    IntArr twice(static_cast<vexa_int_array *>(call("i->ii", {&v}, 0, 2)));
    EXPECT_STREQ(vexa_array_int_str(twice.get()), "{{1,2,3},{1,2,3},{1,2,3}}");
}

TEST_F(Einsum, ZeroExtents) {
    Input a = int_input({2, 0}, {});
    Input b = int_input({0, 3}, {});
    IntArr z(static_cast<vexa_int_array *>(call("ij,jk->ik", {&a, &b}, 0, 2)));
    EXPECT_STREQ(vexa_array_int_str(z.get()), "{{0,0,0},{0,0,0}}");
    ExprArr ze(static_cast<vexa_expr_array *>(call("ij,jk->ik", {&a, &b}, 1, 2)));
    EXPECT_TRUE(vexa_array_expr_ref(ze.get(), 5)->is_empty_zero());
    IntArr none(static_cast<vexa_int_array *>(call("ij->ji", {&a}, 0, 2)));
    EXPECT_EQ(vexa_array_int_size(none.get()), 0u);
    EXPECT_EQ(shape_vec(vexa_array_int_shape(none.get()), 2), (std::vector<uint64_t>{0, 2}));
}

TEST_F(Einsum, ZeroFactorsAndConstantsInTheMonomialPath) {
    Input v = var_input({2}, {x, y});
    Input c = int_input({2}, {0, 5});
    Input t;
    t.tag = 2;
    t.terms.reset(vexa_array_term_create(std::vector<uint64_t>{2}.data(), 1));
    TermPtr three(vexa_term_create(In(3).get()));
    vexa_array_term_set(t.terms.get(), 0, three.get());
    vexa_array_term_set(t.terms.get(), 1, three.get());
    ExprArr r(static_cast<vexa_expr_array *>(call("i,i->", {&c, &v}, 1, 0)));
    EXPECT_STREQ(vexa_array_expr_str(r.get()), "{}");
    EXPECT_STREQ(vexa_expr_str(vexa_array_expr_ref(r.get(), 0)), "5*y");
    ExprArr k(static_cast<vexa_expr_array *>(call("i,i->", {&c, &t}, 1, 0)));
    EXPECT_STREQ(vexa_expr_str(vexa_array_expr_ref(k.get(), 0)), "15");
}

TEST_F(Einsum, DegreeOverflowThrowsInTheMonomialPath) {
    Input q;
    q.tag = 2;
    q.terms.reset(vexa_array_term_create(std::vector<uint64_t>{1}.data(), 1));
    TermPtr xy(vexa_term_create_var_var(In(1).get(), x, y));
    vexa_array_term_set(q.terms.get(), 0, xy.get());
    Input v = var_input({1}, {z});
    EXPECT_THROW(call("i,i->", {&q, &v}, 1, 0), std::runtime_error);
}

// ---- both ways of working give the same terms in the same order ----

std::vector<std::vector<FlatTerm>> all_terms(const vexa_expr_array *a) {
    std::vector<std::vector<FlatTerm>> out;
    for (uint64_t i = 0; i < vexa_array_expr_size(a); ++i) out.push_back(flat(vexa_array_expr_ref(a, i)));
    return out;
}

TEST_F(Einsum, QuadraticFormSplitOverThreadsKeepsTheTermOrder) {
    const uint64_t seed = 5150;
    std::mt19937_64 rng(seed);
    const uint64_t n = 330;  // 108,900 products: the split way with two threads or more
    VarArr names(vexa_array_var_create_named("q", &n, 1));
    Input xs;
    xs.tag = 0;
    xs.var.reset(vexa_array_var_clone(names.get()));
    std::vector<coeff_t> q(n * n);
    for (coeff_t &v : q) v = int(rng() % 9) - 4;
    q[7] = pow2(90);
    Input Q = int_input({n, n}, q);
    Input ints = int_input({n}, std::vector<coeff_t>(n, 3));
    std::vector<std::vector<FlatTerm>> terms[2];
    coeff_t constants[2], int_values[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        ExprArr r(static_cast<vexa_expr_array *>(call("i,ij,j->", {&xs, &Q, &xs}, 1, 0)));
        terms[pass] = all_terms(r.get());
        constants[pass] = raw(r.get()).data[0].constant;
        if (pass == 1) {
            EXPECT_FALSE(raw(r.get()).data[0].has_head()) << "a split element keeps its terms in the tail";
        }
        IntArr iv(static_cast<vexa_int_array *>(call("i,ij,j->", {&ints, &Q, &ints}, 0, 0)));
        int_values[pass] = raw(iv.get()).data[0];
    }
    EXPECT_EQ(terms[0], terms[1]) << "seed " << seed;
    EXPECT_EQ(constants[0], constants[1]);
    EXPECT_EQ(int_values[0], int_values[1]);
    coeff_t total = 0;
    for (const coeff_t &v : q) total += 9 * v;
    EXPECT_EQ(int_values[0], total);
    uint64_t nonzero = 0;
    for (const coeff_t &v : q) nonzero += v != 0;
    EXPECT_EQ(terms[0][0].size(), nonzero);
}

TEST_F(Einsum, SplitSumWithConstantsAndZerosMatchesOneThread) {
    // Steps that give a constant or nothing leave gaps between the chunks of
    // a split element; the terms must still come out dense and in order.
    const uint64_t seed = 8812;
    std::mt19937_64 rng(seed);
    const uint64_t n = 150000;
    Input t;
    t.tag = 2;
    t.terms.reset(vexa_array_term_create(&n, 1));
    VarArr names(vexa_array_var_create_named("g", &n, 1));
    std::vector<coeff_t> c(n);
    coeff_t constant = 0;
    uint64_t nonzero = 0;
    for (uint64_t i = 0; i < n; ++i) {
        const uint64_t kind = rng() % 4;  // 0: a constant term, 1: a zero factor
        const int coef = int(rng() % 7) + 1;
        TermPtr term(vexa_term_create(In(coef).get()));
        if (kind != 0) vexa_term_mul_var(term.get(), vexa_array_var_get(names.get(), i));
        vexa_array_term_set(t.terms.get(), i, term.get());
        c[i] = kind == 1 ? coeff_t(0) : coeff_t(int(rng() % 5) - 2);
        if (kind == 0) {
            constant += c[i] * coef;
        } else {
            nonzero += c[i] != 0;
        }
    }
    Input ci = int_input({n}, c);
    std::vector<std::vector<FlatTerm>> terms[2];
    coeff_t constants[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 3);
        ExprArr r(static_cast<vexa_expr_array *>(call("i,i->", {&ci, &t}, 1, 0)));
        terms[pass] = all_terms(r.get());
        constants[pass] = raw(r.get()).data[0].constant;
    }
    EXPECT_EQ(terms[0], terms[1]) << "seed " << seed;
    EXPECT_EQ(constants[0], constants[1]) << "seed " << seed;
    EXPECT_EQ(constants[0], constant);
    EXPECT_EQ(terms[0][0].size(), nonzero);
}

TEST_F(Einsum, ManyOutputsAreTheSameOnOneThreadAndMany) {
    const uint64_t seed = 808;
    std::mt19937_64 rng(seed);
    const std::vector<uint64_t> shape = {101, 100};
    std::vector<uint32_t> codes(101 * 100);
    for (uint32_t &c : codes) c = uint32_t(rng() % 3);
    Input a = var_input(shape, codes);
    Input e;
    e.tag = 3;
    e.exprs.reset(vexa_array_expr_create(std::vector<uint64_t>{100, 2}.data(), 2));
    for (uint64_t i = 0; i < 200; ++i) {
        vexa_array_expr_set(e.exprs.get(), i, ExprPtr(expr_of({{int(i % 5) - 2, {y}}}, int(i % 3))).get());
    }
    std::vector<std::vector<FlatTerm>> terms[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        ExprArr r(static_cast<vexa_expr_array *>(call("ij,jk->ik", {&a, &e}, 1, 2)));
        EXPECT_EQ(shape_of(r.get()), (std::vector<uint64_t>{101, 2}));
        ExprArr wide(static_cast<vexa_expr_array *>(call("ij->ij", {&a}, 1, 2)));
        EXPECT_EQ(vexa_array_expr_size(wide.get()), 10100u);
        terms[pass] = all_terms(r.get());
        auto w = all_terms(wide.get());
        terms[pass].insert(terms[pass].end(), w.begin(), w.end());
    }
    EXPECT_EQ(terms[0], terms[1]) << "seed " << seed;
}

// ---- refused calls ----

TEST_F(Einsum, RefusedCallsNameTheirFault) {
    Input m = int_input({2, 3}, {1, 2, 3, 4, 5, 6});
    Input v = var_input({3}, {x, y, z});
    EXPECT_DEATH(vexa_einsum("i", 0, nullptr, nullptr, 1, 1), exact("einsum: requires at least one input"));
    EXPECT_DEATH(call("ij", {&m, &m}, 1, 0), exact("einsum: expected ',' separating 2 inputs in subscript \"ij\""));
    EXPECT_DEATH(call("ij->i,j", {&m, &v}, 1, 1),
                 exact("einsum: expected ',' separating 2 inputs in subscript \"ij->i,j\""));
    const uint32_t bad_tag[] = {7};
    const void *one[] = {m.ptr()};
    EXPECT_DEATH(vexa_einsum("ij", 1, bad_tag, one, 1, 2), exact("einsum: unknown input type tag 7"));
    EXPECT_DEATH(call("i->i", {&m}, 1, 1),
                 exact("einsum: input 0 has 2 dims but subscript has 1 labels (subscript=\"i->i\")"));
    Input four = int_input({4}, {1, 2, 3, 4});
    EXPECT_DEATH(call("ij,j->i", {&m, &four}, 1, 1),
                 exact("einsum: inconsistent size for label 'j': 3 vs 4"));
    EXPECT_DEATH(call("ij->k", {&m}, 1, 1), exact("einsum: output label 'k' not in any input"));
    EXPECT_DEATH(call("ij->i", {&m}, 1, 2),
                 exact("einsum: OutDim mismatch \u2014 subscript \"ij->i\" produces 1 output axis(es), but the call "
                       "was einsum<2>()"));
    EXPECT_DEATH(call("ij,j->i", {&m, &v}, 0, 1),
                 exact("einsum: int output requires all inputs to be coeff_t (input 1 has type tag 0)"));
}

}  // namespace
