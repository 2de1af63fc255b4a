# Bash completion for vex: commands, their options, and the values of options that take a fixed set.
# Everything is read from vex's own help, so the completion knows exactly what the installed vex does.

# The commands and options that the help of `vex PATH... --help` lists, one a line: "command NAME",
# "option NAME" or "values NAME WORD...".
_vex_help() {
    "$_vex_program" "$@" --help 2>/dev/null | awk '
        /^Subcommands:/ { commands = 1; next }
        /^[A-Z][A-Za-z]*:/ { commands = 0 }
        commands && /^  [a-z]/ { print "command", $1; next }
        /^  -/ {
            values = ""
            if (match($2, /\{[^}]*\}/)) values = substr($2, RSTART + 1, RLENGTH - 2)
            count = split($1, names, ",")
            for (i = 1; i <= count; i++) {
                name = names[i]
                sub(/\{.*$/, "", name)
                if (name !~ /^-/) continue
                print "option", name
                if (values != "") { gsub(/,/, " ", values); print "values", name, values }
            }
        }'
}

_vex() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local _vex_program=${COMP_WORDS[0]}
    local path=() help global i
    help=$(_vex_help)
    # -q, -v and --json may follow the command too.
    global=$(awk '$1 == "option" && $2 !~ /^(-h|--help|-V|--version)$/ { print $2 }' <<<"$help")
    # The command path so far: each word that the help of the path before it lists as a command.
    for ((i = 1; i < COMP_CWORD; i++)); do
        if grep -qx "command ${COMP_WORDS[i]}" <<<"$help"; then
            path+=("${COMP_WORDS[i]}")
            help=$(_vex_help "${path[@]}")
        fi
    done
    local values
    values=$(awk -v option="$prev" '$1 == "values" && $2 == option { $1 = $2 = ""; print }' <<<"$help")
    if [[ -n $values ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$cur")
    elif [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(awk '$1 == "option" { print $2 }' <<<"$help") $global" -- "$cur" | awk '!seen[$0]++')
    else
        # Commands where the path leads on to some; else bash completes file names.
        mapfile -t COMPREPLY < <(compgen -W "$(awk '$1 == "command" { print $2 }' <<<"$help")" -- "$cur")
    fi
}
complete -o default -F _vex vex
