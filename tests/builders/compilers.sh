#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds everything with other compilers and C++ standards, and compiles the libraries against the headers of musl. A
# warning is a failure. Usage: compilers.sh FOLDER
# The builds are in FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
mkdir -p "$1" || exit
folder=$(cd "$1" && pwd)
. "$root/scripts/checks.sh"
suite=compilers

# Configures a build. Usage: configure NAME [OPTION...]
configure() { cmake -S "$root" -B "$folder/$1" -G Ninja -DRYNVEL_WERROR=ON -DCMAKE_BUILD_TYPE=None "${@:2}"; }

# Builds everything. Usage: builds C_COMPILER CXX_COMPILER STANDARD
builds() {
    configure "$2-$3" -DRYNVEL_UNITY=ON -DCMAKE_C_COMPILER="$1" -DCMAKE_CXX_COMPILER="$2" -DCMAKE_CXX_STANDARD="$3" &&
        grep -q -- "-std=c++\(${3/20/2a\\|20}\|${3/23/2b}\) " "$folder/$2-$3/compile_commands.json" &&
        cmake --build "$folder/$2-$3"
}

# Compiles all sources of the libraries. Linking would need a C++ library that is built for musl.
compiles_with_musl() {
    configure musl -DCMAKE_TOOLCHAIN_FILE="$root/tests/builders/musl.cmake" -DBUILD_TESTING=OFF \
        -DRYNVEL_EXAMPLES=OFF -DRYNVEL_PROGRAMS=OFF &&
        cmake --build "$folder/musl" --target ziltrace_objects rynvel_base_objects rynvel_objects rynvel_table &&
        ! nm --undefined-only "$folder"/musl/ziltrace/CMakeFiles/ziltrace_objects.dir/src/*.o | grep -E '@|__.*_chk'
}

check 'the libraries compile against the headers of musl' compiles_with_musl
for standard in 17 20 23; do
    check "g++ builds everything in C++$standard without a warning" builds gcc g++ $standard
    for version in 14 16; do
        check "clang $version builds everything in C++$standard without a warning" \
            builds clang-$version clang++-$version $standard
    done
done
summary
