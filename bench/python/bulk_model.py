#!/usr/bin/env python3
"""Time of building a model of many terms from NumPy arrays through the
Python module's bulk path (Model.from_arrays), against the same model built
by the C++ bulk path (TermList, Expr::from_terms, Model::from).

    PYTHONPATH=build/release/out bench/python/bulk_model.py [--terms N] [--vars V] [--repeats R]

Both sides take the best of R runs; the ratio is Python time / C++ time.
"""
import argparse
import os
import subprocess
import sys
import tempfile
import time

import numpy as np

import vexa


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--terms", type=int, default=10 ** 6)
    parser.add_argument("--vars", type=int, default=10 ** 5)
    parser.add_argument("--repeats", type=int, default=3)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--cpp", default=os.path.join(os.path.dirname(vexa.__file__), "vexa_bench_bulk_model"))
    args = parser.parse_args()

    rng = np.random.default_rng(args.seed)
    rows = rng.integers(0, args.vars, args.terms, dtype=np.int64)
    cols = rng.integers(0, args.vars, args.terms, dtype=np.int64)
    coeffs = rng.integers(-1000, 1000, args.terms, dtype=np.int64)

    best = float("inf")
    for _ in range(args.repeats):
        t0 = time.perf_counter()
        model = vexa.Model.from_arrays(coeffs, rows, cols, n=args.vars)
        best = min(best, time.perf_counter() - t0)
    py_terms = model.term_count(1) + model.term_count(2)

    # The same coefficients as an object array of Python ints.
    objects = coeffs.astype(object)
    best_obj = float("inf")
    for _ in range(args.repeats):
        t0 = time.perf_counter()
        vexa.Model.from_arrays(objects, rows, cols, n=args.vars)
        best_obj = min(best_obj, time.perf_counter() - t0)

    with tempfile.NamedTemporaryFile(suffix=".bin", delete=False) as f:
        f.write(np.array([args.vars, args.terms], dtype=np.int64).tobytes())
        for a in (coeffs, rows, cols):
            f.write(a.tobytes())
        path = f.name
    try:
        out = subprocess.run([args.cpp, path, str(args.repeats)], capture_output=True, text=True, check=True).stdout
    finally:
        os.unlink(path)
    cpp_time, cpp_terms = out.split()
    cpp_time = float(cpp_time)
    if int(cpp_terms) != py_terms:
        sys.exit(f"the two models differ: {py_terms} against {cpp_terms} terms")

    print(f"{args.terms} terms over {args.vars} variables, {py_terms} after merging, "
          f"threads {os.environ.get('VEXA_NUM_THREADS', 'all')}")
    print(f"python from_arrays  {best:.3f} s")
    print(f"python object ints  {best_obj:.3f} s")
    print(f"C++ from_terms      {cpp_time:.3f} s")
    print(f"ratio               {best / cpp_time:.2f} (int64), {best_obj / cpp_time:.2f} (object)")


if __name__ == "__main__":
    main()
