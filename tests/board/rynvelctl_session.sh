#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs a session with rynvelctl on the board. Prints every command, its output and its exit status. Replaces the parts
# of the output that differ between two runs.
# Usage: rynvelctl_session.sh RYNVELCTL RYNVELCTL_WITH_OWN_DEVICES RYNVELD.
server=$3
probe=/sys/kernel/debug/rynvel_board

# Copies the programs and their libraries to the guest, because loading them from the shared build folder is slow.
build=${1%/tools/*}
mkdir /tmp/installed &&
    cp "$1" "$2" "$build/cppsrc/librynvel.so.1" "${2%/*}/librynvel_with_own_devices.so" \
        "$build/ziltrace/libziltrace.so.1" /tmp/installed || exit
program=/tmp/installed/${1##*/}
own_program=/tmp/installed/${2##*/}
export LD_LIBRARY_PATH=/tmp/installed:/lib

normalized() {
    sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\.[0-9]{6}Z/TIME/; s/[0-9]+\.[0-9]{3}/DURATION/g; s/rtc0 interrupt, word [0-9]+/rtc0 interrupt, word COUNT/'
}

show() {
    shown=$1
    shift
    printf '$ %s\n' "$shown"
    "$@" >/tmp/out 2>&1
    status=$?
    normalized </tmp/out
    printf '[%d]\n' $status
}

rynvelctl() { show "rynvelctl $*" "$program" "$@"; }

own() { show "own $*" "$own_program" "$@"; }

force() {
    echo "$2" >"$probe/$1/force"
    printf '# %s: %s\n' "$1" "$2"
}

# Makes the clock raise an interrupt within two seconds. If the clock reaches the alarm time before the alarm is set,
# sets the alarm again. Usage: set_alarm RTCICR RTCIMSC RTCMR RTCDR, each an address or a name.
set_alarm() {
    "$program" --quiet write rtc0 "$1" 1 && "$program" --quiet write rtc0 "$2" 1 || return
    alarm=0
    until [ $(($("$program" --quiet read rtc0 "$4"))) -lt "$alarm" ]; do
        alarm=$(($("$program" --quiet read rtc0 "$4") + 2))
        "$program" --quiet write rtc0 "$3" "$alarm" || return
    done
} >/dev/null

# Installs the register maps of the board in the guest.
install_maps() {
    mkdir -p /etc/rynvel && cp -r "${0%/*}/../../board/maps" /etc/rynvel
}

# Prints the time since boot in hundredths of a second.
hundredths() {
    read -r uptime _ </proc/uptime
    echo "${uptime%.*}${uptime#*.}"
}

# Prints the duration of a command in hundredths of a second.
duration() {
    begin=$(hundredths)
    "$@" >/dev/null 2>&1
    echo $(($(hundredths) - begin))
}

# Prints whether a wait of 100 ms without an interrupt ends within 500 ms, including the start of the program. The board
# may be busy, so one successful attempt of 20 is enough.
wait_without_interrupt() {
    for attempt in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
        time=$(duration "$program" wait tod --timeout 100ms)
        [ $time -lt 10 ] || [ $time -ge 50 ] || { echo 'within 500 ms'; return; }
    done
    echo "after $time hundredths of a second"
}

# Raises an interrupt, which stays pending until rynvelctl enables interrupts. Usage: interrupt DEVICE WORD
interrupt() {
    echo "$2" >"$probe/$1/raise"
    printf '# %s raised: %s\n' "$1" "$2"
}

rynvelctl list
rynvelctl info traf.top
rynvelctl info common.idt --json
rynvelctl info rtc0 --quiet

rynvelctl read traf.top 0x10
rynvelctl write traf.top 0x10 0x12345678 --verify
rynvelctl write traf.top 0x10 0xffff --mask 0b1111111100000000 --verify
rynvelctl read traf.top 0x10 --json
rynvelctl read traf.top 4 --index --quiet
rynvelctl read traf.top 0x10 '0x10[15:8]' --base 2
rynvelctl read traf.top 0x10 -q --base 10
rynvelctl read traf.top 0x10 --base 8
rynvelctl read traf.top 010
rynvelctl set traf.top 0x18 0,7:4
rynvelctl toggle traf.top 0x18 7:0
rynvelctl clear traf.top 0x18 1 --json
rynvelctl read traf.top '0x18[3:0]'
rynvelctl poll traf.top '0x18[3:0]' 0xc --timeout 30s
rynvelctl poll traf.top 0x18 1 --mask 1 --timeout 1s
rynvelctl poll traf.top 0x18 1 --not --quiet
rynvelctl clear traf.top 0x18 3:0
rynvelctl dump traf.top 0 8
rynvelctl dump traf.top 0x10 2 --burst --order network
rynvelctl dump traf.top 0x10 2 --base 2
rynvelctl fill traf.top 0xff8 2 0xffffffff
rynvelctl dump traf.top 0xff8 2 --json
rynvelctl fill traf.top 0xff8 3 0
rynvelctl read traf.top 0x1000
rynvelctl read traf.top 2
rynvelctl watch traf.top 0x10 0x14 --interval 10ms --count 3
rynvelctl watch traf.top 0x10 '0x10[7:4]' --interval 0.01s --count 3 --format '%t %d %a %n %v%o %%'
rynvelctl watch traf.top 0x10 0x14 --interval 10ms --count 3 --csv --base 10
rynvelctl watch traf.top 0x10 --format %x
rynvelctl watch traf.top 0x10 --csv --json
rynvelctl watch traf.top 0x10 --interval 5

rynvelctl write traf.top 0x40=1 0x44=2 0x40=3
rynvelctl read traf.top 0x44 0x40..0x48
rynvelctl read traf.top 0x48..0x40
rynvelctl write traf.top 0x40=0 0x1000=1
printf '# Registers and a device that refuses\nwrite traf.top 0x40 7\nexpect traf.top 0x40 7\nsleep 1ms\n' >/tmp/commands
printf 'read common.idt 0x10000\nread traf.top 0x40..0x44\n' >>/tmp/commands
rynvelctl run /tmp/commands
rynvelctl run /tmp/commands --keep-going
show 'rynvelctl run - </tmp/commands' sh -c '"$0" run - </tmp/commands' "$program"
rynvelctl expect traf.top 0x40 0
rynvelctl write traf.top 0x40=0 0x44=0 --verify

rynvelctl write traf.top 0x50=0x01020304 0x54=0xdeadbeef --quiet
show 'rynvelctl dump traf.top 0x50 2 --raw >/tmp/raw' sh -c '"$0" dump traf.top 0x50 2 --raw >/tmp/raw' "$program"
show 'rynvelctl load traf.top 0x60 </tmp/raw' sh -c '"$0" load traf.top 0x60 </tmp/raw' "$program"
rynvelctl load traf.top 26 /tmp/raw --index --order network --json
show 'rynvelctl dump traf.top 0x60 4 --raw | rynvelctl load traf.top 0x70' \
    sh -c '"$0" dump traf.top 0x60 4 --raw | "$0" load traf.top 0x70' "$program"
rynvelctl dump traf.top 0x60 8
rynvelctl load traf.top 0xffc /tmp/raw
printf abcde >/tmp/five
rynvelctl load traf.top 0 /tmp/five
rynvelctl load common.idt 0x30 /tmp/five --quiet
rynvelctl dump common.idt 0x30 6
force idt/write '1 -5'
rynvelctl load common.idt 0x30 /tmp/raw
rynvelctl dump traf.top 0 1 --raw --json
rynvelctl read traf.top 0 --width 16
rynvelctl load --help

rynvelctl write common.idt 0xffff 0xab --verify
rynvelctl fill common.idt 0x10 3 7
rynvelctl dump common.idt 0xf 18 --burst
rynvelctl dump common.idt 0xf 3 --quiet
rynvelctl read common.idt 0x10000
rynvelctl read common.idt 0x10001
rynvelctl ioctl common.idt 0x4201 0
rynvelctl ioctl common.idt 0x4202 0
force idt/read '1 -5'
rynvelctl read common.idt 0x10
force idt/write '1 0'
rynvelctl write common.idt 0x10 1
force idt/read '1 -5'
rynvelctl write common.idt 0x10 1 --mask 1

rynvelctl irq tod type
rynvelctl irq tod type --format '%t %d %v'
rynvelctl irq tod enable
rynvelctl irq tod disable
interrupt tomkar_tod 1
rynvelctl wait tod --timeout 30s
rynvelctl irq tod disable --quiet
interrupt tomkar_tod 1
rynvelctl wait tod --json --timeout 30s
rynvelctl irq tod disable --json
interrupt tomkar_tod 1
rynvelctl wait tod --quiet --count 1 --timeout 30s
rynvelctl irq tod disable --format '%d: %v'
interrupt tomkar_tod 1
rynvelctl wait tod --format '%t %d %v' -t 30s
rynvelctl wait tod --timeout 100ms
show 'a wait of 100 ms without an interrupt ends' wait_without_interrupt
force tomkar_tod/enable '1 -5'
rynvelctl wait tod
force tomkar_tod/disable '1 -5'
rynvelctl irq tod disable
rynvelctl irq common.idt enable
rynvelctl wait common.idt

set_alarm 0x1c 0x10 4 0
rynvelctl wait rtc0 --timeout 2s
rynvelctl write rtc0 0x10 0
rynvelctl write rtc0 0x1c 1

mv /dev/idt /dev/idt.away
rynvelctl read common.idt 0
rynvelctl list --quiet
mv /dev/idt.away /dev/idt
show 'rynvelctl list | true' sh -c '"$0" list | true' "$program"
rynvelctl --trace Rynvel.Lseek=x read common.idt 0

own read own.fpga 0x1004
own write own.fpga 0x1004 5 --verify
own dump own.fpga 0x1000 3
own write own.tyvon.map.16 2 0xabcd --verify
own dump own.tyvon.map.32 0 2
own read own.tyvon.map.32 0x1000
own fill own.tyvon.seek.16 4 2 0x1234
own dump own.tyvon.seek.16 2 4
own dump own.tyvon.seek.16 2 4 --burst
own irq own.tyvon.map.16 type
interrupt tyvon_map 0xabc
own wait own.tyvon.map.16 --timeout 30s
interrupt tyvon_seek 0x7
own wait own.tyvon.seek.16 --quiet --timeout 30s
own wait own.tyvon.seek.16 --timeout 10ms
own irq own.tyvon.seek.32 disable
own irq own.fpga enable

rynvelctl read rtc0 RTCCR
install_maps
rynvelctl show rtc0 RTCPeriphID0 RTCPeriphID1 RTCPeriphID2 RTCPeriphID3
rynvelctl show rtc0 RTCPCellID0 RTCPCellID1 RTCPCellID2 RTCPCellID3 --quiet
rynvelctl read rtc0 RTCCR.START
rynvelctl write rtc0 RTCDR 0
rynvelctl read rtc0 RTCICR
rynvelctl read rtc0 RTCDX
rynvelctl load rtc0 RTCDR /tmp/raw
rynvelctl load rtc0 RTCMR /tmp/five
set_alarm RTCICR RTCIMSC RTCMR RTCDR
rynvelctl wait rtc0 --timeout 2s
rynvelctl read rtc0 RTCRIS
rynvelctl write rtc0 RTCIMSC.RTCIMSC masked --verify
rynvelctl write rtc0 RTCICR.RTCICR clear
rynvelctl read rtc0 RTCRIS --json
rynvelctl poll rtc0 RTCCR.START running --timeout 30s
rynvelctl set rtc0 RTCIMSC RTCIMSC
rynvelctl toggle rtc0 RTCIMSC RTCIMSC
rynvelctl set rtc0 RTCICR 0
rynvelctl clear rtc0 RTCPeriphID0 0

own write own.fpga CTRL MODE=fast GAIN=3
show 'the last frame' cat $probe/spidev7.1/frame
own read own.fpga CTRL
own read own.fpga CTRL --base 16
own watch own.fpga CTRL.MODE --count 1 --format '%n is %v'
own write own.fpga CTRL.MODE slow --verify
own read own.fpga 0
own write own.fpga CTRL GAIN=13
own load own.fpga CTRL /tmp/raw
own write own.fpga CTRL MODE=faster
own write own.fpga STATUS.LOCKED 1
own set own.fpga CTRL LOOPBACK,6
own toggle own.fpga CTRL LOOPBACK
own set own.fpga CTRL MODE
own clear own.fpga CTRL 6
own poll own.fpga 'CTRL[1:0]' 1 --timeout 30s
own read own.fpga 0
own write own.fpga 'CHANNEL[2].FILTER.TAP1' I=0x1234 Q=0xabcd --verify
own dump own.fpga 'CHANNEL[2].FILTER.TAP0' 3
own write own.fpga POWER_TX LEVEL=300 SIGN=negative
own show own.fpga CTRL STATUS POWER_TX
own --quiet save own.fpga /tmp/fpga.json
own write own.fpga CTRL MODE=fast GAIN=1
own diff own.fpga /tmp/fpga.json
own restore --dry-run own.fpga /tmp/fpga.json
own restore own.fpga /tmp/fpga.json
own diff own.fpga /tmp/fpga.json
own read own.fpga CTRL
own write own.tyvon.map.16 'INPUT[3].CONFIG' SEVERITY=major INVERTED=1 --verify
own read own.tyvon.map.16 0x58
own read own.tyvon.map.16 'INPUT[3].CONFIG.SEVERITY'
own write own.tyvon.seek.32 'ALARM[2]' 0x12345678 --verify
own read own.tyvon.seek.32 0x218

ifconfig lo 127.0.0.1
rynvelctl --remote 127.0.0.1::8888 read traf.top 0x10
rynvelctl -r 127.0.0.1 list
"$server" --listen 127.0.0.1:8888 2>/tmp/server &
until grep -q listening /tmp/server; do :; done
rynvelctl -r 127.0.0.1 list
show 'RYNVELCTL_REMOTE=127.0.0.1 rynvelctl list' env RYNVELCTL_REMOTE=127.0.0.1 "$program" list
show 'RYNVELCTL_REMOTE=127.0.0.1 rynvelctl --local list' env RYNVELCTL_REMOTE=127.0.0.1 "$program" --local list
rynvelctl --remote 127.0.0.1 watch traf.top 0x10 --count 1 --csv --base 2
rynvelctl --remote 127.0.0.1 read traf.top 0x10
rynvelctl --remote 127.0.0.1 write common.idt 0x20 9 --verify
rynvelctl read common.idt 0x20
rynvelctl --remote 127.0.0.1 toggle common.idt 0x20 1
rynvelctl --remote 127.0.0.1 poll common.idt '0x20[3:0]' 11 --timeout 30s
rynvelctl --remote 127.0.0.1 poll common.idt 0x20 0 --interval 1m --timeout 1s
rynvelctl --remote 127.0.0.1 dump traf.top 0x10 2 --burst
rynvelctl --remote 127.0.0.1 load traf.top 0x80 /tmp/raw
show 'rynvelctl --remote 127.0.0.1 dump traf.top 0x80 2 --raw | rynvelctl load traf.top 0x88' \
    sh -c '"$0" --remote 127.0.0.1 dump traf.top 0x80 2 --raw | "$0" load traf.top 0x88' "$program"
rynvelctl read traf.top 0x80..0x8c
rynvelctl --remote 127.0.0.1 load common.idt 0xfffe /tmp/raw
rynvelctl --remote 127.0.0.1 read rtc0 RTCIMSC
rynvelctl --remote 127.0.0.1 write rtc0 RTCDR 0
rynvelctl --remote 127.0.0.1 ping tod --count 2
rynvelctl --remote 127.0.0.1:8888 read common.idt 0x10000
rynvelctl --remote 127.0.0.1 irq tod raise
rynvelctl irq tod disable
interrupt tomkar_tod 1
rynvelctl --remote 127.0.0.1 wait tod --timeout 30s --quiet
rynvelctl --remote 127.0.0.1 --type Uio32 read nothing 0
