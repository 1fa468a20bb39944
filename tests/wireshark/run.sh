#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Captures an exchange of rynvelctl and rynveld with dumpcap. Compares the output of the dissector for this capture, and
# for the captures of make-captures, with the files *.expected.
# Usage: run.sh BUILD_FOLDER [--rewrite]. With --rewrite, replaces the files *.expected. Ends with a line of totals.
#
# The exchange uses the loopback interface of a new network namespace, in which every user may capture and no other
# program communicates.
set -u -o pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=$(cd "$1" && pwd) || exit
rewrite=${2-}
if [ -z "${RYNVEL_OWN_LOOPBACK-}" ]; then
    unshare --map-root-user --net true ||
        { echo "${0##*/}: cannot create a network namespace (allow user namespaces, or run as root)" >&2; exit 1; }
    RYNVEL_OWN_LOOPBACK=1 exec unshare --map-root-user --net "$0" "$@"
fi
. "$root/scripts/checks.sh"
suite=dissector
server=
capturing=
trap '{ kill $server $capturing; wait; } 2>/dev/null; rm -rf "$work"' EXIT

# This environment hides the settings and the dissectors of the user from tshark.
export HOME="$work" XDG_CONFIG_HOME="$work" XDG_DATA_HOME="$work"
unset RYNVEL_MAPS RYNVELCTL_REMOTE ZILTRACE
dissector=(-X "lua_script:$root/wireshark/rynvel.lua")

ctl() { "$build/tools/rynvelctl" --remote 127.0.0.1 --map "$root/board/maps" "$@"; }

# Waits until a command succeeds. Fails after 600 attempts 50 ms apart, or as soon as the process with the given ID
# ends. Usage: await PID COMMAND [ARG...]
await() {
    local i process=$1
    shift
    for ((i = 0; i < 600; i++)); do
        ! "$@" || return 0
        kill -0 "$process" || break
        sleep 0.05
    done
    echo "did not succeed: $*"
    return 1
}

start_server() {
    ip link set lo up || return
    "$build/server/rynveld" --simulate --map "$root/board/maps" --fault split=20ms:3 2>"$work/server" &
    server=$!
    await $server grep 'listening on 127.0.0.1:8888' "$work/server"
}

start_capture() {
    dumpcap -q -i lo -f 'tcp port 8888 or tcp port 9' -w "$work/exchange.pcap" 2>"$work/dumpcap" &
    capturing=$!
    await $capturing grep '^File: ' "$work/dumpcap"
}

# The server refuses two of the requests.
exchange() {
    ctl read rtc0 RTCCR RTCPeriphID0 && ctl write rtc0 RTCCR START=running && ctl write rtc0 RTCMR 0x12345678 &&
        ctl write rtc0 RTCLR 0xFF00 --mask 0xFF00 && ctl dump rtc0 0x0 4 && ctl fill rtc0 RTCMR 2 7 &&
        ! ctl read rtc0 0x2000 && ! ctl ioctl rtc0 0x7001 5 && ctl irq rtc0 type && ctl irq rtc0 raise 0xCAFE &&
        ctl wait rtc0 --timeout 30s && ctl read common.i2c.0 0x10
}

has_the_last_packet() { tshark -r "$work/exchange.pcap" -Y 'tcp.dstport == 9' 2>/dev/null | grep .; }

# When dumpcap ends, it loses the packets that it has not yet received. Once dumpcap has written the packet to port 9,
# it has also written all earlier packets.
end_capture() {
    ! : </dev/tcp/127.0.0.1/9 && await $capturing has_the_last_packet && kill -INT $capturing && wait $capturing &&
        capturing= && cat "$work/dumpcap" && grep -q 'dropped .*: [0-9]*/0 ' "$work/dumpcap"
}

captures_the_exchange() { start_server && start_capture && exchange && end_capture; }

writes_the_register_names() { ctl maps wireshark rtc0 >"$work/rtc0.txt"; }

# Prints the records of a capture. The arguments are the capture, the file with the names of registers, and options for
# records.
records() { "$here/records" "${@:3}" "$1" "${dissector[@]}" -o "rynvel.registers:$2" 2>"$work/errors"; }

# Compares the records of a capture with the expected records. The arguments are the name of the capture, the file with
# the names of registers, and options for records.
shows_the_records() {
    records "$work/$1.pcap" "${@:2}" >"$work/$1.records" || { cat "$work/errors"; return 1; }
    [ "$rewrite" != --rewrite ] || cp "$work/$1.records" "$here/$1.expected"
    diff -u "$here/$1.expected" "$work/$1.records"
}

# In one pass, tshark shows a request before it has read the response, so the output cannot name the frame of the
# response.
shows_the_same_in_one_pass() {
    diff -u <(grep -vE 'Response in frame|contains no response' "$here/$1.expected") \
        <(records "$work/$1.pcap" "${@:2}" --one-pass || cat "$work/errors")
}

# Succeeds if tshark, with the given options, finds this many records in the capture `other_port`. Usage:
# finds_in_the_other_port COUNT [OPTION...]
finds_in_the_other_port() {
    local count=$1
    shift
    [ "$(tshark -r "$work/other_port.pcap" -Y rynvel "${dissector[@]}" "$@" 2>/dev/null | wc -l)" = "$count" ]
}

