#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Compiles the libraries against the headers of musl. A warning is a failure. Usage: musl.sh FOLDER
# The build is in FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
mkdir -p "$1" || exit
folder=$(cd "$1" && pwd)
. "$root/scripts/checks.sh"
suite=musl

# Configures a build. Usage: configure NAME [OPTION...]
configure() { cmake -S "$root" -B "$folder/$1" -G Ninja -DRYNVEL_WERROR=ON -DCMAKE_BUILD_TYPE=None "${@:2}"; }

# Compiles all sources of the libraries. Linking would need a C++ library that is built for musl.
compiles_with_musl() {
    configure musl -DCMAKE_TOOLCHAIN_FILE="$root/tests/builders/musl.cmake" -DBUILD_TESTING=OFF \
        -DRYNVEL_EXAMPLES=OFF -DRYNVEL_PROGRAMS=OFF &&
        cmake --build "$folder/musl" --target ziltrace_objects rynvel_base_objects rynvel_objects rynvel_table &&
        ! nm --undefined-only "$folder"/musl/ziltrace/CMakeFiles/ziltrace_objects.dir/src/*.o | grep -E '@|__.*_chk'
}

check 'the libraries compile against the headers of musl' compiles_with_musl
summary
