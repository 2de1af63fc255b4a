#!/usr/bin/env bash
# vex config compile as a user runs it: config.cpp gives config.bin beside it, -o names the output,
# the offset style unless the text or --reference chooses the inline style, --kern forcing the offset
# style, decoded text compiling back to the same bytes, and failures that exit with status 1, the
# file and line of the error, and no file left behind.
source "$(dirname "$0")/common.sh"

mkdir -p "$work/mod" "$work/root/tag"
printf '#define SIZE 3\r\nclass Base { size = SIZE; };\r\n#include "\\tag\\more.hpp"\r\n' >"$work/mod/config.cpp"
printf 'class More: Base { list[] = {1, 2.5, "x"}; };\r\n' >"$work/root/tag/more.hpp"

"$VEX" -q config compile "$work/mod/config.cpp" -I "$work/root"
check "config.cpp gives config.bin beside it" test -f "$work/mod/config.bin"
check "the offset style is the default" test "$(head -c 8 "$work/mod/config.bin" | od -An -tx1 | tr -d ' \n')" = 0072615000000000

"$VEX" -q config compile --reference "$work/mod/config.cpp" -I "$work/root" -o "$work/tgr.bin"
check "--reference: the inline style where the text chooses none" \
    test "$(head -c 7 "$work/tgr.bin" | od -An -tx1 | tr -d ' \n')" = 00726150040000
"$VEX" -q config compile --reference "$work/mod/config.cpp" -I "$work/root" --kern -o "$work/kern.bin"
check "--kern writes the offset style" cmp -s "$work/kern.bin" "$work/mod/config.bin"

"$VEX" config compile --reference "$work/mod/config.cpp" -I "$work/root" -o "$work/noisy.bin" 2>"$work/stderr"
check "the output is reported with its style" grep -qx "wrote $work/noisy.bin: TGR style, [0-9]* bytes" "$work/stderr"

for style in mod/config tgr; do
    "$VEX" config decode "$work/$style.bin" -o "$work/decoded.cpp"
    "$VEX" -q config compile "$work/decoded.cpp" -o "$work/again.bin"
    check "$style: decoded text compiles to the same bytes" cmp -s "$work/$style.bin" "$work/again.bin"
done

# A failure: status 1, the file and line, and the earlier output kept.
printf 'class A\r\n{\r\n  class B: Nowhere {};\r\n};\r\n' >"$work/bad.cpp"
echo earlier >"$work/bad.bin"
status=$(status_of "$VEX" config compile "$work/bad.cpp")
check "a bad text fails with status 1" test "$status" -eq 1
check "the failure names file, line and code" \
    grep -q "vex: error: In File $work/bad.cpp: Line 3 rap: missing inheritence class(es) (code 33)" "$work/stderr"
check "the earlier output is kept" grep -qx earlier "$work/bad.bin"

printf 'class A;\r\nclass B {};\r\n' >"$work/extern.cpp"
status_of "$VEX" config compile --reference "$work/extern.cpp" >/dev/null
check "extern in the inline style fails" grep -q 'Rap Output is TGR, extern class is not supported (code 38)' "$work/stderr"
check "and leaves no file" test ! -e "$work/extern.bin"
"$VEX" -q config compile "$work/extern.cpp"
check "the default style makes it writable" test -s "$work/extern.bin"

"$VEX" -q config compile "$work/mod/config.cpp" -I "$work/root" -o "$work/absent/folders/"
check "-o DIR/ makes the folders and writes FILE.bin in them" cmp -s "$work/mod/config.bin" "$work/absent/folders/config.bin"
"$VEX" config compile - -I "$work/root" <"$work/mod/config.cpp" >"$work/piped.bin" 2>"$work/stderr"
check "text on standard input gives raP on standard output" cmp -s "$work/mod/config.bin" "$work/piped.bin"
status=$(status_of "$VEX" config compile "$work/mod/config.cpp" -I "$work/root" -o "$work/mod/config.cpp/out.bin")
check "an output whose folder cannot be made fails" test "$status" -eq 1
check "and says why" grep -q "vex: error: cannot make the folder $work/mod/config.cpp" "$work/stderr"
status_of "$VEX" config compile "$work/kern.bin" >/dev/null
check "binarised input is refused" grep -q 'is binarised already' "$work/stderr"
printf 'class A {};\r\n' >"$work/same.bin"
status_of "$VEX" config compile "$work/same.bin" >/dev/null
check "the input is never overwritten" grep -qx 'class A {};'$'\r' "$work/same.bin"
check "no temporary file is left" test -z "$(find "$work" -name '*.part-*')"
status=$(status_of "$VEX" config compile)
check "a missing FILE is a usage error" test "$status" -eq 2

finish "config compile"
