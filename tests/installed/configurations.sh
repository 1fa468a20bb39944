#!/usr/bin/env bash
# Builds the library as integrators configure it: with a device description of their own, and with a tracing library that
# is installed. Usage: configurations.sh RELEASE_BUILD_FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
release=$(cd "$1" && pwd) || exit
. "$root/scripts/checks.sh"
suite="installed configurations"

# Configures and builds the library into a folder, with further options.
build() {
    local folder=$1
    shift
    cmake -S "$root" -B "$work/$folder" -G Ninja -DBUILD_TESTING=OFF -DRYNVEL_EXAMPLES=OFF "$@" &&
        cmake --build "$work/$folder"
}

opens_the_rows_of_its_own_description() {
    printf 'clock /dev/null-link 0 Uio32\nsecond /dev/null-link 0 Uio16\n' >"$work/own.def"
    build own -DRYNVEL_DEVICES="$work/own.def" &&
        cc "$root/tests/installed/consumer.c" -I"$root/include" -o "$work/consumer" "$work/own/cppsrc/librynvel.so" \
            -Wl,-rpath,"$work/own/cppsrc:$work/own/ziltrace" -Wl,-rpath-link,"$work/own/ziltrace" &&
        [ "$("$work/consumer" second)" = 'handle 1' ] && [ "$("$work/consumer" traf.top)" = 'handle -1' ]
}

builds_anew_when_the_description_changes() {
    printf 'first /dev/null-link 0 Uio32\nclock /dev/null-link 0 Uio32\nsecond /dev/null-link 0 Uio16\n' >"$work/own.def"
    cmake --build "$work/own" && [ "$("$work/consumer" second)" = 'handle 2' ]
}

refuses_a_malformed_row() {
    printf 'clock /dev/clock 0 Uio32\nsecond /dev/second 0 Uio64\n' >"$work/bad.def"
    ! build bad -DRYNVEL_DEVICES="$work/bad.def" >"$work/bad.log" 2>&1 &&
        grep -F "$work/bad.def:2: error: unknown device type \"Uio64\"" "$work/bad.log"
}

links_an_installed_tracing_library() {
    cmake --install "$release" --prefix "$work/stage" &&
        build external -DRYNVEL_EXTERNAL_ZILTRACE=ON -DCMAKE_PREFIX_PATH="$work/stage" &&
        [ ! -e "$work/external/ziltrace" ] &&
        ldd "$work/external/cppsrc/librynvel.so" | grep "libziltrace.so.1 => $work/stage/"
}

refuses_tests_with_an_installed_tracing_library() {
    ! cmake -S "$root" -B "$work/refused" -G Ninja -DRYNVEL_EXTERNAL_ZILTRACE=ON >"$work/refused.log" 2>&1 &&
        grep -F 'needs BUILD_TESTING=OFF' "$work/refused.log"
}

check 'a library with its own device description opens its rows' opens_the_rows_of_its_own_description
check 'a changed device description is compiled anew' builds_anew_when_the_description_changes
check 'a malformed row fails the build with its place and reason' refuses_a_malformed_row
check 'an installed tracing library takes the place of the stand-in' links_an_installed_tracing_library
check 'the tests refuse an installed tracing library' refuses_tests_with_an_installed_tracing_library
summary
