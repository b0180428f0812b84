#!/usr/bin/env bash
# Builds everything and solves a shipped instance with the vexa tool:
# Beasley's bqp50_1 (best known maximum 2098, energy -2098).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
build/release/out/vexa solve examples/data/bqp50_1.qubo --time-limit 2 --seed 1
