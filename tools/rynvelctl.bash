# SPDX-License-Identifier: MIT
# Completion of rynvelctl for bash. The program itself prints the possible completions.

_rynvelctl() {
    local line=${COMP_LINE:0:COMP_POINT} breaks='' kept='' words word
    # bash splits words at colons and equals signs, and replaces only the text after the last of these characters.
    read -ra words <<<"$line"
    [[ $line != *[[:blank:]] ]] || words+=('')
    word=${words[-1]}
    [[ $COMP_WORDBREAKS != *:* ]] || breaks+=:
    [[ $COMP_WORDBREAKS != *=* ]] || breaks+==
    [ -z "$breaks" ] || kept=${word%"${word##*[$breaks]}"}
    mapfile -t COMPREPLY < <("${words[0]/#\~/$HOME}" --complete "${words[@]:1}" 2>/dev/null)
    COMPREPLY=("${COMPREPLY[@]#"$kept"}")
    # Adds no space after an equals sign, which a value follows, or after a folder, which a file follows.
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *[=/] ]] || compopt -o nospace
}

complete -F _rynvelctl rynvelctl
