# Completion of rynvelctl for bash: the program itself tells what there is to give.

_rynvelctl() {
    local line=${COMP_LINE:0:COMP_POINT} breaks='' known='' words word
    # The shell's own words end at colons and equals signs; what it replaces begins behind the last of them.
    read -ra words <<<"$line"
    [[ $line != *[[:blank:]] ]] || words+=('')
    word=${words[-1]}
    [[ $COMP_WORDBREAKS != *:* ]] || breaks+=:
    [[ $COMP_WORDBREAKS != *=* ]] || breaks+==
    [ -z "$breaks" ] || known=${word%"${word##*[$breaks]}"}
    mapfile -t COMPREPLY < <("${words[0]/#\~/$HOME}" --complete "${words[@]:1}" 2>/dev/null)
    COMPREPLY=("${COMPREPLY[@]#"$known"}")
}

complete -F _rynvelctl rynvelctl
