#compdef rynvelctl
# Completion of rynvelctl for zsh: the program itself tells what there is to give.

local -a before candidates
before=("${(@)words[2,CURRENT-1]}")
candidates=(${(f)"$("${words[1]}" --complete "${(@)before}" "$PREFIX" 2>/dev/null)"})
compadd -a candidates
