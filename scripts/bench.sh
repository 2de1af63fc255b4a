#!/usr/bin/env bash
# Benchmarks: the Google Benchmark programs, and timed runs of vex on generated data.
# Usage: scripts/bench.sh [NAME...]   with no name every benchmark runs; names: float blockcoder
# Generated data goes under ${BENCH_DATA:-/tmp/archivefile-bench}, never into the repository.
set -euo pipefail
cd "$(dirname "$0")/.."

data=${BENCH_DATA:-/tmp/archivefile-bench}
build=build/default
mkdir -p "$data"

cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" >/dev/null

# Runs a Google Benchmark program from bench/ with any extra arguments.
google_bench() {
  local program=$1; shift
  echo "== $program"
  "$build/bench/$program" --benchmark_min_time=1 "$@"
}

bench_float() { google_bench bench_float; }
bench_blockcoder() { google_bench bench_blockcoder; }

all=(float blockcoder)
selected=("${@:-${all[@]}}")
for name in "${selected[@]}"; do
  if ! declare -F "bench_$name" >/dev/null; then
    echo "bench: unknown benchmark '$name' (known: ${all[*]})" >&2
    exit 2
  fi
  "bench_$name"
done
