"""Models, searches and results through the Python module."""
import itertools
import os
import random
import signal
import threading
import time

import numpy as np
import pytest

import vexa


def random_graph(rng, n, p):
    return [(i, j, rng.randint(1, 5)) for i in range(n) for j in range(i + 1, n) if rng.random() < p]


def cut_value(edges, bits):
    return sum(w for i, j, w in edges if bits[i] != bits[j])


def maxcut_arrays(edges):
    # cut = sum w (x_i + x_j - 2 x_i x_j); the model minimises -cut.
    coeffs, rows, cols = [], [], []
    for i, j, w in edges:
        coeffs += [-w, -w, 2 * w]
        rows += [i, j, i]
        cols += [i, j, j]
    return np.array(coeffs, dtype=np.int64), np.array(rows), np.array(cols)


class TestMaxCut:
    def test_heuristic_reaches_the_exhaustive_optimum(self):
        seed = random.randrange(1 << 30)
        rng = random.Random(seed)
        edges = random_graph(rng, 14, 0.4)
        model = vexa.Model.from_arrays(*maxcut_arrays(edges), n=14)
        best = max(cut_value(edges, bits) for bits in itertools.product((0, 1), repeat=14))
        exact = vexa.solve(model, "exhaustive")
        assert exact.energy == -best, f"seed {seed}"
        heur = vexa.solve(model, "nimba", time_limit=0.5, seed=seed, target=-best)
        assert heur.energy == -best, f"seed {seed}"
        bits = heur.to_numpy()
        assert bits.shape == (14,) and bits.dtype == np.int8
        assert cut_value(edges, bits) == best, f"seed {seed}"

    def test_qubo_dict_equals_arrays(self):
        rng = random.Random(5)
        edges = random_graph(rng, 10, 0.5)
        q = {}
        for i, j, w in edges:
            q[(i, i)] = q.get((i, i), 0) - w
            q[(j, j)] = q.get((j, j), 0) - w
            q[(i, j)] = 2 * w
        a = vexa.solve(vexa.Model.from_qubo(q), "exhaustive")
        b = vexa.solve(vexa.Model.from_arrays(*maxcut_arrays(edges)), "exhaustive")
        assert a.energy == b.energy == -max(cut_value(edges, bits) for bits in itertools.product((0, 1), repeat=10))


class TestNumberPartitioning:
    def test_optimum_difference(self):
        seed = random.randrange(1 << 30)
        rng = random.Random(seed)
        numbers = [rng.randint(1, 10 ** 6) * 2 ** 70 for _ in range(12)]  # beyond 64-bit energies
        x = vexa.var_array("part", len(numbers))
        total = sum(numbers)
        diff = 2 * vexa.sum(a * v for a, v in zip(numbers, x)) - total
        model = vexa.Model(diff ** 2)
        best = min(
            (2 * sum(a for a, b in zip(numbers, bits) if b) - total) ** 2
            for bits in itertools.product((0, 1), repeat=len(numbers))
        )
        r = vexa.solve(model, "exhaustive")
        assert r.energy == best, f"seed {seed}"
        chosen = r.to_numpy(x)
        assert (2 * sum(a for a, b in zip(numbers, chosen) if b) - total) ** 2 == best
        assert r.sample == {v.name: int(b) for v, b in zip(x, chosen)}


