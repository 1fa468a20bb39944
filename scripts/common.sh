# SPDX-License-Identifier: MIT
# Shell functions that ./demo, ./check, board/run and the scripts of benchmarks/ share. Source this file; do not run it.

rynvel_cache="${XDG_CACHE_HOME:-${HOME:?HOME is not set}/.cache}/rynvel"

# The packages for a build for this machine, and the additional packages for a build for the target.
build_packages=(g++ cmake ninja-build make libasio-dev libcli11-dev)
target_packages=(gcc-arm-linux-gnueabihf g++-arm-linux-gnueabihf)
# The additional packages for the benchmarks, and for counting instructions.
benchmark_packages=(libbenchmark-dev)
counting_packages=(valgrind qemu-user binutils)

# Prints a message on standard error and ends the script with status 1.
die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints the named Debian packages that are not installed.
missing_packages() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || printf '%s\n' "$package"
    done
}

# Runs a command as root, through sudo if the user is not root.
as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        command -v sudo >/dev/null || die "cannot run '$*' as root (run this script as root, or install sudo)"
        sudo -- "$@"
    fi
}

# Installs the named Debian packages that are missing. If all are installed, the function does not use the network.
require_packages() {
    local missing log
    missing=$(missing_packages "$@")
    [ -n "$missing" ] || return 0
    mkdir -p "$rynvel_cache"
    log="$rynvel_cache/apt.log"
    printf 'installing packages: %s\n' "$(echo $missing)"
    { as_root apt-get update && as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install --yes --no-install-recommends $missing; } >"$log" 2>&1 ||
        die "cannot install $(echo $missing) (see $log)"
}
