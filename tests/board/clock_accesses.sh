#!/usr/bin/env bash
# Compares the accesses that the machine sees with those that the register operations are to make: for the target's own
# code, none wider, narrower, repeated or merged. Usage: clock_accesses.sh PROGRAM. Ends with a line of totals.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

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

"$root/board/run" --log-accesses "$work/log" "$1" || { printf '0 passed, 1 failed\n'; exit 1; }
seen <"$work/log" >"$work/seen"
passed=0
failed=0
for size in 2 4; do
    place=$((size == 2 ? 0x9010800 : 0x9010900))
    expected $place $size >"$work/expected"
    if grep " $(printf '0x%.5x' $((place >> 8)))" "$work/seen" | diff "$work/expected" - ; then
        passed=$((passed + 1))
        printf 'passed: accesses of %d bytes reach the hardware one by one, in order\n' $size
    else
        failed=$((failed + 1))
        printf 'FAILED: accesses of %d bytes\n' $size
    fi
done
printf '%d passed, %d failed\n' $passed $failed
[ $failed = 0 ]
