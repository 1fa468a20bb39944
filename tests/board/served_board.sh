#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a register server on the board, and a client on this machine that tests the devices of the server.
# Usage: served_board.sh SERVER CLIENT. SERVER is a program for the board, and CLIENT is a program for this machine.
# Ends with lines of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/scripts/checks.sh"
board=
trap 'end_board; rm -rf "$work"' EXIT

end_board() {
    [ -z "$board" ] || kill "$board" 2>/dev/null
    board=
}

# Starts the board with a server. The server ends when the input of the board ends.
start_board() {
    mkfifo "$work/input"
    "$root/board/run" --forward "$1:8888" sh -c '
        "$1" --listen 0.0.0.0:8888 & server=$!
        read -r end
        kill -TERM $server
        wait $server' sh "$2" <"$work/input" >"$work/output" 2>&1 &
    board=$!
    exec 3>"$work/input"
}

await_server() {
    local i
    for ((i = 0; i < 600; i++)); do
        ! grep -q 'rynveld: listening on 0.0.0.0:8888, serving 30 devices' "$work/output" || return 0
        kill -0 "$board" 2>/dev/null || break
        sleep 0.1
    done
    cat "$work/output"
    return 1
}

ends_without_an_error() {
    exec 3>&-
    wait "$board"
    local status=$?
    board=
    cat "$work/output"
    return $status
}

status=0
port=$((20000 + RANDOM % 20000))
start_board $port "$1"
if await_server; then
    RYNVEL_SERVED_PORT=$port "$2" || status=1
    check 'the server ends without an error' ends_without_an_error
else
    check 'the server starts on the board' false
fi
summary && exit $status
