# bash completion for oru-client: commands, actions and options are read from
# its own help, so they never fall out of step with the tool.
_oru_client()
{
    local cur=${COMP_WORDS[COMP_CWORD]} cmd="" i prev
    # The command is the first word that is neither an option nor the value of
    # one; these options take no value.
    local flags=" --json --verbose -v --hello --no-hello --help -h --version "
    for ((i = 1; i < COMP_CWORD; i++)); do
        prev=${COMP_WORDS[i - 1]}
        if [[ ${COMP_WORDS[i]} != -* && ($prev != -* || $flags == *" $prev "*) ]]; then
            cmd=${COMP_WORDS[i]}
            break
        fi
    done
    local words
    if [[ -z $cmd ]]; then
        words="$(oru-client --help 2>/dev/null | awk '/^Commands:/ {on = 1; next} on && /^  [a-z]/ {print $1}') --help --version"
    elif [[ $cur == -* ]]; then
        words=$(oru-client "$cmd" --help 2>/dev/null | grep -o -- '--[a-z-]*' | sort -u)
    else
        words=$(oru-client --help 2>/dev/null | awk -v c="$cmd" '$1 == c && $2 ~ /\|/ {gsub(/\|/, " ", $2); print $2}')
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
}
complete -F _oru_client oru-client