dissects_other_ports() {
    finds_in_the_other_port 0 && finds_in_the_other_port 2 -d tcp.port==9000,rynvel &&
        finds_in_the_other_port 2 -o rynvel.ports:8888,9000-9010
}

selects_records() {
    [ "$(tshark -2 -r "$work/exchange.pcap" -T fields -e rynvel.value "${dissector[@]}" \
        -o "rynvel.registers:$work/rtc0.txt" 2>/dev/null \
        -Y 'rynvel.device == "rtc0" && rynvel.register == "RTCCR" && rynvel.time')" = $'0x00000000\n0x00000001' ]
}

# The option tcp.reassemble_out_of_order puts the segments in order, so the dissector does not lose synchronization in
# the first connection.
shows_reordered_records() {
    tshark -2 -r "$work/disordered.pcap" -Y 'rynvel && tcp.stream == 0' -T fields -e rynvel.record -e rynvel.type \
        "${dissector[@]}" -o tcp.reassemble_out_of_order:TRUE 2>/dev/null >"$work/reordered" &&
        diff - "$work/reordered" <<<$'Request\t0\nResponse\t0\nRequest\t4\nResponse\t4\nRequest\t1\nResponse\t1'
}

# Prints the names of registers that the dissector shows for the capture `named`, and the messages of the dissector.
registers_of() {
    tshark -r "$work/named.pcap" -T fields -e rynvel.register "${dissector[@]}" -o "rynvel.registers:$1" 2>&1
}

# Succeeds if the dissector refuses this line at the end of a file with the names of registers, and shows no names.
refuses_the_line() {
    local lines
    { cat "$here/registers.txt" && printf '%s\n' "$1"; } >"$work/wrong.txt" && lines=$(wc -l <"$work/wrong.txt")
    registers_of "$work/wrong.txt" >"$work/registers"
    grep -F "rynvel: $work/wrong.txt:$lines: the line does not name a register (make the file with" "$work/registers" &&
        ! grep '^CTRL' "$work/registers"
}

refuses_wrong_register_names() {
    local line
    registers_of "$here/registers.txt" | grep '^CTRL' || return
    for line in 'device 24 1 x' 'register 0x1 read-write' 'field 0 1 read-write x' 'field 32 0 read-write x' \
        'value 0x1 0x1 x' 'timer 0x1'; do
        refuses_the_line "$line" || { printf 'the dissector accepts the line: %s\n' "$line"; return 1; }
    done
    registers_of "$work/missing.txt" | grep -F "rynvel: $work/missing.txt: No such file"
}

# The dissector reports the problem and shows the records without names.
refuses_a_folder_of_register_names() {
    registers_of "$work" >"$work/registers"
    grep -F "rynvel: $work: Is a directory" "$work/registers" && ! grep 'Lua:' "$work/registers"
}

reads_register_names_with_carriage_returns() {
    sed 's/$/\r/' "$here/registers.txt" >"$work/crlf.txt"
    registers_of "$here/registers.txt" | grep '^CTRL' &&
        diff <(registers_of "$here/registers.txt") <(registers_of "$work/crlf.txt")
}

# The dissector shows records of captures with damaged bytes, and does not fail. A failure of the dissector would appear
# as "Lua Error".
shows_damaged_records() {
    local seed
    mergecap -a -w "$work/all.pcap" \
        "$work"/{split,pipelined,adjacent,disordered,truncated,malformed,middle}.pcap || return
    for seed in 1 2 3; do
        editcap --seed $seed -E 0.01 -o 40 "$work/all.pcap" "$work/damaged.pcap" &&
            tshark -2 -r "$work/damaged.pcap" -V "${dissector[@]}" 2>/dev/null >"$work/damaged" &&
            grep -c 'Register Protocol' "$work/damaged" && ! grep -B 5 'Lua Error' "$work/damaged" || return
    done
}

check 'a user can capture an exchange of rynvelctl and rynveld' captures_the_exchange
check 'rynvelctl writes the names of registers' writes_the_register_names
check 'make-captures writes its captures' "$here/make-captures" "$work"
for capture in exchange split pipelined adjacent disordered truncated malformed middle named; do
    names=
    times=
    case $capture in
        exchange) names="$work/rtc0.txt" times=--without-times ;;
        named) names="$here/registers.txt" ;;
    esac
    check "the dissector shows the records of the capture '$capture'" shows_the_records $capture "$names" $times
    check "one pass shows the same records of '$capture'" shows_the_same_in_one_pass $capture "$names" $times
done
check 'the dissector shows the records of other ports that a user selects' dissects_other_ports
check 'the dissector shows the records of segments that TCP has put in order' shows_reordered_records
check 'a display filter selects records by their device and register' selects_records
check 'the dissector refuses a file that does not contain register names' refuses_wrong_register_names
check 'the dissector refuses a folder instead of a file with register names' refuses_a_folder_of_register_names
check 'the lines of a file with register names may end with CR LF' reads_register_names_with_carriage_returns
check 'the dissector shows damaged records' shows_damaged_records
summary
