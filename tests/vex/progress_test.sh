#!/usr/bin/env bash
# The progress line and the cancel, as people meet them: the line is drawn on a terminal (a
# pseudo-terminal made by script) and never in a pipe or with -q; Escape on the terminal and Ctrl-C
# end the operation with "User cancelled" on its own line and status 130, leave no half-written
# file, and an interrupted unpack says how far it came.

source "$(dirname "$0")/common.sh"
command -v script >/dev/null || { echo "progress: skipped, no script to make a terminal"; exit 0; }

# Thousands of entries, so that their lines overfill any pipe that is not read.
mkdir -p src/a_folder_with_a_rather_long_name
for i in $(seq 1 4000); do echo "$i" >"src/a_folder_with_a_rather_long_name/file_number_$i.txt"; done
"$VEX" -q pack src -o many.pbo --prefix p

# On a terminal. Its output is read only after a second, so vex waits on its lines meanwhile and runs
# longer than the half second after which the line is drawn.
script -qfec "$VEX unpack many.pbo -o out" /dev/null | { sleep 1; cat; } >terminal.txt
grep -aq '[0-9]*/4000 files, .* of 18.9 kB, .*/s' terminal.txt || fail "no progress line on a terminal"
tail -c 200 terminal.txt | tr -d '\r' | grep -aqx 'wrote out/p: 4000 files, 18.9 kB' ||
  fail "the last line is not the written folder: $(tail -c 200 terminal.txt | cat -v)"
script -qfec "$VEX -q unpack many.pbo -o out2" /dev/null | { sleep 1; cat; } >quiet.txt
[ ! -s quiet.txt ] || fail "-q drew something: $(head -c 200 quiet.txt | cat -v)"
"$VEX" unpack many.pbo -o out3 2>&1 | { sleep 1; cat; } >pipe.txt
! grep -aq $'\033' pipe.txt || fail "a pipe got the progress line"

# Escape, typed on the terminal before vex even reads a line: nothing replaces the earlier archive.
echo earlier >kept.pbo
status=0
printf '\033' | script -qfec "$VEX pack src -o kept.pbo --prefix p" /dev/null >escape.txt || status=$?
[ "$status" -eq 130 ] || fail "Escape ends with status $status"
# What the terminal echoed of the key is erased before the line.
tr -d '\r' <escape.txt | sed 's/.*\x1b\[K//' | grep -aqx 'User cancelled' || fail "no 'User cancelled' line: $(cat -v escape.txt)"
[ "$(cat kept.pbo)" = earlier ] || fail "the cancelled pack replaced the earlier archive"
[ -z "$(find . -name '*.part-*')" ] || fail "a cancelled pack left $(find . -name '*.part-*')"

# Ctrl-C in the middle of an unpack that waits on its unread lines.
mkfifo lines
"$VEX" unpack many.pbo -o cut 2>lines &
vex=$!
exec 3<lines
before=-1
while :; do
  now=$( (find cut -type f 2>/dev/null || true) | wc -l)
  [ "$now" -gt 0 ] && [ "$now" -eq "$before" ] && break
  before=$now
  sleep 0.2
done
kill -INT "$vex"
cat <&3 >interrupted.txt
status=0
wait "$vex" || status=$?
[ "$status" -eq 130 ] || fail "Ctrl-C ends with status $status"
written=$(find cut -type f | wc -l)
grep -qx 'User cancelled' interrupted.txt || fail "no 'User cancelled' line: $(tail -3 interrupted.txt)"
grep -qx "vex: many.pbo: stopped after writing $written of 4000 files in cut/p" interrupted.txt ||
  fail "no count of the $written files written: $(tail -3 interrupted.txt)"
[ -z "$(find cut -name '*.part-*')" ] || fail "the interrupted unpack left a partial file"
echo "progress: ok"
