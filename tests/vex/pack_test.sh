#!/usr/bin/env bash
# vex pack on the sample mod: the archive lists, unpacks with its config as text, and packs again
# into the very same bytes; a failed pack leaves no archive behind.
samples=$(cd "$(dirname "$0")/../../samples" && pwd)
source "$(dirname "$0")/common.sh"

log=$("$VEX" pack "$samples/mod" -o "$work/mod.pbo" -I "$samples" --mtime 1700000000 --compress 2>&1)
grep -qE '^compressing config\.bin from [0-9]+ to [0-9]+ \( ?[-0-9]+%\)' <<<"$log" || fail "compression line: $log"
grep -qE '^Overall compression from [0-9]+ to [0-9]+ \([ 0-9]+% reduction\)$' <<<"$log" || fail "totals line: $log"
listing=$("$VEX" list "$work/mod.pbo")
grep -qF 'Pbo Type is: Kern Addon' <<<"$listing" || fail "unexpected listing: $listing"
grep -qE '^config\.bin:' <<<"$listing" || fail "config.cpp was not binarised: $listing"

"$VEX" -q unpack "$work/mod.pbo" -o "$work/out" --decode
prefix_folder=$(dirname "$(find "$work/out" -name PboPrefix.txt)")
[ -f "$prefix_folder/config.cpp" ] || fail "no decoded config.cpp under $prefix_folder"
"$VEX" -q config check "$prefix_folder/config.cpp" >/dev/null || fail "decoded config does not compile"

"$VEX" -q pack "$prefix_folder" -o "$work/again.pbo" --compress
cmp "$work/mod.pbo" "$work/again.pbo" || fail "packing the unpacked folder gave other bytes"

# Texts with a byte-order mark keep it through unpack and pack, and so do configs whose text chose the
# inline style, in an archive of the newest style; --reference converts the marks, as the library does.
cp -r "$samples/mod" "$work/marked"
printf '\xef\xbb\xbf<?xml version="1.0"?>\r\n<Project name="lamps"/>\r\n' >"$work/marked/stringtable.xml"
printf '\xef\xbb\xbfhint "lit";\r\n' >"$work/marked/parts/init.sqf"
mkdir -p "$work/marked/old"
printf '#define _TGR_\r\nclass Old { v = 1; };\r\n' >"$work/marked/old/config.cpp"
"$VEX" -q pack "$work/marked" -o "$work/marked.pbo" -I "$samples" --mtime 1700000000 --compress
"$VEX" -q unpack "$work/marked.pbo" -o "$work/marked-out" --decode
marked_folder=$(dirname "$(find "$work/marked-out" -name PboPrefix.txt)")
[ "$(head -c 3 "$marked_folder/stringtable.xml" | od -An -tx1 | tr -d ' \n')" = efbbbf ] || fail "the mark was dropped"
"$VEX" -q pack "$marked_folder" -o "$work/marked-again.pbo" --compress
cmp "$work/marked.pbo" "$work/marked-again.pbo" || fail "unpack and pack of marked texts gave other bytes"
"$VEX" -q unpack "$work/marked.pbo" -o "$work/marked-reference" --decode --reference
reference_folder=$(dirname "$(find "$work/marked-reference" -name PboPrefix.txt)")
[ "$(head -c 5 "$reference_folder/stringtable.xml")" = '<?xml' ] || fail "--reference kept the mark"

# The archive goes beside the folder however the folder is named, under the name in its PboName.h
# when that is a file name, and nowhere when it is not.
mkdir -p "$work/named"
cp "$samples/mod/config.cpp" "$samples/mod/macros.hpp" "$work/named/"
cp -r "$samples/mod/parts" "$work/named/"
echo 'lamps' >"$work/named/PboName.h"
(cd "$work" && "$VEX" -q pack named --style kqm) || fail "pack of a bare folder name failed"
[ -f "$work/lamps.pbo" ] || fail "the archive named by PboName.h is not beside its folder"
rm "$work/lamps.pbo"
(cd "$work/named" && "$VEX" -q pack . --style kqm) || fail "pack . failed"
[ -f "$work/lamps.pbo" ] || fail "pack . did not write beside the folder"
echo '..\..\escape' >"$work/named/PboName.h"
status=0; message=$(cd "$work" && "$VEX" -q pack named 2>&1) || status=$?
[ "$status" -eq 1 ] && grep -qF '(code -14)' <<<"$message" || fail "a PboName.h with folders: $message"

# -o DIR/ (made when missing) writes FOLDER.pbo there, -o - writes the archive to standard output;
# --exclude takes patterns and folder names.
mkdir -p "$work/sorted/work"
echo 'class A {};' >"$work/sorted/config.cpp"
echo notes >"$work/sorted/work/notes.txt"
echo data >"$work/sorted/keep.bak"
"$VEX" pack "$work/sorted" -o "$work/into/" --exclude 'WORK,*.bak,*.none' 2>"$work/stderr"
grep -qx "wrote $work/into/sorted.pbo: 1 entry, [0-9]* bytes" "$work/stderr" || fail "-o DIR/: $(cat "$work/stderr")"
grep -qx "vex: warning: $work/sorted: no file matches --exclude '\*.none'" "$work/stderr" ||
  fail "no warning for a pattern that matched nothing: $(cat "$work/stderr")"
