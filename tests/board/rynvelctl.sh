#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a session with rynvelctl on the board, and compares the outputs and exit statuses with rynvelctl.expected.
# Usage: rynvelctl.sh BUILD_FOLDER, a build for the target. Ends with a line of totals, in which every command counts.
set -u -o pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd) || exit
. "$here/../../scripts/checks.sh"

session() {
    "$here/../../board/run" sh "$here/rynvelctl_session.sh" "$build/tools/rynvelctl" \
        "$build/tests/rynvelctl_with_own_devices" "$build/server/rynveld" </dev/null >"$work/session"
}

# Writes the commands of a session to the files 1, 2, ... of a folder. Prints the number of commands.
split_session() {
    mkdir "$2"
    awk -v folder="$2" '/^\$ / { count++ } { print >(folder "/" count + 0) } END { print count + 0 }' "$1"
}

check 'the session runs on the board to its end' session
commands=$(split_session "$here/rynvelctl.expected" "$work/expected")
check "the session has $commands commands" [ "$(split_session "$work/session" "$work/seen")" = "$commands" ]
check 'nothing comes before the first command' [ ! -e "$work/seen/0" ]
for ((i = 1; i <= commands; i++)); do
    check "$(head -n 1 "$work/expected/$i")" diff -u "$work/expected/$i" "$work/seen/$i"
done
summary
