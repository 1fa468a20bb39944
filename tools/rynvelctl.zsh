#compdef rynvelctl
# SPDX-License-Identifier: MIT
# Completion of rynvelctl for zsh. The program itself prints the possible completions.

local -a before candidates
before=("${(@)words[2,CURRENT-1]}")
candidates=(${(f)"$("${words[1]}" --complete "${(@)before}" "$PREFIX" 2>/dev/null)"})
compadd -a candidates
