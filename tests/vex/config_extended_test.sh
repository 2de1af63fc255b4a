#!/usr/bin/env bash
# Configs as mods write them today: vex reads each idiom by default and refuses it with --reference,
# with its code; an error shows its line and marks the token; and decoded files of every style
# compile back to the very same bytes.
source "$(dirname "$0")/common.sh"

idiom() {  # idiom NAME CODE TEXT
    local name=$1 code=$2
    printf '%s\n' "$3" >"$work/$name.cpp"
    check "$name is read by default" "$VEX" -q config compile "$work/$name.cpp"
    status_of "$VEX" config check --reference "$work/$name.cpp" >/dev/null
    check "$name is refused with --reference" grep -q "(code $code)\$" "$work/stderr"
}
idiom lone_hash 28 $'#define ADMIN_SYS(x) x##kick\n#define ADMIN cmd \'ADMIN_SYS(#)\'\nclass A { admin = ADMIN; };'
idiom redefined 27 $'#define STYLE 0x0C\n#define STYLE 0x0c\nclass A { style = STYLE; };'
idiom append 23 $'class Base { items[] = {"a"}; };\nclass D: Base { items[] += {"b"}; };'
idiom pragma 21 $'#pragma once\nclass A {};'
check "a lone # stays a character" grep -q "admin = \"cmd '#kick'\";" <("$VEX" config decode "$work/lone_hash.bin")
check "the redefinition is warned about" grep -qx "Warning: $work/redefined.cpp: 2 STYLE is defined again with another body, which replaces the earlier one" \
    <("$VEX" config check "$work/redefined.cpp" 2>&1)
check "an append decodes as one" grep -q 'items\[\] += {"b"};' <("$VEX" config decode "$work/append.bin")
status_of "$VEX" config decode --reference "$work/append.bin" >/dev/null
check "--reference refuses to decode an append" grep -q 'RapFile: Unknown Entry type (code 10)' "$work/stderr"

# Continued lines are joined as they stand; --reference repairs the assignment with a semicolon.
printf '#define QUOTE(x) #x\nclass A { cond = QUOTE( \\\n    a && b \\\n  ); };\n' >"$work/continued.cpp"
"$VEX" -q config compile "$work/continued.cpp" -o "$work/continued.bin"
check "continued lines join as they stand" grep -q 'cond = "a && b";' <("$VEX" config decode "$work/continued.bin")
"$VEX" -q config compile --reference "$work/continued.cpp" -o "$work/repaired.bin"
check "--reference repairs the assignment" grep -q 'cond = "; a && b";' <("$VEX" config decode "$work/repaired.bin")

# The error line, then the line it was found in with the token marked, in what a define made of it.
printf '#define ITEMS(n, v) n[] = v\nclass A\n{\n\tITEMS(list, 3);\n};\n' >"$work/display.cpp"
status_of "$VEX" config check "$work/display.cpp" >/dev/null
printf '%s\n' "vex: error: In File $work/display.cpp: Line 4 Expected ]={ (code 23)" \
    "    4 | ITEMS(list, 3);" "      | expands to: list[] = 3;" "      |                      ^" >"$work/expected"
check "an error shows its line and its expansion" cmp -s "$work/stderr" "$work/expected"
# A byte of an 8-bit code page and a UTF-8 character take one column each.
printf 'class A { x = "caf\xe9 \x93q\x94 \xc3\xa9" two; };\n' >"$work/bytes.cpp"
"$VEX" config check "$work/bytes.cpp" 2>"$work/stderr" || status=$?
check "the marker stands under its token after any bytes" test "$(tail -n 1 "$work/stderr")" = "      | $(printf '%27s')^"

# Decoded files of every style compile back to the same bytes (config_compile_test.sh has the
# inline style with its enum table and the offset style): the inline style without an enum table,
# the offset style with an append, the signed style.
printf 'class Base { v[] = {1, "two", {3.5}}; };\nclass A: Base { s = "x"; };\n' >"$work/plain.cpp"
"$VEX" -q config compile --reference "$work/plain.cpp" -o "$work/tgr.bin"
head -c -4 "$work/tgr.bin" >"$work/tgr_bare.bin"
"$VEX" -q config compile "$work/append.cpp" -o "$work/kern.bin"
{ echo '#define _XBOX_ WithSignature'; cat "$work/append.cpp"; } >"$work/signed.cpp"
"$VEX" -q config compile "$work/signed.cpp" -o "$work/signed.bin"
for style in tgr_bare kern signed; do
    "$VEX" config decode "$work/$style.bin" -o "$work/decoded.cpp"
    "$VEX" -q config compile "$work/decoded.cpp" -o "$work/again.bin"
    check "$style: decoded text compiles to the same bytes" cmp -s "$work/$style.bin" "$work/again.bin"
done

finish "config extended"
