#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs a build, and uses the installed files as a user does. The installed programs run in an empty environment.
# Usage: run.sh BUILD_FOLDER [EMULATOR...]
# $CC and $CXX are the compilers. $SANITIZERS are the sanitizers of the build. Ends with a line of totals.
set -u -o pipefail
source_folder=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$source_folder/../.." && pwd)
build=$(cd "$1" && pwd) || exit
shift
emulator=("$@")
sanitize=${SANITIZERS:+-fsanitize=$SANITIZERS}
. "$root/scripts/checks.sh"
suite="installed ${build##*/}"
stage="$work/stage"
documentation="$stage/share/doc/rynvel"
units="$stage/lib/systemd/system"

library() { find "$stage" -name "lib$1.so.1"; }

# Succeeds if the build is a release build. Other builds have debugging information or are not optimized.
is_a_release() { grep -q '^CMAKE_BUILD_TYPE:[A-Z]*=Release$' "$build/CMakeCache.txt"; }

installs() { cmake --install "$build" --prefix "$stage"; }

has_all_files() {
    local file missing=0
    for file in include/rynvel.h include/rynvel.hpp include/rynvel/Factory.h include/rynvel/Version.h include/ZilTrace.h lib/librynvel.so \
        lib/librynvel.so.1 lib/libziltrace.so.1 lib/pkgconfig/rynvel.pc lib/pkgconfig/ziltrace.pc \
        lib/cmake/rynvel/rynvelConfig.cmake lib/cmake/ziltrace/ziltraceConfig.cmake; do
        [ -e "$stage/$file" ] || { printf 'missing: %s\n' "$file"; missing=1; }
    done
    return $missing
}

has_license_and_documentation() {
    local file missing=0
    for file in LICENSE README.md CHANGELOG.md $(cd "$root" && echo docs/*.md examples/*.c); do
        cmp "$root/$file" "$documentation/$file" || missing=1
    done
    return $missing
}

read_elf() { "${READELF:-readelf}" --wide "$@"; }

# Prints the installed programs and libraries.
binaries() {
    local file
    find "$stage" -type f | while read -r file; do
        if read_elf --file-header "$file" >"$work/elf" 2>&1; then printf '%s\n' "$file"; fi
    done
}

# Calls a function for each installed program and library. Fails if the function fails for one of them.
every_binary() {
    local file files failed=0
    files=$(binaries) && [ "$(printf '%s\n' "$files" | wc -l)" -ge 4 ] || { echo 'fewer than 4 binaries'; return 1; }
    for file in $files; do
        "$1" "$file" || { printf 'fails: %s\n' "$file"; failed=1; }
    done
    return $failed
}

is_position_independent() { read_elf --file-header "$1" | grep 'Type: *DYN '; }

has_read_only_relocations() { read_elf --segments "$1" | grep ' GNU_RELRO '; }

is_bound_at_once() { read_elf --dynamic "$1" | grep -E '\((FLAGS|FLAGS_1)\) .*\<(BIND_)?NOW\>'; }

uses() { read_elf --dyn-syms "$1" | grep -E " UND ($2)(@|\$)"; }

# Succeeds if a program or library has a stack protector. Also succeeds for librynvel, which has no stack protector
# because of the cost at run time.
has_a_stack_protector() {
    case ${1##*/} in
        librynvel.so.*) ;;
        *) uses "$1" __stack_chk_fail ;;
    esac
}

# Succeeds if a program or library calls at least one checked function of the C library.
is_fortified() { uses "$1" '__[a-z0-9]+_chk|__open(at)?(64)?_2'; }

contains_no_path_of_the_build() {
    strings -a "$1" >"$work/strings" && ! grep -F -e "$root/" -e "$build/" "$work/strings"
}

# Prints the symbols that the library exports. Fails if there are none.
defined_symbols() {
    "${NM:-nm}" -D --defined-only "$(library rynvel)" | awk '{ print $NF }' | sed 's/@.*//' | grep .
}

# Prints the names that the headers declare as private.
private_members() {
    sed -n 's/.*RYNVEL_LOCAL[^(;]*[ *&]\([a-zA-Z0-9_~]*\)[(;].*/\1/p' "$root"/include/rynvel/*.h |
        sort -u | paste -s -d '|' | grep .
}

public_classes() {
    sed -n 's/^class RYNVEL_EXPORT \([a-zA-Z0-9]*\).*/\1/p' "$root"/include/rynvel/*.h |
        sort -u | paste -s -d '|' | grep .
}

