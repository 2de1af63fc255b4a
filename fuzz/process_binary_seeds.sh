#!/usr/bin/env bash
# Writes the seed files of fuzz_process_binary: small configs compiled by vex in the offset styles
# (and one in the inline style, which is refused). Usage: fuzz/process_binary_seeds.sh [VEX]
# (default build/default/tools/vex/vex); the files go to fuzz/corpus/fuzz_process_binary/.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
vex=${1:-$here/../build/default/tools/vex/vex}
out="$here/corpus/fuzz_process_binary"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

compile() {  # compile NAME TEXT [OPTION...]
  local name=$1 text=$2
  shift 2
  printf '%s\n' "$text" >"$work/$name.cpp"
  "$vex" -q config compile "$@" "$work/$name.cpp" -o "$out/$name.bin"
}

compile kern '#define _KERN_
class Base { s = "say ""x"""; };
class A: Base { f = 0.5; n = -7; arr[] = {1, 2.5, {"q", {}}}; more[] += {"r", {3}}; class Inner {}; class E; delete D; };
enum { one = 1, OrdinalEnum = 7 };'
compile signed '#define _XBOX_ WithSignature
class A { v = 5; class B { class C { w[] = {{{1}}}; }; }; };'
compile tgr 'class A { x = 1; };' --reference
wide='#define _KERN_
class Wide {'
for n in $(seq 1 130); do wide+=" v$n = $n;"; done
compile wide "$wide };"
