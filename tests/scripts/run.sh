#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Tests the scripts of ./check. A test that fails, ends early or does not run must never count as passed.
# Usage: run.sh. Ends with a line of totals.
set -u -o pipefail
cd "$(dirname "$0")/../.." || exit
. scripts/common.sh
. scripts/checks.sh
. scripts/stages.sh
suite=scripts

# Makes a new folder of results. The folder contains the results of ctest for a program of tests and for a single test.
begin_results() {
    rm -rf "$work/stage"
    mkdir "$work/stage"
    cat >"$work/stage/ctest.xml" <<'END'
<testsuite>
<testcase name="unit_tests" classname="unit_tests" time="2" status="run"/>
<testcase name="Library.ExportsItsInterface" classname="Library.ExportsItsInterface" time="1" status="run"/>
</testsuite>
END
    cat >"$work/stage/unit_tests.xml" <<'END'
<testsuites><testsuite name="Lseek">
<testcase name="Reads" status="run" result="completed" time="0.5" classname="Lseek"/>
<testcase name="Writes" status="run" result="completed" time="0.25" classname="Lseek"/>
<testcase name="Waits" status="run" result="skipped" time="0" classname="Lseek"><skipped message="not here"/></testcase>
</testsuite></testsuites>
END
}

# Replaces a text in a file of the results. Usage: edit FILE TEXT NEW_TEXT, where FILE has no suffix.
edit() { sed -i "s#$2#$3#" "$work/stage/$1.xml"; }

totals_are() { [ "$(scripts/test-results totals "$work/stage" | tee /dev/stderr)" = "$1" ]; }

counts_the_tests_of_a_program() {
    begin_results
    totals_are '3 0 1'
}

counts_a_failed_test_once() {
    begin_results
    edit ctest 'time="2" status="run"' 'time="2" status="fail"'
    edit unit_tests 'time="0.25" classname="Lseek"/>' 'time="0.25" classname="Lseek"><failure message="x"/></testcase>'
    totals_are '2 1 1' && [ "$(scripts/test-results failed "$work/stage")" = Lseek.Writes ]
}

fails_a_program_that_ends_early() {
    begin_results
    rm "$work/stage/unit_tests.xml"
    totals_are '1 1 0' && [ "$(scripts/test-results failed "$work/stage")" = unit_tests ]
}

names_the_test_in_which_a_program_ends() {
    begin_results
    rm "$work/stage/unit_tests.xml"
    edit ctest 'time="2" status="run"/>' 'time="2" status="fail"><system-out>[ RUN      ] Lseek.Reads\
[       OK ] Lseek.Reads (1 ms)\
[ RUN      ] Lseek.Waits\
</system-out></testcase>'
    [ "$(scripts/test-results failed "$work/stage")" = 'unit_tests (in Lseek.Waits)' ]
}

fails_a_program_without_tests() {
    begin_results
    echo '<testsuites/>' >"$work/stage/unit_tests.xml"
    totals_are '1 1 0'
}

fails_a_program_that_fails_though_its_tests_pass() {
    begin_results
    edit ctest 'time="2" status="run"' 'time="2" status="fail"'
    totals_are '3 1 1'
}

fails_truncated_results() {
    begin_results
    head -c 200 "$work/stage/unit_tests.xml" >"$work/cut" && mv "$work/cut" "$work/stage/unit_tests.xml"
    totals_are '1 1 0'
}

fails_a_test_that_cannot_be_started() {
    begin_results
    edit ctest 'time="1" status="run"/>' 'time="1" status="notrun"><skipped message="Unable to find executable"/></testcase>'
    totals_are '2 1 1'
}

