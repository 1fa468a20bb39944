#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Changes the binary interface in a copy of the sources, and checks that packaging/abi reports each change. Then checks
# that packaging/abi reports nothing for other optimization levels. Usage: run.sh FOLDER
# The copy and its build are in FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
mkdir -p "$1" || exit
copy=$(cd "$1" && pwd)/source
build=${copy%/*}/build
. "$root/scripts/checks.sh"
suite='changes of the binary interface'

copy_sources() {
    rm -rf "$copy" && mkdir "$copy" && cd "$root" &&
        git ls-files -co --exclude-standard -z | tar --create --null --files-from - | tar --extract --directory "$copy"
}

edited=()

# Undoes the edits of the copy.
restore_copy() {
    local file
    for file in ${edited[@]+"${edited[@]}"}; do
        cp "$root/$file" "$copy/$file" || return
    done
    edited=()
}

# Configures the copy. The remaining arguments are options of CMake.
configure_copy() {
    cmake -S "$copy" -B "$build" -G Ninja -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 \
        -DCMAKE_BUILD_TYPE=None -DBUILD_TESTING=OFF -DRYNVEL_EXAMPLES=OFF -DRYNVEL_PROGRAMS=OFF "$@"
}

# Replaces a text in files of the copy. Fails if a file does not contain the text. Usage: edit TEXT NEW_TEXT FILE...
edit() {
    local file
    for file in "${@:3}"; do
        edited+=("$file")
        python3 - "$1" "$2" "$copy/$file" <<'END' || return
import pathlib, sys
text, new, file = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
before = file.read_text()
if text not in before:
    sys.exit(f"{file}: no {text!r}")
file.write_text(before.replace(text, new))
END
    done
}

builds() { cmake --build "$build" --target rynvel ziltrace; }

# Succeeds if packaging/abi fails with a message that names the changed function or type. The arguments are the message
# and the name.
is_reported() {
    builds || return
    if "$copy/packaging/abi" "$build" >"$work/report"; then
        echo 'packaging/abi reports no difference'
        return 1
    fi
    cat "$work/report"
    grep -qF "$1" "$work/report" && grep -qF "$2" "$work/report"
}

is_incompatible() { is_reported ': the binary interface is incompatible with the baseline' "$1"; }

swapped_virtual_functions() {
    edit 'virtual bool enableInterrupt() = 0;' 'virtual bool swapped() = 0;' include/rynvel/IDevice.h &&
        edit 'virtual bool disableInterrupt() = 0;' 'virtual bool enableInterrupt() = 0;' include/rynvel/IDevice.h &&
        edit 'virtual bool swapped() = 0;' 'virtual bool disableInterrupt() = 0;' include/rynvel/IDevice.h &&
        is_incompatible 'Rynvel::IDevice::enableInterrupt'
}

added_virtual_function() {
    edit 'virtual bool unlock() = 0;' $'virtual bool unlock() = 0;\n    virtual bool tryLock() { return lock(); }' \
        include/rynvel/IMutex.h && is_incompatible 'Rynvel::IMutex::tryLock'
}

added_data_member() {
    edit 'pthread_mutex_t m_mutex;' $'pthread_mutex_t m_mutex;\n    int m_count = 0;' include/rynvel/PthreadMutex.h &&
        is_incompatible 'm_count'
}

removed_function() {
    edit 'RYNVEL_EXPORT int Rynvel_open2(const char* name);' '' include/rynvel.h &&
        edit 'int Rynvel_open2(const char* name) { return Rynvel_open(name); }' '' cppsrc/RynvelFactory.cpp &&
        is_incompatible 'Rynvel_open2'
}

changed_parameter() {
    edit 'void Rynvel_close(int ' 'void Rynvel_close(long ' include/rynvel.h cppsrc/RynvelFactory.cpp &&
        is_incompatible 'Rynvel_close(int)'
}

changed_enumerator() {
    edit 'Network = 1' 'Network = 2' include/rynvel/ByteOrder.h && is_incompatible 'Rynvel::ByteOrder::Network'
}

added_enumerator() {
    edit 'Network = 1' $'Network = 1,\n    Other = 2' include/rynvel/ByteOrder.h &&
        is_reported ': the binary interface has additions or new names' Rynvel::ByteOrder::Other
}

renamed_data_member() {
    edit m_mutex m_renamed include/rynvel/PthreadMutex.h cppsrc/PthreadMutex.cpp cppsrc/PthreadMutex.h &&
        is_reported ': the binary interface has additions or new names' m_renamed
}

changed_tracing_library() {
    edit 'std::atomic<ZilTraceLevel> m_level;' $'std::atomic<ZilTraceLevel> m_level;\n    int m_count = 0;' \
        ziltrace/include/ZilTrace.h && is_incompatible m_count
}

added_function() {
    edit 'RYNVEL_EXPORT void Rynvel_close' $'RYNVEL_EXPORT int Rynvel_more(void);\nRYNVEL_EXPORT void Rynvel_close' \
        include/rynvel.h &&
        edit 'void Rynvel_close(' $'int Rynvel_more() { return 1; }\nvoid Rynvel_close(' cppsrc/RynvelFactory.cpp &&
        is_reported ': the binary interface has additions' Rynvel_more
}

# Accepts an addition to the binary interface, and expects that its removal is then an incompatible change.
accepted_function() {
    edited+=(packaging/abi-baseline/*/*)
    "$copy/packaging/abi" --accept "$build" && "$copy/packaging/abi" "$build" &&
        edit $'int Rynvel_more() { return 1; }\n' '' cppsrc/RynvelFactory.cpp &&
        edit $'RYNVEL_EXPORT int Rynvel_more(void);\n' '' include/rynvel.h && is_incompatible Rynvel_more
}

changed_implementation() {
    edit 'void Rynvel_close(int /*handle*/) {}' 'void Rynvel_close(int number) { static_cast<void>(number); }' \
        cppsrc/RynvelFactory.cpp && builds && "$copy/packaging/abi" "$build"
}

has_the_interface_of_the_baseline() {
    configure_copy -DCMAKE_CXX_FLAGS="$1" && builds && "$copy/packaging/abi" "$build"
}

missing_debugging_information() {
    configure_copy -DCMAKE_CXX_FLAGS=-g1 && builds && ! "$copy/packaging/abi" "$build" 2>"$work/report" &&
        grep -F 'no debugging information about types' "$work/report"
}

# Checks that packaging/abi reports a change. The arguments are the name of the check and the function of the change.
check_change() {
    check "$1" "$2"
    restore_copy || exit
}

check 'the sources are copied' copy_sources
check 'code without optimization has the interface of the baseline' has_the_interface_of_the_baseline '-g -O0'
check_change 'virtual functions in another order are reported' swapped_virtual_functions
check_change 'an added virtual function is reported' added_virtual_function
check_change 'an added data member is reported' added_data_member
check_change 'a removed function is reported' removed_function
check_change 'a changed parameter is reported' changed_parameter
check_change 'a changed enumerator is reported' changed_enumerator
check_change 'an added enumerator is reported as an addition' added_enumerator
check_change 'a new name of a data member is reported' renamed_data_member
check_change 'an added data member of the tracing library is reported' changed_tracing_library
check 'an added function is reported as an addition' added_function
check_change 'the removal of an accepted function is reported' accepted_function
check_change 'a changed implementation is not reported' changed_implementation
for level in 1 2 3; do
    check "code with -O$level has the interface of the baseline" has_the_interface_of_the_baseline "-g -O$level"
done
check 'a library without debugging information about types is refused' missing_debugging_information
summary
