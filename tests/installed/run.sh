#!/usr/bin/env bash
# Installs a release build and uses the result as its users do. Usage: run.sh BUILD_FOLDER [EMULATOR...]
# Compilers: $CC and $CXX; $SANITIZERS are those of the build. Ends with a line of totals.
set -u
source_folder=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
shift
emulator=("$@")
sanitize=${SANITIZERS:+-fsanitize=$SANITIZERS}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
stage="$work/stage"
passed=0
failed=0

check() {
    local name=$1
    shift
    if "$@" >"$work/out" 2>&1; then
        passed=$((passed + 1))
        printf 'passed: %s\n' "$name"
    else
        failed=$((failed + 1))
        printf 'FAILED: %s\n' "$name"
        sed 's/^/    /' "$work/out"
    fi
}

installed_files() { (cd "$stage" && find . -type f -o -type l | sort); }

library() { find "$stage" -name "lib$1.so.1"; }

installs() { cmake --install "$build" --prefix "$stage"; }

has_all_files() {
    local file missing=0
    for file in include/rynvel.h include/rynvel.hpp include/rynvel/Factory.h include/ZilTrace.h lib/librynvel.so \
        lib/librynvel.so.1 lib/libziltrace.so.1 lib/pkgconfig/rynvel.pc lib/pkgconfig/ziltrace.pc \
        lib/cmake/rynvel/rynvelConfig.cmake lib/cmake/ziltrace/ziltraceConfig.cmake; do
        [ -e "$stage/$file" ] || { printf 'missing: %s\n' "$file"; missing=1; }
    done
    return $missing
}

# Everything but what a program may call, implement or catch.
foreign_symbols() {
    "$1" -D --defined-only "$2" | awk '{ print $NF }' | sed 's/@.*//' | grep -vE "$3"
}

exports_only_its_interface() {
    local mangled='_ZN6Rynvel|_ZNK6Rynvel|_ZT[VIS]N6Rynvel|_ZNK?7LinuxIo|_ZlsRSoRK12HexU32Struct$'
    ! foreign_symbols "${NM:-nm}" "$(library rynvel)" "^(Rynvel_[a-zA-Z0-9]+|Rynvel2_[a-zA-Z0-9]+|($mangled).*|RYNVEL_1)$"
}

exports_the_whole_c_interface() {
    comm -3 <(grep -oE '\bRynvel2?_[a-zA-Z0-9]+\(' "$stage/include/rynvel.h" | grep -v 'Rynvel2\?_(' | tr -d '(' |
        sort -u) <("${NM:-nm}" -D --defined-only "$(library rynvel)" | awk '{ print $NF }' | sed 's/@.*//' |
        grep -E '^Rynvel2?_' | sort -u) | { ! grep .; }
}

needs_only_the_tracing_library() {
    "${READELF:-readelf}" -d "$(library rynvel)" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' |
        { ! grep -vE '^(libziltrace\.so\.1|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libc\.so\.6|libm\.so\.6|lib(a|ub|t)san\.so\.[0-9]+|ld-linux.*)$'; }
}

is_named_for_its_interface() {
    "${READELF:-readelf}" -d "$(library rynvel)" | grep -q 'SONAME.*\[librynvel.so.1\]'
}

package_flags() { PKG_CONFIG_LIBDIR="$stage/lib/pkgconfig" pkg-config "$@"; }

builds_with_pkg_config() {
    "${CC:-cc}" -std=c99 -pedantic -Wall -Wextra -Werror $sanitize "$source_folder/consumer.c" -o "$work/consumer_c" \
        $(package_flags --cflags --libs rynvel) -Wl,-rpath,"$stage/lib" -Wl,-rpath-link,"$stage/lib"
}

builds_with_find_package() {
    cmake -S "$source_folder" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="${CXX:-c++}" -DCMAKE_CXX_FLAGS="$sanitize" \
        -DCMAKE_PREFIX_PATH="$stage" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH && cmake --build "$work/build"
}

# An emulator runs the program itself, not env.
run_consumer() {
    if [ ${#emulator[@]} -gt 0 ]; then
        (cd "$work" && "${emulator[@]}" -E "LD_LIBRARY_PATH=$stage/lib" "$@")
    else
        (cd "$work" && LD_LIBRARY_PATH="$stage/lib" "$@")
    fi
}

c_program_runs() { [ "$(run_consumer "$work/consumer_c" 2>"$work/err")" = 'handle -1' ]; }

says_on_standard_error_what_failed() { grep -q 'Rynvel.Factory.*No match for device no such device$' "$work/err"; }

classes_program_runs() {
    [ "$(run_consumer "$work/build/consumer")" = 'value 0x7856 in Host order, lock 1, slots 1' ]
}

asserts_in_a_release_build() {
    run_consumer "$work/consumer_c" common.idt 2>"$work/err"
    [ $? = 134 ] && grep -qE "cppsrc/RynvelLseek:[0-9]+: .*Assertion \`m_fd != -1' failed" "$work/err"
}

check 'the release build installs' installs
check 'headers, libraries, pkg-config files and CMake packages are installed' has_all_files
check 'the library exports its interface and nothing else' exports_only_its_interface
check 'the library exports every function of the C interface' exports_the_whole_c_interface
check 'the library needs the standard library and libziltrace only' needs_only_the_tracing_library
check 'the library is named librynvel.so.1' is_named_for_its_interface
check 'a C99 program builds with pkg-config' builds_with_pkg_config
check 'the C99 program runs' c_program_runs
check 'what failed is traced on standard error by default' says_on_standard_error_what_failed
check 'a program builds with find_package' builds_with_find_package
check 'the program on the classes runs' classes_program_runs
check 'a device file that cannot be opened ends the process in a release build' asserts_in_a_release_build

printf '%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" = 0 ]
