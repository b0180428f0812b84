#!/usr/bin/env python3
"""Max-Cut of a G-set graph with the Python module.

The cut of an assignment is the weight of the edges whose ends differ,
sum w (x_i + x_j - 2 x_i x_j). The solver minimises, so the energy is -cut.
The edges are read with NumPy and go into the model in one bulk call.

    maxcut.py [GRAPH] [--time-limit S] [--seed N]
    (default graph: examples/data/G11.txt)
"""
import argparse
import os
import sys

import numpy as np

import vexa

HERE = os.path.dirname(os.path.abspath(__file__))
DEFAULT_GRAPH = os.path.join(HERE, "..", "..", "examples", "data", "G11.txt")


def read_gset(path):
    with open(path) as f:
        n, m = (int(t) for t in f.readline().split()[:2])
        edges = np.loadtxt(f, dtype=np.int64, ndmin=2)
    if edges.shape != (m, 3):
        raise ValueError(f"{path}: expected {m} edges of 'i j w', found {edges.shape[0]}")
    i, j, w = edges[:, 0] - 1, edges[:, 1] - 1, edges[:, 2]
    if (i < 0).any() or (j < 0).any() or (i >= n).any() or (j >= n).any():
        raise ValueError(f"{path}: a vertex lies outside 1..{n}")
    return n, i, j, w


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("graph", nargs="?", default=DEFAULT_GRAPH)
    parser.add_argument("--time-limit", type=float, default=2.0)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()

    n, i, j, w = read_gset(args.graph)
    coeffs = np.concatenate([-w, -w, 2 * w])
    rows = np.concatenate([i, j, i])
    cols = np.concatenate([i, j, j])
    model = vexa.Model.from_arrays(coeffs, rows, cols, n=n)
    print(f"{args.graph}: {n} vertices, {len(w)} edges")

    try:
        r = vexa.solve(model, "nimba", time_limit=args.time_limit, seed=args.seed)
    except KeyboardInterrupt as stop:
        r = stop.result  # Ctrl-C: the best found so far
    side = r.to_numpy()
    print(f"cut {-r.energy} found after {r.tts:.3f} s")
    print("sides " + "".join(str(b) for b in side))
    return 0


if __name__ == "__main__":
    sys.exit(main())
