#!/usr/bin/env bash
# Writes the manual page of vex with help2man: the tool's --help and --version, then a section with
# the --help of every command, so that the page says exactly what the tool built beside it does.
#     make_man_page.sh VEX_FOLDER OUTPUT
set -euo pipefail
export PATH="$1:$PATH"
output=$2
commands=$(mktemp)
trap 'rm -f "$commands"' EXIT

# The commands below a command path, as its help lists them under "Subcommands:".
subcommands() {
  vex "$@" --help | awk '/^Subcommands:/ { on = 1; next } /^[A-Z][A-Za-z]*:/ { on = 0 } on && /^  [a-z]/ { print $1 }'
}

# One subsection a command that does something (groups such as "config" only lead to their commands),
# its help as preformatted text with the backslashes and leading dots that roff would read escaped.
describe() {
  local children
  children=$(subcommands "$@")
  if [ -z "$children" ]; then
    printf '.SS "vex %s"\n.nf\n' "$*"
    vex "$@" --help | sed -e '/^Run .vex COMMAND --help/d' -e 's/\\/\\e/g' -e "s/^\\([.']\\)/\\\\\\&\\1/"
    printf '.fi\n'
    return
  fi
  local child
  for child in $children; do describe "$@" "$child"; done
}

{
  echo "[COMMANDS]"
  for command in $(subcommands); do describe "$command"; done
} > "$commands"

help2man --no-info --no-discard-stderr --name "reads, checks, converts and writes game data files" \
         --include "$commands" --output "$output" vex
