# SPDX-License-Identifier: MIT
# Shell functions shared by ./demo, ./check, board/run and the scripts of benchmarks/. Sourced, never run.

rynvel_cache="${XDG_CACHE_HOME:-${HOME:?HOME is not set}/.cache}/rynvel"

# The packages of a build for the host, and the further packages of a build for the target.
build_packages=(g++ cmake ninja-build make libasio-dev libcli11-dev)
target_packages=(gcc-arm-linux-gnueabihf g++-arm-linux-gnueabihf)
# The further packages of the benchmarks, and of counting instructions.
benchmark_packages=(libbenchmark-dev)
counting_packages=(valgrind qemu-user binutils)

# Ends the calling script with one line on standard error.
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
        command -v sudo >/dev/null || die "need root to run '$*': run as root or install sudo"
        sudo -- "$@"
    fi
}

# Installs the named Debian packages that are missing. Needs no network if all are installed.
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
