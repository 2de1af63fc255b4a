#!/usr/bin/env bash
# Installs the build into a prefix of its own, moves that prefix elsewhere, and builds the examples
# against it twice, as programs that use the library would: with CMake's find_package, and with the
# flags pkg-config gives. Both must build, link only the library, and run.
#     consumer_test.sh BUILD_DIR SOURCE_DIR CXX
set -euo pipefail
build=$1 source=$2 cxx=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/staged" >/dev/null
mv "$work/staged" "$work/prefix"
test -f "$work/prefix/share/bash-completion/completions/vex" || { echo "consumer: no completion" >&2; exit 1; }
if command -v help2man >/dev/null; then
  grep -q "^.SS \"vex pack\"" "$work/prefix/share/man/man1/vex.1" || { echo "consumer: no man page" >&2; exit 1; }
fi

# The shared library exports its classes and nothing else: no internals, no code of the standard library.
library=$(find "$work/prefix" -name 'libarchivefile.so.*.*' | head -1)
foreign=$(nm -D --defined-only -C "$library" | sed 's/^[0-9a-f]* [A-Za-z] //' |
          grep -Ev '^((vtable|typeinfo|typeinfo name) for )?archivefile::' || true)
internal=$(nm -D --defined-only -C "$library" | grep -E 'archivefile::(paths|Platform|rapformat|configtext|Sha1|formatText)' || true)
[ -z "$foreign$internal" ] || { echo "consumer: exported beyond the interface:" >&2; echo "$foreign$internal" | head >&2; exit 1; }

# CMake: every example, run on a mod folder of their own.
cmake -S "$source/examples" -B "$work/cmake" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
      -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
bash "$source/examples/run_examples.sh" "$work/cmake"

# pkg-config: two of them, from the moved prefix's own .pc file.
export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
libdir=$(pkg-config --variable=libdir archivefile)
for example in list_archive config_roundtrip; do
  # shellcheck disable=SC2046
  "$cxx" -std=c++20 -o "$work/$example" "$source/examples/$example.cpp" \
         $(pkg-config --cflags --libs archivefile) -Wl,-rpath,"$libdir"
done
mkdir "$work/mod"
printf 'class AddonInfo {\n    class demo { units[] = {}; };\n};\n' > "$work/mod/config.cpp"
"$work/cmake/pack_folder" "$work/mod" "$work/mod.pbo" >/dev/null 2>&1
"$work/list_archive" "$work/mod.pbo" | grep -q '^config.bin ' || { echo "consumer: list_archive" >&2; exit 1; }
"$work/config_roundtrip" "$work/mod/config.cpp" 2>/dev/null | grep -q 'class demo' ||
  { echo "consumer: config_roundtrip" >&2; exit 1; }

# Python: the installed module finds the library beside it.
module=$(find "$work/prefix" -name 'archivefile.cpython-*.so' | head -1)
# The interpreter of the version the module was built for: "cpython-311" is python3.11.
python=python$(basename "$module" | sed -E 's/.*cpython-3([0-9]+).*/3.\1/')
if [ -n "$module" ] && command -v "$python" >/dev/null; then
  PYTHONPATH=$(dirname "$module") "$python" - "$work/mod.pbo" "$work/mod/config.cpp" <<'PYTHON' ||
import sys, archivefile
with archivefile.Archive(sys.argv[1]) as archive:
    assert [entry.name for entry in archive.entries] == ["config.bin"]
assert archivefile.compile_config_file(sys.argv[2])[:4] == b"\0raP"
PYTHON
    { echo "consumer: installed Python module" >&2; exit 1; }
fi
echo "consumer: CMake, pkg-config and Python programs used the moved prefix"
