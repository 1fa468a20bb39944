#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks that other compilers, and g++ with later standards, report no warning for the sources of the product. The stage
# fuzz compiles most sources with clang 14. Usage: compilers.sh FOLDER
# FOLDER contains the build folders. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
mkdir -p "$1" || exit
folder=$(cd "$1" && pwd)
. "$root/scripts/checks.sh"
suite=compilers

# Prints the commands of a build folder that compile C++ sources, one per line, without the output files.
commands_of() {
    python3 - "$1/compile_commands.json" <<'END'
import json, shlex, sys

for entry in json.load(open(sys.argv[1])):
    words = shlex.split(entry["command"])
    place = words.index("-o")
    if not entry["file"].endswith(".c"):
        print("cd", shlex.quote(entry["directory"]), "&&", shlex.join(words[:place] + words[place + 2 :]), "-fsyntax-only")
END
}

# Compiles the sources without code generation, which takes a fraction of the time. Warnings that need the optimizer do
# not appear. Usage: compiles_with NAME COMPILER STANDARD [OPTION...]
compiles_with() {
    local build=$folder/$1 commands
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$2" -DCMAKE_CXX_STANDARD="$3" -DRYNVEL_WERROR=ON \
        -DRYNVEL_COMPILER_CACHE=OFF -DRYNVEL_PYTHON=ON -DBUILD_TESTING=OFF "${@:4}" &&
        cmake --build "$build" --target rynvel_generated_sources || return
    commands=$(commands_of "$build") && [ -n "$commands" ] && ! grep -v -- "-std=[a-z+]*$3 " <<<"$commands" || return
    printf '%s\n' "$commands" | xargs -d '\n' -n 1 -P "$(nproc)" bash -c
}

clang_in_cpp20() { compiles_with clang clang++-16 20 -DCMAKE_UNITY_BUILD=ON -DRYNVEL_UNITY=ON; }
# Without unity sources, this build also finds sources that do not include a header that they need.
gcc_in_cpp23() { compiles_with gcc g++ 23; }

check 'clang 16 reports no warning for the product in C++20' clang_in_cpp20
check 'g++ reports no warning for the product in C++23' gcc_in_cpp23
summary
