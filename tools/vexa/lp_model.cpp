#include "lp_model.hpp"

namespace vexa::cli {

namespace {

Expr column_expr(const LpColumn &c) {
    if (c.fixed) return Expr(*c.fixed);
    if (c.bit) return Expr(*c.bit);
    return Expr(*c.integer);
}

}  // namespace

LpEnergy build_lp_energy(const LpProblem &p) {
    LpEnergy out;
    out.maximize = p.maximize;
    out.columns.reserve(p.vars.size());
    for (const LpVariable &v : p.vars) {
        LpColumn c;
        c.name = v.name;
        c.kind = v.kind;
        if (v.lower == v.upper) {
            c.fixed = v.lower;
        } else if (v.kind == LpKind::binary) {
            c.bit.emplace(v.name);
        } else {
            c.integer.emplace(v.name, v.lower, v.upper);
        }
        out.columns.push_back(std::move(c));
    }
    std::vector<Expr> cols;
    cols.reserve(out.columns.size());
    for (const LpColumn &c : out.columns) cols.push_back(column_expr(c));

    Expr objective(p.constant);
    for (const LpTerm &t : p.linear) objective += t.c * cols[t.a];
    for (const LpTerm &t : p.quadratic) objective += t.c * (cols[t.a] * cols[t.b]);
    Expr energy = p.maximize ? -objective : std::move(objective);
    // A declared constraint costs its weight times the distance of its body
    // from its range, at least 1 when it is violated. With a weight above the
    // span of the objective, every violated assignment costs more than any
    // assignment that meets every row, so the rows bind as hard rows do.
    const Int weight = hpp_detail::int_add(hpp_detail::int_sub(energy.upper_bound(), energy.lower_bound()), 1);
    Expr rows;
    for (const LpRow &r : p.rows) {
        Expr body;
        for (const LpTerm &t : r.terms) body += t.c * cols[t.a];
        if (!r.lower_infinite && !r.upper_infinite) {
            rows += r.lower == r.upper ? cons(body == r.lower) : cons(between(r.lower, body, r.upper));
        } else if (!r.upper_infinite) {
            rows += cons(body <= r.upper);
        } else if (!r.lower_infinite) {
            rows += cons(body >= r.lower);
        }
        ++out.rows;
    }
    if (out.rows > 0) energy += weight * rows;
    out.energy = std::move(energy);
    return out;
}

std::vector<Int> lp_values(const LpEnergy &e, const Sol &sol) {
    std::vector<Int> values;
    values.reserve(e.columns.size());
    for (const LpColumn &c : e.columns) {
        if (c.fixed) {
            values.push_back(*c.fixed);
        } else if (c.bit) {
            values.emplace_back(sol.has(*c.bit) ? sol.get(*c.bit) : 0);
        } else {
            values.push_back(sol.has(*c.integer) ? sol.get(*c.integer) : c.integer->lower());
        }
    }
    return values;
}

}  // namespace vexa::cli
