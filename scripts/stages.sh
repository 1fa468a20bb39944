# SPDX-License-Identifier: MIT
# The stages of ./check: the packages and the time that each stage needs, and its commands. Source this file; do not run
# it.
#
# A stage writes messages to standard output and its results to JUnit files in the folder RYNVEL_RESULTS. It fails if it
# cannot do all of its work.

quick_stages=(format scripts site lint asan armhf python abi board installed dissector)
long_stages=(
    tsan counts abitest builders analyze bigendian hardened variants pythonlong wheel fuzz soak tunnels fleet packages
)
# The stages that run only on request. The stage hardened runs the same tests as the stage dev.
other_stages=(dev)
all_stages=("${quick_stages[@]}" "${long_stages[@]}" "${other_stages[@]}")

describe_stage() {
    case $1 in
        format) echo 'the layout of the sources, their license lines, what they may include, spelling and wording' ;;
        scripts) echo 'the tests of the scripts that ./check itself uses' ;;
        site) echo 'the documentation and the reference as HTML pages, with their links and their search' ;;
        lint) echo 'clang-tidy without its static analyzer, for the sources that have changed since they last passed' ;;
        analyze) echo 'the static analyzer of clang-tidy, for the sources that have changed since they last passed' ;;
        dev) echo 'all tests of a debug build on this machine, for work on the sources' ;;
        asan) echo 'all tests with the address and undefined behavior sanitizers, and their coverage' ;;
        tsan) echo 'the tests of code with threads, with the thread sanitizer' ;;
        armhf) echo 'the tests for the target, 32-bit ARM, on an emulator' ;;
        python) echo 'the tests of the Python package, on this machine and on an emulator of the target' ;;
        pythonlong) echo 'ten thousand opens and a million reads of Python devices, and threads that share devices' ;;
        wheel) echo 'the wheel of the Python package, built without a network and used outside of the tree' ;;
        bigendian) echo "the library's tests for a big-endian processor, on an emulator" ;;
        abi) echo 'the binary interface of the libraries, compared with packaging/abi-baseline/' ;;
        abitest) echo 'changes of the binary interface, each of which packaging/abi must report' ;;
        builders) echo 'other compilers, the headers of musl, and the recipes for Yocto and Buildroot' ;;
        counts) echo 'the instructions of each operation, compared with benchmarks/counts.table' ;;
        board) echo 'the tests that run on the virtual board' ;;
        installed) echo 'programs that use an installation for this machine or for the target' ;;
        variants) echo 'programs that use installations of the builds with sanitizers, and other configurations' ;;
        dissector) echo 'the dissector for Wireshark, on captures of real and of malformed exchanges' ;;
        tunnels) echo 'a register server behind ssh and behind stunnel, with right and wrong keys' ;;
        fleet) echo 'Prometheus with 50 simulated nodes: metrics, registers, a node that ends, an alert' ;;
        fuzz) echo 'random input for the code that reads bytes from outside' ;;
        hardened) echo "all tests of a build with a distribution's flags" ;;
        packages) echo 'the Debian packages of both architectures: two builds, installation, upgrade and purge' ;;
        soak) echo 'five minutes of well-behaved and hostile clients of rynveld, with the sanitizers' ;;
    esac
}

# Prints the Debian packages that a stage needs. The scripts that a stage calls install their own packages.
packages_of() {
    local tests=("${build_packages[@]}" googletest)
    # The tests of rynvelctl and rynveld run curl and zsh.
    local programs=(curl zsh)
    local target=("${target_packages[@]}" qemu-user)
    case $1 in
        format) echo clang-format codespell reuse ;;
        scripts) echo g++ ;;
        site) echo "${site_packages[@]}" ;;
        lint | analyze) echo "${build_packages[@]}" "${python_build_packages[@]}" clang-tidy ;;
        dev | asan | tsan | hardened | soak) echo "${tests[@]}" "${programs[@]}" ;;
        armhf) echo "${tests[@]}" "${programs[@]}" "${target[@]}" ;;
        python) echo "${build_packages[@]}" "${python_packages[@]}" "${target[@]}" "${target_python_packages[@]}" ;;
        pythonlong) echo "${build_packages[@]}" "${python_packages[@]}" ;;
        wheel) echo "${build_packages[@]}" "${python_packages[@]}" "${wheel_packages[@]}" ;;
        bigendian) echo "${tests[@]}" gcc-s390x-linux-gnu g++-s390x-linux-gnu qemu-user ;;
        counts) echo "${build_packages[@]}" ;;
        abi) echo "${tests[@]}" "${target[@]}" abigail-tools binutils xz-utils ;;
        builders)
            echo "${build_packages[@]}" "${python_build_packages[@]}" clang-16 libc++-16-dev libc++abi-16-dev musl-dev binutils python3-kconfiglib
            ;;
        abitest) echo "${build_packages[@]}" abigail-tools binutils xz-utils ;;
        board) echo "${tests[@]}" "${target_packages[@]}" ;;
        installed | variants)
            echo "${tests[@]}" "${target[@]}" "${python_build_packages[@]}" pkg-config binutils systemd man-db \
                groff-base mandoc
            ;;
        dissector) echo "${tests[@]}" "${python_build_packages[@]}" tshark wireshark-common iproute2 util-linux ;;
        tunnels) echo "${tests[@]}" "${python_build_packages[@]}" openssh-client openssl libwrap0 openssh-server:unpacked stunnel4:unpacked ;;
        fleet) echo "${tests[@]}" "${python_build_packages[@]}" curl prometheus:unpacked ;;
        fuzz) echo "${build_packages[@]}" clang libclang-rt-dev ;;
        packages) echo mmdebstrap dpkg-dev lintian piuparts autopkgtest apt-utils binutils systemd ;;
    esac
}