# Prints the symbols that are neither a C function nor a public member or table of a class with a public header.
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

# Prints the C functions that are only in the header or only in the library.
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

# Builds a C program with the flags of pkg-config only.
build_with_pkg_config() {
    "${CC:-cc}" -std=c99 -pedantic -Wall -Wextra -Werror $sanitize "$1" -o "$2" $(package_flags --cflags --libs rynvel)
}

header_has_the_version_of_the_package() {
    [ "$(printf '#include <rynvel.h>\nRYNVEL_VERSION\n' | "${CC:-cc}" -E -P -I"$stage/include" - | tail -n 1)" = \
        "\"$(package_flags --modversion rynvel)\"" ]
}

builds_with_pkg_config() { build_with_pkg_config "$source_folder/consumer.c" "$work/consumer_c"; }

builds_with_find_package() {
    cmake -S "$source_folder" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="${CXX:-c++}" -DCMAKE_CXX_FLAGS="$sanitize" \
        -DCMAKE_PREFIX_PATH="$stage" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH && cmake --build "$work/build"
}

# Runs a program in an environment that is empty, except for the variable in $setting.
run_consumer() { (cd "$work" && env -i ${setting+"$setting"} "${emulator[@]}" "$@"); }

c_program_runs() { [ "$(run_consumer "$work/consumer_c" 2>"$work/err")" = 'handle -1' ]; }

says_on_standard_error_what_failed() { grep -q 'Rynvel.Factory.*No match for device no such device$' "$work/err"; }

# Succeeds if the installed header describes the default traces, and if the setting of ZILTRACE in the header turns them
# off.
header_tells_how_to_turn_traces_off() {
    local setting
    grep -q 'levels up to 3.*standard error' <(tr -d '\n*' <"$stage/include/rynvel.h" | tr -s ' ') &&
        setting=$(grep -o "ZILTRACE='[^']*'" "$stage/include/rynvel.h" | tr -d "'") &&
        [ -z "$(run_consumer "$work/consumer_c" 2>&1 >/dev/null | tee /dev/stderr)" ]
}

# Prints the paragraph of the installed header that begins with the given word and a full stop.
header_paragraph() { sed -n "/^ \* $1\./,/^ \*\$/p" "$stage/include/rynvel.h"; }

header_tells_what_is_not_serialized() {
    local sentences
    sentences=$(header_paragraph Threads | sed 's/^ \* *//' | tr '\n' ' ')
    [[ $sentences == *'A device of this machine, except an FPGA, serializes its register operations. An FPGA serializes only the transfers of single registers'* ]] &&
        [[ $sentences == *'A remote device serializes nothing'* ]]
}

# Builds and runs the first program of the README.
first_snippet_runs_without_devices() {
    sed -n '/^```c$/,/^```$/{p; /^```$/q}' "$root/README.md" | grep -v '^```' >"$work/snippet.c" &&
        build_with_pkg_config "$work/snippet.c" "$work/snippet" || return
    run_consumer "$work/snippet" 2>"$work/err"
    [ $? = 1 ] && grep -q '^traf.top cannot be read$' "$work/err"
}

classes_program_runs() {
    [ "$(run_consumer "$work/build/consumer")" = 'value 0x7856 in Host order, lock 1, slots 1' ]
}

# Succeeds if a handle beyond the table ends a program with an assertion. The message must name the function.
asserts_its_handle() {
    run_consumer "$1" --handle 30 2>"$work/err"
    [ $? = 134 ] && grep -qE "cppsrc/RynvelFactory:[0-9]+: $2: Assertion \`static_cast<size_t>\(handle\) < m_rynvelList" \
        "$work/err"
}

c_program_asserts_its_handle() { asserts_its_handle "$work/consumer_c" 'Rynvel::IDevice\* .*::getBackend\(int\)'; }

classes_program_asserts_its_handle() {
    asserts_its_handle "$work/build/consumer" 'Rynvel::Device8\* Rynvel::Factory::getBackend8\(int\)'
}

