# SPDX-License-Identifier: MIT
# Shell functions and package lists that the scripts of the project share. Source this file; do not run it.

rynvel_cache="${XDG_CACHE_HOME:-${HOME:?HOME is not set}/.cache}/rynvel"

# The folder of the target's packages, which cmake/armhf.cmake searches. The packages are unpacked instead of installed,
# so the system needs no second architecture.
target_root="$rynvel_cache/armhf"

# The folder of packages of this machine that are unpacked instead of installed, because their installation would start a
# service. The names of these packages end in ":unpacked".
unpacked_root="$rynvel_cache/unpacked"

# The packages for a build for this machine, and the additional packages for a build for the target.
build_packages=(g++ cmake ninja-build make libasio-dev libcli11-dev libpugixml-dev nlohmann-json3-dev)
target_packages=(gcc-arm-linux-gnueabihf g++-arm-linux-gnueabihf libpugixml-dev:armhf)
# The additional packages for the Python package, and for its tests.
python_build_packages=(python3-dev pybind11-dev)
python_packages=("${python_build_packages[@]}" python3-pytest python3-hypothesis python3-numpy python3-matplotlib mypy)
# Python for the target, with the libraries that it needs.
target_python_packages=(python3.11-minimal:armhf libpython3.11-minimal:armhf libpython3.11-stdlib:armhf
    libpython3.11-dev:armhf libexpat1:armhf zlib1g:armhf)
wheel_packages=(python3-pip python3-setuptools python3-wheel)
# The additional packages for the benchmarks, and for counting instructions.
benchmark_packages=(libbenchmark-dev)
counting_packages=(valgrind qemu-user binutils)
# The packages for the site.
site_packages=(python3 doxygen mandoc python3-sphinx python3-breathe python3-myst-parser furo node-normalize.css)

# Prints a message on standard error and ends the script with status 1.
die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints the named Debian packages that are not installed. A package NAME:armhf or NAME:unpacked counts as installed when
# it is unpacked.
missing_packages() {
    local package
    for package in "$@"; do
        case $package in
            *:armhf) [ -e "$target_root/packages/$package" ] || printf '%s\n' "$package" ;;
            *:unpacked) [ -e "$unpacked_root/packages/$package" ] || printf '%s\n' "$package" ;;
            *)
                [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
                    printf '%s\n' "$package"
                ;;
        esac
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

# Writes apt.conf into a folder. With this file, apt selects the packages of the target, armhf, and keeps its lists and
# its cache in the folder instead of in the folders of the system.
write_target_apt_settings() {
    mkdir -p "$1/apt/state/lists/partial" "$1/apt/cache/archives/partial"
    : >"$1/apt/status"
    cat >"$1/apt.conf" <<-END
	#clear APT::Architectures;
	APT::Architecture "armhf";
	APT::Architectures { "armhf"; "$(dpkg --print-architecture)"; };
	APT::Sandbox::User "root";
	Dir::State "$1/apt/state";
	Dir::State::status "$1/apt/status";
	Dir::Cache "$1/apt/cache";
	END
}

# Downloads packages of the target into a folder with the settings of write_target_apt_settings. A package that cannot
# be downloaded is an error. A missing package list is not an error.
fetch_target_packages() (
    export APT_CONFIG="$1/apt.conf"
    apt-get update || echo "some package lists are missing; continuing with the others"
    cd "$1" && apt-get download "${@:2}"
)

# Unpacks packages of the target into target_root.
unpack_target_packages() (
    stage=$(mktemp -d "$rynvel_cache/armhf.XXXXXX") || exit
    trap 'rm -rf "$stage"' EXIT
    write_target_apt_settings "$stage" && fetch_target_packages "$stage" "$@" || exit
    mkdir -p "$target_root/packages"
    for archive in "$stage"/*.deb; do
        dpkg-deb -x "$archive" "$target_root" || exit
    done
    for package in "$@"; do
        : >"$target_root/packages/$package" || exit
    done
)

# Unpacks packages of this machine into unpacked_root. Each name ends in ":unpacked".
unpack_packages() (
    stage=$(mktemp -d "$rynvel_cache/unpacked.XXXXXX") || exit
    trap 'rm -rf "$stage"' EXIT
    mkdir -p "$unpacked_root/packages" && as_root apt-get update && cd "$stage" &&
        apt-get download "${@%:unpacked}" || exit
    for archive in *.deb; do
        dpkg-deb -x "$archive" "$unpacked_root" || exit
    done
    for package in "$@"; do
        : >"$unpacked_root/packages/$package" || exit
    done
)

# Installs the missing packages among the named Debian packages. Unpacks the packages NAME:armhf and NAME:unpacked
# instead. Needs no network if no package is missing.
require_packages() {
    local missing log
    missing=$(missing_packages "$@" | sort -u)
    [ -n "$missing" ] || return 0
    mkdir -p "$rynvel_cache"
    log="$rynvel_cache/apt.log"
    printf 'installing packages: %s\n' "$(echo $missing)"
    { install_packages $(grep -vE ':(armhf|unpacked)$' <<<"$missing") &&
        if_any unpack_target_packages $(grep ':armhf$' <<<"$missing") &&
        if_any unpack_packages $(grep ':unpacked$' <<<"$missing"); } >"$log" 2>&1 || die "cannot install $(echo $missing) (see $log)"
}

install_packages() {
    [ $# = 0 ] || { as_root apt-get update && as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install --yes --no-install-recommends "$@"; }
}

# Runs a command if it has arguments.
if_any() { [ $# = 1 ] || "$@"; }
