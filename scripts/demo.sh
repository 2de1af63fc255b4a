#!/usr/bin/env bash
# The main job on the sample mod in samples/: check its config, pack it into an archive (checking its
# model), list the archive, unpack it with its config turned back into text, compile and decode the
# config, and describe every file of the mod and the archive.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset default >/dev/null
cmake --build --preset default --target vex -j "$(nproc)" >/dev/null
vex=build/default/tools/vex/vex
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# Commands arrive one capability at a time; the demo runs those this build has.
has() { "$vex" --help | grep -qE "^  $1( |$)"; }
step() { echo; echo "\$ vex $*"; "$vex" "$@"; }

"$vex" --version
if has config; then
  step config check samples/mod/config.cpp -I samples
fi
if has pack; then
  if "$vex" pack --help | grep -q -- --check-models; then
    step pack samples/mod -o "$out/mod.pbo" --check-models
  else
    step pack samples/mod -o "$out/mod.pbo"
  fi
fi
if has list && [ -f "$out/mod.pbo" ]; then
  step list "$out/mod.pbo"
fi
if has unpack && [ -f "$out/mod.pbo" ]; then
  step unpack "$out/mod.pbo" -o "$out/unpacked" --decode
  find "$out/unpacked" -type f | sort
fi
if has config && "$vex" config --help | grep -q compile; then
  step config compile samples/mod/config.cpp -I samples -o "$out/config.bin"
  step config decode "$out/config.bin"
fi
if has sound; then
  step sound convert samples/mod/data/click.wav -o "$out/click.wss" --compress 8
  step sound check "$out/click.wss"
fi
if has info; then
  step info -r samples/mod
  [ -f "$out/mod.pbo" ] && step info "$out/mod.pbo"
fi
if has texture; then
  step texture from-png samples/textures/emblem.png -o "$out/emblem.paa"
  step -v texture to-png "$out/emblem.paa" -o "$out/emblem.png"
fi
echo
echo "demo: done"
