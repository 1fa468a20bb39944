#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the Debian packages again, in another folder, with another umask and another number of jobs. The packages must
# be identical byte for byte.
# Usage: reproducibility.sh ARCHITECTURE FOLDER, where FOLDER has the packages of the first build. Ends with a line of
# totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
architecture=$1
packages=$(cd "$2" && pwd) || exit
. "$root/scripts/common.sh"
. "$root/scripts/checks.sh"
. "$root/packaging/packages.sh"
suite="reproducibility $architecture"

builds_again() {
    source_parent=/home/another/folder build_umask=077 build_jobs=3 build_packages "$architecture" "$work/again"
}

# Prints the files of a build without those that describe the build itself.
results() { find "$1" -maxdepth 1 \( -name '*.deb' -o -name '*.tar.xz' -o -name '*.dsc' \) -printf '%f\n' | sort; }

makes_the_same_files() { [ -n "$(results "$packages")" ] && diff <(results "$packages") <(results "$work/again"); }

every_file_is_identical() {
    local file failed=0
    for file in $(results "$packages"); do
        cmp "$packages/$file" "$work/again/$file" || failed=1
    done
    return $failed
}

check 'the packages are built again' builds_again
check 'the second build creates files with the same names' makes_the_same_files
check 'every file of the second build is identical to that of the first build' every_file_is_identical
summary
