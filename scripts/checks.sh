# SPDX-License-Identifier: MIT
# Shell functions for tests that are scripts. Source this file; do not run it.
#
# A script runs each check with `check`, adds the results of other programs with `add_results`, and ends with `summary`.
# If RYNVEL_RESULTS names a folder, `summary` also writes the results to a JUnit file in that folder.

work=$(mktemp -d) || exit
trap 'rm -rf "$work"' EXIT
suite=$(basename "$0" .sh)
results="$work/results"
: >"$results"

xml_text() {
    LC_ALL=C tr -d '\000-\010\013\014\016-\037\200-\377' |
        sed -e 's/&/\&amp;/g' -e 's/</\&lt;/g' -e 's/>/\&gt;/g' -e 's/"/\&quot;/g'
}

# Adds the result of a check. The arguments are the name of the check, "passed" or "FAILED", the time in seconds, and
# the file with the output. Shows the output if the check has failed.
add_result() {
    local failure=
    printf '%s: %s\n' "$2" "$1"
    if [ "$2" != passed ]; then
        sed 's/^/    /' "$4"
        failure="<failure message=\"failed\">$(xml_text <"$4")</failure>"
    fi
    # Checks may run at the same time, so a single call writes the whole result.
    printf '<testcase classname="%s" name="%s" time="%s">%s</testcase>\n' "$suite" "$(xml_text <<<"$1")" "$3" \
        "$failure" >>"$results" || exit
}

# Prints the seconds that have passed since EPOCHREALTIME had the given value.
seconds_since() {
    local microseconds=$((${EPOCHREALTIME/[.,]/} - ${1/[.,]/}))
    printf '%d.%06d' $((microseconds / 1000000)) $((microseconds % 1000000))
}

# Runs a command as a check. The arguments are the name of the check and the command.
check() {
    local name=$1 outcome=passed start=$EPOCHREALTIME output="$work/output.$BASHPID"
    shift
    "$@" >"$output" 2>&1 || outcome=FAILED
    add_result "$name" "$outcome" "$(seconds_since "$start")" "$output"
}

# Adds the results in a file with the output of a program: the lines "passed: NAME" and "FAILED: NAME". Prints all other
# lines.
add_results() {
    local line
    while IFS= read -r line; do
        case $line in
            'passed: '* | 'FAILED: '*) add_result "${line#*: }" "${line%%: *}" 0 /dev/null ;;
            *) printf '%s\n' "$line" ;;
        esac
    done <"$1"
}

write_results() {
    local file
    file=$(mktemp "$RYNVEL_RESULTS/$suite.XXXXXX.xml") &&
        { printf '<testsuite name="%s">\n' "$suite" && cat "$results" && printf '</testsuite>\n'; } >"$file"
}

# Prints the line of totals and writes the JUnit file. Fails if a check has failed, or if there was no check.
summary() {
    local total failed
    total=$(grep -c '^<testcase ' "$results" || :)
    failed=$(grep -c '<failure ' "$results" || :)
    [ -z "${RYNVEL_RESULTS-}" ] || write_results ||
        { echo "$suite: cannot write the results to $RYNVEL_RESULTS" >&2; return 1; }
    printf '%d passed, %d failed\n' $((total - failed)) "$failed"
    [ "$total" != 0 ] && [ "$failed" = 0 ]
}
