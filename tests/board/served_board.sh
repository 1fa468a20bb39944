#!/usr/bin/env bash
# Lets the board serve its devices, and a client on this machine use them.
# Usage: served_board.sh SERVER CLIENT, a program of the board and one of this machine. Ends with lines of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
board=
trap 'end_board; rm -rf "$work"' EXIT

fail() {
    printf 'FAILED: %s\n0 passed, 1 failed\n' "$1"
    exit 1
}

end_board() {
    [ -z "$board" ] || kill "$board" 2>/dev/null
    board=
}

# The guest's server ends when the guest's input does.
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
        kill -0 "$board" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}

status=0
port=$((20000 + RANDOM % 20000))
start_board $port "$1"
await_server || { cat "$work/output"; fail 'the server does not start on the board'; }
RYNVEL_SERVED_PORT=$port "$2" || status=1
echo end >&3
exec 3>&-
if wait "$board"; then
    printf 'passed: the server ends without an error\n1 passed, 0 failed\n'
else
    cat "$work/output"
    fail 'the server ends with an error'
fi
board=
exit $status
