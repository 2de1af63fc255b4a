#!/usr/bin/env bash
# vex info on a file of every kind, made here or taken from samples/: each is identified by its
# content, whatever its name, and described with its handler's lines; -r counts kinds and failures.
samples=$(cd "$(dirname "$0")/../../samples" && pwd)
source "$(dirname "$0")/common.sh"
mkdir mixed

"$VEX" -q pack "$samples/mod" -o mixed/mod.pbo -I "$samples" --mtime 1700000000
cp mixed/mod.pbo mixed/renamed.dat
"$VEX" -q config compile "$samples/mod/config.cpp" -I "$samples" -o mixed/config.bin --kern
cp "$samples/mod/data/lamp.p3d" mixed/lamp.txt
cp "$samples/mod/data/textures.bin" mixed/index.bin
cp "$samples/mod/data/click.wav" mixed/click.wav
# A binarised model of kind 58 with a prefix and two LODs: 1e13 and 1.0.
printf "ODOL$(u32 58)a3\\\\demo\0$(u32 2)\xe7\x84\x11\x55\x00\x00\x80\x3f" >mixed/tank.p3d
head -c 2688 /dev/zero >mixed/old.fxy
{ printf "VXFo$(u32 257)"; head -c 6496 /dev/zero; } >mixed/new.fxy
"$VEX" -q texture from-png "$samples/textures/emblem.png" -o mixed/wall.paa --format dxt1
printf 'hello, world\n' >mixed/notes.txt
printf "ODOL$(u32 57)$(u32 1)" >mixed/broken.p3d

describe() { "$VEX" info "$@" 2>/dev/null || true; }
expect() {  # FILE LINE...: the report of FILE holds each LINE exactly
  local file=$1 report; shift
  report=$(describe "$file")
  for line in "$@"; do grep -qxF -- "$line" <<<"$report" || fail "no '$line' in the report of $file: $report"; done
}

expect mixed/mod.pbo "mixed/mod.pbo: archive" "  Pbo Type is: Kern Addon" "  prefix=x\\demo\\addons\\lamps" "  8 entries"
expect mixed/renamed.dat "mixed/renamed.dat: archive" "  8 entries"
expect mixed/config.bin "mixed/config.bin: binarised config" "  style: class bodies by offset"
expect mixed/lamp.txt "mixed/lamp.txt: model" "  MLOD nLods=4" "  LOD 0: 1.0" "  LOD 2: 1e+13 Geometry" "  LOD 3: 1e+15 Memory"
expect mixed/tank.p3d "mixed/tank.p3d: model" "  K3Prefix: a3\\demo" "  ODOL58 (Kern3) nLods=2" "  LOD 0: 1e+13 Geometry" "  LOD 1: 1.0"
# A binarised body that ends after its first resolution of three: the LODs that are not there are not shown.
printf "ODOL$(u32 40)$(u32 3)\x00\x00\x80\x3f" >cut.p3d
expect cut.p3d "  Warning: V7 truncated file by 24 bytes" "  LOD 0: 1.0" "  the header names 3 LODs, more than the file can hold"
describe cut.p3d | grep -q "LOD 1" && fail "cut.p3d shows a LOD that is not there"
expect mixed/index.bin "mixed/index.bin: texture index" "  3 textures" \
  "  x\\demo\\addons\\lamps\\data\\lamp_co.paa: 9 mipmaps, pixel format 1"
expect mixed/old.fxy "mixed/old.fxy: font" "  old layout (no signature): 224 records of 12 bytes"
expect mixed/new.fxy "mixed/new.fxy: font" "  new layout (\"VXFo\", version 257): 464 records of 14 bytes"
expect mixed/wall.paa "mixed/wall.paa: texture" "  Type: DXT1" "  OFFS: 6 entries" "     64 x   64 Real Size    2048: Size in file    2048"
expect mixed/click.wav "mixed/click.wav: sound" "  WAVMonoUnCompressed" "  Audio data          800 bytes"
expect mixed/notes.txt "mixed/notes.txt: not a file this tool reads"
"$VEX" info - <mixed/lamp.txt | grep -qx -- '-: model' || fail "info - does not describe standard input"
"$VEX" info mixed/notes.txt mixed/lamp.txt >/dev/null || fail "unknown bytes are no failure"

