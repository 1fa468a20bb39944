#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Tests the Debian packages with the tools of Debian: piuparts installs and purges them, and autopkgtest runs the tests
# in debian/tests. Both tools need the network.
# Usage: debian_tools.sh FOLDER, where FOLDER has the packages for this machine. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd) || exit
. "$root/scripts/common.sh"
. "$root/scripts/checks.sh"
. "$root/packaging/chroots.sh"
suite='debian tools'
mapfile -t binaries < <(find "$packages" -name '*.deb' ! -name '*-dbgsym_*')

passes_piuparts() {
    local archive
    archive=$(chroot_archive piuparts-amd64 minbase amd64 eatmydata) &&
        as_root piuparts --basetgz="$archive" --arch=amd64 --distribution="$(debian_release)" \
            --mirror="$(debian_mirror) main" --no-upgrade-test --warn-on-debsums-errors \
            --log-level=info "${binaries[@]}"
}

passes_autopkgtest() {
    local archive system="$work/system" status
    archive=$(chroot_archive autopkgtest-amd64 minbase amd64 g++ cmake make pkg-config systemd apt-utils) &&
        unpack_chroot "$archive" "$system" || return
    as_root autopkgtest --no-built-binaries "${binaries[@]}" "$root/" -- chroot "$system"
    status=$?
    remove_chroot "$system"
    return $status
}

check 'piuparts finds no problem' passes_piuparts
check 'autopkgtest passes the tests of the packages' passes_autopkgtest
summary
