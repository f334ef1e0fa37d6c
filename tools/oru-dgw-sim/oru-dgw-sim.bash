# bash completion for oru-dgw-sim: its options, read from its --help.
complete -F _longopt oru-dgw-sim
