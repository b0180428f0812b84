"""Arrays through the Python module: @ and einsum against brute-force
evaluation, exact integers in and out, values of arrays on a solution, and
the errors raised instead of reaching the library."""
import itertools
import random
import threading
import time

import numpy as np
import pytest

import vexa


def assignment(variables, bits):
    return {v: int(b) for v, b in zip(np.ravel(variables), np.ravel(bits))}


def random_matrix(rng, shape, big):
    """An int64 matrix, or an object matrix of Python ints beyond 64 bits."""
    if not big:
        return np.array(rng.integers(-9, 10, shape), dtype=np.int64)
    values = [random.Random(int(rng.integers(1 << 30))).randint(-(2 ** 90), 2 ** 90) for _ in range(int(np.prod(shape)))]
    return np.array(values, dtype=object).reshape(shape)


def exact(a):
    """a as an object array of Python ints, for exact reference arithmetic."""
    return np.array([int(v) for v in np.ravel(a)], dtype=object).reshape(np.shape(a))


def values_at(exprs, point):
    return np.array([e.eval(point) for e in np.ravel(exprs)], dtype=object).reshape(np.shape(exprs))


class TestContractionsAgainstBruteForce:
    """Each contraction is evaluated at random 0/1 points and compared with
    the same contraction of the 0/1 values in exact integer arithmetic."""

    @pytest.mark.parametrize("big", [False, True])
    def test_quadratic_forms_and_products(self, big):
        seed = random.randrange(1 << 30)
        rng = np.random.default_rng(seed)
        for case in range(12):
            m, n = (int(d) for d in rng.integers(1, 6, 2))
            x = vexa.var_array(f"qf{case}x", m)
            y = vexa.var_array(f"qf{case}y", n)
            q = random_matrix(rng, (m, n), big)
            forms = {
                "x@Q@y": x @ q @ y,
                "einsum i,ij,j": vexa.einsum("i,ij,j->", x, q, y),
                "einsum implicit": vexa.einsum("i,ij,j", x, q, y),
            }
            rows = q @ y  # an integer matrix on the left
            cols = x @ q
            assert rows.shape == (m,) and cols.shape == (n,), f"seed {seed} case {case}"
            assert isinstance(rows, vexa.Array) and rows.dtype == object
            for _ in range(6):
                bx = rng.integers(0, 2, m)
                by = rng.integers(0, 2, n)
                point = {**assignment(x, bx), **assignment(y, by)}
                qx = exact(q)
                want = exact(bx) @ qx @ exact(by)
                for name, form in forms.items():
                    assert isinstance(form, vexa.Expr)
                    assert form.eval(point) == want, f"seed {seed} case {case}: {name}"
                assert list(values_at(rows, point)) == list(qx @ exact(by)), f"seed {seed} case {case}"
                assert list(values_at(cols, point)) == list(exact(bx) @ qx), f"seed {seed} case {case}"

    def test_matrix_products_and_mixed_operands(self):
        seed = random.randrange(1 << 30)
        rng = np.random.default_rng(seed)
        for case in range(10):
            m, n, p = (int(d) for d in rng.integers(1, 5, 3))
            X = vexa.var_array(f"mm{case}X", (m, n))
            Y = vexa.var_array(f"mm{case}Y", (m, p))
            B = random_matrix(rng, (n, p), case % 2 == 1)
            c = int(rng.integers(-5, 6))
            # Expressions with constants and negated literals as operands.
            E = X * 2 + c
            N = ~Y
            products = {
                "X@B": (X @ B, lambda bx, by: exact(bx) @ exact(B)),
                "E@B": (E @ B, lambda bx, by: (exact(bx) * 2 + c) @ exact(B)),
                "B^T@E^T": (B.T @ E.T, lambda bx, by: exact(B).T @ (exact(bx) * 2 + c).T),
                "einsum ij,jk->ik": (vexa.einsum("ij,jk->ik", X, B), lambda bx, by: exact(bx) @ exact(B)),
                "einsum ij,jk->ki": (vexa.einsum("ij, jk -> ki", X, B), lambda bx, by: (exact(bx) @ exact(B)).T),
            }
            scalars = {
                "einsum ij,jk,ik->": (
                    vexa.einsum("ij,jk,ik->", X, B, N),
                    lambda bx, by: ((exact(bx) @ exact(B)) * (1 - exact(by))).sum(),
                ),
                "einsum ij,ij->": (vexa.einsum("ij,ij->", E, X), lambda bx, by: ((exact(bx) * 2 + c) * exact(bx)).sum()),
            }
            for _ in range(5):
                bx = rng.integers(0, 2, (m, n))
                by = rng.integers(0, 2, (m, p))
                point = {**assignment(X, bx), **assignment(Y, by)}
                for name, (got, ref) in products.items():
                    want = ref(bx, by)
                    assert got.shape == want.shape, f"seed {seed} case {case}: {name}"
                    assert (values_at(got, point) == want).all(), f"seed {seed} case {case}: {name}"
                for name, (got, ref) in scalars.items():
                    assert got.eval(point) == ref(bx, by), f"seed {seed} case {case}: {name}"

    def test_integer_contractions_are_exact(self):
        seed = random.randrange(1 << 30)
        rng = np.random.default_rng(seed)
        for case in range(10):
            m, n, p = (int(d) for d in rng.integers(1, 6, 3))
            a = random_matrix(rng, (m, n), False)
            b = random_matrix(rng, (n, p), False)
            got = vexa.einsum("ij,jk->ik", a, b)
            assert got.dtype == np.int64, f"seed {seed} case {case}"
            np.testing.assert_array_equal(got, a @ b)
            big = random_matrix(rng, (m, n), True)
            got = vexa.einsum("ij,jk->ik", big, b)
            assert got.dtype == object and (got == exact(big) @ exact(b)).all(), f"seed {seed} case {case}"
            assert vexa.einsum("ij,ij->", big, big) == int((exact(big) * exact(big)).sum())
        # uint64 values above 2^63 keep their magnitude.
        u = np.array([2 ** 64 - 1, 2 ** 63 + 1], dtype=np.uint64)
        assert vexa.einsum("i,i->", u, np.array([1, 1])) == 2 ** 64 + 2 ** 63
        assert (u @ vexa.var_array("uq", 2)).terms() == [(2 ** 64 - 1, ("uq[0]",)), (2 ** 63 + 1, ("uq[1]",))]

    def test_empty_operands_give_empty_sums(self):
        x = vexa.var_array("empty", 0)
        e = vexa.einsum("i,i,i->", x, x, x)  # no product is formed, so no degree above 2 either
        assert isinstance(e, vexa.Expr) and len(e) == 0 and e.constant == 0
        assert vexa.einsum("ij,j->i", np.zeros((3, 0), dtype=np.int64), x).shape == (3,)


