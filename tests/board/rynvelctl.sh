#!/usr/bin/env bash
# Compares a session with rynvelctl on the board, outputs and exit statuses, with the one that is expected.
# Usage: rynvelctl.sh BUILD_FOLDER, for the target. Ends with a line of totals, in which every command counts.
set -u -o pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd) || exit
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$here/../../board/run" sh "$here/rynvelctl_session.sh" "$build/tools/rynvelctl" \
    "$build/tests/rynvelctl_with_own_devices" "$build/server/rynveld" </dev/null >"$work/session"
status=$?
commands=$(grep -c '^\$ ' "$here/rynvelctl.expected")
if [ $status = 0 ] && [ "$commands" -gt 0 ] && diff -u "$here/rynvelctl.expected" "$work/session"; then
    printf '%d passed, 0 failed\n' "$commands"
else
    printf 'FAILED: the session is not the one that is expected (status %d)\n0 passed, 1 failed\n' $status
    exit 1
fi
