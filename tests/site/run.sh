#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Tests the site: that it builds without a warning, has a page for every document, header and manual page, and works
# from a folder without a network. Usage: run.sh. Ends with a line of totals.
set -u -o pipefail
cd "$(dirname "$0")/../.." || exit
. scripts/common.sh
. scripts/checks.sh
suite=site
site="$work/site"

# Builds the site twice at the same time, in environments that differ.
builds_two_identical_sites() {
    (umask 077 && cd / && TZ=Pacific/Auckland LANG=C PYTHONHASHSEED=2 SOURCE_DATE_EPOCH=1000000000 \
        "$OLDPWD/docs/site/build" "$work/elsewhere/other" >"$work/other.log" 2>&1) &
    local other=$! status=0
    LC_ALL=C PYTHONHASHSEED=1 docs/site/build "$site" || status=1
    wait "$other" || { cat "$work/other.log"; status=1; }
    [ "$status" = 0 ] && diff -r "$site" "$work/elsewhere/other"
}

# Copies the sources of the site into a new folder, for a test that changes them.
copy_sources() {
    rm -rf "$work/project"
    mkdir "$work/project" && git ls-files -co --exclude-standard -z -- . ':!tests/*/*.cpp' ':!tests/fuzz/corpus' |
        xargs -0 cp --parents -t "$work/project"
}

# Succeeds if a build of the copy fails with a message that contains the argument, and creates no site.
refuses() {
    ! "$work/project/docs/site/build" "$work/refused" >"$work/refusal" 2>&1 && grep -F "$1" "$work/refusal" &&
        [ ! -e "$work/refused" ]
}

refuses_a_function_without_a_contract() {
    copy_sources && sed -i 's|^#ifdef __cplusplus$|int Rynvel_unknown(int handle);\n&|' \
        "$work/project/include/rynvel.h" &&
        refuses 'Rynvel_unknown'
}

refuses_a_mistake_in_a_manual_page() {
    copy_sources && printf '.Sx NO SUCH SECTION\n.Xx\n' >>"$work/project/docs/man/rynveld.8" &&
        refuses 'assemble: docs/man/rynveld.8: mandoc reports warnings'
}

refuses_a_link_without_a_target() {
    copy_sources && printf '\nSee [this page](no-page.md).\n' >>"$work/project/docs/traces.md" &&
        refuses "docs/traces.md: the link to 'docs/no-page.md' has no target"
}

refuses_a_link_to_data() {
    copy_sources && printf '\377' >"$work/project/docs/data" &&
        printf '\nSee [the data](data).\n' >>"$work/project/docs/traces.md" &&
        refuses 'assemble: docs/data: the file is not UTF-8 text'
}

refuses_a_link_out_of_the_project() {
    copy_sources && printf '\nSee [this file](../../secret.md).\n' >>"$work/project/docs/traces.md" &&
        refuses "docs/traces.md: the link to '../secret.md' has no target"
}

refuses_to_replace_a_folder_that_is_not_a_site() {
    mkdir "$work/notes" && : >"$work/notes/text" && ! docs/site/build "$work/notes" 2>"$work/refusal" &&
        grep "^build: $work/notes: is not a site" "$work/refusal" && [ -e "$work/notes/text" ]
}

# Succeeds if the link checker finds exactly one wrong link in a page, and gives the reason. The arguments are an
# element of the page and the message.
finds_in_a_page() {
    rm -rf "$work/pages"
    mkdir "$work/pages" && printf '<h1 id="top">A</h1><a href="b.html#there">b</a> %s' "$1" >"$work/pages/a.html" &&
        printf '<p id="there">B</p>' >"$work/pages/b.html" && : >"$work/outside.html" || return
    ! docs/site/check-links "$work/pages" >"$work/found" && diff - "$work/found" <<<"$2
2 pages, 2 links, 1 wrong"
}

finds_a_missing_page() { finds_in_a_page '<a href="c.html">c</a>' 'a.html: c.html: leads nowhere'; }

finds_a_folder() { finds_in_a_page '<a href="./">c</a>' 'a.html: ./: leads nowhere'; }

finds_a_missing_anchor() {
    finds_in_a_page '<a href="b.html#here">c</a>' 'a.html: b.html#here: no element of b.html has this identifier'
}

finds_a_file_outside_of_the_site() {
    finds_in_a_page '<a href="../outside.html">c</a>' 'a.html: ../outside.html: leads out of the site'
}

finds_a_path_of_the_machine() {
    finds_in_a_page "<a href=\"file://$work/pages/b.html\">c</a>" \
        "a.html: file://$work/pages/b.html: is not a part of the site"
}

finds_a_script_on_the_network() {
    finds_in_a_page '<script src="https://example.org/a.js"></script>' \
        'a.html: https://example.org/a.js: is not a part of the site'
}

finds_a_font_on_the_network() {
    finds_in_a_page '<p style="background: url(//example.org/a.png)">c</p>' \
        'a.html: //example.org/a.png: is not a part of the site'
}

accepts_a_web_page_that_the_reader_visits() {
    finds_in_a_page '<img src="c.png">' 'a.html: c.png: leads nowhere' &&
        sed -i 's|<img.*|<a href="https://example.org/">c</a>|' "$work/pages/a.html" &&
        [ "$(docs/site/check-links "$work/pages")" = '2 pages, 2 links, 0 wrong' ]
}

