#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Compiles good and malformed device description files. Usage: device_description_test.sh CMAKE SOURCE_ROOT
set -u
cmake=$1
root=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
description="$folder/own.def"
rows="$folder/rows.inc"
failures=0

compile() {
    rm -f "$rows"
    printf "$1" >"$description"
    "$cmake" -DDESCRIPTION="$description" -DOUTPUT="$rows" -P "$root/cmake/GenerateDeviceRows.cmake" >"$folder/out" 2>&1
}

fail() {
    printf '%s\n' "$*" >&2
    cat "$folder/out" >&2
    failures=$((failures + 1))
}

accepts() {
    compile "$1" || fail "refused: $1"
    [ "$(cat "$rows" 2>/dev/null)" = "$2" ] || fail "compiled to other rows: $1"
}

refuses() {
    ! compile "$1" || fail "accepted: $1"
    grep -qxF "$description:$2" "$folder/out" || fail "did not say '$2': $1"
    [ ! -e "$rows" ] || fail "wrote rows: $1"
}

accepts 'adc /dev/adc 0 Lseek16\n' 'MemoryDevice{"adc", "/dev/adc", 0U, DeviceType::Lseek16},'
accepts '# a; comment [\n\n  adc\t/dev/adc 0x1F Tyvon32 # why\n' \
    'MemoryDevice{"adc", "/dev/adc", 0x1FU, DeviceType::Tyvon32},'
accepts 'far host::99 4294967295 Remote8' 'MemoryDevice{"far", "host::99", 4294967295U, DeviceType::Remote8},'
accepts 'a /dev/a 0x00FFFFFFFF FpgaSpi32\r\n' 'MemoryDevice{"a", "/dev/a", 0x00FFFFFFFFU, DeviceType::FpgaSpi32},'

types=$(sed -n '/^enum class DeviceType/,/^};/s/^ *\([A-Za-z0-9]*\) = .*/\1/p' "$root/include/rynvel/MemoryDevice.h")
[ -n "$types" ] || fail 'found no device types'
for type in $types; do
    accepts "a /dev/a 0 $type" "MemoryDevice{\"a\", \"/dev/a\", 0U, DeviceType::$type},"
done

refuses 'adc /dev/adc 0\n' '1: error: the number of columns is 3 (a row has the four columns NAME PATH PARAMETER TYPE)'
refuses '\n# x\nadc /dev/adc 0 Lseek8 more\n' \
    '3: error: the number of columns is 5 (a row has the four columns NAME PATH PARAMETER TYPE)'
refuses 'adc /dev/adc 0 Lseek64\n' \
    "1: error: unknown device type 'Lseek64' (rynvel/MemoryDevice.h lists the device types)"
refuses 'adc /dev/adc 0 lseek8\n' \
    "1: error: unknown device type 'lseek8' (rynvel/MemoryDevice.h lists the device types)"
for parameter in -1 010 4k; do
    refuses "adc /dev/adc $parameter Lseek8\n" \
        "1: error: the parameter '$parameter' is not a decimal number or a hexadecimal number with the prefix 0x"
done
refuses 'adc /dev/adc 4294967296 Lseek8\n' '1: error: the parameter 4294967296 does not fit in 32 bits'
refuses 'adc /dev/adc 99999999999999999999 Lseek8\n' \
    '1: error: the parameter 99999999999999999999 does not fit in 32 bits'
refuses 'adc /dev/adc 0x100000000 Lseek8\n' '1: error: the parameter 0x100000000 does not fit in 32 bits'
refuses 'a /dev/a 0 Lseek8\na /dev/b 0 Lseek8\n' \
    "2: error: an earlier row has the same name 'a' (give each device its own name)"
refuses 'a"b /dev/a 0 Lseek8\n' "1: error: '\"' and '\\' are not allowed in a name or a path"
refuses 'a /dev/a;b 0 Lseek8\n' " error: ';', '[' and ']' are not allowed"
refuses '# nothing\n' ' error: no device rows (write one row NAME PATH PARAMETER TYPE for each device)'

"$cmake" -DDESCRIPTION="$folder/none" -DOUTPUT="$rows" -P "$root/cmake/GenerateDeviceRows.cmake" >"$folder/out" 2>&1 &&
    fail 'accepted a missing file'
grep -qxF "$folder/none: error: no such file (set RYNVEL_DEVICES to a device description file)" "$folder/out" ||
    fail 'did not report the missing file'

# Compiles a description to the udev rules and to the device list of the unit. The arguments are the description, the
# expected rules between the first and the last line, and the expected lines of the unit, both without comments.
gives_access() {
    printf "$1" >"$description"
    "$cmake" -DDESCRIPTION="$description" -DRULES="$folder/rules" -DUNIT="$folder/unit" \
        -P "$root/cmake/GenerateDeviceAccess.cmake" >"$folder/out" 2>&1 || fail "compiled to no udev rules: $1"
    [ "$(grep -v '^#\|^$' "$folder/rules")" = "ACTION==\"remove\", GOTO=\"rynvel_end\"${2:+
$2}
LABEL=\"rynvel_end\"" ] || { cat "$folder/rules" >&2; fail "compiled to other udev rules: $1"; }
    [ "$(grep -v '^#' "$folder/unit")" = "[Service]${3:+
$3}" ] || { cat "$folder/unit" >&2; fail "compiled to another unit: $1"; }
}

access='GROUP="rynvel", MODE="0660"'
for type in $types; do
    case $type in
        Uio*) gives_access "a /dev/b 0 $type" "SUBSYSTEM==\"uio\", ATTR{name}==\"b\", SYMLINK+=\"b\", $access" \
            'DeviceAllow=char-uio rw' ;;
        Remote*) gives_access "a /dev/b 0 $type" '' '' ;;
        *) gives_access "a /dev/b 0 $type" "KERNEL==\"b\", $access" 'DeviceAllow=/dev/b rw' ;;
    esac
done
gives_access 'a /dev/spidev0.1 0 Lseek8\nb /dev/spidev0.1 64 FpgaSpi32\nc /dev/i2c-0 0 Lseek8' \
    "KERNEL==\"spidev0.1\", $access
KERNEL==\"i2c-0\", $access" 'DeviceAllow=char-spi rw
DeviceAllow=char-i2c rw'
gives_access 'a /tmp/a 0 Lseek8\nb /dev/b/c 0 Lseek8\nd /dev/e/f 0 Uio16\n' "KERNEL==\"b/c\", $access" \
    'DeviceAllow=/dev/b/c rw
DeviceAllow=char-uio rw'
gives_access 'a /dev/a*$%%b 0 Uio16\nc /dev/c?|$%%d 0 Lseek8\n' \
    "SUBSYSTEM==\"uio\", ATTR{name}==\"a[*]\$%b\", SYMLINK+=\"a*\$\$%%b\", $access
KERNEL==\"c[?][|]\$%d\", $access" 'DeviceAllow=char-uio rw
DeviceAllow=/dev/c?|$%%d rw'

[ "$failures" = 0 ]