class TestSolvingArrayModels:
    def test_quadratic_form_minimum_is_the_brute_force_minimum(self):
        seed = random.randrange(1 << 30)
        rng = np.random.default_rng(seed)
        n = 8
        q = rng.integers(-20, 21, (n, n))
        lin = rng.integers(-10, 11, n)
        x = vexa.var_array("bf", n)
        model = vexa.Model(x @ q @ x + lin @ x)
        best = min(
            int(np.array(bits) @ q @ np.array(bits) + lin @ np.array(bits))
            for bits in itertools.product((0, 1), repeat=n)
        )
        r = vexa.solve(model, "exhaustive")
        assert r.energy == best, f"seed {seed}"
        bits = r.values(x)
        assert bits.dtype == np.int64 and bits.shape == (n,)
        assert int(bits @ q @ bits + lin @ bits) == best, f"seed {seed}"
        np.testing.assert_array_equal(r.values(q @ x), q @ bits)
        np.testing.assert_array_equal(r.values(x), r.to_numpy(x))

    def test_assignment_problem_from_a_variable_matrix(self):
        # One 1 per row and per column of X; cost sum C_ij X_ij.
        seed = random.randrange(1 << 30)
        rng = np.random.default_rng(seed)
        n = 4
        cost = rng.integers(0, 50, (n, n))
        X = vexa.var_array("asg", (n, n))
        penalty = 1000
        rows = vexa.einsum("ij->i", X) - 1
        cols = vexa.einsum("ij->j", X) - 1
        obj = vexa.einsum("ij,ij->", cost, X) + penalty * (vexa.sum(r ** 2 for r in rows) + vexa.sum(c ** 2 for c in cols))
        r = vexa.solve(vexa.Model(obj), "exhaustive")
        best = min(sum(int(cost[i, p[i]]) for i in range(n)) for p in itertools.permutations(range(n)))
        assert r.energy == best, f"seed {seed}"
        chosen = r.values(X)
        assert chosen.shape == (n, n)
        assert (chosen.sum(axis=0) == 1).all() and (chosen.sum(axis=1) == 1).all()
        assert int((chosen * cost).sum()) == best


class TestValues:
    def test_mixed_arrays_and_big_values(self):
        x, y = vexa.Var("vmx"), vexa.Var("vmy")
        n = vexa.IntVar("vmn", 0, 9)
        r = vexa.solve(vexa.Model((x - 1) ** 2 + (y - 0) ** 2 + (n - 6) ** 2), "exhaustive")
        assert r.energy == 0
        got = r.values([[x, ~x, 5], [x + 2 * y + 3, n, 2 * n]])
        assert got.dtype == np.int64
        assert got.tolist() == [[1, 0, 5], [4, 6, 12]]
        big = r.values(vexa.asarray([2 ** 80 * x, x - 2 ** 70]))
        assert big.dtype == object and big.tolist() == [2 ** 80, 1 - 2 ** 70]
        # A variable the model does not hold reads as 0 (its negation as 1),
        # alone or beside other kinds of elements; in an expression its terms
        # count as 0.
        outside = vexa.Var("vm_outside")
        assert r.values([outside, ~outside, x]).tolist() == [0, 1, 1]
        assert r.values([outside, ~outside, 2 * x]).tolist() == [0, 1, 2]
        assert r.values([outside + x]).tolist() == [1]

    def test_refused_arrays(self):
        x = vexa.Var("vrx")
        r = vexa.solve(vexa.Model(x), "exhaustive")
        with pytest.raises(TypeError):
            r.values(np.array([1, 2]))
        with pytest.raises(TypeError, match="float"):
            r.values([x, 1.5])
        with pytest.raises(KeyError):
            r.values([vexa.NativeIntVar("vr_outside", 0, 3)])
        with pytest.raises(ValueError, match="declared"):
            r.values([vexa.cons(x == 1)])
        with pytest.raises(ValueError, match="declared"):
            r[vexa.cons(x == 1)]


