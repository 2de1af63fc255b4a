#!/usr/bin/env bash
# Many inputs in one call, on two workers: each input's lines stay together, one that fails neither
# stops the others nor leaves anything behind, the summary names it and the status is 1; archives
# are the bytes that one worker makes; --only-changed keeps exactly the archives whose folder and
# options are as they were.
: "${SAMPLES:?SAMPLES must name the samples folder}"
source "$(dirname "$0")/common.sh"
# Records of earlier builds stay inside the test.
export XDG_CACHE_HOME=$work/cache

for name in a b c d e; do
  mkdir -p "src/$name/data"
  echo "class AddonInfo { class $name { units[] = {}; }; };" >"src/$name/config.cpp"
  for i in $(seq 1 40); do seq "$i" 300 >"src/$name/data/${name}_$i.txt"; done
done
echo 'class Broken {' >src/c/config.cpp

# Packing: c fails, the others are written as one worker writes them.
status=0
"$VEX" pack src/* -o out/ -j 2 --compress --mtime 1700000000 2>log.txt || status=$?
[ "$status" -eq 1 ] || fail "a batch with a failed folder exits with $status"
grep -qx 'vex: 4 of 5 folders packed; failed: src/c' log.txt || fail "summary: $(tail -2 log.txt)"
[ -z "$(find out -name 'c.pbo*')" ] || fail "the failed folder left $(find out -name 'c.pbo*')"
for name in a b d e; do
  "$VEX" -q pack "src/$name" -o "one/$name.pbo" --compress --mtime 1700000000
  cmp "out/$name.pbo" "one/$name.pbo" || fail "$name.pbo differs from a pack on one worker"
done
# Each folder's lines, from its first to its "wrote" line, name only its own files.
awk '/^Building entries/ { folder = "" }
     /^compressing data/ { name = substr($2, 6, 1); if (folder == "") folder = name; else if (folder != name) bad = 1 }
     /^wrote / { if ($2 != "out/" folder ".pbo:") bad = 1 }
     END { exit bad }' log.txt || fail "lines of two folders mixed: $(cat log.txt)"

# Unpacking: a missing archive fails with its name, and the others are still extracted.
status=0
"$VEX" -q unpack out/a.pbo missing.pbo out/b.pbo -o back -j 2 2>err.txt || status=$?
[ "$status" -eq 1 ] || fail "a batch with a missing archive exits with $status"
grep -qF 'vex: error: missing.pbo: ArchiveFile No File found (code -3)' err.txt || fail "error line: $(cat err.txt)"
grep -qx 'vex: 2 of 3 archives unpacked; failed: missing.pbo' err.txt || fail "summary: $(cat err.txt)"
[ -f back/a/data/a_7.txt ] && [ -f back/b/data/b_7.txt ] || fail "the other archives were not extracted"

# Several inputs cannot share one output file.
[ "$(status_of "$VEX" pack src/a src/b -o one.pbo)" -eq 2 ] || fail "two folders into one archive is not a usage error"
[ "$(status_of "$VEX" pack src/a other/a -o out/)" -eq 2 ] || fail "two folders named a into one folder is not a usage error"

# --only-changed: an unchanged folder is left as it is; a touched file, a deleted file and a changed
# option each make its archive again.
rm -rf out && mkdir out
pack_changed() { "$VEX" pack src/a src/b src/d -o out/ -j 2 --only-changed "$@" 2>log.txt; }
pack_changed
pack_changed
[ "$(grep -c ' is up to date$' log.txt)" -eq 3 ] || fail "unchanged folders were packed again: $(cat log.txt)"
before=$(stat -c %Y.%s out/a.pbo)
touch -d '2001-01-01' src/b/data/b_3.txt
pack_changed
grep -qx 'vex: out/a.pbo is up to date' log.txt || fail "a was packed again: $(cat log.txt)"
grep -q '^wrote out/b.pbo' log.txt || fail "b was not packed again after a touch: $(cat log.txt)"
[ "$(stat -c %Y.%s out/a.pbo)" = "$before" ] || fail "an up-to-date archive was written"
rm src/d/data/d_40.txt
pack_changed
grep -q '^wrote out/d.pbo' log.txt || fail "d was not packed again after a deletion: $(cat log.txt)"
! "$VEX" list out/d.pbo | grep -q 'd_40.txt' || fail "the deleted file is still in d.pbo"
pack_changed --compress
[ "$(grep -c '^wrote ' log.txt)" -eq 3 ] || fail "a changed option did not pack every folder again: $(cat log.txt)"
echo changed >out/a.pbo
pack_changed --compress
grep -q '^wrote out/a.pbo' log.txt || fail "an archive changed since its build was kept: $(cat log.txt)"

# Textures both ways, and info, on two workers: info's output keeps the order of one worker.
cp "$SAMPLES/textures/emblem.png" one.png
cp "$SAMPLES/textures/emblem.png" two.png
"$VEX" -q texture from-png one.png two.png -o tex/ -j 2
"$VEX" -q texture to-png tex/one.paa tex/two.paa -o png/ -j 2
[ -s png/one.png ] && [ -s png/two.png ] || fail "textures were not converted: $(find tex png)"
"$VEX" info -r out tex -j 2 >two.txt
"$VEX" info -r out tex -j 1 >one.txt
cmp one.txt two.txt || fail "info on two workers: $(diff one.txt two.txt)"
echo "batch: ok"