# Prints the folder that a stage builds into. If the folder is missing, the stage takes the time of a first run.
folder_of() {
    case $1 in
        format | scripts | site) echo . ;;
        lint | analyze) echo "$rynvel_cache/lint" ;;
        counts) echo build/benchmarks ;;
        abi) echo build/armhf ;;
        abitest) echo build/abitest ;;
        builders) echo build/builders/musl ;;
        installed) echo build/python ;;
        variants) echo build/tsan ;;
        dissector | tunnels | fleet | pythonlong | wheel) echo build/python ;;
        soak) echo build/asan ;;
        packages) echo "$rynvel_cache/chroots" ;;
        *) echo "build/$1" ;;
    esac
}

# Prints the seconds that --all adds to a stage.
added_seconds() {
    case $1 in
        fuzz) echo 100 ;;
        tsan) echo 20 ;;
        armhf) echo 100 ;;
        *) echo 0 ;;
    esac
}

# Prints the usual times of a stage on two processors, in seconds: of a first run, and of a run without any change.
usual_seconds() {
    case $1 in
        format) echo 8 8 ;;
        scripts) echo 12 12 ;;
        site) echo 16 16 ;;
        lint) echo 80 8 ;;
        analyze) echo 100 3 ;;
        dev) echo 320 60 ;;
        asan) echo 380 105 ;;
        tsan) echo 250 60 ;;
        armhf) echo 310 110 ;;
        python) echo 65 50 ;;
        pythonlong) echo 240 90 ;;
        wheel) echo 200 66 ;;
        bigendian) echo 60 10 ;;
        counts) echo 35 15 ;;
        abi) echo 14 5 ;;
        abitest) echo 70 60 ;;
        builders) echo 90 80 ;;
        board) echo 150 85 ;;
        installed) echo 15 15 ;;
        variants) echo 150 60 ;;
        dissector) echo 22 20 ;;
        tunnels) echo 60 5 ;;
        fleet) echo 80 16 ;;
        fuzz) echo 140 25 ;;
        hardened) echo 400 60 ;;
        soak) echo 340 330 ;;
        packages) echo 900 850 ;;
    esac
}

# Prints the number of parallel jobs for work that spends some of its time waiting, such as tests of time-outs.
jobs_that_wait() { echo $(($(nproc) + 1)); }

# Builds a preset. Deletes the counts of coverage that earlier runs have written: they do not fit new objects, and
# programs would report this.
build() {
    cmake --preset "$1" && { [ "$1" != asan ] || find build/asan -name '*.gcda' -delete; } &&
        cmake --build --preset "$1"
}

# Builds a preset and runs its tests. The first argument is the preset. Passes the remaining arguments to ctest.
test_preset() {
    local preset=$1
    shift
    build "$preset" && ctest --preset "$preset" -j "$(jobs_that_wait)" --output-junit "$RYNVEL_RESULTS/ctest.xml" "$@"
}

# Like test_preset, for a preset in which ctest runs each test program as one test. The test programs write the results
# of their tests themselves. If a program hangs, the end of its output names the test. ctest keeps this end.
test_preset_by_program() { GTEST_OUTPUT="xml:$RYNVEL_RESULTS/" test_preset "$1" --test-output-truncation head; }

