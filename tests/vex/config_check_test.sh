#!/usr/bin/env bash
# vex config check, run as a user would: the summary on success, the error with file and line on
# failure, and the include root for names that start with a backslash.
samples=$(cd "$(dirname "$0")/../../samples" && pwd)
source "$(dirname "$0")/common.sh"

expect() {  # expect NAME EXPECTED-STATUS EXPECTED-TEXT-PATTERN COMMAND...
    local name=$1 status=$2 pattern=$3 output actual=0
    shift 3
    output=$("$@" 2>&1) || actual=$?
    [[ $actual -eq $status && "$output" =~ $pattern ]] ||
        { echo "FAIL: $name: status $actual, output: $output"; failures=$((failures + 1)); }
}

expect "sample mod compiles" 0 "^$samples/mod/config.cpp: 11 classes, 25 values, 9 defines, 3 files read" \
    "$VEX" config check "$samples/mod/config.cpp"

printf 'class A\n{\n    x = "one" two;\n};\n' > "$work/bad.cpp"
expect "error names file and line and marks the token" 1 \
    "^vex: error: In File $work/bad.cpp: Line 3 Expected Semicolon \\(or eol\\) \\(code 18\\)
    3 \\| x = \"one\" two;
      \\|           \\^$" \
    "$VEX" config check "$work/bad.cpp"

mkdir -p "$work/root/lib/tag" "$work/root/mod"
printf '#define TAG demo\n' > "$work/root/lib/tag/macros.hpp"
printf '#include "\\lib\\tag\\macros.hpp"\nname = TAG;\n' > "$work/root/mod/config.cpp"
expect "include root" 0 "2 files read" "$VEX" config check "$work/root/mod/config.cpp" -I "$work/root"
expect "rooted include without root" 1 "Cannot include file \\(code 29\\)" "$VEX" config check "$work/root/mod/config.cpp"

printf '#include "missing.hpp"\n' > "$work/missing.cpp"
expect "missing include" 1 "^vex: error: In File $work/missing.cpp: Line 1 Cannot include file \\(code 29\\)
    1 \\| #include \"missing.hpp\"
      \\|           \\^$" \
    "$VEX" -q config check "$work/missing.cpp"
expect "missing file" 1 "invalid file \\(code 3\\)" "$VEX" config check "$work/none.cpp"
expect "no file named" 2 "FILE is required" "$VEX" config check

finish "config check"