has_a_page_for_every_document_header_and_manual_page() {
    local file missing=0 pages=()
    for file in README.md CHANGELOG.md CONTRIBUTING.md docs/*.md docs/man/*.[1-8]; do
        pages+=("${file%.md}.html")
    done
    for file in include/rynvel/*; do
        file=${file##*/}
        pages+=("reference/${file%%.*}.html")
    done
    for file in index.html search.html reference/c.html reference/cpp.html "${pages[@]}"; do
        [ -s "$site/$file" ] || { printf 'missing: %s\n' "$file"; missing=1; }
    done
    return $missing
}

# Prints the names of one kind in the search index. The argument is the kind, such as "C function".
names_in_search() {
    python3 - "$site/searchindex.js" "$1" <<'END'
import json, pathlib, sys
index = json.loads(pathlib.Path(sys.argv[1]).read_text().removeprefix("Search.setIndex(").removesuffix(")"))
kinds = {int(number) for number, names in index["objnames"].items() if names[2] == sys.argv[2]}
for scope, entries in index["objects"].items():
    for entry in entries:
        if entry[1] in kinds:
            print(f"{scope}::{entry[4]}" if scope else entry[4])
END
}

search_finds_exactly_the_functions_of_the_c_header() {
    diff <(grep -oE '^RYNVEL_EXPORT [a-z]+ \w+\(' include/rynvel.h | sed 's/.* //; s/($//' | sort) \
        <(names_in_search 'C function' | sort) && names_in_search 'C function' | grep 'burstRead'
}

search_finds_exactly_the_public_classes() {
    diff <(sed -nE 's/^(class|struct) (RYNVEL_EXPORT )?(\w+)( : .*)? \{$/\3/p' include/rynvel/*.h | sort) \
        <({ names_in_search 'C++ class'; names_in_search 'C++ struct'; } | sed 's/.*:://' | sort |
            tee "$work/classes") &&
        grep -x RemoteDeviceConnection "$work/classes"
}

landing_page_shows_the_session() {
    local command shown
    shown=$(sed 's/<[^>]*>//g' "$site/index.html" | grep -oE '^# rynvelctl [a-z]+ rtc0')
    for command in describe read write show; do
        grep "# rynvelctl $command rtc0" <<<"$shown" || return
    done
    [ "$(wc -l <<<"$shown")" = 6 ]
}

landing_page_shows_the_device_types() {
    local type types shown
    shown=$(sed 's/<[^>]*>//g' "$site/index.html")
    types=$(sed -n '/^enum class DeviceType/,/^};/s/^ *\([A-Za-z0-9]*\) = .*/\1/p' include/rynvel/MemoryDevice.h |
        grep .) || return
    for type in $types; do
        grep -qw "$type" <<<"$shown" || { echo "missing: $type"; return 1; }
    done
}

follows_the_preferred_colors() {
    python3 - "$site/_static/styles/furo.css" <<'END'
import pathlib, re, sys
text = pathlib.Path(sys.argv[1]).read_text()
dark = re.search(r"@media \(prefers-color-scheme: dark\) \{\s*body[^{]*\{([^}]*)\}", text)
sys.exit(not dark or "--color-background-primary: #131416" not in dark[1])
END
}

loads_no_modules() {
    ! grep -lE '^(import|export) |type="module"' -r "$site" --include='*.js' --include='*.html' &&
        grep -q Gumshoe "$site/_static/scripts/furo.js"
}

check 'two builds without a warning in different environments are identical' builds_two_identical_sites
check 'every document, header and manual page has a page' has_a_page_for_every_document_header_and_manual_page
check 'the search finds exactly the functions of the C header' search_finds_exactly_the_functions_of_the_c_header
check 'the search finds exactly the public classes' search_finds_exactly_the_public_classes
check 'the landing page shows the six commands from describe to show' landing_page_shows_the_session
check 'the landing page shows all device types' landing_page_shows_the_device_types
check 'the pages follow the preferred colors of the browser' follows_the_preferred_colors
check 'the pages load no modules, which a browser does not load from a folder' loads_no_modules
check 'a function without a contract is refused' refuses_a_function_without_a_contract
check 'a mistake in a manual page is refused' refuses_a_mistake_in_a_manual_page
check 'a link without a target is refused' refuses_a_link_without_a_target
check 'a link to a file that is not a text is refused' refuses_a_link_to_data
check 'a link out of the project is refused' refuses_a_link_out_of_the_project
check 'a folder that is not a site is not replaced' refuses_to_replace_a_folder_that_is_not_a_site
check 'a link to a missing page is found' finds_a_missing_page
check 'a link to a folder is found' finds_a_folder
check 'a link to a missing anchor is found' finds_a_missing_anchor
check 'a link to a file outside of the site is found' finds_a_file_outside_of_the_site
check 'a link to a path of the machine is found' finds_a_path_of_the_machine
check 'a script on the network is found' finds_a_script_on_the_network
check 'a style that loads from the network is found' finds_a_font_on_the_network
check 'a link to a web page is accepted' accepts_a_web_page_that_the_reader_visits
summary
