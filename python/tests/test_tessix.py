"""The accelerated solver from Python: searches, progress, hints, stopping."""
import csv
import os
import random
import signal
import threading
import time

import numpy as np
import pytest

import vexa

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.environ.get("VEXA_EXAMPLE_DATA", os.path.join(HERE, "..", "..", "examples", "data"))
BENCH = os.environ.get("VEXA_BENCH_DIR", "/work/shared/bench")


def read_qubo(path):
    """A .qubo file ('p qubo 0 n ...' then 'i j w' lines) as the arrays of
    the minimisation of -f, f the file's polynomial (its best known values are
    maxima of f)."""
    rows, cols, coeffs = [], [], []
    n = None
    with open(path) as f:
        for line in f:
            parts = line.split()
            if not parts or parts[0] == "c":
                continue
            if parts[0] == "p":
                n = int(parts[3])
                continue
            rows.append(int(parts[0]))
            cols.append(int(parts[1]))
            w = float(parts[2])
            assert w == int(w)
            coeffs.append(-int(w))
    return n, np.array(coeffs, dtype=np.int64), np.array(rows), np.array(cols)


def qubo_energy(coeffs, rows, cols, bits):
    return int(sum(int(c) * int(bits[i]) * int(bits[j]) for c, i, j in zip(coeffs, rows, cols)))


def shipped_instances():
    """bqp50 instances with their best known energies: the benchmark set where
    it is present, else the copy under examples/data."""
    table = os.path.join(BENCH, "best_known.csv")
    if os.path.exists(table):
        with open(table) as f:
            rows = [r for r in csv.DictReader(f) if r["instance"].startswith("bqp50_")]
        return [(os.path.join(BENCH, r["file"]), int(r["best_known_energy"])) for r in rows[:4]]
    return [(os.path.join(DATA, "bqp50_1.qubo"), -2098)]


def maxcut_model(seed, n=300, p=0.05):
    rng = random.Random(seed)
    coeffs, rows, cols = [], [], []
    for i in range(n):
        for j in range(i + 1, n):
            if rng.random() < p:
                w = rng.randint(1, 5)
                coeffs += [-w, -w, 2 * w]
                rows += [i, j, i]
                cols += [i, j, j]
    return vexa.Model.from_arrays(np.array(coeffs, dtype=np.int64), np.array(rows), np.array(cols), n=n)


class TestShippedInstances:
    @pytest.mark.parametrize("path,best", shipped_instances())
    def test_reaches_best_known(self, path, best):
        n, c, r, k = read_qubo(path)
        model = vexa.Model.from_arrays(c, r, k, n=n)
        result = vexa.TessixSolver(model).search(time_limit=30, seed=7, target=best)
        assert result.energy == best, path
        assert qubo_energy(c, r, k, result.to_numpy()) == best
        # The same search through vexa.solve.
        assert vexa.solve(model, "tessix", time_limit=30, seed=3, target=best).energy == best


class TestProgress:
    def test_energies_are_exact_and_events_ordered(self):
        n, c, r, k = read_qubo(shipped_instances()[0][0])
        model = vexa.Model.from_arrays(c, r, k, n=n)
        solver = vexa.TessixSolver(model)
        calls = []
        threads = set()

        def watch(sol, event):
            threads.add(threading.get_ident())
            calls.append((event, sol.energy, sol.to_numpy().copy()))

        solver.on_progress(watch)
        result = solver.search(time_limit=0.5, seed=11, threads=2)
        assert calls, "no progress reported"
        assert calls[0][0] == 0 and all(e == 1 for e, _, _ in calls[1:])
        for event, energy, bits in calls:
            assert energy == qubo_energy(c, r, k, bits), event
        bests = [energy for _, energy, _ in calls[1:]]
        assert all(a > b for a, b in zip(bests, bests[1:])), bests
        assert calls[-1][1] == result.energy
        assert threading.get_ident() not in threads  # called from the search's threads

    def test_returned_seconds_arm_the_timer(self):
        model = maxcut_model(3, n=60, p=0.2)
        solver = vexa.TessixSolver(model)
        events = []

        def every_50ms(sol, event):
            events.append(event)
            return 0.05

        solver.on_progress(every_50ms)
        solver.search(time_limit=0.6, seed=1)
        assert events.count(2) >= 3, events
        # None leaves the timer off.
        events.clear()
        solver.on_progress(lambda sol, event: events.append(event))
        solver.search(time_limit=0.4, seed=1)
        assert 2 not in events and events[0] == 0
        # Without a callable nothing is called.
        solver.on_progress(None)
        events.clear()
        solver.search(time_limit=0.1, seed=1)
        assert events == []

    def test_an_exception_in_the_callable_stops_the_search(self):
        solver = vexa.TessixSolver(maxcut_model(5))

        class Enough(Exception):
            pass

        def stop_at_first_best(sol, event):
            if event == 1:
                raise Enough(sol.energy)

        solver.on_progress(stop_at_first_best)
        start = time.monotonic()
        with pytest.raises(Enough):
            solver.search(time_limit=30, seed=2)
        assert time.monotonic() - start < 10
        # The solver stays usable, and a callable returning something that is
        # not a number of seconds is an error too.
        solver.on_progress(lambda sol, event: "soon")
        with pytest.raises(TypeError):
            solver.search(time_limit=30)
        solver.on_progress(None)
        assert solver.search(time_limit=0.2).energy < 0
        with pytest.raises(TypeError):
            solver.on_progress(3)