# Fails unless --test can select tests of a stage by a part of their names. The arguments are the stage and the part. In
# a filter of GoogleTest, '-' and ':' are operators. No name of a test contains them.
check_choice() {
    case $1 in
        dev | hardened) ;;
        asan | tsan | armhf | bigendian)
            [[ $2 != *[-:]* ]] || die "'$2' contains '-' or ':' (give a part of a test name without them)"
            ;;
        *) die "--test cannot select tests of stage '$1' (only of dev, asan, tsan, armhf, bigendian and hardened)" ;;
    esac
}

# Builds a preset and runs the tests whose names contain a text.
test_matching() {
    case $1 in
        dev | hardened) test_preset "$1" -R "$(sed 's/[][().*+?^$|\\]/\\&/g' <<<"$2")" ;;
        *)
            GTEST_FILTER="*$2*" test_preset_by_program "$1" &&
                { grep -q '<testcase' "$RYNVEL_RESULTS"/*_tests.xml || die "no name of a test in $1 contains '$2'"; }
            ;;
    esac
}

# Runs shell commands at the same time, at most one for each processor, and then shows their outputs. Fails if one of
# the commands fails.
together() { together_at_most "$(nproc)" "$@"; }

# Like together. The first argument is the maximum number of processes.
together_at_most() {
    local processes=$1 commands=("${@:2}") i status=0 outputs
    outputs=$(mktemp -d) || return
    for i in "${!commands[@]}"; do
        printf '%s\0' "$i" "${commands[i]}"
    done | xargs -0 -n 2 -P "$processes" bash -c \
        'printf "running %s\n" "$2"; bash -c "$2" >"$0/$1" 2>&1 </dev/null || exit 1' "$outputs" || status=1
    for i in "${!commands[@]}"; do
        cat "$outputs/$i" || status=1
    done
    rm -r "$outputs"
    return $status
}

# Fails unless each test program has written its results. A program that ends early does not write them.
require_results() {
    local program
    for program in "$@"; do
        grep -q '<testcase' "$RYNVEL_RESULTS/$program.xml" || { echo "$program has not written its results"; return 1; }
    done
}

stage_dev() { test_preset dev; }
stage_asan() { test_preset_by_program asan && coverage_is_complete; }

# Checks the coverage of the code that users run.
coverage_is_complete() (
    . scripts/checks.sh
    suite=coverage
    check 'the tests run every line that scripts/coverage.list does not list, and 95 % of the branches' \
        scripts/coverage build/asan scripts/coverage.list 95 \
        base common cppsrc include maps server tools ziltrace/include ziltrace/src
    tail -n 1 "$work"/output.*
    summary
)

# Some races occur only in a long run.
stage_tsan() { RYNVEL_STRESS_SECONDS=${RYNVEL_STRESS_SECONDS:-$((10 + ${all:+20} + 0))} test_preset_by_program tsan; }
# On an emulator, the starts of rynvelctl take most of the time, so only --all runs all of its tests.
stage_armhf() { RYNVEL_TOOL_TEST_SHARDS=${RYNVEL_TOOL_TEST_SHARDS-6} test_preset_by_program armhf; }
stage_bigendian() { test_preset_by_program bigendian; }
stage_hardened() { test_preset hardened; }

# Checks the types of Python files. The first argument is the folder of tests whose modules the files import. Passes the
# remaining arguments to mypy.
check_python_types() {
    MYPYPATH=$PWD/build/python/python:$PWD/python/tests/$1 mypy --strict --cache-dir build/python/mypy "${@:2}"
}

# Prints a command that runs the quick tests of the Python package in a folder. The arguments are the folder and what
# its program needs.
python_tests() {
    echo "python/tests/$1/run ${*:2} -m 'not slow' --junitxml='$RYNVEL_RESULTS/python_$1_tests.xml'"
}

stage_python() {
    build python && check_python_types core -p rynvel && check_python_types core python/tests/core/*.py &&
        check_python_types package python/tests/package/*.py python/examples/*.py &&
        check_python_types target python/tests/target/*.py && build armhf-python &&
        together "$(python_tests core build/python)" "$(python_tests package build/python)" \
            "$(python_tests target build/armhf build/python/server/rynveld)"
}

stage_pythonlong() {
    build python && build python-tsan && check_python_types threads python/tests/threads/*.py &&
        python/tests/core/run build/python -m slow --junitxml="$RYNVEL_RESULTS/python_long_tests.xml" &&
        python/tests/threads/run build/python-tsan build/python/server/rynveld \
            --junitxml="$RYNVEL_RESULTS/python_threads_tests.xml"
}

stage_wheel() {
    build python && python/tests/package/run build/python -m slow --junitxml="$RYNVEL_RESULTS/python_wheel_tests.xml"
}

# The tests of arming a connection run ten times, because the races that these tests look for rarely occur.
stage_soak() {
    local preset commands=() soak='HostileClients.DoNotKeepTheOthersFromTheirWork' arming='Rynveld.Reports*AfterTheAnswer*'
    for preset in asan tsan; do
        build $preset || return
        commands+=("RYNVEL_SOAK_SECONDS=${RYNVEL_SOAK_SECONDS:-300} GTEST_OUTPUT=xml:$RYNVEL_RESULTS/soak_$preset.xml \
            build/$preset/tests/server/rynveld_tests --gtest_filter='$soak'")
    done
    together_at_most ${#commands[@]} "${commands[@]}" && require_results soak_asan soak_tsan &&
        GTEST_OUTPUT=xml:$RYNVEL_RESULTS/arming.xml build/tsan/tests/server/rynveld_tests \
            --gtest_filter="$arming" --gtest_repeat=10 && require_results arming
}

# Prints the files of the project. If the arguments are patterns, prints only the files that match one of them.
project_files() { git ls-files -co --exclude-standard "$@"; }

sources() { project_files "$@" | grep -E '\.(c|h|cpp|hpp)$' | grep -v '^board/module/'; }

# Prints the folders of the project: the top-level folders except tests/, and the folders in tests/.
folders() { git ls-files | sed -nE 's#^(tests/[^/]+|[^./][^/]*)/.*#\1#p' | grep -vx tests | sort -u; }

contributing_lists_every_folder() {
    local folder missing=0
    for folder in $(folders); do
        grep -qF "\`$folder/\`" CONTRIBUTING.md || { printf 'missing: %s/\n' "$folder"; missing=1; }
    done
    return $missing
}

# Prints the source files, the scripts, and the files of the build.
licensed_files() {
    local files
    files=$(project_files) || return
    grep -E '\.(c|h|cpp|hpp|inc|def|cmake|sh|py|awk|lua)$|(^|/)CMakeLists\.txt$' <<<"$files"
    grep -vE '\.(c|h|cpp|hpp|inc|def|cmake|sh|py|awk|lua|md)$|^tests/fuzz/corpus/' <<<"$files" |
        xargs -d '\n' awk 'FNR == 1 { if (/^#!/) print FILENAME; nextfile }'
}

# The license line is the first line of a file, or the second line of a script.
every_source_names_its_license() {
    local files unlabeled
    files=$(licensed_files | sort -u) && [ -n "$files" ] || return
    unlabeled=$(comm -23 <(printf '%s\n' "$files") \
        <(xargs -d '\n' grep -nHm 1 -E 'SPDX-License-Identifier: (MIT|GPL-2\.0)\b' <<<"$files" |
            sed -n 's/:[12]:.*//p' | sort))
    [ -z "$unlabeled" ] || { printf 'missing SPDX line: %s\n' $unlabeled; return 1; }
}

