#!/usr/bin/env bash
# Whatever a command is given, vex answers with a status and a line, never an abort: folders, pipes,
# empty and foreign files to every command; mix-ups of files and folders get a suggestion, and a
# refused file leaves nothing on standard output.

source "$(dirname "$0")/common.sh"

mkdir folder mod
echo 'class A {};' >mod/config.cpp
"$VEX" -q pack mod --prefix demo
mkfifo pipe
: >empty.bin
: >zero.pbo
printf 'PK\003\004 and then some' >foreign.zip
printf 'just some notes\n' >notes.pbo

commands=("list" "unpack -o out" "pack" "config check" "config compile -o out/c.bin" "config decode" "info"
  "sound check" "sound convert -o out/s.wav" "texture to-png -o out/" "texture from-png -o out/t.paa")
for input in folder pipe empty.bin zero.pbo foreign.zip; do
  for command in "${commands[@]}"; do
    # shellcheck disable=SC2086
    status=$(status_of timeout 20 "$VEX" $command "$input")
    [ "$status" -le 2 ] || fail "vex $command $input ended with status $status: $(cat stderr)"
    [ "$status" -eq 0 ] || grep -q '^vex: ' stderr || fail "vex $command $input failed without a line: $(cat stderr)"
    [ "$status" -eq 0 ] || [ ! -s stdout ] || fail "vex $command $input failed after writing to standard output"
  done
done
[ ! -e out ] || [ -z "$(find out -type f)" ] || fail "a refused input left files: $(find out -type f)"

expect() {  # expect LINE COMMAND...: the command fails with status 1 and this line
  local line=$1 status; shift
  status=$(status_of "$@")
  [ "$status" -eq 1 ] || fail "$* exits with $status"
  grep -qxF -- "$line" stderr || fail "$*: no '$line' in: $(cat stderr)"
  [ ! -s stdout ] || fail "$* wrote to standard output"
}
expect "vex: error: mod is a folder, not an archive; did you mean mod.pbo?" "$VEX" unpack mod
expect "vex: error: folder is a folder, not an archive; 'vex pack folder' makes an archive of it" "$VEX" list folder
expect "vex: error: mod.pbo is a file, not a folder; did you mean mod?" "$VEX" pack mod.pbo
expect "vex: error: mod is a folder, not a config text; did you mean mod/config.cpp?" "$VEX" config check mod
expect "vex: error: foreign.zip is not an archive: it is a ZIP archive" "$VEX" list foreign.zip
expect "vex: error: notes.pbo is not an archive: it is a text file" "$VEX" list notes.pbo
expect "vex: error: mod.pbo is not a binarised config: it is an archive ('vex unpack' reads it)" "$VEX" config decode mod.pbo
expect "vex: error: pipe is a pipe or a device, not a file; vex reads such input from standard input, named -" \
  "$VEX" sound check pipe
expect "vex: error: absent: no such folder" "$VEX" pack absent

# A file that exists is read as named, whatever its extension; a name without one may mean NAME.pbo.
cp mod.pbo renamed.dat
cp mod.pbo other.pbo
"$VEX" list --brief renamed.dat | grep -qx config.bin || fail "renamed.dat was not listed as named"
"$VEX" list --brief other | grep -qx config.bin || fail "'other' did not list other.pbo"
echo "arguments: ok"
