#!/usr/bin/env bash
# vex list and vex unpack on archives written byte by byte here.
source "$(dirname "$0")/common.sh"

{ properties prefix 'mod\data' product test
  header config.cpp 0 0 0 1000000000 9; header 'sub\b.txt' 0 0 0 0 5; terminator
  printf 'class A{}hello'; } >mod.pbo
sign mod.pbo
{ header notes.txt 0 0 0 0 2; terminator; printf 'hi'; } >plain.pbo

# list: the header report and one line per entry, on standard output.
listing=$("$VEX" list mod.pbo 2>/dev/null)
grep -qxF 'prefix=mod\data' <<<"$listing" || fail "no prefix line in: $listing"
grep -qxF 'Pbo Type is: Kern Addon' <<<"$listing" || fail "no type line in: $listing"
grep -qxF 'config.cpp:Sun Sep  9 01:46:40 2001: size 9' <<<"$listing" || fail "no entry line in: $listing"
[ "$("$VEX" list --brief mod.pbo)" = $'config.cpp\nsub\\b.txt' ] || fail "brief listing: $("$VEX" list --brief mod.pbo)"

json=$("$VEX" list --json mod.pbo)
[ "$(wc -l <<<"$json")" -eq 1 ] || fail "JSON is not one line: $json"
for part in '"kind":"archive"' '"type":1024' '"prefix":"mod\\data"' '"name":"sub\\b.txt"' '"warnings":[]' '"error":null'; do
  grep -qF -- "$part" <<<"$json" || fail "JSON lacks $part: $json"
done
status=$(status_of "$VEX" list --json missing.pbo)
[ "$status" -eq 1 ] || fail "a missing archive lists with status $status"
grep -qF '"error":{"code":-3,"message":"ArchiveFile No File found"}' stdout || fail "JSON error: $(cat stdout)"

# unpack: several archives in one call, each under its prefix or its own name.
"$VEX" -q unpack mod.pbo plain.pbo -o out
[ "$(cat out/mod/data/sub/b.txt)" = hello ] || fail "sub/b.txt not extracted"
[ "$(head -1 out/mod/data/PboPrefix.txt)" = $'mod\\data\r' ] || fail "prefix file: $(head -1 out/mod/data/PboPrefix.txt)"
[ "$(cat out/plain/notes.txt)" = hi ] || fail "the second archive was not extracted"
[ "$(date -u -r out/mod/data/config.cpp +%s)" = 1000000000 ] || fail "config.cpp kept no time"

# A name as long as a file name may be (255 bytes) is extracted like any other.
long=$(printf 'n%.0s' $(seq 251)).txt
{ header "$long" 0 0 0 0 2; header short.txt 0 0 0 0 1; terminator; printf 'lns'; } >long.pbo
"$VEX" -q unpack long.pbo -o outlong
[ "$(cat "outlong/long/$long")" = ln ] && [ -f outlong/long/short.txt ] || fail "a 255-byte name was not extracted"

# Entries that need a file where a folder stands, or the reverse, or a link that leads nowhere, are
# refused in lines that -q keeps; the others are extracted and the result is code -14.
{ header a 0 0 0 0 1; header 'a\b' 0 0 0 0 1; header 'd\e' 0 0 0 0 1; header d 0 0 0 0 1
  header 'gone\c.txt' 0 0 0 0 1; header ok.txt 0 0 0 0 1; terminator; printf 'abedco'; } >clash.pbo
