"""Expressions through the Python module: operators, canonical forms, exact
integers and the errors raised instead of reaching the library."""
import itertools
import random

import numpy as np
import pytest

import vexa


def all_assignments(variables):
    for bits in itertools.product((0, 1), repeat=len(variables)):
        yield dict(zip(variables, bits))


class TestCanonicalText:
    def test_square_of_a_sum(self):
        x, y = vexa.Var("x"), vexa.Var("y")
        assert str((x + y - 1) ** 2) == "1 +x*x -2*x +2*x*y +y*y -2*y"
        assert str(((x + y - 1) ** 2).simplify()) == "1 -x -y +2*x*y"

    def test_negated_literal_reads_one_minus(self):
        x, y = vexa.Var("x"), vexa.Var("y")
        assert str((~x * y).simplify()) == "y -x*y"
        assert str(vexa.simplify(3 * ~x)) == "3 -3*x"

    def test_mixed_operands(self):
        x, y = vexa.Var("x"), vexa.Var("y")
        assert str(vexa.simplify(2 - x + y * 3 - (x - y) * 2)) == "2 -3*x +5*y"
        assert str(vexa.simplify(-x - -y)) == "-x +y"
        assert str(x * y) == "x*y"
        assert (x * 0 + 5).simplify().constant == 5
        assert len(vexa.simplify(x - x)) == 0

    def test_powers(self):
        x = vexa.Var("x")
        assert str(vexa.simplify(x ** 2)) == "x"
        assert str(x ** 1) == "x"
        assert vexa.Expr(x ** 0).constant == 1

    def test_in_place_addition(self):
        x, y = vexa.Var("x"), vexa.Var("y")
        e = x + 1
        alias = e
        e += y
        e -= 3
        assert alias is e and str(e.simplify()) == "-2 +x +y"
        e += e
        assert str(e.simplify()) == "-4 +2*x +2*y"
        n = vexa.IntVar("n", 0, 3)
        m = n
        m += 1  # an encoded integer keeps its value; m is a new expression
        assert str(n) == "n[0] +2*n[1]" and m.constant == 1 and not isinstance(m, vexa.IntVar)

    def test_exact_division(self):
        x, y = vexa.Var("x"), vexa.Var("y")
        assert str(vexa.simplify((6 * x + 4 * y + 2) // 2)) == "1 +3*x +2*y"


class TestRandomExpressions:
    """Random operation sequences applied both to expressions and, under a
    fixed 0/1 assignment, to plain Python ints: the values must agree."""

    OPS = ("add", "sub", "mul", "neg", "rsub", "scale", "iadd")

    def build(self, rng, variables):
        # Each entry: (vexa object, degree, function of an assignment).
        def leaf():
            if rng.random() < 0.25:
                k = rng.randint(-5, 5)
                return k, 0, lambda a, k=k: k
            v = rng.choice(variables)
            if rng.random() < 0.2:
                return ~v, 1, lambda a, v=v: 1 - a[v]
            return v, 1, lambda a, v=v: a[v]

        cur = leaf()
        for _ in range(rng.randint(1, 8)):
            op = rng.choice(self.OPS)
            obj, deg, fn = cur
            other = leaf()
            if op == "add":
                cur = (obj + other[0], max(deg, other[1]), lambda a, f=fn, g=other[2]: f(a) + g(a))
            elif op == "sub":
                cur = (obj - other[0], max(deg, other[1]), lambda a, f=fn, g=other[2]: f(a) - g(a))
            elif op == "rsub":
                cur = (other[0] - obj, max(deg, other[1]), lambda a, f=fn, g=other[2]: g(a) - f(a))
            elif op == "mul" and deg + other[1] <= 2:
                cur = (obj * other[0], deg + other[1], lambda a, f=fn, g=other[2]: f(a) * g(a))
            elif op == "neg":
                cur = (-obj, deg, lambda a, f=fn: -f(a))
            elif op == "scale":
                k = rng.choice([-(2 ** 70), -3, 2, 7, 2 ** 65 + 1])
                cur = (obj * k, deg, lambda a, f=fn, k=k: f(a) * k)
            elif op == "iadd":
                e = vexa.Expr(obj)
                e += other[0]
                cur = (e, max(deg, other[1]), lambda a, f=fn, g=other[2]: f(a) + g(a))
        return cur

    def test_values_match_integer_arithmetic(self):
        seed = random.randrange(1 << 30)
        rng = random.Random(seed)
        variables = [vexa.Var(f"r{i}") for i in range(4)]
        for case in range(150):
            obj, _, fn = self.build(rng, variables)
            expr = vexa.Expr(obj)
            simple = expr.simplify()
            for a in all_assignments(variables):
                want = fn(a)
                assert expr.eval(a) == want, f"seed {seed} case {case}: {expr} at {a}"
                assert simple.eval(a) == want, f"seed {seed} case {case}: {simple} at {a}"
            assert simple.degree <= 2

    def test_canonical_text_does_not_depend_on_order(self):
        seed = random.randrange(1 << 30)
        rng = random.Random(seed)
        variables = [vexa.Var(f"o{i}") for i in range(5)]
        for case in range(60):
            parts = []
            for _ in range(rng.randint(1, 10)):
                k = rng.randint(-9, 9)
                u, v = rng.choice(variables), rng.choice(variables)
                parts.append(k * u * v if rng.random() < 0.5 else k * u)
            forward = vexa.sum(parts, rng.randint(-3, 3))
            backward = vexa.sum(reversed(parts), forward.constant)
            assert str(forward.simplify()) == str(backward.simplify()), f"seed {seed} case {case}"

    def test_exhaustive_minimum_is_the_brute_force_minimum(self):
        seed = random.randrange(1 << 30)
        rng = random.Random(seed)
        variables = [vexa.Var(f"m{i}") for i in range(4)]
        for case in range(20):
            obj, _, fn = self.build(rng, variables)
            expr = vexa.Expr(obj) + vexa.sum(variables) * 0  # every variable in scope
            if len(expr.simplify()) == 0:
                continue
            r = vexa.solve(vexa.Model(expr), "exhaustive")
            assert r.energy == min(fn(a) for a in all_assignments(variables)), f"seed {seed} case {case}"
            model_vars = vexa.Model(expr).variables
            assert fn({v: r[v] if v in model_vars else 0 for v in variables}) == r.energy


class TestExactIntegers:
    @pytest.mark.parametrize("k", [2 ** 200, -(2 ** 200), 2 ** 64, -(2 ** 63) - 1, 2 ** 63, 10 ** 40 + 7])
    def test_round_trip_through_coefficients_and_energies(self, k):
        x = vexa.Var("bx")
        e = k * x + (k - 1)
        assert e.constant == k - 1
        assert e.terms() == [(k, ("bx",))]
        assert vexa.Expr(k).constant == k
        assert e.eval({x: 1}) == 2 * k - 1
        r = vexa.solve(vexa.Model(e), "exhaustive")
        assert r.energy == min(k - 1, 2 * k - 1)
        assert r[x] == (1 if k < 0 else 0)

    def test_numpy_integers_are_accepted(self):
        x = vexa.Var("nx")
        assert (np.int64(-7) * x).terms() == [(-7, ("nx",))]
        assert vexa.Expr(np.uint64(2 ** 64 - 1)).constant == 2 ** 64 - 1


class TestErrors:
    def test_products_above_degree_two(self):
        x, y, z = vexa.Var("ex"), vexa.Var("ey"), vexa.Var("ez")
        with pytest.raises(ValueError, match="degree 3"):
            x * y * z
        with pytest.raises(ValueError, match="degree 4"):
            (x + y * z) ** 2
        with pytest.raises(ValueError):
            x ** 3
        with pytest.raises(ValueError):
            (x + y) ** -1

    def test_wrong_operand_types(self):
        x = vexa.Var("tx")
        with pytest.raises(TypeError):
            x + 1.5
        with pytest.raises(TypeError):
            x * "a"
        with pytest.raises(TypeError):
            vexa.Expr(2.0)
        with pytest.raises(TypeError):
            x ** 2.0
        with pytest.raises(TypeError):
            (x + 1) // 1.0

    def test_division(self):
        x = vexa.Var("dx")
        with pytest.raises(ValueError, match="remainder"):
            (2 * x + 1) // 2
        with pytest.raises(ValueError, match="zero"):
            (2 * x) // 0

    def test_eval_needs_every_variable(self):
        x, y = vexa.Var("vx"), vexa.Var("vy")
        with pytest.raises(KeyError):
            (x + y).eval({x: 1})
        with pytest.raises(TypeError):
            (x + y).eval({"vx": 1})

    def test_integer_variables_bounds(self):
        with pytest.raises(ValueError):
            vexa.IntVar("bad", 5, 4)
        with pytest.raises(ValueError):
            vexa.NativeIntVar("bad", 3, 3)
        with pytest.raises(ValueError):
            vexa.between(3, vexa.Var("bv"), 2)

    def test_var_arrays(self):
        with pytest.raises(ValueError):
            vexa.var_array("a", (2, -1))
        with pytest.raises(TypeError):
            vexa.var_array("a", (2, 1.5))
        q = vexa.var_array("grid", (2, 3))
        assert q.shape == (2, 3)
        assert q[1, 2].name == "grid[1][2]"
        assert len({v.code for v in q.ravel()}) == 6

    def test_constraint_has_no_truth_value(self):
        x = vexa.Var("cx")
        with pytest.raises(TypeError):
            bool(x + 1 == 2)
        with pytest.raises(TypeError):
            vexa.cons(x + 1)
        with pytest.raises(ValueError):
            vexa.abs(x - 1, 3)
