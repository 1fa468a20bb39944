#!/bin/sh
# SPDX-License-Identifier: MIT
# Uses registers and an interrupt of the board with rynvelctl. Usage: session.sh FOLDER_OF_RYNVELCTL
PATH=$1:$PATH

run() {
    printf '$ %s\n' "$*"
    "$@"
}

run rynvelctl info traf.top
run rynvelctl write traf.top 0x10 0x12345678
run rynvelctl write traf.top 0x10 0xff00 --mask 0xffff --verify
run rynvelctl dump traf.top 0 8

echo '# The clock: clear its interrupt, enable it, and set the match to two seconds from now.'
run rynvelctl write rtc0 0x1c 1
run rynvelctl write rtc0 0x10 1
now=$(rynvelctl --quiet read rtc0 0)
run rynvelctl write rtc0 4 $((now + 2))
run rynvelctl wait rtc0 --timeout 5s
run rynvelctl write rtc0 0x10 0
