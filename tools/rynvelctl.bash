# Completion of rynvelctl for bash. What there is to give comes from the program's own help.

# Prints the options that a help text lists.
_rynvelctl_options() {
    "$@" --help 2>/dev/null | sed -n 's/^  \(-[a-z],\)\{0,1\}\(--[a-z]*\).*/\2/p'
}

_rynvelctl_commands() {
    "$1" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'
}

# Prints the command in the line before the cursor, and the number of words behind it up to there.
_rynvelctl_position() {
    local i skip='' command='' count=0
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [ -n "$skip" ]; then
            skip=
            continue
        fi
        case ${COMP_WORDS[i]} in
            --remote | --width | --timeout | --trace | --mask | --order | --interval | --count) skip=yes ;;
            -*) ;;
            *) if [ -z "$command" ]; then command=${COMP_WORDS[i]}; else count=$((count + 1)); fi ;;
        esac
    done
    printf '%s %d' "$command" "$count"
}

_rynvelctl() {
    local program=${COMP_WORDS[0]} word=${COMP_WORDS[COMP_CWORD]} command count words=
    read -r command count < <(_rynvelctl_position)
    [ -n "$count" ] || { count=$command; command=; }
    case $word in
        -*) words="$(_rynvelctl_options "$program") $([ -z "$command" ] || _rynvelctl_options "$program" "$command")" ;;
        *)
            case ${COMP_WORDS[COMP_CWORD - 1]} in
                --width) words='8 16 32' ;;
                --order) words='host network' ;;
                --remote | --timeout | --trace | --mask | --interval | --count) ;;
                *)
                    case $command:$count in
                        :0) words=$(_rynvelctl_commands "$program") ;;
                        list:*) ;;
                        irq:1) words='type enable disable raise' ;;
                        *:0) words=$("$program" list --quiet 2>/dev/null) ;;
                    esac
                    ;;
            esac
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -F _rynvelctl rynvelctl