includes_keep_to_the_folder_table() { project_files '*.[ch]' '*.cpp' '*.hpp' | scripts/includes; }

names_from_namespaces_are_used() { project_files '*.cpp' | scripts/using-declarations; }

# Prints the files whose wording is checked. Leaves out the license, the fuzzing corpus, and the files that quote
# excluded wordings.
texts() { project_files | grep -vE '^(tests/fuzz/corpus/|scripts/words|docs/style.md|tests/scripts/run.sh|LICENSE$|LICENSES/)'; }

# Words that codespell would report: macros of mdoc, a C++ term, a variant of mmdebstrap, and words that the tests
# misspell on purpose.
not_misspelled=nd,fo,statics,buildd,wiat,comand,ohter,nam,raed,contrl

texts_are_spelled() { texts | xargs codespell --ignore-words-list "$not_misspelled"; }

texts_keep_to_the_wordings() { texts | scripts/words; }

stage_format() (
    . scripts/checks.sh
    suite=format
    files=$(sources) || return
    check 'clang-format changes nothing in the sources' clang-format --dry-run -Werror $files
    check 'every source file has a license line' every_source_names_its_license
    check 'every file has a license in the form of the REUSE specification' reuse lint
    check 'CMakeLists.txt, CHANGELOG.md and debian/changelog have the same version and date' packaging/version
    check 'CONTRIBUTING.md lists every folder' contributing_lists_every_folder
    check 'the sources include only what the folder table in CONTRIBUTING.md allows' includes_keep_to_the_folder_table
    check 'the sources use each name that they declare with using' names_from_namespaces_are_used
    check 'codespell finds no spelling mistake' texts_are_spelled
    check 'the texts contain no wording that docs/style.md excludes' texts_keep_to_the_wordings
    summary
)

