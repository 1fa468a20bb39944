#!/bin/sh
# SPDX-License-Identifier: MIT
# Uses registers and an interrupt of the board with rynvelctl. The clock has a register map, so the commands use
# the names of its registers.
# Usage: session.sh FOLDER_OF_RYNVELCTL FOLDER_OF_MAPS
PATH=$1:$PATH
RYNVEL_MAPS=$2
export RYNVEL_MAPS

run() {
    printf '$ %s\n' "$*"
    "$@"
}

run rynvelctl info traf.top
run rynvelctl write traf.top 0x10 0x12345678
run rynvelctl write traf.top 0x10 0xff00 --mask 0xffff --verify
run rynvelctl dump traf.top 0 8

echo '# The clock: clear and unmask its interrupt, and set the match to two seconds from now.'
run rynvelctl describe rtc0 RTCIMSC
run rynvelctl write rtc0 RTCICR 1
run rynvelctl write rtc0 RTCIMSC.RTCIMSC unmasked
now=$(rynvelctl --quiet read rtc0 RTCDR)
run rynvelctl write rtc0 RTCMR $((now + 2))
run rynvelctl wait rtc0 --timeout 5s
run rynvelctl show rtc0 RTCRIS RTCMIS RTCIMSC
run rynvelctl write rtc0 RTCIMSC.RTCIMSC masked
