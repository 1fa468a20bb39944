# SPDX-License-Identifier: MIT
# Shell functions of the tests that are scripts. Sourced, never run.
#
# A script names each result with `check`, takes over those of other programs with `add_results`, and ends with
# `summary`. Where RYNVEL_RESULTS names a folder, the results go there too, in JUnit's format.

work=$(mktemp -d) || exit
trap 'rm -rf "$work"' EXIT
suite=$(basename "$0" .sh)
results="$work/results"
: >"$results"

xml_text() {
    LC_ALL=C tr -d '\000-\010\013\014\016-\037\200-\377' |
        sed -e 's/&/\&amp;/g' -e 's/</\&lt;/g' -e 's/>/\&gt;/g' -e 's/"/\&quot;/g'
}

# Adds a result: its name, "passed" or "FAILED", its seconds, and a file with the output of a failed one.
add_result() {
    local failure=
    printf '%s: %s\n' "$2" "$1"
    if [ "$2" != passed ]; then
        sed 's/^/    /' "$4"
        failure="<failure message=\"failed\">$(xml_text <"$4")</failure>"
    fi
    # Checks may run at the same time, so a result is written in one piece.
    printf '<testcase classname="%s" name="%s" time="%s">%s</testcase>\n' "$suite" "$(xml_text <<<"$1")" "$3" \
        "$failure" >>"$results" || exit
}

# Prints the seconds since a time that was read from EPOCHREALTIME.
seconds_since() {
    local microseconds=$((${EPOCHREALTIME/[.,]/} - ${1/[.,]/}))
    printf '%d.%06d' $((microseconds / 1000000)) $((microseconds % 1000000))
}

# Runs a command as the check of that name, and shows its output when it fails.
check() {
    local name=$1 outcome=passed start=$EPOCHREALTIME output="$work/output.$BASHPID"
    shift
    "$@" >"$output" 2>&1 || outcome=FAILED
    add_result "$name" "$outcome" "$(seconds_since "$start")" "$output"
}

# Takes over the results in a program's output, a line each: "passed: NAME" or "FAILED: NAME".
add_results() {
    local line
    while IFS= read -r line; do
        case $line in
            'passed: '* | 'FAILED: '*) add_result "${line#*: }" "${line%%: *}" 0 /dev/null ;;
            *) printf '%s\n' "$line" ;;
        esac
    done <"$1"
}

leave_results() {
    local file
    file=$(mktemp "$RYNVEL_RESULTS/$suite.XXXXXX.xml") &&
        { printf '<testsuite name="%s">\n' "$suite" && cat "$results" && printf '</testsuite>\n'; } >"$file"
}

# Prints the line of totals and leaves the results. Fails if a check failed, or if there was no check.
summary() {
    local total failed
    total=$(grep -c '^<testcase ' "$results" || :)
    failed=$(grep -c '<failure ' "$results" || :)
    [ -z "${RYNVEL_RESULTS-}" ] || leave_results || { echo "$suite: cannot leave its results" >&2; return 1; }
    printf '%d passed, %d failed\n' $((total - failed)) "$failed"
    [ "$total" != 0 ] && [ "$failed" = 0 ]
}
