#!/usr/bin/env bash
# The bash completion of vex offers the commands, options and option values that the tool's help lists.
set -euo pipefail
# shellcheck source=/dev/null
source "$(dirname "$0")/../../tools/vex/vex-completion.bash"

expect() {
  local want=$1
  shift
  COMP_WORDS=("$VEX" "$@")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  _vex
  if [ "${COMPREPLY[*]}" != "$want" ]; then
    echo "completion of '$*': got '${COMPREPLY[*]}', want '$want'" >&2
    exit 1
  fi
}

expect "config" co
expect "decode check compile" config ""
expect "--style" pack --st
expect "kqm kern-nosha kern" pack --style k
# Global options follow a command too, and a file name in between changes nothing.
expect "--json" -q info mod.pbo --js
# No command below: bash completes file names.
expect "" pack ""
echo "completion: ok"
