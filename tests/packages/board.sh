#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Unpacks the Debian packages for armhf on the virtual board, and uses the devices of the board without the privileges
# of root. The udev of Debian applies the rules of the packages on the board.
# Usage: board.sh FOLDER, where FOLDER has the packages for armhf. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd) || exit
. "$root/scripts/common.sh"
. "$root/scripts/checks.sh"
suite='packages on the board'
system="$root/build/packages/board"
debian="$rynvel_cache/board/debian"

# The packages of Debian that the test needs on the board.
debian_packages=(udev util-linux coreutils libstdc++6)

debian_is_unpacked() { [ "$(cat "$debian/packages" 2>/dev/null)" = "${debian_packages[*]}" ]; }

# Downloads the packages with all packages that they depend on, and unpacks them into a folder.
fetch_debian() (
    stage=$(mktemp -d "$rynvel_cache/board/debian.XXXXXX") || exit
    trap 'rm -rf "$stage"' EXIT
    write_target_apt_settings "$stage"
    export APT_CONFIG="$stage/apt.conf"
    apt-get update || echo 'some package lists are missing; continuing with the others'
    apt-get install --download-only --yes --no-install-recommends "${debian_packages[@]}" || exit
    for archive in "$stage"/apt/cache/archives/*.deb; do
        dpkg-deb --extract "$archive" "$stage/debian" || exit
    done
    printf '%s\n' "${debian_packages[*]}" >"$stage/debian/packages"
    rm -rf "$debian"
    mv "$stage/debian" "$debian"
)

# Makes the root file system of the test on the board, with the accounts that systemd-sysusers makes.
makes_a_system() {
    local package
    mkdir -p "$rynvel_cache/board" && { debian_is_unpacked || fetch_debian; } &&
        rm -rf "$system" && mkdir -p "${system%/*}" && cp -a "$debian" "$system" || return
    for package in "$packages"/*.deb; do
        dpkg-deb --extract "$package" "$system" || return
    done
    printf 'root:x:0:0:root:/root:/bin/sh\nmember:x:1000:1000::/:/bin/sh\nstranger:x:1001:1001::/:/bin/sh\n' \
        >"$system/etc/passwd" &&
        printf 'root:x:0:\nmember:x:1000:\nstranger:x:1001:\n' >"$system/etc/group" &&
        systemd-sysusers --root="$system" "$system/usr/lib/sysusers.d/rynvel.conf" \
            "$system/usr/lib/sysusers.d/rynveld.conf" && grep '^rynvel:' "$system/etc/group"
}

session() {
    RYNVEL_BOARD_TIMEOUT=700 "$root/board/run" sh "$root/tests/packages/board_session.sh" "$system" \
        </dev/null >"$work/session" 2>"$work/errors" || { cat "$work/session" "$work/errors"; return 1; }
}

# Prints the part of the session under a heading.
part() { sed -n "/^== $1\$/,/^== /{/^== /!p}" "$work/session"; }

# Prints the device files of the device table and their device types.
device_files() { sed 's/#.*//' "$root/cppsrc/devices.def" | awk 'NF { print $2, $4 }'; }

gives_every_device_to_the_group() {
    diff <(device_files | awk '{ print $1, "660 root rynvel" }') <(part 'device files')
}

links_uio_devices_by_bare_names() {
    diff <(device_files | awk '$2 ~ /^Uio/ { print $1, "uio*" }') <(part links | sed 's/ uio[0-9]*$/ uio*/') &&
        [ "$(part links | sort -u -k 2 | wc -l)" = "$(part links | wc -l)" ]
}

before_the_rules_only_root_has_access() { [ "$(part before | sort -u)" = '600 root root' ]; }

member_reads_registers() {
    [ "$(part member | grep -cx '0x[0-9a-f]*')" = 3 ] && [ "$(part member | wc -l)" = 3 ]
}

stranger_is_refused() { grep 'Permission denied' <(part stranger) && ! grep -x '0x[0-9a-f]*' <(part stranger); }

server_serves_devices() { diff <(printf '0x0000abcd\n0x0000abcd\n') <(part server); }

check 'the packages are unpacked' makes_a_system
check 'the session runs on the board to its end' session
check 'without the rules, the devices belong to root' before_the_rules_only_root_has_access
check 'udev gives every device of the table to the group rynvel' gives_every_device_to_the_group
check 'udev creates the links to the UIO devices of the table' links_uio_devices_by_bare_names
check 'a member of the group reads registers' member_reads_registers
check 'a user outside of the group is refused' stranger_is_refused
check 'the server runs as its own user and serves real devices' server_serves_devices
summary
