#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the library as integrators configure it: with an integrator's device description, and with an installed tracing
# library. Usage: configurations.sh BUILD_FOLDER, the folder of the preset python. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
release=$(cd "$1" && pwd) || exit
. "$root/scripts/checks.sh"
suite="installed configurations"

# Configures a build in a folder. Usage: configure FOLDER [OPTION...]
configure() { cmake -S "$root" -B "$work/$1" -G Ninja -DBUILD_TESTING=OFF -DRYNVEL_EXAMPLES=OFF "${@:2}"; }

# Configures and builds in a folder. Usage: build FOLDER [OPTION...]
build() { configure "$@" && cmake --build "$work/$1"; }

# Prints a compiler launcher that makes the paths of sources relative to a build folder, as compiler caches may do.
launcher_with_relative_names() {
    local relative
    relative=$(realpath --relative-to="$1" "$root")
    printf '#!/bin/bash\n%s\n' "$(declare -p root relative)"
    cat <<'END'
for argument; do
    shift
    case $argument in
        "$root"/*) argument=$relative${argument#"$root"} ;;
        -I"$root"/*) argument=-I$relative${argument#-I"$root"} ;;
    esac
    set -- "$@" "$argument"
done
exec "$@"
END
}

opens_the_rows_of_its_own_description() {
    printf 'clock /dev/null-link 0 Uio32\nsecond /dev/null-link 0 Uio16\n' >"$work/own.def"
    launcher_with_relative_names "$work/own" >"$work/launcher" && chmod +x "$work/launcher" &&
        build own -DRYNVEL_DEVICES="$work/own.def" -DRYNVEL_PROGRAMS=OFF \
            -DCMAKE_CXX_COMPILER_LAUNCHER="$work/launcher" &&
        cc "$root/tests/installed/consumer.c" -I"$root/include" -I"$work/own/include" -o "$work/consumer" "$work/own/cppsrc/librynvel.so" \
            -Wl,-rpath,"$work/own/cppsrc:$work/own/ziltrace" -Wl,-rpath-link,"$work/own/ziltrace" &&
        [ "$("$work/consumer" second)" = 'handle 1' ] && [ "$("$work/consumer" traf.top)" = 'handle -1' ]
}

builds_anew_when_the_description_changes() {
    printf 'first /dev/null-link 0 Uio32\nclock /dev/null-link 0 Uio32\nsecond /dev/null-link 0 Uio16\n' >"$work/own.def"
    printf 'missing /dev/null/missing 0 Lseek8\n' >>"$work/own.def"
    cmake --build "$work/own" && [ "$("$work/consumer" second)" = 'handle 2' ]
}

names_its_sources_when_the_compiler_has_relative_names() {
    grep -aqE '\.\./[^ ]*cppsrc/RynvelLseek\.cpp' "$work/own/.ninja_deps" || return
    "$work/consumer" missing 2>"$work/err"
    [ $? = 134 ] && grep -q ' MSG cppsrc/RynvelLseek:' "$work/err" && grep -q '^[^ ]*: cppsrc/RynvelLseek:[0-9]*: ' "$work/err"
}

# Succeeds if the library has the usual source names when the build folder is below the sources, as with the presets.
names_its_sources_in_a_build_below_them() {
    local folder=$root/build/configurations object=cppsrc/CMakeFiles/rynvel_objects.dir/RynvelLseek.cpp.o
    mkdir -p "$folder" && launcher_with_relative_names "$folder" >"$work/launcher_below" &&
        chmod +x "$work/launcher_below" &&
        cmake -S "$root" -B "$folder" -G Ninja -DBUILD_TESTING=OFF -DRYNVEL_EXAMPLES=OFF -DRYNVEL_PROGRAMS=OFF \
            -DCMAKE_CXX_COMPILER_LAUNCHER="$work/launcher_below" && cmake --build "$folder" --target "$object" &&
        strings -a "$folder/$object" >"$work/strings" && grep -x 'cppsrc/RynvelLseek' "$work/strings"
    local status=$?
    rm -rf "$folder"
    return $status
}

refuses_a_malformed_row() {
    printf 'clock /dev/clock 0 Uio32\nsecond /dev/second 0 Uio64\n' >"$work/bad.def"
    configure bad -DRYNVEL_PROGRAMS=OFF -DRYNVEL_DEVICES="$work/bad.def" &&
        ! cmake --build "$work/bad" --target rynvel_table >"$work/bad.log" 2>&1 &&
        grep -F "$work/bad.def:2: error: unknown device type 'Uio64' " "$work/bad.log"
}

links_an_installed_tracing_library() {
    cmake --install "$release" --prefix "$work/stage" &&
        build external -DRYNVEL_EXTERNAL_ZILTRACE=ON -DRYNVEL_UNITY=ON -DCMAKE_PREFIX_PATH="$work/stage" &&
        [ ! -e "$work/external/ziltrace" ] &&
        ldd "$work/external/cppsrc/librynvel.so" | grep "libziltrace.so.1 => $work/stage/"
}

finds_the_tracing_library_of_another_prefix() {
    cmake --install "$work/external" --prefix "$work/elsewhere" &&
        [ "$(env -i "$work/elsewhere/bin/rynvelctl" list --quiet | head -n 1)" = traf.top ] &&
        env -i "$work/elsewhere/sbin/rynveld" --version
}

refuses_tests_with_an_installed_tracing_library() {
    ! cmake -S "$root" -B "$work/refused" -G Ninja -DRYNVEL_EXTERNAL_ZILTRACE=ON >"$work/refused.log" 2>&1 &&
        grep -F 'set BUILD_TESTING=OFF' "$work/refused.log"
}

# Configures a project of which librynvel is a part. Usage: configure_parent FOLDER [OPTION...]
configure_parent() {
    cmake -S "$root/tests/builders/parent" -B "$work/$1" -G Ninja -DRYNVEL_SOURCES="$root" \
        -DCMAKE_INSTALL_PREFIX="$work/$1.prefix" "${@:2}"
}

is_a_part_of_another_project() {
    configure_parent parent && ninja -C "$work/parent" -t commands >"$work/commands" || return
    grep -q -- '-std=c++20 .*RynvelLseek\.cpp' "$work/commands" && ! grep -q -- '-std=c++17' "$work/commands" &&
        cmake --build "$work/parent" && (cd "$work" && parent/program) &&
        [ "$(ctest --test-dir "$work/parent" -N | grep -c 'Test *#')" = 1 ] && cmake --install "$work/parent" &&
        [ "$(cd "$work/parent.prefix" && find . -type f)" = ./bin/program ]
}

is_a_part_with_fetch_content() { configure_parent fetched -DRYNVEL_FETCHED=ON; }

has_prefixed_targets_with_its_programs() { configure_parent with_programs -DRYNVEL_PROGRAMS=ON -DRYNVEL_EXAMPLES=ON; }

# Lists the files in a folder without their contents.
files_in() { (cd "$1" && find . ! -type d | sort); }

installs_each_file_with_one_component() {
    local component
    cmake --install "$release" --prefix "$work/whole" || return
    for component in Runtime Development Tools Server Python; do
        cmake --install "$release" --prefix "$work/component.$component" --component $component || return
        files_in "$work/component.$component"
    done >"$work/parts.log"
    grep '^\./' "$work/parts.log" | sort >"$work/parts"
    diff <(files_in "$work/whole") "$work/parts" && [ -e "$work/component.Runtime/lib/librynvel.so.1" ] &&
        [ -L "$work/component.Development/lib/librynvel.so" ] && [ -e "$work/component.Tools/bin/rynvelctl" ] &&
        [ -e "$work/component.Server/sbin/rynveld" ]
}

# Configures for a machine whose headers and libraries are in $work/sysroot only.
configure_with_sysroot() {
    configure "$1" -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_FIND_ROOT_PATH="$work/sysroot" \
        -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY
}

finds_header_libraries_in_a_sysroot() {
    local headers="$work/sysroot/usr/include"
    mkdir -p "$headers" "$work/sysroot/usr/lib" && : >"$headers/pugixml.hpp" && : >"$work/sysroot/usr/lib/libpugixml.so" &&
        mkdir "$headers/CLI" "$headers/nlohmann" "$headers/asio" && : >"$headers/asio.hpp" &&
        configure_with_sysroot cross && [ "$(readlink "$work/cross/headers/rynvel_cli11/CLI")" = "$headers/CLI" ] &&
        [ "$(readlink "$work/cross/headers/rynvel_asio/asio.hpp")" = "$headers/asio.hpp" ]
}

names_a_header_that_the_sysroot_lacks() {
    rm "$work/sysroot/usr/include/asio.hpp"
    ! configure_with_sysroot incomplete >"$work/incomplete.log" 2>&1 && grep -F 'asio.hpp: no such header' "$work/incomplete.log"
}

check 'a library that is built with a device description file opens the devices in it' opens_the_rows_of_its_own_description
check 'a build compiles a device description file that has changed' builds_anew_when_the_description_changes
check 'source names are the same if a compiler gets relative paths' \
    names_its_sources_when_the_compiler_has_relative_names
check 'source names are the same in a build below the sources' names_its_sources_in_a_build_below_them
check 'a malformed row fails the build with a message that says where and why' refuses_a_malformed_row
check 'an installed tracing library replaces the stand-in' links_an_installed_tracing_library
check 'the installed programs find a tracing library outside their prefix' finds_the_tracing_library_of_another_prefix
check 'a build with tests refuses an installed tracing library' refuses_tests_with_an_installed_tracing_library
check 'librynvel changes no settings of a project that includes it, and adds no tests' is_a_part_of_another_project
check 'another project can include librynvel with FetchContent' is_a_part_with_fetch_content
check 'the targets of the programs have a prefix too' has_prefixed_targets_with_its_programs
check 'the components of the installation contain each file once' installs_each_file_with_one_component
check 'a cross build finds header-only libraries in its sysroot' finds_header_libraries_in_a_sysroot
check 'a cross build says which header its sysroot lacks' names_a_header_that_the_sysroot_lacks
summary
