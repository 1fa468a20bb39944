#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Tests the Debian packages with the tools of Debian: piuparts installs and purges them, and autopkgtest runs the tests
# in debian/tests. piuparts needs the network.
# Usage: debian_tools.sh FOLDER, where FOLDER has the packages for this machine. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd) || exit
. "$root/scripts/common.sh"
. "$root/scripts/checks.sh"
. "$root/packaging/chroots.sh"
suite='debian tools'
mapfile -t binaries < <(find "$packages" -name '*.deb' ! -name '*-dbgsym_*')

# Unpacks an archive into a new root file system, and runs a command with the folder of this root file system as its
# last argument. Usage: with_chroot ARCHIVE COMMAND [ARG...]
with_chroot() {
    local system="$work/system" status
    unpack_chroot "$1" "$system" || return
    as_root "${@:2}" "$system"
    status=$?
    remove_chroot "$system"
    return $status
}

# No archive contains an earlier version of the packages, so piuparts cannot test an upgrade. apt-utils creates the
# ignored folder.
passes_piuparts() {
    local archive
    archive=$(installation_chroot) &&
        with_chroot "$archive" piuparts --no-eatmydata --no-upgrade-test '--ignore-regex=/var/cache/debconf/tmp.ci/?' \
            --arch=amd64 --distribution="$(debian_release)" --mirror="$(debian_mirror) main" \
            "${binaries[@]}" --existing-chroot
}

passes_autopkgtest() {
    local archive
    archive=$(installation_chroot) &&
        with_chroot "$archive" autopkgtest --no-built-binaries "${binaries[@]}" "$packages"/*.dsc -- chroot
}

check 'piuparts finds no problem' passes_piuparts
check 'autopkgtest passes the tests of the packages' passes_autopkgtest
summary
