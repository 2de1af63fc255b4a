#!/usr/bin/env bash
# Benchmarks: the Google Benchmark programs, and timed runs of vex on generated data.
# Usage: scripts/bench.sh [NAME...]   with no name every benchmark runs; names: float blockcoder unpack
#        unpack_memory pack config config_memory compile compile_memory sound model info texture
#        texture_convert batch cancel
# Generated data goes under ${BENCH_DATA:-/tmp/archivefile-bench}, never into the repository.
set -euo pipefail
cd "$(dirname "$0")/.."

data=${BENCH_DATA:-/tmp/archivefile-bench}
build=build/default
mkdir -p "$data"

cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" >/dev/null

# Runs a Google Benchmark program from bench/ with any extra arguments.
google_bench() {
  local program=$1; shift
  echo "== $program"
  "$build/bench/$program" --benchmark_min_time=1 "$@"
}

bench_float() { google_bench bench_float; }
bench_blockcoder() { google_bench bench_blockcoder; }

# Seconds of the fastest of three runs of a command. Before each run the output folder is emptied and
# the disk is synced, so that writing back an earlier run's files is not counted.
best_of_three() {
  local into=$1; shift
  local best=""
  for _ in 1 2 3; do
    rm -rf "$into" && mkdir -p "$into" && sync
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null
    end=$(date +%s.%N)
    best=$(awk -v a="$start" -v b="$end" -v best="$best" 'BEGIN { t = b - a; print (best == "" || t < best) ? t : best }')
  done
  echo "$best"
}

# vex unpack of a stored 1 GiB archive of 5,000 files of mixed sizes, SHA-1 check included, against
# tar -xf of a tar of the same files into the same kind of folder. The goal is at most 1.5 times tar.
bench_unpack() {
  local dir=$data/unpack
  if [ ! -f "$dir/files.tar" ]; then
    rm -rf "$dir" && mkdir -p "$dir"
    "$build/bench/generate_archive" "$dir/files" "$dir/files.pbo" $((1 << 30)) 5000
    tar -cf "$dir/files.tar" -C "$dir/files" .
  fi
  cat "$dir/files.pbo" "$dir/files.tar" >/dev/null
  echo "== unpack: 1 GiB, 5000 files ($build/tools/vex/vex -q unpack files.pbo -o out, tar -xf files.tar -C out)"
  local vex_seconds tar_seconds
  vex_seconds=$(best_of_three "$dir/out-vex" "$build/tools/vex/vex" -q unpack "$dir/files.pbo" -o "$dir/out-vex")
  tar_seconds=$(best_of_three "$dir/out-tar" tar -xf "$dir/files.tar" -C "$dir/out-tar")
  rm -rf "$dir/out-vex" "$dir/out-tar"
  awk -v v="$vex_seconds" -v t="$tar_seconds" \
    'BEGIN { printf "vex unpack %.2f s, tar -xf %.2f s, ratio %.2f (goal <= 1.50)\n", v, t, v / t }'
}

# Peak resident memory of extracting a 2 GiB archive of 2,000 entries: it must stay near the largest
# entry, never near the archive.
bench_unpack_memory() {
  local dir=$data/unpack_memory
  if [ ! -f "$dir/large.pbo" ]; then
    rm -rf "$dir" && mkdir -p "$dir"
    "$build/bench/generate_archive" "$dir/unused" "$dir/large.pbo" $((2 << 30)) 2000 --archive-only | tee "$dir/plan.txt"
  fi
  echo "== unpack_memory: 2 GiB, 2000 entries (/usr/bin/time -v $build/tools/vex/vex -q unpack large.pbo -o out)"
  cat "$dir/plan.txt"
  rm -rf "$dir/out"
  /usr/bin/time -v "$build/tools/vex/vex" -q unpack "$dir/large.pbo" -o "$dir/out" 2>&1 |
    grep -E "Maximum resident set size|Elapsed \(wall clock\)"
  rm -rf "$dir/out"
}