mkdir -p outclash/clash && ln -s missing outclash/clash/gone
status=$(status_of "$VEX" -q unpack clash.pbo -o outclash)
[ "$status" -eq 1 ] && grep -qF '(code -14)' stderr || fail "clashing names: status $status, $(cat stderr)"
grep -qxF 'a\b refused: a file stands where a folder of its path should be' stderr || fail "a\b: $(cat stderr)"
grep -qxF 'd refused: a folder stands where the file should be' stderr || fail "d: $(cat stderr)"
grep -qxF 'gone\c.txt refused: a symbolic link on its path leads nowhere' stderr || fail "gone: $(cat stderr)"
[ "$(cat outclash/clash/a outclash/clash/d/e outclash/clash/ok.txt)" = aeo ] || fail "the other entries were not extracted"
ln -s nowhere dangling
status=$(status_of "$VEX" -q unpack plain.pbo -o dangling)
[ "$status" -eq 1 ] && grep -qxF 'notes.txt refused: a symbolic link on its path leads nowhere' stderr ||
  fail "-o naming a link that leads nowhere: status $status, $(cat stderr)"

# Control bytes in names reach a terminal escaped, and a pipe as they are.
{ header $'bell\a\033]0;x\a.txt' 0 0 0 0 1; terminator; printf 'z'; } >control.pbo
[ "$("$VEX" list --brief control.pbo)" = $'bell\a\033]0;x\a.txt' ] || fail "a pipe got the name changed"
if command -v script >/dev/null; then
  script -qfec "$VEX list --brief control.pbo; $VEX unpack control.pbo -o outcontrol" /dev/null >shown.txt
  [ "$(grep -acF 'bell\x07\x1b]0;x\x07.txt' shown.txt)" -eq 2 ] || fail "names not escaped: $(cat -v shown.txt)"
  ! grep -aq $'\033]' shown.txt || fail "a raw escape reached the terminal: $(cat -v shown.txt)"
fi

# Selection by extension, and a wrong checksum with and without --strict.
"$VEX" -q unpack mod.pbo -o out4 --files '*.txt' --ignore-prefix
[ -f out4/mod/sub/b.txt ] && [ ! -e out4/mod/config.cpp ] || fail "--files did not select by extension"
cp mod.pbo bad.pbo
printf 'J' | dd of=bad.pbo bs=1 seek=$(($(stat -c %s bad.pbo) - 22)) conv=notrunc status=none
strict=$(status_of "$VEX" -q unpack bad.pbo --strict -o out5)
lenient=$(status_of "$VEX" -q unpack bad.pbo -o out6)
[ "$strict" -eq 1 ] && [ ! -e out5 ] || fail "--strict extracted an archive with a wrong checksum"
[ "$lenient" -eq 1 ] && [ -f out6/mod/data/config.cpp ] || fail "a wrong checksum stopped extraction without --strict"

# --files takes shell patterns, case ignored: against names and folder names, or paths with a slash.
{ header 'data\wall.paa' 0 0 0 0 1; header 'data\sub\click1.wss' 0 0 0 0 1; header 'sounds\click2.wss' 0 0 0 0 1
  header 'readme.txt' 0 0 0 0 1; terminator; printf 'wcsr'; } >many.pbo
"$VEX" unpack many.pbo -o sel --files 'SUB, sounds/*.wss,*.none' 2>err.txt
[ "$(cd sel/many && find . -type f | sort | tr '\n' ' ')" = "./data/sub/click1.wss ./sounds/click2.wss " ] ||
  fail "--files selected: $(cd sel/many && find . -type f)"
grep -qx "vex: warning: many.pbo: no entry matches --files '\*.none'" err.txt || fail "unmatched pattern: $(cat err.txt)"
grep -qx 'wrote sel/many: 2 files, 2 bytes' err.txt || fail "no 'wrote' line: $(cat err.txt)"

# Standard input: listed as it is, unpacked only where -o says.
"$VEX" list --brief - <mod.pbo | grep -qxF 'sub\b.txt' || fail "list - does not read standard input"
"$VEX" -q unpack - -o piped <plain.pbo
[ "$(cat piped/stdin/notes.txt)" = hi ] || fail "unpack - -o DIR: $(find piped)"

[ "$(status_of "$VEX" unpack)" -eq 2 ] || fail "unpack without an archive exits with another status than 2"
echo "archive: ok"
