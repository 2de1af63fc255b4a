#!/usr/bin/env bash
# Writes the seed files of fuzz_model, fuzz_texindex and fuzz_font: the sample model and texture
# index of samples/ (written by bench/generate_samples), and small headers and tables made here with
# printf. The files go to fuzz/corpus/.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
samples="$here/../samples/mod/data"
u32() { printf '\\x%02x\\x%02x\\x%02x\\x%02x' $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24 & 255)); }

models="$here/corpus/fuzz_model"
mkdir -p "$models"
cp "$samples/lamp.p3d" "$models/lamp.p3d"
# Kind 58 with a prefix and a table of two resolutions; kind 7 without a table; a demonstration form.
printf "ODOL$(u32 58)x\\\\demo\0$(u32 2)\xe7\x84\x11\x55\x00\x00\x80\x3fbody" >"$models/odol58"
printf "ODOL$(u32 7)$(u32 1)body" >"$models/odol7"
printf 'SP3Xdemonstration body' >"$models/sp3x"

indexes="$here/corpus/fuzz_texindex"
mkdir -p "$indexes"
cp "$samples/textures.bin" "$indexes/textures.bin"
printf "0DHT$(u32 1)$(u32 0)" >"$indexes/empty"

fonts="$here/corpus/fuzz_font"
mkdir -p "$fonts"
head -c 2688 /dev/zero | tr '\0' 'A' >"$fonts/old"
{ printf "VXFo$(u32 257)"; head -c 6496 /dev/zero; } >"$fonts/new"