# vex pack of the same 1 GiB folder (stored, SHA-1 trailer) against tar -cf of the folder followed by
# sha1sum of the tar; the goal is at most 1.5 times. Then vex pack --compress, in MB/s with its ratio.
bench_pack() {
  local dir=$data/unpack
  if [ ! -d "$dir/files" ]; then
    rm -rf "$dir" && mkdir -p "$dir"
    "$build/bench/generate_archive" "$dir/files" "$dir/files.pbo" $((1 << 30)) 5000
  fi
  cat $(find "$dir/files" -type f) >/dev/null
  echo "== pack: 1 GiB, 5000 files ($build/tools/vex/vex -q pack files -o packed.pbo, tar -cf packed.tar && sha1sum packed.tar)"
  local vex_seconds tar_seconds
  vex_seconds=$(best_of_three "$dir/pack-vex" "$build/tools/vex/vex" -q pack "$dir/files" -o "$dir/pack-vex/packed.pbo" --prefix bench --mtime 0)
  tar_seconds=$(best_of_three "$dir/pack-tar" bash -c "tar -cf '$dir/pack-tar/packed.tar' -C '$dir/files' . && sha1sum '$dir/pack-tar/packed.tar'")
  awk -v v="$vex_seconds" -v t="$tar_seconds" \
    'BEGIN { printf "vex pack %.2f s, tar -cf + sha1sum %.2f s, ratio %.2f (goal <= 1.50)\n", v, t, v / t }'
  local compress_seconds
  compress_seconds=$(best_of_three "$dir/pack-vex" "$build/tools/vex/vex" -q pack "$dir/files" -o "$dir/pack-vex/packed.pbo" --prefix bench --mtime 0 --compress --no-compress "")
  local stored packed
  stored=$(du -sb "$dir/files" | cut -f1)
  packed=$(stat -c %s "$dir/pack-vex/packed.pbo")
  awk -v s="$compress_seconds" -v a="$stored" -v b="$packed" \
    'BEGIN { printf "vex pack --compress %.2f s, %.0f MB/s, %d -> %d bytes (%.1f%% of the input)\n", s, a / s / 1e6, a, b, 100 * b / a }'
  rm -rf "$dir/pack-vex" "$dir/pack-tar"
}

# The config front end on the generated 50 MB mod tree (preprocess and parse, bytes of expanded text
# per second; the goal is at least 30 MB/s), and on plain text without defines.
bench_config() { CONFIG_BENCH_MB=50 google_bench bench_config; }

# Peak resident memory of `vex config check` on the generated 50 MB tree: at most 10 times the
# expanded text.
bench_config_memory() {
  local dir=$data/config_tree
  if [ ! -f "$dir/demo/config.cpp" ]; then
    rm -rf "$dir" && "$build/bench/generate_config_tree" "$dir" 50
  fi
  echo "== config_memory: /usr/bin/time -v $build/tools/vex/vex config check $dir/demo/config.cpp -I $dir"
  /usr/bin/time -v "$build/tools/vex/vex" config check "$dir/demo/config.cpp" -I "$dir" 2>&1 |
    grep -E "bytes expanded|Maximum resident set size|Elapsed \(wall clock\)|User time|System time"
}

# Text to raP on the generated 50 MB tree (expanded bytes per second; the goal is the front end's
# rate), the writer alone, and raP decoded to text and read into a tree (raP bytes per second; the
# decode goal is at least 100 MB/s).
bench_compile() { CONFIG_BENCH_MB=50 google_bench bench_rapify; }

# Peak resident memory of `vex config compile` on the generated 50 MB tree: a small multiple of the
# expanded text plus the raP written.
bench_compile_memory() {
  local dir=$data/config_tree
  if [ ! -f "$dir/demo/config.cpp" ]; then
    rm -rf "$dir" && "$build/bench/generate_config_tree" "$dir" 50
  fi
  echo "== compile_memory: /usr/bin/time -v $build/tools/vex/vex config compile --kern $dir/demo/config.cpp -I $dir -o $dir/config.bin"
  /usr/bin/time -v "$build/tools/vex/vex" config compile --kern "$dir/demo/config.cpp" -I "$dir" -o "$dir/config.bin" 2>&1 |
    grep -E "KerN style|Maximum resident set size|Elapsed \(wall clock\)|User time|System time"
  rm -f "$dir/config.bin"
}

# Each WSS codec both ways (samples a second; the goal is at least 50 million), and reading and
# checking 1,000 WAVE files of 1 MiB (the goal is at least 500 MB/s).
bench_sound() { BENCH_DATA=$data google_bench bench_sound; }

