#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Fuzzes a target for RYNVEL_FUZZ_SECONDS seconds, or for SECONDS by default. Starts with the inputs of the corpus and
# of earlier runs. The file CORPUS.dict, if it exists, is the dictionary for libFuzzer. Writes new inputs to the folder
# of the target, never to the corpus. Usage: run.sh TARGET CORPUS MAX_LENGTH SECONDS
set -euo pipefail
target=$1 corpus=$2 max_length=$3 seconds=${RYNVEL_FUZZ_SECONDS:-$4} status=0

[ -n "$(ls "$corpus")" ] || { printf '%s: no inputs in %s\n' "${0##*/}" "$corpus" >&2; exit 1; }
mkdir -p "$target.corpus" "$target.findings"
touch "$target.started"
words=()
[ ! -e "$corpus.dict" ] || words=(-dict="$corpus.dict")
"$target" ${words[@]+"${words[@]}"} -max_total_time="$seconds" -max_len="$max_length" -timeout=10 \
    -print_final_stats=1 -artifact_prefix="$target.findings/" "$target.corpus" "$corpus" 2>&1 || status=$?
[ "$status" = 0 ] || find "$target.findings" -type f -newer "$target.started" -printf "finding, to run again: $target %p\n"
exit "$status"
