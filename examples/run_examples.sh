#!/usr/bin/env bash
# Runs the examples on a small mod folder made here: pack it, list the archive, take one entry out,
# compile and decode its config, and identify what was made. BIN is where the examples were built.
set -euo pipefail
bin=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir -p "$work/mod/data"
cat > "$work/mod/config.cpp" <<'TEXT'
#define NAME(x) demo_##x
class AddonInfo {
    class NAME(lamps) {
        units[] = {"Lamp"};
        requiredVersion = 1.5;
        weight = 12;
    };
};
TEXT
printf 'readme of the demo mod\n' > "$work/mod/data/readme.txt"

fail() { echo "examples: $*" >&2; exit 1; }

"$bin/pack_folder" "$work/mod" "$work/mod.pbo" 2>/dev/null | grep -q "wrote .*mod.pbo" || fail "pack_folder"

listing=$("$bin/list_archive" "$work/mod.pbo")
grep -q '^prefix=x\\demo\\addons\\example$' <<<"$listing" || fail "list_archive: no prefix in: $listing"
grep -q '^config.bin ' <<<"$listing" || fail "list_archive: config.bin missing"
grep -q '^data\\readme.txt  *23 bytes' <<<"$listing" || fail "list_archive: readme: $listing"

"$bin/extract_entry" "$work/mod.pbo" 'data/README.TXT' | cmp -s - "$work/mod/data/readme.txt" || fail "extract_entry: readme"
"$bin/extract_entry" "$work/mod.pbo" config.bin | grep -q 'class demo_lamps' || fail "extract_entry: config not decoded"
if "$bin/extract_entry" "$work/mod.pbo" missing.txt 2>/dev/null; then fail "extract_entry: found a missing entry"; fi

text=$("$bin/config_roundtrip" "$work/mod/config.cpp")
grep -q 'requiredVersion = 1.5;' <<<"$text" || fail "config_roundtrip: $text"
printf 'class A {\n  x = ;\n' > "$work/broken.cpp"
if "$bin/config_roundtrip" "$work/broken.cpp" 2>/dev/null; then fail "config_roundtrip: a broken config compiled"; fi

identified=$("$bin/identify_file" "$work/mod.pbo" "$work/mod/config.cpp.bin" "$work/mod/data/readme.txt")
grep -q 'mod.pbo: archive of 2 entries, prefix x\\demo\\addons\\example' <<<"$identified" || fail "identify_file: $identified"
grep -q 'config.cpp.bin: binarised config' <<<"$identified" || fail "identify_file: $identified"
grep -q 'readme.txt: not a file this library reads' <<<"$identified" || fail "identify_file: $identified"
# The README shows quick_tour.cpp as it stands, so what it shows is what is compiled and run here.
readme=$(dirname "$0")/../README.md
if [ -f "$readme" ]; then
  sed -n '/^\/\/ examples\/quick_tour.cpp/,/^```$/p' "$readme" | sed '$d' |
    cmp -s - "$(dirname "$0")/quick_tour.cpp" || fail "README and quick_tour.cpp differ"
fi
tour=$(cd "$work" && "$bin/quick_tour")
grep -q '^prefix=x\\demo\\addons\\example$' <<<"$tour" || fail "quick_tour: $tour"
grep -q '^data\\readme.txt 23 bytes$' <<<"$tour" || fail "quick_tour: $tour"
grep -q 'class demo_lamps' <<<"$tour" || fail "quick_tour: $tour"
grep -q '^ x = 1;' <<<"$tour" || fail "quick_tour: $tour"
echo "examples: all ran as expected"
