# SPDX-License-Identifier: MIT
# Shell functions for root file systems of Debian, in which packages are built and tested. Source scripts/common.sh
# before this file; do not run it. The functions need the packages in chroot_packages.

chroot_packages=(mmdebstrap dpkg-dev)
chroot_cache="$rynvel_cache/chroots"

# Prints the address from which apt of this machine gets the packages of its Debian release.
debian_mirror() {
    apt-get indextargets --format '$(ORIGIN) $(LABEL) $(CODENAME) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
        sed -n "s/^Debian Debian $(debian_release) main //p" | head -n 1 | grep .
}

debian_release() { sed -n 's/^VERSION_CODENAME=//p' /etc/os-release; }

# Prints the archive of a root file system with the named packages. Makes the archive if it does not exist, and then
# removes the earlier archives with the same NAME. Usage: chroot_archive NAME VARIANT ARCHITECTURES [PACKAGE...]
chroot_archive() {
    local name=$1 variant=$2 architectures=$3 packages mirror archive
    packages=$(printf '%s\n' "${@:4}" | sort -u | paste -s -d ,)
    mirror=$(debian_mirror) ||
        die "apt has no address for the packages of Debian $(debian_release) (see sources.list(5))"
    archive="$chroot_cache/$name-$(sha256sum <<<"$variant $architectures $packages $mirror" | head -c 16).tar"
    mkdir -p "$chroot_cache"
    # Several tests may need the archive at the same time.
    (
        flock 9
        [ -e "$archive" ] || make_chroot_archive "$archive" "$chroot_cache/$name-" \
            --variant="$variant" --architectures="$architectures" ${packages:+--include="$packages"} \
            --aptopt='APT::Install-Recommends "false"' --dpkgopt=force-unsafe-io "$(debian_release)" - \
            <<<"deb $mirror $(debian_release) main"
    ) 9>"$chroot_cache/$name.lock" || return
    printf '%s\n' "$archive"
}

# Prints the path of the archive of the root file system in which the tests install the packages. The archive contains
# all dependencies of the packages.
installation_chroot() {
    chroot_archive installation-amd64 minbase amd64 apt-utils cmake dpkg-dev g++ libjs-sphinxdoc make \
        node-normalize.css pkg-config python3 systemd udev
}

# Makes an archive. The arguments are the archive, the common beginning of the names of earlier archives, and the
# arguments of mmdebstrap without the archive.
make_chroot_archive() {
    local archive=$1 earlier=$2
    shift 2
    printf 'making the root file system %s\n' "${archive##*/}" >&2
    as_root mmdebstrap --quiet --format=tar "${@:1:$#-1}" "$archive.new" - >"$archive.log" 2>&1 ||
        die "cannot make the root file system (see $archive.log)"
    rm -f "$earlier"*.tar "$archive.log"
    mv "$archive.new" "$archive"
}

# Unpacks the archive of a root file system into a new folder.
unpack_chroot() { mkdir -p "$2" && as_root tar --extract --numeric-owner --file "$1" --directory "$2"; }

remove_chroot() { as_root rm -rf --one-file-system "$1"; }

# Runs a command in a root file system, with its own processes and host name, and without a network except for its own
# addresses. Usage: run_in_chroot FOLDER USER:GROUP COMMAND [ARG...]
run_in_chroot() {
    local root=$1 user=$2
    shift 2
    as_root unshare --mount --pid --fork --uts --ipc --net --kill-child --mount-proc="$root/proc" \
        sh -c 'ip link set lo up; exec "$@"' sh \
        chroot --userspec="$user" "$root" \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/nonexistent LC_ALL=C.UTF-8 "$@"
}
