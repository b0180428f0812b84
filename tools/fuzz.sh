#!/usr/bin/env bash
# Fuzzes each reader of the vexa tool with libFuzzer (clang-14), SECONDS each
# (default 60), starting from the shipped instances and small samples. New
# inputs stay in build/fuzz/corpus; a crash leaves its input in build/fuzz/.
# Usage: tools/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
build=build/fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DVEXA_FUZZ=ON -DVEXA_BUILD_TESTS=OFF -DVEXA_BUILD_BENCH=OFF >/dev/null
targets=(qubo matrix gset detect lp)
cmake --build "$build" --target "${targets[@]/#/fuzz_}"

seed_dir="$build/seeds"
mkdir -p "$seed_dir"
cp examples/data/bqp50_1.qubo "$seed_dir/"
head -40 examples/data/G11.txt | sed '1s/.*/800 39/' > "$seed_dir/g11_head"
printf '3 3\n1 1 5\n1 3 -2\n3 2 7\n' > "$seed_dir/matrix"
printf '2\n2 1\n1 2 4\n3 2\n1 1 -1\n3 3 6\n' > "$seed_dir/beasley"
printf 'x.qubo\np qubo 0 2 1 1\n0 0 3\n0 1 -2.0\n' > "$seed_dir/named"
printf 'Maximize\n obj: 3 x + 2 y - n + [ 2 x * y - 4 y ^ 2 ] / 2\nSubject To\n c1: x + y <= 1\n -1 <= y + n <= 3\nBounds\n -2 <= n <= 4\nGenerals\n n\nBinaries\n x y\nEnd\n' > "$seed_dir/model.lp"

status=0
for t in "${targets[@]}"; do
  corpus="$build/corpus/$t"
  mkdir -p "$corpus"
  echo "== fuzz_$t: $seconds s"
  (cd "$build" && "./out/fuzz_$t" "corpus/$t" "seeds" -dict=../../tools/vexa/fuzz/readers.dict \
      -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 2>&1) \
    | grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|==[0-9]+==ERROR|SUMMARY|artifact_prefix|Test unit written)' \
    || true
  if ls "$build"/crash-* "$build"/leak-* "$build"/timeout-* >/dev/null 2>&1; then status=1; fi
done
exit $status
