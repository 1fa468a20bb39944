#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Compares the accesses that the machine sees with those that the register operations are to make: for the target's own
# code, none wider, narrower, repeated or merged. Usage: clock_accesses.sh PROGRAM. Ends with a line of totals.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/scripts/checks.sh"

burst() {
    local i
    for ((i = 0; i < 5; i++)); do
        printf '%s 0x%x size %d\n' "$1" $(($2 + i * $3)) "$3"
    done
}

# One read, one write, two masked writes, then bursts: read in both orders, write in both orders.
expected() {
    local place=$1 size=$2 kind
    for kind in read write read write read write; do
        printf '%s 0x%x size %d\n' $kind "$place" "$size"
    done
    for kind in read read write write; do
        burst $kind "$place" "$size"
    done
}

# The accesses to the places without a register, of which 0x9010800 is the first.
seen() {
    sed -n "s/^memory_region_ops_\(read\|write\) cpu [0-9]* mr [^ ]* addr \(0x90108..\|0x90109..\) .* \(size [0-9]\) name 'pl031'$/\1 \2 \3/p"
}

# The accesses of so many bytes, which begin at a place of their own.
reach_the_hardware_one_by_one() {
    local size=$1 place=$2
    expected $place $size >"$work/expected.$size"
    grep " $(printf '0x%.5x' $((place >> 8)))" "$work/seen" | diff "$work/expected.$size" -
}

check 'the program runs on the board' "$root/board/run" --log-accesses "$work/log" "$1"
seen <"$work/log" >"$work/seen"
check 'accesses of 2 bytes reach the hardware one by one, in order' reach_the_hardware_one_by_one 2 0x9010800
check 'accesses of 4 bytes reach the hardware one by one, in order' reach_the_hardware_one_by_one 4 0x9010900
summary