# A model that cannot be read: exit 1, and the handler's message with its code.
status=0; message=$("$VEX" info mixed/broken.p3d 2>&1 >/dev/null) || status=$?
[ "$status" -eq 1 ] || fail "a broken model exits with $status"
[ "$message" = "vex: error: mixed/broken.p3d: P3D: bad header (code 22)" ] || fail "broken model: $message"

# An archive without its checksum opens with a warning, and is refused with --strict.
"$VEX" -q pack "$samples/mod" -o nosha.pbo -I "$samples" --style kern-nosha
"$VEX" info nosha.pbo >/dev/null 2>&1 || fail "an archive without its checksum is refused"
! "$VEX" info --strict nosha.pbo >/dev/null 2>&1 || fail "--strict lets an archive without its checksum pass"

# JSON: one object per file, with stable keys, and no prefix line in between; a name that is no
# file has its object too.
json=$("$VEX" info --json mixed/tank.p3d mixed/index.bin mixed/notes.txt missing 2>/dev/null || true)
[ "$(wc -l <<<"$json")" -eq 4 ] || fail "not one line per file: $json"
grep -qxF '{"path":"missing","kind":null,"described":false,"fields":{},"entries":[],"warnings":[],"error":{"code":3,"message":"no such file"}}' \
  <<<"$json" || fail "missing file JSON: $json"
grep -q '^{"path":"mixed/tank.p3d","kind":"model","described":true,"fields":{"type":58,"typeText":"ODOL58 (Kern3) nLods=2","family":5,"lodCount":2,"editable":false,"prefix":"a3\\\\demo"},"entries":\[{"index":0,' <<<"$json" ||
  fail "model JSON: $json"
grep -q '"path":"mixed/index.bin","kind":"texture index",.*{"path":"x\\\\demo\\\\addons\\\\lamps\\\\data\\\\icon_ca.paa","mipmaps":6,"pixelFormat":4}\],"warnings":\[\],"error":null}$' <<<"$json" ||
  fail "index JSON: $json"
grep -qF '{"path":"mixed/notes.txt","kind":"unknown","described":false,"fields":{},"entries":[],"warnings":[],"error":null}' <<<"$json" ||
  fail "unknown JSON: $json"

# A folder needs -r; with it every file is described and the run ends with counts and failures.
status=0; "$VEX" info mixed >/dev/null 2>&1 || status=$?
[ "$status" -eq 1 ] || fail "a folder without -r exits with $status"
status=0; survey=$("$VEX" info -r mixed 2>/dev/null) || status=$?
[ "$status" -eq 1 ] || fail "-r over a broken model exits with $status"
summary=$(sed -n '/^12 files$/,$p' <<<"$survey")
expected='12 files
  binarised config: 1
  model: 3
  texture index: 1
  sound: 1
  texture: 1
  archive: 2
  font: 2
  not a file this tool reads: 1
1 failed
  mixed/broken.p3d: P3D: bad header (code 22)'
[ "$summary" = "$expected" ] || fail "summary: $summary"
json=$("$VEX" info -r --json mixed 2>/dev/null || true)
grep -qx '{"summary":{"files":12,"kinds":{"binarised config":1,"model":3,.*"unknown":1},"failed":\[{"path":"mixed/broken.p3d","code":22,.*}\]}}' \
  <<<"$(tail -1 <<<"$json")" || fail "JSON summary: $(tail -1 <<<"$json")"

# Whatever is named, vex answers: an empty file, a missing one, a device.
: >empty
expect empty "empty: not a file this tool reads"
status=0; "$VEX" info missing /dev/null >/dev/null 2>&1 || status=$?
[ "$status" -eq 1 ] || fail "a missing file exits with $status"
echo "info: ok"
