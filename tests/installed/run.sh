#!/usr/bin/env bash
# Installs a release build and uses the result as its users do. Usage: run.sh BUILD_FOLDER [EMULATOR...]
# Compilers: $CC and $CXX; $SANITIZERS are those of the build. Ends with a line of totals.
set -u -o pipefail
unset ZILTRACE
source_folder=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd) || exit
shift
emulator=("$@")
sanitize=${SANITIZERS:+-fsanitize=$SANITIZERS}
. "$source_folder/../../scripts/checks.sh"
suite="installed ${build##*/}"
stage="$work/stage"

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

# The names that the library defines for others, as the linker knows them; fails where there are none.
defined_symbols() {
    "${NM:-nm}" -D --defined-only "$(library rynvel)" | awk '{ print $NF }' | sed 's/@.*//' | grep .
}

# What the headers mark as private.
private_members() {
    sed -n 's/.*RYNVEL_LOCAL[^(;]*[ *&]\([a-zA-Z0-9_~]*\)[(;].*/\1/p' "$source_folder"/../../include/rynvel/*.h |
        sort -u | paste -s -d '|' | grep .
}

public_classes() {
    sed -n 's/^class RYNVEL_EXPORT \([a-zA-Z0-9]*\).*/\1/p' "$source_folder"/../../include/rynvel/*.h |
        sort -u | paste -s -d '|' | grep .
}

# Prints what is neither a C function nor a public member or table of a class with a public header.
foreign_symbols() {
    local symbols classes private
    symbols=$(defined_symbols | c++filt) && classes=$(public_classes) && private=$(private_members) || {
        echo 'cannot list the symbols'
        return
    }
    printf '%s\n' "$symbols" | grep -vxE \
        -e 'RYNVEL_1|Rynvel2?_[a-zA-Z0-9]+' \
        -e 'operator<<\(std::(ostream|basic_ostream<[^&]*>)&, HexU32Struct const&\)' \
        -e 'Rynvel::operator<<\(std::(ostream|basic_ostream<[^&]*>)&, Rynvel::ByteOrder\)' \
        -e "(typeinfo for |typeinfo name for |vtable for )?(Rynvel::)?($classes)(<.*>)?(::.*)?"
    printf '%s\n' "$symbols" | grep -E "::($private)(\\(|\$)"
}

exports_only_its_interface() { [ -z "$(foreign_symbols | tee /dev/stderr)" ]; }

# Prints the C functions that only the header or only the library has.
unmatched_functions() {
    local symbols
    symbols=$(defined_symbols) || echo 'cannot list the symbols'
    comm -3 <(grep -oE '\bRynvel2?_[a-zA-Z0-9]+\(' "$stage/include/rynvel.h" | tr -d '(' | sort -u) \
        <(printf '%s\n' "$symbols" | grep -E '^Rynvel2?_' | sort -u)
}

exports_the_whole_c_interface() { [ -z "$(unmatched_functions | tee /dev/stderr)" ]; }

needs_only_the_tracing_library() {
    local needed
    needed=$("${READELF:-readelf}" -d "$(library rynvel)" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | grep .) || return
    ! printf '%s\n' "$needed" |
        grep -vE '^(libziltrace\.so\.1|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libc\.so\.6|libm\.so\.6|lib(a|ub|t)san\.so\.[0-9]+|ld-linux.*)$'
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

asserts_handles_in_a_release_build() {
    run_consumer "$work/consumer_c" --handle 30 2>"$work/err"
    [ $? = 134 ] && grep -qF "Assertion \`static_cast<size_t>(handle) < m_rynvelList.size()' failed" "$work/err"
}

asserts_in_a_release_build() {
    run_consumer "$work/consumer_c" common.idt 2>"$work/err"
    [ $? = 134 ] && grep -qE "cppsrc/RynvelLseek:[0-9]+: .*Assertion \`m_fd != -1' failed" "$work/err"
}

runs_the_server() { [ "$(run_consumer "$stage/sbin/rynveld" --version)" = "rynveld $(package_flags --modversion rynvel)" ]; }

runs_the_command_line_program() {
    [ "$(run_consumer "$stage/bin/rynvelctl" --version)" = "rynvelctl $(package_flags --modversion rynvel)" ] &&
        [ "$(run_consumer "$stage/bin/rynvelctl" list --quiet | head -n 1)" = traf.top ]
}

# A manual page that says anything to complain about is no page.
has_a_manual_page() {
    local page="$stage/share/man/man1/rynvelctl.1"
    grep -q '^.SH COMMANDS' "$page" && [ -z "$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null | tee /dev/stderr)" ]
}

# Prints what bash offers for the last of the words.
completions() {
    (
        . "$stage/share/bash-completion/completions/rynvelctl"
        COMP_LINE=$*
        COMP_POINT=${#COMP_LINE}
        PATH="$work/bin:$PATH" _rynvelctl
        echo "${COMPREPLY[*]-}"
    )
}

completes_commands_options_and_device_names() {
    mkdir -p "$work/bin"
    printf '#!/bin/bash\n%s\n' "$(declare -p work stage emulator)
$(declare -f run_consumer)
run_consumer '$stage/bin/rynvelctl' \"\$@\"" >"$work/bin/rynvelctl"
    chmod +x "$work/bin/rynvelctl"
    [ "$(completions rynvelctl wa)" = 'watch wait' ] && [ "$(completions rynvelctl --quiet read rt)" = rtc0 ] &&
        [ "$(completions rynvelctl --remote host::9000 irq rtc0 e)" = enable ] &&
        [ "$(completions rynvelctl write traf.top 0 1 --v)" = '--version --verify' ] &&
        [ "$(completions rynvelctl dump --order=n)" = network ] && [ "$(completions rynvelctl list t)" = '' ] &&
        grep -qx '#compdef rynvelctl' "$stage/share/zsh/site-functions/_rynvelctl"
}

# The units as installed, but for the place of the program.
units_are_valid() {
    mkdir -p "$work/units" &&
        sed "s#^ExecStart=[^ ]*/rynveld #ExecStart=$stage/sbin/rynveld #" "$stage/lib/systemd/system/rynveld.service" \
            >"$work/units/rynveld.service" &&
        grep -q "^ExecStart=$stage" "$work/units/rynveld.service" &&
        cp "$stage/lib/systemd/system/rynveld.socket" "$work/units" &&
        [ -z "$(systemd-analyze verify "$work"/units/* 2>&1 | tee /dev/stderr)" ]
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
check 'a handle outside the table ends the process in every build' asserts_handles_in_a_release_build
check 'a device file that cannot be opened ends the process in every build' asserts_in_a_release_build
check 'the register server runs' runs_the_server
check 'the command line program runs' runs_the_command_line_program
check 'the manual page is installed and well formed' has_a_manual_page
check 'completion for bash knows commands, options and device names' completes_commands_options_and_device_names
check 'the units of the register server are valid' units_are_valid
summary
