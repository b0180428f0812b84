#!/usr/bin/env bash
# Builds everything and runs the main example.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
build/release/out/vexa_demo
