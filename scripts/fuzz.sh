#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each over a copy of its seed corpus for the given
# number of seconds (default 60). Any crash, leak or sanitizer report fails the run.
# Usage: scripts/fuzz.sh [SECONDS-PER-TARGET] [TARGET...] (default: every target).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)" --target fuzzers
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(build/fuzz/fuzz/fuzz_*)
for target in "${targets[@]}"; do
  [[ $target == */* ]] || target=build/fuzz/fuzz/$target
  [ -x "$target" ] || continue
  name=$(basename "$target")
  mkdir -p "$work/$name"
  if [ -d "fuzz/corpus/$name" ]; then cp -r "fuzz/corpus/$name/." "$work/$name/"; fi
  echo "== $name ($seconds s)"
  (cd "$work" && "$OLDPWD/$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 \
      -print_final_stats=0 "$work/$name" 2>"$work/$name.log") || { tail -50 "$work/$name.log"; exit 1; }
  # Executions and coverage of the run, for the README's table.
  grep -E '^#[0-9]+[[:space:]]+DONE' "$work/$name.log" | tail -1 || true
done
echo "fuzz: every target ran clean"
