#!/usr/bin/env bash
# oru-client's bash completion against the built tool: commands, actions and
# options, also with options (and their values) before the command.
#   completion.sh <oru-client binary> <completion script>
set -u
PATH="$(dirname "$1"):$PATH"
# shellcheck source=/dev/null
source "$2"
status=0
offers() { # words of the line being completed..., then the word it must offer
    local want=${!#}
    COMP_WORDS=("${@:1:$#-1}")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _oru_client
    if [[ " ${COMPREPLY[*]} " != *" $want "* ]]; then
        echo "FAIL: '${COMP_WORDS[*]}' offers '${COMPREPLY[*]}', not '$want'"
        status=1
    fi
}
offers oru-client pre presets
offers oru-client presets --de --dev
offers oru-client patrol st start
offers oru-client --server gw patrol st stop
offers oru-client --json patrol st stop
offers oru-client -v presets --ch --channel
[ $status -eq 0 ] && echo "6 passed, 0 failed"
exit $status