class TestNumpy:
    def test_object_coefficients_and_int64_agree(self):
        seed = random.randrange(1 << 30)
        rng = np.random.default_rng(seed)
        n, m = 9, 40
        rows = rng.integers(0, n, m)
        cols = rng.integers(0, n, m)
        coeffs = rng.integers(-50, 50, m)
        big = 2 ** 90
        a = vexa.solve(vexa.Model.from_arrays(coeffs, rows, cols, constant=big), "exhaustive")
        b = vexa.solve(
            vexa.Model.from_arrays(np.array([int(c) * big for c in coeffs], dtype=object), rows, cols), "exhaustive"
        )
        assert a.energy - big == (b.energy // big), f"seed {seed}"
        assert b.energy % big == 0

    def test_result_arrays_keep_the_shape(self):
        x = vexa.var_array("shape", (3, 2))
        target = np.array([[1, 0], [0, 1], [1, 1]])
        expr = vexa.sum((v - int(t)) ** 2 for v, t in zip(x.ravel(), target.ravel()))
        r = vexa.solve(vexa.Model(expr), "exhaustive")
        assert r.energy == 0
        np.testing.assert_array_equal(r.to_numpy(x), target)
        assert r.to_numpy(x).shape == (3, 2)

    def test_bad_arrays(self):
        c = np.array([1, 2, 3])
        r = np.array([0, 1, 2])
        with pytest.raises(ValueError, match="same length"):
            vexa.Model.from_arrays(c, r, np.array([0, 1]))
        with pytest.raises(ValueError, match="negative"):
            vexa.Model.from_arrays(c, r, np.array([0, -1, 2]))
        with pytest.raises(TypeError):
            vexa.Model.from_arrays(np.array([1.0, 2.0, 3.0]), r, r)
        with pytest.raises(TypeError):
            vexa.Model.from_arrays(np.array([1, 2.5, 3], dtype=object), r, r)
        with pytest.raises(TypeError):
            vexa.Model.from_arrays(c, np.array([0.0, 1.0, 2.0]), r)
        with pytest.raises(ValueError):
            vexa.Model.from_arrays(c.reshape(3, 1), r, r)
        with pytest.raises(ValueError):
            vexa.Model.from_arrays(c, r, r, n=2)
        with pytest.raises(TypeError):
            vexa.Model.from_qubo({(0, "a"): 1})
        with pytest.raises(TypeError):
            vexa.Model.from_qubo({(0, 1): 0.5})


class TestSearchSettings:
    def model(self):
        x, y = vexa.Var("sx"), vexa.Var("sy")
        return vexa.Model((x + y - 1) ** 2), x, y

    def test_result_fields(self):
        m, x, y = self.model()
        r = vexa.solve(m, "nimba", time_limit=0.2, seed=3, threads=1, topk=2)
        assert r.energy == 0 and r[x] + r[y] == 1
        assert isinstance(r.info["run_time"], float)
        assert r.info["seed"] == 3 and r.info["threads"] == 1
        assert 0 <= r.tts <= r.info["run_time"] + 0.1
        assert set(r.sample) == {"sx", "sy"}
        assert (x + 2 * y).eval({x: r[x], y: r[y]}) == r[x + 2 * y]

    def test_topk_solutions_are_distinct_and_ordered(self):
        x = vexa.var_array("tk", 4)
        weights = [5, -2, 3, 1]
        m = vexa.Model(vexa.sum(w * v for w, v in zip(weights, x)))
        r = vexa.solve(m, "exhaustive", topk=3)
        sols = r.topk
        assert len(sols) == 3
        energies = [s.energy for s in sols]
        assert energies == sorted(energies) and energies[0] == r.energy == -2
        assert len({tuple(s.to_numpy()) for s in sols}) == 3
        for s in sols:
            assert s.energy == sum(w * int(b) for w, b in zip(weights, s.to_numpy(x)))
        with pytest.raises(TypeError):
            r.to_numpy(["tk"])
        with pytest.raises(TypeError):
            r.to_numpy(vexa.var_array("tk2", 2).astype(str))

    def test_bad_settings(self):
        m, _, _ = self.model()
        with pytest.raises(ValueError, match="unknown solver"):
            vexa.solve(m, "annealer")
        for bad in (0, -1.0, float("nan"), float("inf")):
            with pytest.raises(ValueError):
                vexa.solve(m, time_limit=bad)
        with pytest.raises(TypeError):
            vexa.solve(m, time_limit="1")
        with pytest.raises(ValueError):
            vexa.solve(m, seed=-1)
        with pytest.raises(ValueError):
            vexa.solve(m, seed=2 ** 64)
        with pytest.raises(ValueError):
            vexa.solve(m, threads=0)
        with pytest.raises(ValueError):
            vexa.solve(m, topk=-2)
        with pytest.raises(TypeError):
            vexa.solve(m, target=1.5)
        with pytest.raises(TypeError):
            vexa.solve("model")

    def test_reading_what_the_model_lacks(self):
        m, _, _ = self.model()
        r = vexa.solve(m, "exhaustive")
        with pytest.raises(KeyError):
            r[vexa.Var("outside")]
        with pytest.raises(KeyError):
            r[vexa.NativeIntVar("outside_int", 0, 3)]
        with pytest.raises(TypeError):
            r["sx"]


class TestIntegers:
    def test_encoded_integer(self):
        n = vexa.IntVar("enc", 0, 100)
        r = vexa.solve(vexa.Model((n - 77) ** 2), "exhaustive")
        assert r.energy == 0 and r[n] == 77
        assert n.lower == 0 and n.upper == 100

    def test_native_integer(self):
        k = vexa.NativeIntVar("nat", -5, 20)
        x = vexa.Var("natx")
        m = vexa.Model((k - 2 * x - 9) ** 2 + x)
        r = vexa.solve(m, "exhaustive")
        assert r.energy == 0 and r[k] == 9 and r[x] == 0
        assert r.sample["nat"] == 9


class TestConstraints:
    def test_declared_rows_and_report(self):
        x = vexa.var_array("cx", 3)
        rule = vexa.cons(10 * (vexa.sum(x) == 1))  # a violation costs 10 * distance^2
        cost = 3 * x[0] + x[1] + 2 * x[2]
        m = vexa.Model(cost + rule)
        assert m.native_constraint_count == 1
        r = vexa.solve(m, "exhaustive")
        assert r.energy == 1 and r[x[1]] == 1
        rows = r.report(rule)
        assert len(rows) == 1 and rows[0]["violated"] is False and rows[0]["value"] == 1
        assert rows[0]["weight"] == 10 and rows[0]["text"] == "== 1"
        # The constraint cost is the library's: all zeros pay the weight.
        zeros = vexa.solve(vexa.Model(5 * vexa.sum(x) + rule), "exhaustive")
        assert zeros.energy == 5 and sum(zeros.to_numpy(x)) == 1

    def test_penalty_form(self):
        x, y = vexa.Var("px"), vexa.Var("py")
        c = x + y == 1
        for a in itertools.product((0, 1), repeat=2):
            assert c.penalty.eval({x: a[0], y: a[1]}) == (a[0] + a[1] - 1) ** 2
        r = vexa.solve(vexa.Model(-x - y + 5 * (x + y <= 1)), "exhaustive")
        assert r.energy == -1
        rows = r.report(-x - y + 5 * (x + y <= 1))
        assert rows[0]["upper"] == 1 and not rows[0]["violated"]


class TestStopping:
    def big_model(self):
        rng = random.Random(11)
        edges = random_graph(rng, 300, 0.05)
        return vexa.Model.from_arrays(*maxcut_arrays(edges))

    def test_stop_from_another_thread(self):
        solver = vexa.Solver(self.big_model(), "nimba")
        timer = threading.Timer(0.3, solver.stop)
        start = time.monotonic()
        timer.start()
        r = solver.solve(time_limit=30)
        elapsed = time.monotonic() - start
        timer.join()
        assert elapsed < 10, elapsed
        assert r.energy < 0

    def test_ctrl_c_raises_with_the_best_result(self):
        model = self.big_model()
        timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
        start = time.monotonic()
        timer.start()
        with pytest.raises(KeyboardInterrupt) as info:
            vexa.solve(model, "nimba", time_limit=30)
        timer.join()
        assert time.monotonic() - start < 10
        assert info.value.result.energy < 0
        assert info.value.result.to_numpy().shape == (300,)
