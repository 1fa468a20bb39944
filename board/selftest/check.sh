# Bookkeeping of the self-test. Sourced, never run.

passed=0
failed=0

# Counts and prints one result: a name, then a command that is true if the check passes.
check() {
    local name=$1
    shift
    if "$@"; then
        passed=$((passed + 1))
        printf 'ok %s\n' "$name"
    else
        failed=$((failed + 1))
        printf 'FAILED %s\n' "$name"
    fi
}

# Counts the results that another program printed in the same form.
count_results() {
    cat "$1"
    passed=$((passed + $(grep -c '^ok ' "$1" || :)))
    failed=$((failed + $(grep -c '^FAILED ' "$1" || :)))
}

summary() {
    printf '%d passed, %d failed\n' "$passed" "$failed"
    [ "$passed" -gt 0 ] && [ "$failed" = 0 ]
}