# Succeeds if the library exports no accessors of the Factory, but exports the function that the inline accessors call.
accessors_of_devices_are_inline() {
    local symbols
    symbols=$(defined_symbols | c++filt) || return
    ! grep '::getBackend[0-9]*(' <<<"$symbols" && grep 'Factory::openedDevice(' <<<"$symbols"
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

runs_where_it_is_moved_to() {
    mv "$stage" "$work/moved" || return
    run_consumer "$work/moved/sbin/rynveld" --version && run_consumer "$work/moved/bin/rynvelctl" list --quiet
    local status=$?
    mv "$work/moved" "$stage" && return $status
}

# Succeeds if the traces of the server name its sources in the same way as the traces of the library.
server_names_its_sources() {
    local server output line
    exec {output}< <(exec env -i ZILTRACE=Rynveld=5 "${emulator[@]}" "$stage/sbin/rynveld" --simulate \
        --listen 127.0.0.1:0 2>&1)
    server=$!
    read -r line <&"$output" && [[ $line =~ :([0-9]+), ]] &&
        run_consumer "$stage/bin/rynvelctl" --remote "127.0.0.1::${BASH_REMATCH[1]}" read traf.top 0
    kill "$server"
    cat <&"$output" >"$work/traces"
    exec {output}<&-
    grep -E ' Rynveld 5 MSG server/[A-Za-z]+:[0-9]+ ' "$work/traces" || { cat "$work/traces"; return 1; }
}

has_register_maps() { cmp "$root/board/maps/rtc0.svd" "$stage/share/rynvel/maps/rtc0.svd"; }

has_the_dissector() { cmp "$root/wireshark/rynvel.lua" "$stage/share/rynvel/wireshark/rynvel.lua"; }

# Succeeds if mandoc and groff report no problem in the manual pages.
has_manual_pages() {
    local pages="$stage/share/man" page
    for page in "$pages/man1/rynvelctl.1" "$pages/man3/librynvel.3" "$pages/man8/rynveld.8"; do
        cmp "$root/docs/man/${page##*/}" "$page" && mandoc -T lint -W warning "$page" &&
            [ -z "$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null | tee /dev/stderr)" ] || return
    done
}

# Prints the completions that bash offers for the last word.
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

units_are_valid() {
    [ -z "$(systemd-analyze verify --man=no "$units"/rynveld.service "$units"/rynveld.socket 2>&1 | tee /dev/stderr)" ]
}

# Succeeds if the unit of the server has an exposure of at most 2.0, and allows only the devices that this function
# lists.
unit_limits_the_server() {
    systemd-analyze security --no-pager --offline=true --threshold=20 "$units/rynveld.service" &&
        grep -qx 'DevicePolicy=closed' "$units/rynveld.service" &&
        diff <(grep DeviceAllow= "$units/rynveld.service.d/devices.conf" | sort) <(printf 'DeviceAllow=%s rw\n' \
            /dev/idt /dev/tomkar_i2c char-i2c char-spi char-uio)
}

# Succeeds if the unit makes systemd watch the server, reload it with SIGHUP, restart it unless its command line is
# wrong, and create its folders.
unit_supervises_the_server() {
    local setting
    for setting in WatchdogSec=30s Restart=on-failure RestartSec=2s RestartPreventExitStatus=2 \
        'ExecReload=/bin/kill -HUP $MAINPID' RuntimeDirectory=rynveld LogsDirectory=rynveld; do
        grep -qxF -- "$setting" "$units/rynveld.service" || { echo "missing: $setting"; return 1; }
    done
}

# Prints the udev rules that give access to the devices that the installed program lists.
rules_of_listed_devices() {
    run_consumer "$stage/bin/rynvelctl" list | awk 'NR > 1 {
        sub("^/dev/", "", $3)
        condition = $4 ~ /^Uio/ ? "SUBSYSTEM==\"uio\", ATTR{name}==\"" $3 "\", SYMLINK+=\"" $3 "\"" : "KERNEL==\"" $3 "\""
        print condition ", GROUP=\"rynvel\", MODE=\"0660\""
    }'
}

has_udev_rules_for_the_devices() {
    diff <(rules_of_listed_devices) <(grep -E '^(SUBSYSTEM|KERNEL)' "$stage/lib/udev/rules.d/65-rynvel.rules") &&
        [ "$(rules_of_listed_devices | wc -l)" = 30 ]
}

