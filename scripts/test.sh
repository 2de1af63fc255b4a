#!/usr/bin/env bash
# Builds and runs every test, once in the normal build and once under AddressSanitizer and
# UndefinedBehaviorSanitizer. Pass "default" or "asan" to run only one of them.
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("${@:-default asan}")
# shellcheck disable=SC2206
presets=(${presets[*]})
jobs=$(nproc)

for preset in "${presets[@]}"; do
  echo "== $preset build"
  cmake --preset "$preset" -DARCHIVEFILE_WERROR=ON >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== $preset tests"
  ctest --preset "$preset" -j "$jobs"
done
