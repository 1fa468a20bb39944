#compdef rynvelctl
# SPDX-License-Identifier: MIT
# Completion of rynvelctl for zsh. The program itself prints the possible completions.

local -a before candidates whole begun
before=("${(@Q)words[2,CURRENT-1]}")
candidates=(${(f)"$("${words[1]}" --complete "${(@)before}" "${(Q)PREFIX}" 2>/dev/null)"})
# Adds no space after an equals sign, which a value follows, or after a folder, which a file follows.
begun=(${(M)candidates:#*[=/]})
whole=(${candidates:|begun})
compadd -a whole
compadd -S '' -a begun