class TestStopping:
    def test_terminate_from_another_thread(self):
        solver = vexa.TessixSolver(maxcut_model(11))
        timer = threading.Timer(0.3, solver.terminate)
        start = time.monotonic()
        timer.start()
        result = solver.search(time_limit=60, seed=1)
        elapsed = time.monotonic() - start
        timer.join()
        assert elapsed < 10, elapsed
        assert result.energy < 0

    def test_ctrl_c_raises_with_the_best_result(self):
        model = maxcut_model(12)
        timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
        start = time.monotonic()
        timer.start()
        with pytest.raises(KeyboardInterrupt) as info:
            vexa.TessixSolver(model).search(time_limit=60)
        timer.join()
        assert time.monotonic() - start < 10
        assert info.value.result.energy < 0
        assert info.value.result.to_numpy().shape == (300,)


def subset_sum_model(seed, n=40):
    """An integer model whose optimum 0 is a needle: a subset of 41-bit
    numbers summing exactly to a target (the sum of a random subset; with 2^40
    subsets over a range of some 2^45 sums it is almost surely the only exact
    one), plus a native integer pinned at 3. Returns the model, its variables
    and the planted subset."""
    rng = random.Random(seed)
    numbers = [rng.randrange(2 ** 40, 2 ** 41) for _ in range(n)]
    chosen = [rng.randrange(2) for _ in range(n)]
    target = sum(a for a, b in zip(numbers, chosen) if b)
    x = vexa.var_array(f"ss{seed}_", n)
    k = vexa.NativeIntVar(f"ssk{seed}", 0, 10)
    model = vexa.Model((vexa.sum(a * v for a, v in zip(numbers, x)) - target) ** 2 + (k - 3) ** 2)
    return model, x, k, chosen


class TestHints:
    def test_a_hint_from_another_thread_reaches_the_result(self):
        seed = random.randrange(1 << 30)
        model, x, k, chosen = subset_sum_model(seed)
        solver = vexa.TessixSolver(model)
        plain = solver.search(time_limit=1.0, seed=1, threads=1)
        assert plain.energy > 0, f"seed {seed}: the search found the needle by itself"
        needle = vexa.Sol(model, {**{v: b for v, b in zip(x, chosen)}, k: 3})
        assert needle.energy == 0
        timer = threading.Timer(0.3, solver.hint, (needle,))
        timer.start()
        hinted = solver.search(time_limit=1.5, seed=1, threads=1)
        timer.join()
        assert hinted.energy == 0, f"seed {seed}"
        assert list(hinted.to_numpy(x)) == chosen and hinted[k] == 3

    def test_search_from_a_hint(self):
        model, x, k, chosen = subset_sum_model(77)
        needle = vexa.Sol(model, {**{v: b for v, b in zip(x, chosen)}, k: 3})
        result = vexa.TessixSolver(model).search(time_limit=0.2, hint=needle)
        assert result.energy == 0

    def test_bad_hints_and_solutions(self):
        model, x, k, _ = subset_sum_model(5, n=8)
        other, _, _, _ = subset_sum_model(6, n=8)
        solver = vexa.TessixSolver(model)
        with pytest.raises(ValueError, match="another model"):
            solver.search(time_limit=0.1, hint=vexa.Sol(other))
        with pytest.raises(ValueError, match="another model"):
            solver.hint(vexa.Sol(other))
        with pytest.raises(TypeError):
            solver.hint({x[0]: 1})
        with pytest.raises(ValueError):
            vexa.Sol(model, {k: 11})
        with pytest.raises(ValueError):
            vexa.Sol(model, {x[0]: 2})
        with pytest.raises(KeyError):
            vexa.Sol(model, {vexa.Var("not_in_model"): 1})
        with pytest.raises(TypeError):
            vexa.Sol(model, {"ss5_[0]": 1})
        binary = maxcut_model(1, n=20, p=0.3)
        b = vexa.TessixSolver(binary)
        with pytest.raises(ValueError, match="integer variables"):
            b.search(time_limit=0.1, hint=vexa.Sol(binary))
        b.hint(vexa.Sol(binary))  # a binary search takes hints while it runs


class TestSettings:
    def test_gpu_mode_without_a_device(self):
        model = maxcut_model(2, n=10, p=0.5)
        if vexa.TessixSolver.device_count() > 0:
            pytest.skip("this machine has a GPU")
        with pytest.raises(ValueError, match="needs a GPU"):
            vexa.TessixSolver(model, gpu_mode=1)
        # A negative gpu_mode falls back to the CPU.
        assert vexa.TessixSolver(model, gpu_mode=-1).search(time_limit=0.1).energy < 0

    def test_bad_settings(self):
        solver = vexa.TessixSolver(maxcut_model(2, n=10, p=0.5))
        with pytest.raises(ValueError):
            solver.search(time_limit=0)
        with pytest.raises(ValueError):
            solver.search(threads=0)
        with pytest.raises(TypeError):
            vexa.TessixSolver("model")