# Reading a generated editable model of 50 MB (four grid LODs), from memory and from a file, in bytes
# per second; the goal is at least 300 MB/s.
bench_model() { MODEL_BENCH_MB=50 google_bench bench_model; }

# vex info -r over a folder of 10,000 small files of every kind it tells apart, in files per second
# (fastest of three runs, output to /dev/null); the goal is at least 5,000 files per second.
bench_info() {
  local dir=$data/info
  if [ ! -d "$dir" ]; then
    "$build/bench/generate_info_folder" "$dir" 10000 >/dev/null
  fi
  cat $(find "$dir" -type f) >/dev/null
  echo "== info: 10,000 mixed files ($build/tools/vex/vex info -r $dir >/dev/null)"
  local seconds
  seconds=$(best_of_three "$data/info-unused" "$build/tools/vex/vex" info -r "$dir")
  rmdir "$data/info-unused"
  awk -v s="$seconds" 'BEGIN { printf "vex info -r %.3f s, %.0f files/s (goal >= 5000)\n", s, 10000 / s }'
}

# Reading and listing 1,000 DXT5 textures of about 1 MiB each (bytes of the files per second; the goal
# is at least 200 MB/s).
bench_texture() { google_bench bench_texture; }

# vex texture from-png of a painted 2048 x 2048 image with alpha (DXT5, every mipmap; the goal is under
# 3 s), at each quality, and vex texture to-png of the texture made (the goal is under 0.5 s).
bench_texture_convert() {
  local dir=$data/texture
  mkdir -p "$dir"
  [ -f "$dir/painted.png" ] || "$build/bench/generate_texture_image" "$dir/painted.png" 2048 2048
  local vex=$build/tools/vex/vex
  for quality in normal fast best; do
    echo "== texture_convert: $vex -q texture from-png painted.png -o painted.paa --quality $quality"
    echo "$(best_of_three "$dir/out" "$vex" -q texture from-png "$dir/painted.png" -o "$dir/out/painted.paa" --quality "$quality") s"
  done
  "$vex" -q texture from-png "$dir/painted.png" -o "$dir/painted.paa"
  echo "== texture_convert: $vex -q texture to-png painted.paa -o painted.png"
  echo "$(best_of_three "$dir/out" "$vex" -q texture to-png "$dir/painted.paa" -o "$dir/out/painted.png") s"
  rm -rf "$dir/out"
}

