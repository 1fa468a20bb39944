# Shell functions of the tests on installed packages. Sourced, never run.

passed=0
failed=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Runs a command as the check of that name, and shows its output when it fails.
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

# Prints the line of totals; fails when a check did.
summary() {
    printf '%d passed, %d failed\n' "$passed" "$failed"
    [ "$failed" = 0 ]
}
