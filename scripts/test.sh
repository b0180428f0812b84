#!/usr/bin/env bash
# Builds everything and runs every test. Usage: scripts/test.sh [release|asan|debug]
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-release}"
scripts/setup.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
