#!/usr/bin/env bash
# The tool's conventions: version, help, usage errors.
set -euo pipefail
: "${VEX:?VEX must name the vex binary}"

fail() { echo "FAIL: $*" >&2; exit 1; }

version=$("$VEX" --version)
[[ "$version" == "vex 4.11 "* ]] || fail "version line is '$version'"

"$VEX" --help | grep -q -- "--quiet" || fail "help does not list --quiet"

set +e
"$VEX" --no-such-option >/dev/null 2>&1; status=$?
set -e
[ "$status" -eq 2 ] || fail "an unknown option exits with $status, not 2"

set +e
"$VEX" >/dev/null 2>&1; status=$?
set -e
[ "$status" -eq 2 ] || fail "no command exits with $status, not 2"
echo "cli: ok"
