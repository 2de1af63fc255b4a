#!/usr/bin/env bash
# vex config decode as a user runs it: text on standard output or into a file named with -o, tabs on
# request, and failures that leave no file behind and exit with status 1.
source "$(dirname "$0")/common.sh"

# Offset style: the root holds class C { y = 2; } and x = 1; C's body follows the root's, then the
# empty enum table.
rap="$work/config.bin"
printf '\x00raP\x00\x00\x00\x00\x08\x00\x00\x00\x33\x00\x00\x00' >"$rap"
printf '\x00\x02\x00C\x00\x25\x00\x00\x00\x01\x02x\x00\x01\x00\x00\x00\x25\x00\x00\x00' >>"$rap"
printf '\x00\x01\x01\x02y\x00\x02\x00\x00\x00\x33\x00\x00\x00\x00\x00\x00\x00' >>"$rap"
printf '#define _KERN_\r\n\r\n//Class %s{\r\nclass C\r\n{\r\n y = 2;\r\n};\r\nx = 1;\r\n//};\r\n\r\n//ndefs=0\r\nenum {\r\n};\r\n' "$rap" >"$work/expected"

"$VEX" config decode "$rap" >"$work/stdout"
check "text on standard output" cmp -s "$work/stdout" "$work/expected"

"$VEX" config decode "$rap" -o "$work/out.cpp" >"$work/stdout"
check "text written with -o" cmp -s "$work/out.cpp" "$work/expected"
check "nothing on standard output with -o" test ! -s "$work/stdout"

"$VEX" config decode --tabs "$rap" >"$work/stdout"
check "--tabs indents with a tab" grep -q $'^\ty = 2;\r$' "$work/stdout"

# A file that is not binarised: status 1, what it is, and the earlier output file kept.
printf 'class A {};\r\n' >"$work/text.cpp"
echo "earlier" >"$work/kept.cpp"
status=$(status_of "$VEX" config decode "$work/text.cpp" -o "$work/kept.cpp")
check "a text config fails with status 1" test "$status" -eq 1
check "the failure says what the file is" grep -q "vex: error: $work/text.cpp is not a binarised config: it is a text file" "$work/stderr"
check "the earlier output file is kept" grep -qx earlier "$work/kept.cpp"
check "no temporary file is left" test "$(ls -A "$work" | tr '\n' ' ')" = "config.bin expected kept.cpp out.cpp stderr stdout text.cpp "

# A file cut short: the text as far as it goes, ended by a comment naming the error.
head -c 30 "$rap" >"$work/cut.bin"
status=$(status_of "$VEX" config decode "$work/cut.bin")
check "a file cut short fails" test "$status" -eq 1
check "the partial text ends with the error" test "$(tail -c 17 "$work/stdout")" = $'//Premature EOF\r'

# Standard input in, standard output or a folder made on the way out.
"$VEX" config decode - -o - <"$rap" >"$work/stdout"
check "- reads standard input, -o - writes standard output" grep -q $'^ y = 2;\r$' "$work/stdout"
"$VEX" config decode "$rap" -o "$work/made/on/the/way/" 2>"$work/stderr"
check "-o DIR/ writes FILE.cpp in it, making the folders" test -s "$work/made/on/the/way/config.cpp"
check "and says where" grep -qx "wrote $work/made/on/the/way/config.cpp: [0-9]* bytes of text" "$work/stderr"

status_of "$VEX" config decode "$work/absent.bin" >/dev/null
check "a missing file fails with code 3" grep -q '(code 3)' "$work/stderr"
check "a missing file gives no text" test ! -s "$work/stdout"
status=$(status_of "$VEX" config decode)
check "a missing FILE is a usage error" test "$status" -eq 2

finish "config decode"