"$VEX" -q pack "$work/sorted" -o - --mtime 1700000000 --exclude work,*.bak >"$work/piped.pbo"
"$VEX" -q pack "$work/sorted" --mtime 1700000000 --exclude work,*.bak
cmp "$work/sorted.pbo" "$work/piped.pbo" || fail "-o - gives other bytes"

# A config that does not compile: its error and its line under the build's.
mkdir -p "$work/badconfig"
printf 'class A: Missing {};\n' >"$work/badconfig/config.cpp"
status=0; message=$("$VEX" -q pack "$work/badconfig" --prefix p 2>&1) || status=$?
[ "$status" -eq 1 ] || fail "a bad config: exit $status"
[ "$message" = "vex: error: $work/badconfig: Rap or Rapfile error: In File $work/badconfig/config.cpp: Line 1 rap: missing inheritence class(es) (code -15)
    1 | class A: Missing {};
      |          ^" ] || fail "a bad config: $message"

# A folder with an unreadable file: exit 1, message with its code, the earlier archive kept.
mkdir -p "$work/bad"
echo data >"$work/bad/a.txt"
echo secret >"$work/bad/b.txt"
chmod 000 "$work/bad/b.txt"
if ! cat "$work/bad/b.txt" >/dev/null 2>&1; then
  echo old >"$work/bad.pbo"
  status=0; message=$("$VEX" -q pack "$work/bad" -o "$work/bad.pbo" --style kqm 2>&1) || status=$?
  [ "$status" -eq 1 ] || fail "unreadable file: exit $status"
  grep -qF '(code -27)' <<<"$message" || fail "unreadable file: $message"
  [ "$(cat "$work/bad.pbo")" = old ] || fail "the earlier archive was replaced"
  [ "$(ls "$work" | grep -c part)" -eq 0 ] || fail "a temporary file was left behind"
fi

# Pipes and links that lead to no file are left out, each with its line; a prefix that leads out of
# the folder it is unpacked into is refused before anything is written.
mkdir -p "$work/odd/real"
echo x >"$work/odd/real/x.txt"
echo 'class A {};' >"$work/odd/config.cpp"
mkfifo "$work/odd/pipe"
ln -s nowhere "$work/odd/dangling"
ln -s loop "$work/odd/loop"
ln -s real "$work/odd/linked"
"$VEX" pack "$work/odd" -o "$work/odd.pbo" 2>"$work/odd.txt" || fail "odd folder: $(cat "$work/odd.txt")"
for line in 'pipe (a pipe, a socket or a device)' 'dangling (a link that leads nowhere)' \
    'loop (a link that leads round in a loop)' 'linked (a link to a folder)'; do
  grep -qxF "excluding $line" "$work/odd.txt" || fail "no 'excluding $line' in: $(cat "$work/odd.txt")"
done
status=0; "$VEX" pack "$work/odd" -o "$work/prefixed.pbo" --prefix '..\..\x' 2>"$work/prefix.txt" || status=$?
[ "$status" -eq 2 ] && [ ! -e "$work/prefixed.pbo" ] || fail "--prefix ..\..\x: status $status"
grep -qF 'leads outside the folder it is unpacked into' "$work/prefix.txt" || fail "prefix refusal: $(cat "$work/prefix.txt")"

# A write that fails names the file and the system's reason, and leaves nothing behind.
head -c 300000 /dev/urandom >"$work/odd/real/large.bin"
status=0; message=$(ulimit -f 100; trap '' XFSZ; "$VEX" -q pack "$work/odd" -o "$work/full.pbo" 2>&1) || status=$?
[ "$status" -eq 1 ] || fail "a failed write: exit $status"
grep -qxF "cannot write $work/full.pbo: File too large" <<<"$message" || fail "failed write: $message"
[ -z "$(find "$work" -name '.part-*')" ] || fail "a failed write left $(find "$work" -name '.part-*')"

# A request to terminate, or a closed terminal, cancels a pack in the middle of a large file: no
# partial file stays, the earlier archive is kept, and the status is that of the signal.
truncate -s 256M "$work/odd/real/large.bin"
echo earlier >"$work/signalled.pbo"
for signal in TERM:143 HUP:129; do
  "$VEX" pack "$work/odd" -o "$work/signalled.pbo" 2>"$work/signal.txt" &
  vex=$!
  until [ -n "$(find "$work" -name '.part-*')" ] || ! kill -0 "$vex" 2>/dev/null; do sleep 0.05; done
  kill -"${signal%:*}" "$vex"
  status=0
  wait "$vex" || status=$?
  [ "$status" -eq "${signal#*:}" ] || fail "SIG${signal%:*} ends with status $status"
  grep -qx 'User cancelled' "$work/signal.txt" || fail "SIG${signal%:*}: $(cat "$work/signal.txt")"
  [ "$(cat "$work/signalled.pbo")" = earlier ] || fail "SIG${signal%:*} replaced the earlier archive"
  [ -z "$(find "$work" -name '.part-*')" ] || fail "SIG${signal%:*} left a partial file"
done
# Under nohup a closed terminal is no reason to stop.
(trap '' HUP; "$VEX" -q pack "$work/odd" -o "$work/nohup.pbo" & vex=$!; sleep 0.2; kill -HUP "$vex" 2>/dev/null || true
 wait "$vex") || fail "a pack started with SIGHUP ignored was stopped by it"
echo "pack: ok"
