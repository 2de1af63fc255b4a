#!/usr/bin/env bash
# Writes the seed files of the targets that read from disk: fuzz_config_files (a main config and the
# files it includes, separated by zero bytes, after one byte of options), fuzz_rapfile_open (the
# binarised configs of fuzz_rapfile) and fuzz_pack_names (a prefix file, a zero byte, PboName.h).
# Run from anywhere; the files go to fuzz/corpus/.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
config="$here/corpus/fuzz_config_files" names="$here/corpus/fuzz_pack_names" open="$here/corpus/fuzz_rapfile_open"
mkdir -p "$config" "$names" "$open"

printf '\x00class A { x = 1; };\n' >"$config/plain"
printf '\x02#include "a.hpp"\n#include "sub\\b.hpp"\n#include "\\x\\tag\\c.hpp"\nclass M { v = A_VAL; };\n\0%s\0%s\0%s' \
  '#define A_VAL 3' 'b = 2;' 'c[] = {1, 2};' >"$config/includes"
printf '\x00#include "a.hpp"\n\0#include "sub\\b.hpp"\n\0#include "..\\a.hpp"\n' >"$config/cycle"
printf '\x00#include "missing.hpp"\nclass A {};\n' >"$config/missing"

cp "$here/corpus/fuzz_rapfile/"* "$open/"

printf 'x\\mod\\data\r\nproduct=test\r\nversion=1\r\n\0#define PBONAME "named"\n' >"$names/prefix_and_name"
printf 'prefix=p\\q\n' >"$names/prefix_only"
printf 'p\n\0sub/evil\n' >"$names/name_with_folder"
