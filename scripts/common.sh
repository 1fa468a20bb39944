# Shell functions shared by ./demo, ./check, board/run and the scripts of benchmarks/. Sourced, never run.

rynvel_cache="${XDG_CACHE_HOME:-${HOME:?HOME is not set}/.cache}/rynvel"

# What a build for the host needs, and what one for the target adds.
build_packages=(g++ cmake ninja-build make libasio-dev libcli11-dev libpugixml-dev)
target_packages=(gcc-arm-linux-gnueabihf g++-arm-linux-gnueabihf)
# What measuring adds: the benchmarks, and the counting of instructions.
benchmark_packages=(libbenchmark-dev)
counting_packages=(valgrind qemu-user binutils)

# Ends the calling script with one line on standard error.
die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints those of the named Debian packages that are not installed.
missing_packages() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || printf '%s\n' "$package"
    done
}

# Runs a command as root: as it is for root, through sudo for anyone else.
as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        command -v sudo >/dev/null || die "need root to run '$*': run as root or install sudo"
        sudo -- "$@"
    fi
}

# Installs those of the named Debian packages that are missing. Needs no network when none is.
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