stage_scripts() { tests/scripts/run.sh; }

stage_site() { tests/site/run.sh; }

# Runs checks of .clang-tidy on all sources. The argument is the list of checks. The sources are compiled together,
# because clang-tidy reads each header once for them. The static analyzer leaves out sources that another one includes,
# unless the path contains "UnifiedSource", as the build folder of the preset does.
run_clang_tidy() {
    cmake --preset lint && cmake --build --preset lint --target rynvel_generated_sources &&
        scripts/lint build/UnifiedSource "$1"
}

# The check bugprone-suspicious-include would report that sources are included.
stage_lint() { run_clang_tidy '-clang-analyzer-*,-bugprone-suspicious-include'; }
stage_analyze() { run_clang_tidy '-*,clang-analyzer-*'; }

stage_counts() { benchmarks/counts; }

# Installed libraries have no debugging information about types, so the stage builds them again.
stage_abi() (
    . scripts/checks.sh
    suite=abi
    for preset in abi armhf; do
        cmake --preset $preset && cmake --build --preset $preset --target rynvel ziltrace || return
        check "the libraries of build/$preset have the binary interface of the baseline" packaging/abi "build/$preset"
    done
    summary
)

stage_builders() {
    local script status=0
    for script in musl recipes compilers; do
        tests/builders/$script.sh build/builders || status=1
    done
    return $status
}

stage_abitest() { tests/abi/run.sh build/abitest; }

# The tests of remote devices run in the guest and connect to remote_peer, a register server on this machine. The guest
# reaches this machine at 10.0.2.2. The longest command starts first.
stage_board() {
    local guest="board/run env 'GTEST_OUTPUT=xml:$RYNVEL_RESULTS/'"
    cmake --preset armhf && cmake --build --preset armhf --target all_board_tests &&
        cmake --preset asan && cmake --build --preset asan --target remote_peer served_board_tests && board/prepare &&
        RYNVEL_BOARD_TIMEOUT=600 GTEST_OUTPUT="xml:$RYNVEL_RESULTS/" together \
            'tests/board/rynvelctl.sh build/armhf' \
            board/selftest/run \
            "$guest sh -c 'build/armhf/tests/board_tests && build/armhf/tests/own_devices_tests'" \
            'tests/board/clock_accesses.sh build/armhf/tests/clock_accesses' \
            "build/asan/tests/remote_peer 10.0.2.2 ${guest/run/run --network} build/armhf/tests/remote_board_tests" \
            'tests/board/served_board.sh build/armhf/server/rynveld build/asan/tests/served_board_tests' &&
        require_results board_tests own_devices_tests remote_board_tests remote_peer served_board_tests
}

# Prints a command that installs and tests a build for the target.
test_of_target_installation() {
    echo "CC=arm-linux-gnueabihf-gcc CXX=arm-linux-gnueabihf-g++ tests/installed/run.sh build/$1 \
        qemu-arm -L /usr/arm-linux-gnueabihf"
}

stage_installed() {
    build python && build armhf && together "$(test_of_target_installation armhf)" 'tests/installed/run.sh build/python'
}

stage_variants() {
    local run=tests/installed/run.sh preset
    for preset in python asan tsan; do
        build $preset || return
    done
    together 'tests/installed/configurations.sh build/python' "SANITIZERS=address,undefined $run build/asan" "SANITIZERS=thread $run build/tsan"
}

# Builds the programs for the tests that are scripts.
build_programs() { cmake --preset python && cmake --build --preset python --target rynvelctl rynveld; }

stage_dissector() { build_programs && tests/wireshark/run.sh build/python; }

stage_tunnels() { build_programs && tests/tunnels/run.sh build/python; }

stage_fleet() { build_programs && tests/fleet/run.sh build/python; }

stage_fuzz() { test_preset fuzz; }

# Builds the packages of both architectures, and then tests them. Much of a build or a test uses one processor, or waits
# for the disk, so more of them run at the same time than there are processors.
stage_packages() {
    local folder=build/packages tests=tests/packages
    together 'packaging/build amd64' 'packaging/build armhf' &&
        together_at_most "$(jobs_that_wait)" "$tests/reproducibility.sh amd64 $folder/amd64" \
            "$tests/reproducibility.sh armhf $folder/armhf" "$tests/board.sh $folder/armhf" \
            "$tests/debian_tools.sh $folder/amd64" "$tests/installation.sh $folder/amd64" \
            "$tests/contents.sh $folder/amd64 $folder/armhf"
}
