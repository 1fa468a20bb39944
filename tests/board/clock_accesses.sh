#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the accesses of a program of the target to the hardware, in the log of the emulated machine. No access may be
# wider or narrower than a register, repeated or merged. Usage: clock_accesses.sh PROGRAM. Ends with a line of totals.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/scripts/checks.sh"

burst() {
    local i
    for ((i = 0; i < 5; i++)); do
        printf '%s 0x%x size %d\n' "$1" $(($2 + i * $3)) "$3"
    done
}

# Prints the accesses of a read, a write, two masked writes, and bursts that read and write in both byte orders.
expected() {
    local place=$1 size=$2 kind
    for kind in read write read write read write; do
        printf '%s 0x%x size %d\n' $kind "$place" "$size"
    done
    for kind in read read write write; do
        burst $kind "$place" "$size"
    done
}

# Prints the logged accesses to the addresses that begin at 0x9010800 and have no registers.
seen() {
    sed -n "s/^memory_region_ops_\(read\|write\) cpu [0-9]* mr [^ ]* addr \(0x90108..\|0x90109..\) .* \(size [0-9]\) name 'pl031'$/\1 \2 \3/p"
}

# Succeeds if the logged accesses of a size are the expected accesses.
# Usage: reach_the_hardware_one_by_one BYTES ADDRESS
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