class TestArrayClass:
    def test_numpy_operations_keep_the_class(self):
        X = vexa.var_array("cls", (2, 3))
        assert isinstance(X, np.ndarray) and isinstance(X, vexa.Array)
        for derived in (X[0], X.T, X.reshape(3, 2), X + 1, 2 * X, X.ravel()):
            assert isinstance(derived, vexa.Array)
        assert str(vexa.simplify((X + 1)[1, 2])) == "1 +cls[1][2]"
        # A plain object array becomes one, sharing its data.
        plain = np.array([X[0, 0], X[0, 1] + 1], dtype=object)
        view = vexa.asarray(plain)
        assert isinstance(view, vexa.Array) and np.shares_memory(view, plain)
        assert isinstance(view @ np.array([1, 2]), vexa.Expr)

    def test_in_place_product_rebinds(self):
        x = vexa.var_array("ipx", 2)
        y = x
        y @= np.array([[1, 0], [0, 1]])
        assert y is not x and isinstance(x[0], vexa.Var)
        assert [str(e) for e in y] == ["ipx[0]", "ipx[1]"]

    def test_large_contraction_releases_the_gil(self):
        n = 700
        x = vexa.var_array("gil", n)
        q = np.ones((n, n), dtype=np.int64)
        stamps = []
        done = threading.Event()

        def tick():
            while not done.is_set():
                stamps.append(time.perf_counter())
                time.sleep(0.0005)

        t = threading.Thread(target=tick)
        t.start()
        time.sleep(0.01)
        begin = time.perf_counter()
        e = vexa.einsum("i,ij,j->", x, q, x)
        end = time.perf_counter()
        done.set()
        t.join()
        assert len(e) == n * n
        assert any(begin < s < end for s in stamps), f"no tick in {end - begin:.3f} s of contraction"


class TestErrors:
    def test_non_integer_dtypes(self):
        x = vexa.var_array("tx", 2)
        with pytest.raises(TypeError, match="float64"):
            x @ np.ones((2, 2))
        with pytest.raises(TypeError, match="float64"):
            np.ones(2) @ x
        with pytest.raises(TypeError, match="float64"):
            vexa.einsum("ij,j->i", np.ones((2, 2)), x)
        with pytest.raises(TypeError, match="float"):
            vexa.einsum("i,i->", np.array([1, 0.5], dtype=object), x)
        with pytest.raises(TypeError):
            vexa.einsum("i,i->", np.array(["a", "b"]), x)
        with pytest.raises(TypeError, match="NoneType"):
            vexa.einsum("i,i->", np.empty(2, dtype=object), x)
        with pytest.raises(TypeError):
            x @ 3

    def test_shapes_and_subscripts(self):
        x = vexa.var_array("sx", 3)
        q = np.ones((2, 3), dtype=np.int64)
        with pytest.raises(ValueError, match=r"label 'j' has extent 3 and 2"):
            x @ q
        with pytest.raises(ValueError, match="extent"):
            vexa.einsum("ij,j->i", q.T, x)
        with pytest.raises(ValueError, match=r"has 2 axes but \"i\" names 1"):
            vexa.einsum("i,j->ij", q, x)
        with pytest.raises(ValueError, match="input subscripts separated by ','"):
            vexa.einsum("ij", q, x)
        with pytest.raises(ValueError, match="output label 'k' is in no input"):
            vexa.einsum("ij,j->k", q, x)
        with pytest.raises(ValueError, match="at least one operand"):
            vexa.einsum("->")
        with pytest.raises(ValueError, match="one or two axes"):
            vexa.var_array("s3", (2, 2, 2)) @ np.ones((2, 2), dtype=np.int64)
        with pytest.raises(ValueError, match="one or two axes"):
            x @ np.array(2)

    def test_degree_above_two(self):
        x = vexa.var_array("dx", 2)
        with pytest.raises(ValueError, match=r"degrees add up to 3 \(1 \+ 1 \+ 1\)"):
            vexa.einsum("i,i,i->", x, x, x)
        with pytest.raises(ValueError, match="add up to 3"):
            vexa.asarray([x @ x]) @ vexa.asarray([x[0]])
        with pytest.raises(ValueError, match="add up to 4"):
            vexa.einsum("i,i->", vexa.asarray([x[0] * x[1], 1]), vexa.asarray([x[0] * x[1], 1]))
