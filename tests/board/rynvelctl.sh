#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a session with rynvelctl on the board, and compares the outputs and exit statuses with rynvelctl.expected.
# Usage: rynvelctl.sh BUILD_FOLDER, a build for the target. Each command is a check. Ends with a line of totals.
set -u -o pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd) || exit
. "$here/../../scripts/checks.sh"

session() {
    "$here/../../board/run" sh "$here/rynvelctl_session.sh" "$build/tools/rynvelctl" \
        "$build/tests/rynvelctl_with_own_devices" "$build/server/rynveld" </dev/null >"$work/session"
}

# Splits the output of a session. Writes each command, with its output, to one of the files 1, 2, ... in a new folder,
# and the text before the first command to the file 0. Prints the number of commands. Usage: split_session FILE FOLDER
split_session() {
    mkdir "$2"
    awk -v folder="$2" '/^\$ / { count++ } { print >(folder "/" count + 0) } END { print count + 0 }' "$1"
}

check 'the session runs on the board to its end' session
commands=$(split_session "$here/rynvelctl.expected" "$work/expected")
check "the session has $commands commands" [ "$(split_session "$work/session" "$work/seen")" = "$commands" ]
check 'the session prints nothing before the first command' [ ! -e "$work/seen/0" ]
for ((i = 1; i <= commands; i++)); do
    check "$(head -n 1 "$work/expected/$i")" diff -u "$work/expected/$i" "$work/seen/$i"
done
summary