names_the_slowest_tests() {
    begin_results
    [ "$(scripts/test-results slowest "$work/stage" | head -n 2)" = "     1.0 s  stage: Library.ExportsItsInterface
     0.5 s  stage: Lseek.Reads" ]
}

# Runs a script with the given checks. Its results are in a new folder.
run_checks() {
    rm -rf "$work/stage"
    mkdir "$work/stage"
    printf '. scripts/checks.sh\n%s\nsummary\n' "$1" >"$work/script.sh"
    RYNVEL_RESULTS="$work/stage" bash "$work/script.sh"
}

writes_the_results_of_a_script() {
    ! run_checks "check 'good <&>' true; check 'bad' sh -c 'echo \"<why>\"; exit 1'" && totals_are '1 1 0' &&
        [ "$(scripts/test-results failed "$work/stage")" = script.bad ]
}

fails_a_script_without_checks() { ! run_checks ''; }

fails_a_script_that_cannot_write_its_results() { ! run_checks "RYNVEL_RESULTS=/nonexistent; check good true"; }

together_fails_when_a_command_fails_or_is_killed() {
    together 'echo one' 'echo two' && ! together true false true && ! together true 'kill -9 $$' true
}

requires_the_results_of_every_program() {
    begin_results
    local RYNVEL_RESULTS="$work/stage"
    require_results unit_tests && ! require_results unit_tests board_tests
}

# Makes a tree with a library, its tests, its interface, a program, and a folder table with a row for each folder.
begin_tree() {
    rm -rf "$work/tree"
    mkdir -p "$work/tree/include/lib" "$work/tree/lib/tests" "$work/tree/program"
    cat >"$work/tree/CONTRIBUTING.md" <<'END'
| Folder | What it holds | May include |
|---|---|---|
| `include/` | the interface | |
| `lib/` | the library of `include/` | `include/` |
| `lib/tests/` | its tests | |
| `program/` | a program | `include/` |
END
    echo '#include <vector>' >"$work/tree/include/lib/Device.h"
    echo '#include "lib/Device.h"' >"$work/tree/lib/Trace.h"
    printf '%s\n' '#include "Trace.h"' '#include "Generated.h"' >"$work/tree/lib/Device.cpp"
    echo '#include <lib/Device.h>' >"$work/tree/program/main.cpp"
    echo '#include <string>' >"$work/tree/lib/tests/test.cpp"
}

# Makes the tree, and runs the check of the includes. If an include is given, adds it to the tree first.
# Usage: includes_hold_with [FILE INCLUDE]
includes_hold_with() {
    begin_tree
    [ $# = 0 ] || echo "#include $2" >>"$work/tree/$1"
    (cd "$work/tree" && find * -name '*.h' -o -name '*.cpp' | "$OLDPWD/scripts/includes")
}

breaks_the_map() {
    ! includes_hold_with "$1" "$2" >"$work/found" &&
        grep -qxF "$1: $3 (see the folder table in CONTRIBUTING.md)" "$work/found"
}

checks_includes_against_the_folder_table() {
    includes_hold_with && includes_hold_with program/main.cpp '"../include/lib/Device.h"' &&
        breaks_the_map program/main.cpp '"Trace.h"' 'program/ may not include lib/Trace.h' &&
        breaks_the_map program/main.cpp ' <Trace.h>' 'program/ may not include lib/Trace.h' &&
        breaks_the_map program/main.cpp '"../lib/Trace.h"' 'program/ may not include lib/Trace.h' &&
        breaks_the_map include/lib/Device.h '"Trace.h"' 'include/ may not include lib/Trace.h' &&
        breaks_the_map lib/tests/test.cpp '"../Trace.h"' 'lib/tests/ may not include lib/Trace.h'
}

finds_a_folder_outside_the_folder_table() {
    begin_tree
    sed -i /program/d "$work/tree/CONTRIBUTING.md"
    (cd "$work/tree" && echo program/main.cpp | "$OLDPWD/scripts/includes") >"$work/found"
    [ $? = 1 ] && grep -qx 'program/main.cpp: no row of the folder table covers this file .*' "$work/found"
}

refuses_to_check_nothing() {
    begin_tree
    (cd "$work/tree" && ! "$OLDPWD/scripts/includes" </dev/null)
}

finds_a_cycle_in_the_folder_table() {
    begin_tree
    sed -i 's#the interface | |#the interface | `lib/` |#' "$work/tree/CONTRIBUTING.md"
    ! (cd "$work/tree" && echo lib/Trace.h | "$OLDPWD/scripts/includes") >"$work/found" &&
        grep '^the folder table has a cycle' "$work/found"
}

# Runs the check of the wordings on a text.
wordings_hold_in() {
    printf '%s\n' "$1" >"$work/text.md"
    (cd "$work" && echo text.md | "$OLDPWD/scripts/words")
}

finds_wordings() {
    wordings_hold_in 'There is no device. The address is not a number.' &&
        ! wordings_hold_in $'The first line.\nThe address Is No number.' >"$work/found" &&
        grep -qx "text.md:2: 'Is No ': write .*" "$work/found" &&
        ! wordings_hold_in 'addBehaviour(deserialise);' >"$work/found" &&
        grep -qx "text.md:1: 'Behaviour': write .*" "$work/found" &&
        grep -qx "text.md:1: 'serialis': write .*" "$work/found"
}

refuses_to_check_the_wordings_of_nothing() { ! scripts/words </dev/null; }

# Compiles the program of the tree with counters for coverage. The arguments are further options of the compiler.
compile_the_program() {
    (cd "$work/tree/build" && g++ --coverage "$@" -c -o main.cpp.o ../product/main.cpp &&
        g++ --coverage "$@" -o main main.cpp.o)
}

# Makes a tree with a program and the list of its lines that do not run. Compiles the program, and runs it with the
# given arguments.
begin_program() {
    rm -rf "$work/tree"
    mkdir -p "$work/tree/product" "$work/tree/build"
    cat >"$work/tree/product/main.cpp" <<'END'
int main(int count, char**) {
    if (count > 2) {
        count = 0;
    }
    return count == 7;
}
END
    printf '%s\n' '# A program' '' 'product/main.cpp: count = 0;' '    needs three words' >"$work/tree/list"
    printf '[{ "directory": "%s", "command": "g++ -o main.cpp.o -c x.cpp", "file": "x.cpp" }]' "$work/tree/build" \
        >"$work/tree/build/compile_commands.json"
    compile_the_program && "$work/tree/build/main" "$@"
}

# Checks the coverage of the program. The arguments are the least share of branches in percent, and the lines of the
# expected output.
covers() {
    local status=0
    (cd "$work/tree" && "$OLDPWD/scripts/coverage" build list "$1" product) >"$work/found" 2>&1 || status=$?
    printf '%s\n' "${@:2}" | diff "$work/found" - && return $status
}

# Like covers, but expects the check to fail and to print this output.
misses() { ! covers "$@" && [ "$(printf '%s\n' "${@:2}")" = "$(cat "$work/found")" ]; }

totals_of_one_run='4 lines, 1 of which do not run; 50.00 % of 2 branches run'
unlisted='product/main.cpp:3: no test runs this line: count = 0;'
unneeded='list:3: a test runs this line, or the line no longer exists: product/main.cpp: count = 0; (remove the entry)'

accepts_the_listed_lines() {
    begin_program && covers 50 "$totals_of_one_run" && cp "$work/tree/build/main.cpp.gcno" "$work/tree/build/old.gcno" &&
        covers 50 "$totals_of_one_run"
}

finds_a_line_that_does_not_run() {
    begin_program && : >"$work/tree/list" && misses 50 "$unlisted" "$totals_of_one_run"
}

finds_a_second_line_with_the_text_of_a_listed_line() {
    begin_program && sed -i '3s/$/\n        count = 0;/' "$work/tree/product/main.cpp" && compile_the_program &&
        rm "$work/tree/build/main.cpp.gcda" && "$work/tree/build/main" &&
        misses 50 "$unlisted" "${unlisted/3/4}" '5 lines, 2 of which do not run; 50.00 % of 2 branches run'
}

finds_listed_lines_that_run_or_are_gone() {
    begin_program a b && misses 50 "$unneeded" \
        '4 lines, 0 of which do not run; 50.00 % of 2 branches run' || return
    begin_program && sed -i 's/count = 0/count = 1/' "$work/tree/list" && misses 50 "${unlisted}" \
        "${unneeded/= 0/= 1}" "$totals_of_one_run"
}

accepts_lines_that_run_on_some_machines() {
    begin_program a b && sed -i 's/^product/? product/' "$work/tree/list" &&
        covers 50 '4 lines, 0 of which do not run; 50.00 % of 2 branches run' &&
        begin_program && sed -i 's/^product/? product/' "$work/tree/list" && covers 50 "$totals_of_one_run"
}

requires_a_reason_for_each_line() {
    local problem='coverage: list:3: incomplete entry (FILE: TEXT, then the reason in an indented line)'
    begin_program && sed -i 4d "$work/tree/list" && misses 50 "$problem" &&
        printf '%s\n' 'product/main.cpp: other' '    reason' >>"$work/tree/list" && misses 50 "$problem" &&
        begin_program && sed -i '3s/: .*//' "$work/tree/list" && misses 50 "$problem"
}

finds_too_few_branches() {
    begin_program && misses 95 'the tests run 50.00 % of the branches (at least 95 %)' "$totals_of_one_run" &&
        "$work/tree/build/main" a b && sed -i 3,4d "$work/tree/list" &&
        covers 95 '4 lines, 0 of which do not run; 100.00 % of 2 branches run'
}

leaves_out_the_branches_of_the_compiler() {
    local option
    begin_program
    cat >"$work/tree/product/main.cpp" <<'END'
#include <string>
static bool given;
int main(int count, char**) {
    given = count == 1;
    const std::string text = std::string(count, 'x') + 'y';
    if (given && text.size() == 2) {
        return 0;
    }
    return 1;
}
END
    printf '%s\n' 'product/main.cpp: return 1;' '    reason' >"$work/tree/list"
    for option in -O0 -fsanitize=address,undefined; do
        rm "$work/tree/build/main.cpp.gcda" && compile_the_program $option -fno-sanitize-recover=all &&
            "$work/tree/build/main" && covers 50 '7 lines, 1 of which do not run; 50.00 % of 6 branches run' || return
    done
}

refuses_counts_of_no_run() {
    local problem='coverage: product/: no line has run (build with RYNVEL_COVERAGE, and run the tests)'
    begin_program && rm "$work/tree/build/main.cpp.gcda" && misses 50 "$problem" &&
        begin_program && rm "$work/tree/build/main.cpp.gcno" && misses 50 "$problem"
}

refuses_counts_of_another_build() {
    begin_program && echo 'int added;' >>"$work/tree/product/main.cpp" && compile_the_program &&
        misses 50 "coverage: $work/tree/build/main.cpp.gcno: main.cpp.gcda:stamp mismatch with notes file"
}

# Succeeds if a command fails and prints one line.
refuses() {
    ! "$@" >"$work/refused" 2>&1 && [ "$(wc -l <"$work/refused")" = 1 ] && cat "$work/refused"
}

misses_a_package_of_the_target_until_it_is_unpacked() {
    local target_root="$work/target"
    [ "$(missing_packages bash one:armhf two:armhf)" = $'one:armhf\ntwo:armhf' ] || return
    mkdir -p "$target_root/packages" && : >"$target_root/packages/one:armhf"
    [ "$(missing_packages bash one:armhf two:armhf)" = two:armhf ] &&
        [ "$(missing_packages one:armhf one:unpacked)" = one:unpacked ]
}

# Runs the check of using declarations on a source. The text of the source is standard input.
using_declarations_of() { cat >"$work/using.cpp" && echo "$work/using.cpp" | scripts/using-declarations; }

finds_a_name_that_a_source_does_not_use() {
    ! using_declarations_of <<<$'using Common::hex;\nnamespace io = asio::ip;\n// hex and io\nint hexadecimal;' >"$work/found" &&
        [ "$(grep -c ' is declared and not used ' "$work/found")" = 2 ] &&
        using_declarations_of <<<$'using Common::hex;\nnamespace io = asio::ip;\nint size = hex(io::port);' &&
        ! scripts/using-declarations </dev/null
}

refuses_unknown_arguments() {
    refuses ./check --fast && refuses ./check nonsense && refuses ./check 'dev asan' && refuses ./check --test &&
        refuses ./check --test x board && refuses ./check --test x dev asan && refuses ./check --test a:b asan &&
        refuses ./demo x
}

shows_its_help() {
    local stage
    for stage in "${all_stages[@]}"; do
        ./check --help | grep "^  $stage  *[^ ]" || return
    done
    ./demo --help | grep '^usage: '
}

check 'a using declaration that a source does not use is found' finds_a_name_that_a_source_does_not_use
check 'every test of a program counts' counts_the_tests_of_a_program
check 'a failed test counts once' counts_a_failed_test_once
check 'a program that ends early counts as failed' fails_a_program_that_ends_early
check 'the results name the test in which a program ended' names_the_test_in_which_a_program_ends
check 'a program without tests counts as failed' fails_a_program_without_tests
check 'a program that fails although its tests pass counts as failed' fails_a_program_that_fails_though_its_tests_pass
check 'a program with truncated results counts as failed' fails_truncated_results
check 'a test that cannot be started counts as failed' fails_a_test_that_cannot_be_started
check 'the slowest tests come first' names_the_slowest_tests
check 'a script writes its results' writes_the_results_of_a_script
check 'a script without checks fails' fails_a_script_without_checks
check 'a script that cannot write its results fails' fails_a_script_that_cannot_write_its_results
check 'commands that run together fail if one of them fails or is killed' together_fails_when_a_command_fails_or_is_killed
check 'the missing results of a program are found' requires_the_results_of_every_program
check 'an include that the folder table does not allow is found' checks_includes_against_the_folder_table
check 'a source outside the folders of the folder table is found' finds_a_folder_outside_the_folder_table
check 'a check of includes without any source fails' refuses_to_check_nothing
check 'folders of the folder table that include each other are found' finds_a_cycle_in_the_folder_table
check 'a wording that the style rules exclude is found' finds_wordings
check 'a check of wordings without any file fails' refuses_to_check_the_wordings_of_nothing
check 'the check of coverage accepts the listed lines' accepts_the_listed_lines
check 'a line that no test runs is found' finds_a_line_that_does_not_run
check 'an entry counts for one line' finds_a_second_line_with_the_text_of_a_listed_line
check 'a listed line that a test runs, or that is gone, is found' finds_listed_lines_that_run_or_are_gone
check 'a listed line may run if its entry says so' accepts_lines_that_run_on_some_machines
check 'an entry without a reason is refused' requires_a_reason_for_each_line
check 'a share of branches that is too small is found' finds_too_few_branches
check 'branches that the compiler adds do not count' leaves_out_the_branches_of_the_compiler
check 'a check of coverage without a run of the tests fails' refuses_counts_of_no_run
check 'the counts of another build are refused' refuses_counts_of_another_build
check 'a package of the target is missing until it is unpacked' misses_a_package_of_the_target_until_it_is_unpacked
check './check and ./demo refuse unknown arguments' refuses_unknown_arguments
check './check and ./demo show their help' shows_its_help
summary
