#!/usr/bin/env bash
# Writes the seed files of fuzz_texture: small textures made by vex from a generated image in every
# format it writes, and an index texture written byte by byte. Usage: fuzz/texture_seeds.sh [BUILD]
# (default build/default); the files go to fuzz/corpus/fuzz_texture/.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build=${1:-$here/../build/default}
out="$here/corpus/fuzz_texture"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

"$build/bench/generate_texture_image" "$work/image.png" 8 8
for format in dxt1 dxt5 argb4444 argb1555 grey; do
  "$build/tools/vex/vex" -q texture from-png "$work/image.png" --format "$format" -o "$out/$format.paa"
done
# An index texture: AVGC, a palette of two colours, a 2 x 2 mipmap of byte-run packets and the end.
printf 'GGATCGVA\x04\x00\x00\x00\x01\x02\x03\x04\x02\x00\xff\x00\x00\x00\xff\x00\x02\x00\x02\x00\x05\x00\x00\x03\x00\x01\x01\x00\x00\x00\x00\x00\x00\x00' \
  >"$out/indexed.pac"
