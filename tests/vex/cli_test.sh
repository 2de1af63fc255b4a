#!/usr/bin/env bash
# The tool's conventions: version, help, usage errors that say what to do, global options in any
# position, and the same exit status for the same kind of outcome in every command.

source "$(dirname "$0")/common.sh"

version=$("$VEX" --version)
[[ "$version" == "vex 4.11 "* ]] || fail "version line is '$version'"
"$VEX" --help | grep -q -- "--quiet" || fail "help does not list --quiet"

usage() {  # usage LINE ARGUMENTS...: status 2 and exactly this line
  local line=$1; shift
  local status=0 message
  message=$("$VEX" "$@" 2>&1 >/dev/null) || status=$?
  [ "$status" -eq 2 ] || fail "vex $* exits with $status, not 2"
  [ "$message" = "$line" ] || fail "vex $*: '$message', not '$line'"
}
usage "vex: 'unpak' is not a vex command; did you mean 'unpack'? (see 'vex --help')" unpak x.pbo
usage "vex: 'frob' is not a vex command (see 'vex --help')" frob
usage "vex: 'chek' is not a command of 'vex config'; did you mean 'check'? (see 'vex config --help')" config chek x
usage "vex: unknown option '--fils' for 'vex unpack'; did you mean '--files'? (see 'vex unpack --help')" \
  unpack x.pbo --fils '*.p3d'
usage "vex: unknown option '--no-such-option' (see 'vex --help')" --no-such-option
usage "vex: list: ARCHIVE is required (see 'vex list --help')" list
usage "vex: --json is not an option of 'vex pack' (see 'vex pack --help')" pack . --json
status=0
"$VEX" >/dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || fail "no command exits with $status, not 2"

# -q, -v and --json after the command as before it.
mkdir mod
echo 'class A {};' >mod/config.cpp
"$VEX" pack mod --prefix demo -q 2>stderr
[ -f mod.pbo ] && [ ! -s stderr ] || fail "-q after the command: $(cat stderr)"
"$VEX" pack mod --prefix demo 2>stderr
grep -qx "wrote mod.pbo: 1 entry, [0-9]* bytes" stderr || fail "no 'wrote' line: $(cat stderr)"
"$VEX" list mod.pbo --json | grep -q '^{"kind":"archive",' || fail "--json after the command"
"$VEX" --json list mod.pbo | grep -q '^{"kind":"archive",' || fail "--json before the command"
printf '#ifdef X\r\nclass B {};\r\n#else\r\nclass C {};\r\n#endif\r\n' >cond.cpp
"$VEX" config check cond.cpp -v 2>stderr >/dev/null
grep -qx '#else' stderr || fail "-v after the command shows no library line: $(cat stderr)"

# Exit status 1 for a failure of every kind, also when standard output cannot be written.
for command in "list absent.pbo" "pack absent" "config check absent.cpp" "sound check absent.wav"; do
  status=0
  # shellcheck disable=SC2086
  "$VEX" $command >/dev/null 2>&1 || status=$?
  [ "$status" -eq 1 ] || fail "vex $command exits with $status, not 1"
done
if [ -w /dev/full ]; then
  status=0
  "$VEX" list mod.pbo >/dev/full 2>stderr || status=$?
  [ "$status" -eq 1 ] || fail "a full standard output exits with $status"
  grep -q '^vex: error: cannot write to standard output' stderr || fail "full output: $(cat stderr)"
fi
echo "cli: ok"
