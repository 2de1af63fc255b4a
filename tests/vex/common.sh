# What the vex shell tests share, sourced first: strict mode, a work folder that is the current
# folder and goes at exit, ways to fail, and archives written byte by byte.
set -euo pipefail
: "${VEX:?VEX must name the vex binary}"
export TZ=UTC
work=$(mktemp -d)
trap 'chmod -R u+rwx "$work"; rm -rf "$work"' EXIT
cd "$work"

fail() { echo "FAIL: $*" >&2; exit 1; }
failures=0
check() {  # check DESCRIPTION COMMAND...: counts a failure and goes on
  local what=$1; shift
  if ! "$@"; then echo "FAIL: $what"; failures=$((failures + 1)); fi
}
finish() {  # finish NAME: the verdict of the checks
  if [ "$failures" -ne 0 ]; then exit 1; fi
  echo "$1: ok"
}
status_of() {  # status_of COMMAND...: the exit status, with the output kept in $work/stdout and $work/stderr
  local status=0
  "$@" >"$work/stdout" 2>"$work/stderr" || status=$?
  echo "$status"
}

# Little-endian 32-bit numbers, zero-terminated texts, and header entries:
# header NAME METHOD ORIGINAL-SIZE RESERVED TIME DATA-SIZE
u32() { printf '\\x%02x\\x%02x\\x%02x\\x%02x' $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24 & 255)); }
asciiz() { printf '%s\0' "$@"; }
header() { asciiz "$1"; printf "$(u32 "$2")$(u32 "$3")$(u32 "$4")$(u32 "$5")$(u32 "$6")"; }
properties() { header "" $((0x56657273)) 0 0 0 0; asciiz "$@"; printf '\0'; }
terminator() { header "" 0 0 0 0 0; }
sign() {  # sign FILE: appends a zero byte and the SHA-1 of everything before it
  local digest
  digest=$(sha1sum "$1" | cut -c1-40)
  { printf '\0'; printf "$(sed 's/../\\x&/g' <<<"$digest")"; } >>"$1"
}
