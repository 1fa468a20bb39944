#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the contents and the dependencies of the Debian packages of both architectures.
# Usage: contents.sh AMD64_FOLDER ARMHF_FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
amd64=$(cd "$1" && pwd) && armhf=$(cd "$2" && pwd) || exit
. "$root/scripts/checks.sh"
suite=contents
largest_library=60000

# Prints the names of the packages of a build, without those with debugging information.
package_names() { find "$1" -name '*.deb' ! -name '*-dbgsym_*' -printf '%f\n' | sed 's/_.*//' | sort; }

# The cross build creates no documentation, so librynvel-doc exists only for amd64.
has_every_package() {
    diff <(sed -n 's/^Package: //p' "$root/debian/control" | sort) <(package_names "$amd64") &&
        diff <(package_names "$amd64" | grep -vx librynvel-doc) <(package_names "$armhf")
}

library_is_small() {
    local size
    size=$(stat --format %s "$armhf"/librynvel1_*.deb) && printf '%s bytes\n' "$size" &&
        [ "$size" -le $largest_library ]
}

# Succeeds if a package needs only the named packages. The arguments are the package and the names in their order.
needs_only() {
    local folder
    for folder in "$amd64" "$armhf"; do
        diff <(printf '%s\n' "${@:2}") \
            <(dpkg-deb --field "$folder/$1"_*.deb Depends Pre-Depends | tr ',' '\n' |
                sed 's/^[A-Za-z-]*: //; s/^ *\([^ ]*\).*/\1/' | sort -u) || return
    done
}

independent_packages_are_identical() {
    local file count=0
    for file in "$armhf"/*_all.deb; do
        cmp "$file" "$amd64/${file##*/}" || return
        count=$((count + 1))
    done
    [ $count -ge 1 ]
}

# Succeeds if the packages of an architecture contain programs and libraries of this architecture only.
has_the_machine() {
    local file
    rm -rf "$work/files" && for file in "$1"/*.deb; do dpkg-deb --extract "$file" "$work/files" || return; done
    find "$work/files" -type f \( -path '*/bin/*' -o -path '*/sbin/*' -o -name '*.so.*' -o -name '*.so' \) \
        >"$work/binaries"
    [ "$(wc -l <"$work/binaries")" = 6 ] && while read -r file; do
        readelf --file-header "$file" | grep -q "Machine: *$2" || { printf 'fails: %s\n' "$file"; return 1; }
    done <"$work/binaries"
}

programs_are_for_their_architecture() {
    has_the_machine "$amd64" 'Advanced Micro Devices X86-64' && has_the_machine "$armhf" ARM
}

check 'the builds create every package, except librynvel-doc for armhf' has_every_package
check "the library for armhf has at most $largest_library bytes" library_is_small
check 'the library needs only the standard libraries and libziltrace1' \
    needs_only librynvel1 libc6 libgcc-s1 libstdc++6 libziltrace1
check 'the Python package also needs only Python' \
    needs_only python3-rynvel libc6 libgcc-s1 libstdc++6 libziltrace1 python3 python3:any
check 'the packages for all architectures are the same in both builds' independent_packages_are_identical
check 'the programs and libraries are for the architecture of their package' programs_are_for_their_architecture
summary