# A whole mod: 64 folders of 16 MiB of config-like text each. vex pack --compress of all of them with -j 1
# and -j 2 (goal: -j 2 at least 1.7 times as fast on two cores), pack --only-changed after one file was
# touched (goal: at most 1/20 of the full -j 2 time), and vex unpack of the 64 archives with -j 1 and
# -j 2. Other work on the machine skews the figures, so the load is printed with them.
bench_batch() {
  local dir=$data/batch
  if [ ! -f "$dir/ready" ]; then
    rm -rf "$dir" && mkdir -p "$dir/src"
    for i in $(seq -w 1 64); do
      mkdir -p "$dir/src/addon_$i"
      echo "class AddonInfo { class addon_$i { units[] = {}; }; };" >"$dir/src/addon_$i/config.cpp"
      awk -v seed="$i" -v folder="$dir/src/addon_$i" 'BEGIN {
        srand(seed)
        for (f = 0; f < 16; f++) {
          file = folder "/part_" f ".hpp"
          for (size = 0; size < 1048576; n++) {
            line = sprintf("class Item_%d_%d { displayName = \"%s %d\"; weight = %d.%02d; model = \"\\addon\\data\\item_%d.p3d\"; };\n",
                           f, n, rand() < 0.5 ? "Crate" : "Barrel", n % 97, int(rand() * 100), int(rand() * 100), n % 13)
            printf "%s", line >file
            size += length(line)
          }
          close(file)
        }
      }'
    done
    touch "$dir/ready"
  fi
  cat "$dir"/src/*/* >/dev/null
  local vex=$build/tools/vex/vex
  echo "== batch: 64 folders of 16 MiB ($vex -q pack src/* -o packed/ --compress -j N), load $(cut -d' ' -f1-3 /proc/loadavg)"
  local one two
  one=$(best_of_three "$dir/packed" "$vex" -q pack "$dir"/src/* -o "$dir/packed/" --compress -j 1)
  two=$(best_of_three "$dir/packed" "$vex" -q pack "$dir"/src/* -o "$dir/packed/" --compress -j 2)
  awk -v a="$one" -v b="$two" 'BEGIN { printf "pack -j 1 %.2f s, -j 2 %.2f s, speed-up %.2f (goal >= 1.70)\n", a, b, a / b }'

  # The records of a full build, then one touched file: only its archive is made again.
  local kept=$dir/kept
  rm -rf "$kept" && mkdir -p "$kept"
  XDG_CACHE_HOME=$dir/cache "$vex" -q pack "$dir"/src/* -o "$kept/" --compress --only-changed
  local best="" start end
  for round in 1 2 3; do
    touch "$dir/src/addon_0$round/part_0.hpp"
    start=$(date +%s.%N)
    XDG_CACHE_HOME=$dir/cache "$vex" -q pack "$dir"/src/* -o "$kept/" --compress --only-changed -j 2
    end=$(date +%s.%N)
    best=$(awk -v a="$start" -v b="$end" -v best="$best" 'BEGIN { t = b - a; print (best == "" || t < best) ? t : best }')
  done
  awk -v a="$best" -v b="$two" 'BEGIN { printf "pack --only-changed after one touched file %.2f s, %.3f of the full -j 2 time (goal <= 0.050)\n", a, a / b }'

  echo "== batch: the 64 archives ($vex -q unpack packed/*.pbo -o unpacked -j N), load $(cut -d' ' -f1-3 /proc/loadavg)"
  one=$(best_of_three "$dir/unpacked" "$vex" -q unpack "$dir"/packed/*.pbo -o "$dir/unpacked" -j 1)
  two=$(best_of_three "$dir/unpacked" "$vex" -q unpack "$dir"/packed/*.pbo -o "$dir/unpacked" -j 2)
  awk -v a="$one" -v b="$two" 'BEGIN { printf "unpack -j 1 %.2f s, -j 2 %.2f s, speed-up %.2f (goal >= 1.70)\n", a, b, a / b }'
  rm -rf "$dir/packed" "$dir/unpacked" "$kept"
}

# How soon a cancel takes effect inside one 1 GiB file: SIGTERM half a second into vex pack, and into
# vex unpack of the archive made, then the seconds until vex has cleaned up and ended (the goal is
# under 0.25 s); and the peak memory of packing the file, which is read a piece at a time.
bench_cancel() {
  local dir=$data/cancel vex=$build/tools/vex/vex
  mkdir -p "$dir/one"
  [ -f "$dir/one/large.bin" ] || head -c $((1 << 30)) /dev/urandom >"$dir/one/large.bin"
  [ -f "$dir/one.pbo" ] || "$vex" -q pack "$dir/one" -o "$dir/one.pbo" --prefix p
  local command pid start end
  for command in "pack $dir/one -o $dir/cancelled.pbo --prefix p" "unpack $dir/one.pbo -o $dir/out"; do
    rm -rf "$dir/out"
    # shellcheck disable=SC2086
    "$vex" -q $command &
    pid=$!
    sleep 0.5
    start=$(date +%s.%N)
    kill -TERM "$pid"
    wait "$pid" || true
    end=$(date +%s.%N)
    awk -v a="$start" -v b="$end" -v c="$command" \
      'BEGIN { printf "== cancel: vex -q %s, SIGTERM after 0.5 s: ended %.3f s later (goal < 0.25 s)\n", c, b - a }'
  done
  echo "== cancel: /usr/bin/time -v $vex -q pack one -o packed.pbo (one file of 1 GiB)"
  /usr/bin/time -v "$vex" -q pack "$dir/one" -o "$dir/packed.pbo" --prefix p 2>&1 |
    grep -E "Maximum resident set size|Elapsed \(wall clock\)"
  rm -rf "$dir/out" "$dir/packed.pbo"
}

all=(float blockcoder unpack unpack_memory pack config config_memory compile compile_memory sound model info texture
     texture_convert batch cancel)
selected=("${@:-${all[@]}}")
for name in "${selected[@]}"; do
  if ! declare -F "bench_$name" >/dev/null; then
    echo "bench: unknown benchmark '$name' (known: ${all[*]})" >&2
    exit 2
  fi
  "bench_$name"
done
