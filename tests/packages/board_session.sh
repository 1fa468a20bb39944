#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs on the virtual board: starts udev in the root file system of board.sh, and uses the devices as several users.
# Usage: board_session.sh FOLDER. Prints parts with headings for board.sh.
set -eu
system=$1
# Without this variable, udevadm refuses to work in another root file system.
export SYSTEMD_IGNORE_CHROOT=1

# Runs a command in the root file system. Usage: as USER GROUPS COMMAND [ARG...]
as() {
    user=$1 groups=$2
    shift 2
    chroot "$system" /usr/bin/setpriv --reuid="$user" --regid="$user" --groups="$groups" "$@"
}

in_system() { chroot "$system" "$@"; }

# Prints the paths of the device files of the table.
paths() { in_system /usr/bin/rynvelctl list --quiet --local | while read -r name; do path_of "$name"; done; }

path_of() { in_system /usr/bin/rynvelctl info "$1" | sed -n 's/^path: *//p'; }

# Resets the device files of the UIO devices to the state in which the kernel creates them: without links, and with the
# mode 600.
forget_earlier_access() {
    for device in /sys/class/uio/*; do
        read -r name <"$device/name"
        rm -f "/dev/$name"
        chmod 600 "/dev/${device##*/}"
    done
}

mkdir -p "$system"/dev "$system"/proc "$system"/run "$system"/sys
for folder in dev proc sys; do
    mount --bind "/$folder" "$system/$folder"
done
mount -t tmpfs run "$system/run"
forget_earlier_access

echo '== before'
stat -c '%a %U %G' /dev/uio* /dev/tomkar_i2c /dev/spidev0.0

in_system /lib/systemd/systemd-udevd --daemon
in_system /bin/udevadm trigger --action=add
in_system /bin/udevadm settle --timeout=600

paths >/tmp/paths
echo '== device files'
while read -r path; do
    in_system /usr/bin/stat --dereference --format="$path %a %U %G" "$path" || echo "$path is missing"
done </tmp/paths
echo '== links'
while read -r path; do
    [ ! -h "$path" ] || echo "$path $(readlink "$path")"
done </tmp/paths

echo '== member'
for name in traf.top i2c common.spi.0.0; do
    as member rynvel /usr/bin/rynvelctl --quiet read "$name" 0
done
echo '== stranger'
as stranger stranger /usr/bin/rynvelctl --quiet read traf.top 0 2>&1 || :

echo '== server'
mkfifo /tmp/lines
as rynveld rynvel /usr/sbin/rynveld --listen 127.0.0.1:8888 2>/tmp/lines &
read -r line </tmp/lines
as stranger stranger /usr/bin/rynvelctl --remote 127.0.0.1 --quiet write mlhc 0x10 0xabcd
as stranger stranger /usr/bin/rynvelctl --remote 127.0.0.1 --quiet read mlhc 0x10
as member rynvel /usr/bin/rynvelctl --quiet read mlhc 0x10
kill $!
in_system /bin/udevadm control --exit
echo '== end'
