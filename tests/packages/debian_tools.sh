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

# Runs a command with a new root file system, whose folder is the last argument of the command. The arguments are the
# archive and the command.
with_chroot() {
    local system="$work/system" status
    unpack_chroot "$1" "$system" || return
    as_root "${@:2}" "$system"
    status=$?
    remove_chroot "$system"
    return $status
}

# There is no earlier version in an archive of packages, so piuparts cannot test an upgrade. The ignored folder is that
# of apt-utils.
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
