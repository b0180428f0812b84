#!/usr/bin/env python3
"""Number partitioning with the Python module.

The numbers a_i are split into two sets whose sums are as close as can be.
With x_i = 1 for the numbers of the first set, the difference of the sums is
d = 2 a.x - sum(a), and the model minimises d^2. The product a.x of the
NumPy array of numbers with the array of variables is one contraction in the
library. Numbers are Python ints of any size; energies stay exact.

    number_partitioning.py [NUMBERS ...] [--random N] [--bits B] [--seed S]
                           [--solver exhaustive|nimba] [--time-limit S]

Without numbers, N random numbers of B bits are drawn (default 16 of 40).
The solver defaults to exhaustive up to 20 numbers, nimba above.
"""
import argparse
import random
import sys

import numpy as np

import vexa


def partition_model(numbers):
    """The model of the squared difference, with its array of variables."""
    a = np.array(numbers, dtype=object)  # Python ints, exact at any size
    x = vexa.var_array("x", len(numbers))
    difference = 2 * (a @ x) - sum(numbers)
    return vexa.Model(difference ** 2), x


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("numbers", nargs="*", type=int)
    parser.add_argument("--random", type=int, default=16, help="count of random numbers when none are given")
    parser.add_argument("--bits", type=int, default=40, help="size of the random numbers")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--solver", choices=("exhaustive", "nimba"))
    parser.add_argument("--time-limit", type=float, default=1.0, help="seconds, for nimba")
    args = parser.parse_args()

    numbers = args.numbers
    if not numbers:
        rng = random.Random(args.seed)
        numbers = [rng.randrange(1, 2 ** args.bits) for _ in range(args.random)]
    solver = args.solver or ("exhaustive" if len(numbers) <= 20 else "nimba")
    model, x = partition_model(numbers)
    print(f"{len(numbers)} numbers, sum {sum(numbers)}")

    try:
        if solver == "nimba":
            r = vexa.solve(model, "nimba", time_limit=args.time_limit, seed=args.seed, target=0)
        else:
            r = vexa.solve(model, "exhaustive")
    except KeyboardInterrupt as stop:
        r = stop.result  # Ctrl-C: the best found so far
    side = r.values(x)
    first = [a for a, s in zip(numbers, side) if s]
    second = [a for a, s in zip(numbers, side) if not s]
    difference = abs(sum(first) - sum(second))
    assert difference ** 2 == r.energy
    print(f"difference {difference} ({solver}, {r.tts:.3f} s)")
    print("first " + " ".join(map(str, first)))
    print("second " + " ".join(map(str, second)))
    print("sides " + "".join(str(s) for s in side))
    return 0


if __name__ == "__main__":
    sys.exit(main())
