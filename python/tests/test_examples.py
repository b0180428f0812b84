"""The example scripts run to the end and print what they claim."""
import itertools
import os
import random
import subprocess
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
EXAMPLES = os.environ.get("VEXA_PYTHON_EXAMPLES", os.path.join(HERE, "..", "examples"))
DATA = os.environ.get("VEXA_EXAMPLE_DATA", os.path.join(HERE, "..", "..", "examples", "data"))


def test_maxcut_on_g11():
    graph = os.path.join(DATA, "G11.txt")
    out = subprocess.run(
        [sys.executable, os.path.join(EXAMPLES, "maxcut.py"), graph, "--time-limit", "0.5"],
        capture_output=True, text=True, timeout=120, check=True,
    ).stdout
    lines = dict(line.split(" ", 1) for line in out.splitlines() if line.startswith(("cut ", "sides ")))
    cut = int(lines["cut"].split()[0])
    sides = np.array([int(c) for c in lines["sides"].strip()])
    # The printed cut is the cut of the printed sides, recomputed from the file.
    with open(graph) as f:
        n, _ = (int(t) for t in f.readline().split()[:2])
        edges = np.loadtxt(f, dtype=np.int64, ndmin=2)
    assert sides.shape == (n,)
    i, j, w = edges[:, 0] - 1, edges[:, 1] - 1, edges[:, 2]
    assert cut == int(w[sides[i] != sides[j]].sum())
    # G11's best known cut is 564; half a second gets close to it.
    assert 500 <= cut <= 564


def run_partitioning(*args):
    out = subprocess.run(
        [sys.executable, os.path.join(EXAMPLES, "number_partitioning.py"), *map(str, args)],
        capture_output=True, text=True, timeout=120, check=True,
    ).stdout
    return dict(line.split(" ", 1) for line in out.splitlines())


def test_number_partitioning_reaches_the_brute_force_optimum():
    seed = random.randrange(1 << 30)
    rng = random.Random(seed)
    # Beyond 64 bits: the squared difference is exact only as Python ints.
    numbers = [rng.randrange(1, 2 ** 20) * 2 ** 50 + rng.randrange(2 ** 50) for _ in range(12)]
    total = sum(numbers)
    best = min(abs(total - 2 * sum(a for a, b in zip(numbers, bits) if b))
               for bits in itertools.product((0, 1), repeat=len(numbers)))
    for solver_args in ((), ("--solver", "nimba", "--time-limit", "0.5", "--seed", seed)):
        lines = run_partitioning(*numbers, *solver_args)
        difference = int(lines["difference"].split()[0])
        assert difference == best, f"seed {seed} {solver_args}"
        # The printed sets are a split of the numbers with that difference.
        sides = [int(c) for c in lines["sides"].strip()]
        first = [int(t) for t in lines["first"].split()]
        second = [int(t) for t in lines["second"].split()]
        assert first == [a for a, s in zip(numbers, sides) if s]
        assert second == [a for a, s in zip(numbers, sides) if not s]
        assert abs(sum(first) - sum(second)) == difference, f"seed {seed} {solver_args}"