has_accounts() {
    cmp "$root/packaging/rynvel.conf" "$stage/lib/sysusers.d/rynvel.conf" &&
        cmp "$root/packaging/rynveld.conf" "$stage/lib/sysusers.d/rynveld.conf" &&
        mkdir -p "$work/accounts/etc" &&
        systemd-sysusers --root="$work/accounts" "$stage"/lib/sysusers.d/rynvel.conf "$stage"/lib/sysusers.d/rynveld.conf &&
        grep '^rynvel:' "$work/accounts/etc/group" && grep '^rynveld:' "$work/accounts/etc/passwd"
}

starts_the_server_of() { grep -q "^ExecStart=$1/sbin/rynveld " "$2/rynveld.service"; }

unit_starts_what_is_installed() {
    starts_the_server_of "$stage" "$units" && DESTDIR="$work/root" cmake --install "$build" --prefix /opt/rynvel &&
        starts_the_server_of /opt/rynvel "$work/root/opt/rynvel/lib/systemd/system" &&
        (cd "$work" && cmake --install "$build" --prefix relative) &&
        starts_the_server_of "$work/relative" "$work/relative/lib/systemd/system"
}

check 'the build installs' installs
check 'headers, libraries, pkg-config files and CMake packages are installed' has_all_files
check 'the license and the documentation are installed' has_license_and_documentation
check 'the register map of the real-time clock is installed' has_register_maps
check 'the dissector for Wireshark is installed' has_the_dissector
check 'the library exports its interface and nothing else' exports_only_its_interface
check 'the library exports every function of the C interface' exports_the_whole_c_interface
check 'the library needs only the standard libraries and libziltrace' needs_only_the_tracing_library
check 'the soname of the library is librynvel.so.1' is_named_for_its_interface
check 'the header defines the version of the package' header_has_the_version_of_the_package
check 'a C99 program builds with pkg-config' builds_with_pkg_config
check 'the C99 program runs' c_program_runs
check 'the library traces failures to standard error by default' says_on_standard_error_what_failed
check 'the header says which traces are on by default, and how to turn them off' header_tells_how_to_turn_traces_off
check 'the header says which devices do not serialize their operations' header_tells_what_is_not_serialized
check 'the first program of the README runs on a machine without devices' first_snippet_runs_without_devices
check 'a program builds with find_package' builds_with_find_package
check 'the program that uses the classes runs' classes_program_runs
check 'a handle outside the table ends the process in every build' c_program_asserts_its_handle
check 'a handle outside the table also ends a program without assertions that uses the classes' \
    classes_program_asserts_its_handle
check 'the accessors of devices are inline functions that call one function of the library' \
    accessors_of_devices_are_inline
check 'a device file that cannot be opened ends the process in every build' asserts_in_a_release_build
check 'the register server runs' runs_the_server
check 'the command-line tool runs' runs_the_command_line_program
check 'the programs run after the installation is moved to another folder' runs_where_it_is_moved_to
check 'the register server names its sources in traces' server_names_its_sources
check 'the manual pages are installed and well formed' has_manual_pages
check 'completion for bash offers commands, options and device names' completes_commands_options_and_device_names
check 'the units of the register server are valid' units_are_valid
check 'the unit limits the register server to its devices' unit_limits_the_server
check 'the unit supervises the register server' unit_supervises_the_server
check 'each device of the table has a udev rule' has_udev_rules_for_the_devices
check 'systemd-sysusers creates the group of the devices and the user of the register server' has_accounts
check 'the unit starts the server in the prefix of the installation' unit_starts_what_is_installed
if is_a_release; then
    check 'programs and libraries contain no path of the sources or build' every_binary contains_no_path_of_the_build
    check 'programs and libraries are position independent' every_binary is_position_independent
    check 'programs and libraries have read-only relocations' every_binary has_read_only_relocations
    check 'programs and libraries resolve all symbols when they are loaded' every_binary is_bound_at_once
    check 'all programs and libraries except librynvel have a stack protector' every_binary has_a_stack_protector
    check 'programs and libraries call checked functions of the C library' every_binary is_fortified
fi
summary
