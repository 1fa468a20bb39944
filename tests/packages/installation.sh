#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs, uses, upgrades, removes and purges the Debian packages in a new root file system without network.
# Usage: installation.sh FOLDER, where FOLDER has the packages for this machine. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd) || exit
. "$root/scripts/common.sh"
. "$root/scripts/checks.sh"
. "$root/packaging/chroots.sh"
suite=installation
system="$work/system"
setting='RYNVELD_OPTIONS="--read-only"'

in_system() { run_in_chroot "$system" 0:0 env DEBIAN_FRONTEND=noninteractive "$@"; }

# Prints the files of the system and their contents, without the state that apt, dpkg and account tools change at every
# installation. The accounts remain after a purge, because files may still belong to them.
contents() {
    local ignored=(-path /none) path
    for path in /proc /run /tmp /packages /earlier /sources /var/cache /var/log /var/lib/apt /var/lib/dpkg \
        /etc/ld.so.cache /etc/.pwd.lock; do
        ignored+=(-o -path "$path")
    done
    in_system find / -xdev \( "${ignored[@]}" -o -regex '/etc/\(passwd\|group\|shadow\|gshadow\)-?' \) -prune -o \
        \( -type f -printf '%p %m %u %s\n' -o ! -type d -printf '%p %y %l\n' -o -printf '%p %m %u\n' \) | sort
}

# Makes a package of an earlier version, with the same contents except for one more line in each configuration file.
make_earlier_package() {
    local folder="$work/earlier"
    rm -rf "$folder" && dpkg-deb --raw-extract "$1" "$folder" &&
        sed -i "s/^Version: $version\$/Version: $earlier/; s/= $version)/= $earlier)/g" "$folder/DEBIAN/control" &&
        { [ ! -e "$folder/DEBIAN/conffiles" ] || (cd "$folder" && xargs -I{} sh -c \
            'echo "# Text of the earlier version." >>".{}"' <DEBIAN/conffiles); } &&
        dpkg-deb --root-owner-group --build "$folder" "$2" >/dev/null
}

makes_a_system() {
    local archive package
    archive=$(installation_chroot) && unpack_chroot "$archive" "$system" &&
        as_root mkdir -p "$system"/{packages,earlier,sources/debian,sources/tests,sources/docs/site} &&
        as_root cp "$root/docs/site/check-links" "$system/sources/docs/site" &&
        as_root cp -r "$root/debian/tests" "$system/sources/debian" &&
        as_root cp -r "$root/tests/installed" "$system/sources/tests" &&
        as_root cp "$packages"/*.deb "$system/packages" && as_root rm -f "$system"/packages/*-dbgsym_*.deb || return
    for package in "$system"/packages/*.deb; do
        make_earlier_package "$package" "$work/${package##*/}" && as_root mv "$work/${package##*/}" "$system/earlier" ||
            return
    done
    contents >"$work/before"
}

install_from() { in_system sh -c "dpkg --force-confold --install $1/*.deb"; }

# Succeeds if all packages of the project have the given version and are configured.
all_have_version() {
    in_system dpkg-query --show --showformat '${db:Status-Abbrev}${Version}\n' '*rynvel*' 'libziltrace*' \
        >"$work/versions" && [ "$(sort -u "$work/versions")" = "ii $1" ] &&
        [ "$(wc -l <"$work/versions")" = "$(ls "$packages"/*.deb | grep -vc -- -dbgsym_)" ]
}

installs_the_earlier_version() { install_from /earlier && all_have_version "$earlier"; }

keeps_an_edited_configuration() {
    local file="$system/etc/default/rynveld"
    as_root sh -c "printf '%s\n' '$setting' >'$file'" && install_from /packages && all_have_version "$version" &&
        [ "$(cat "$file")" = "$setting" ] && ! grep -q earlier "$file.dpkg-dist"
}

passes_its_test() {
    in_system sh -c "rm -rf /tmp/work; mkdir /tmp/work; cd /sources && AUTOPKGTEST_TMP=/tmp/work debian/tests/$1"
}

# The installation must install the unit of the server, but must not enable the unit.
does_not_enable_the_server() {
    [ -e "$system/lib/systemd/system/rynveld.service" ] && ! find "$system/etc/systemd" -name 'rynveld*' | grep .
}

unit_is_safe() {
    in_system systemd-analyze security --no-pager --offline=true --threshold=20 \
        /lib/systemd/system/rynveld.service >"$work/exposure" || { cat "$work/exposure"; return 1; }
    tail -n 1 "$work/exposure"
}

serves_as_its_own_user() {
    in_system sh -c 'mkfifo -m 666 /tmp/lines
        setpriv --reuid rynveld --regid rynveld --groups rynvel rynveld --simulate --listen 127.0.0.1:0 2>/tmp/lines &
        read -r line </tmp/lines; port=$(echo "$line" | sed -n "s/.*127\.0\.0\.1:\([0-9]*\).*/\1/p")
        rynvelctl --quiet --remote "127.0.0.1::$port" read traf.top 0; status=$?; kill $!; exit $status' |
        tee /dev/stderr | grep -qx 0x00000000
}

# The package has links to files of other packages in place of some files of the site.
site_is_complete() { in_system /sources/docs/site/check-links /usr/share/doc/librynvel-doc/html; }

removes_all_but_the_configuration() {
    in_system dpkg --remove $names && [ "$(cat "$system/etc/default/rynveld")" = "$setting" ] &&
        ! in_system sh -c 'ls /usr/bin/rynvelctl /usr/sbin/rynveld /usr/lib/*/librynvel*'
}

leaves_nothing_after_a_purge() {
    in_system sh -c "rm -rf /tmp/*; dpkg --purge $names" && contents >"$work/after" &&
        diff "$work/before" "$work/after"
}

version=$(dpkg-deb --field "$packages"/librynvel1_*.deb Version) || exit
earlier=$version~earlier
names=$(for file in "$packages"/*.deb; do dpkg-deb --field "$file" Package; done | grep -v -- -dbgsym | paste -s -d ' ')
trap 'remove_chroot "$system"; rm -rf "$work"' EXIT
check 'a new root file system is made' makes_a_system
check 'the packages of an earlier version are installed' installs_the_earlier_version
check 'an upgrade keeps an edited configuration file' keeps_an_edited_configuration
for test in c-program cxx-program register-server accounts python-package; do
    check "the installed packages pass the test $test" passes_its_test $test
done
check 'every link of the installed site has a target' site_is_complete
check 'an installation does not enable the register server' does_not_enable_the_server
check 'the unit of the register server has an exposure of at most 2.0' unit_is_safe
check 'the register server serves as its own user' serves_as_its_own_user
check 'a removal removes programs and libraries, and keeps the configuration' removes_all_but_the_configuration
check 'a purge leaves no files' leaves_nothing_after_a_purge
summary
