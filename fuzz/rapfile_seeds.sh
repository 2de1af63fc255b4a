#!/usr/bin/env bash
# Writes the seed files of fuzz_rapfile: one small binarised config of each style, made byte by byte
# here. Run from anywhere; the files go to fuzz/corpus/fuzz_rapfile/.
set -euo pipefail
out="$(dirname "$0")/corpus/fuzz_rapfile"
mkdir -p "$out"

# Offset style. Root body at 16: class A (body at 67), s = "say ""x""", arr[] = {1,2.5,{"q",{}}},
# delete D. A's body at 67: inherits Base, f = 0.5, extern E. Enum table at 88: one = 1, and an
# item without a name = 7.
{
    printf '\x00raP\x00\x00\x00\x00\x08\x00\x00\x00\x58\x00\x00\x00'
    printf '\x00\x04'
    printf '\x00A\x00\x43\x00\x00\x00'
    printf '\x01\x00s\x00say "x"\x00'
    printf '\x02arr\x00\x03\x02\x01\x00\x00\x00\x01\x00\x00\x20\x40\x03\x02\x00q\x00\x03\x00'
    printf '\x04D\x00'
    printf '\x43\x00\x00\x00'
    printf 'Base\x00\x02\x01\x01f\x00\x00\x00\x00\x3f\x03E\x00\x58\x00\x00\x00'
    printf '\x02\x00\x00\x00one\x00\x01\x00\x00\x00\x00\x07\x00\x00\x00'
} >"$out/kern.bin"

# Inline style: the root holds n = 42 and class C: B { a[] = {"x",1.0}; }.
{
    printf '\x00raP\x04\x00\x00'
    printf '\x00\x00\x00\x02'
    printf '\x01\x02n\x00\x2a\x00\x00\x00'
    printf '\x00C\x00B\x00\x01\x02a\x00\x02\x00x\x00\x01\x00\x00\x80\x3f'
} >"$out/tgr.bin"

# Signed style: a 20-byte signature block, then the offset header; the root holds v = 5.
{
    printf '\x00raP'
    printf '\xab%.0s' {1..20}
    printf '\x00\x00\x00\x00\x08\x00\x00\x00\x32\x00\x00\x00'
    printf '\x00\x01\x01\x02v\x00\x05\x00\x00\x00\x32\x00\x00\x00'
    printf '\x00\x00\x00\x00'
} >"$out/signed.bin"

# Offset style with an array append: items[] += {"b", 2}. The enum table's last byte (e = 0x02000000)
# has the bit that asks the target to read appends.
{
    printf '\x00raP\x00\x00\x00\x00\x08\x00\x00\x00\x2a\x00\x00\x00'
    printf '\x00\x01'
    printf '\x05\x01\x00\x00\x00items\x00\x02\x00b\x00\x02\x02\x00\x00\x00'
    printf '\x2a\x00\x00\x00'
    printf '\x01\x00\x00\x00e\x00\x00\x00\x00\x02'
} >"$out/append.bin"
