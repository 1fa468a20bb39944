# SPDX-License-Identifier: MIT
# Shell functions that build the Debian packages. Source scripts/common.sh before this file; do not run it.

. "${BASH_SOURCE[0]%/*}/chroots.sh"

package_tree=$(cd "${BASH_SOURCE[0]%/*}/.." && pwd)
build_user=1000:1000
source_date=2026-01-01T00:00:00Z

# Prints the files of the source package, each with a null character at its end. In an unpacked source archive, these
# are all files outside the folder build.
source_files() {
    cd "$package_tree" || return
    if [ -e .git ]; then
        git ls-files -z --cached --others --exclude-standard | while IFS= read -r -d '' file; do
            [ ! -e "$file" ] || printf '%s\0' "$file"
        done
    else
        find . -path ./build -prune -o ! -type d -print0
    fi
}

# Copies the sources into a new folder. Every file gets the same date, because the source package contains the dates.
# The date is in the past, because ninja needs sources that are older than its own files.
copy_sources() {
    mkdir -p "$1" && source_files | (cd "$package_tree" && tar --create --null --files-from -) |
        tar --extract --directory "$1" && find "$1" -exec touch --no-dereference --date="$source_date" {} + &&
        chmod -R u=rwX,go=rX "$1"
}

# Prints the packages in a field of debian/control that a build with a profile needs. The arguments are the field and
# the profile.
packages_in_field() {
    sed -n "/^$1:\$/,/^[A-Z]/p" "$package_tree/debian/control" | grep -vF "<!$2>" |
        sed -nE 's/^ ([^ ,:]*).*/\1/p' | grep -vxE 'debhelper-compat|dh-sequence-.*'
}

# Prints the build dependencies without those that only the tests need. For a cross build, libraries are those of the
# given architecture, and there is no documentation.
build_dependencies() {
    packages_in_field Build-Depends nocheck
    printf '%s\n' debhelper dh-python
    if [ "$1" = amd64 ]; then
        packages_in_field Build-Depends-Indep nocheck
    else
        printf '%s\n' "crossbuild-essential-$1" "libpugixml-dev:$1" "libpython3-dev:$1"
    fi
}

# Prints the archive of the root file system in which packages of an architecture are built.
build_chroot() {
    local architectures=amd64
    [ "$1" = amd64 ] || architectures+=",$1"
    chroot_archive "build-$1" buildd "$architectures" $(build_dependencies "$1")
}

# Builds the packages of an architecture in a new root file system, and stores them in a folder. The variables
# source_parent, build_umask and build_jobs set the folder of the sources in the root file system, the umask and the
# number of jobs. Usage: build_packages ARCHITECTURE FOLDER
build_packages() {
    local architecture=$1 output=$2 parent=${source_parent:-/build} archive root status=0
    archive=$(build_chroot "$architecture") || return
    root=$(mktemp -d) && chmod 755 "$root" && unpack_chroot "$archive" "$root" &&
        as_root sh -c "umask 022; mkdir -p '$root$parent'; chown $(id -u) '$root$parent'" &&
        copy_sources "$root$parent/librynvel" && as_root chown -R "$build_user" "$root$parent" &&
        run_in_chroot "$root" "$build_user" sh -c "umask ${build_umask:-022} && cd $parent/librynvel &&
            DEB_BUILD_OPTIONS='nocheck parallel=${build_jobs:-$(nproc)}' dpkg-buildpackage --no-sign \
            $(buildpackage_options "$architecture")" &&
        take_packages "$root$parent" "$output" || status=1
    remove_chroot "$root"
    return $status
}

# Prints the options of dpkg-buildpackage. A native build also builds the source package. The hook restores the date of
# the folder debian, which the step "clean" changes.
buildpackage_options() {
    if [ "$1" = amd64 ]; then
        echo "--build=full --build-profiles=nocheck --hook-source='touch --date=$source_date debian'"
    else
        echo "--build=binary --host-arch=$1 --build-profiles=cross,nocheck,nodoc"
    fi
}

# Fails if a folder contains anything that is not the result of a build, which take_packages would remove.
require_package_folder() {
    local other
    [ -e "$1" ] || return 0
    other=$(find "$1" -mindepth 1 -maxdepth 1 ! -name '*.*deb' ! -name '*.changes' ! -name '*.buildinfo' ! -name '*.dsc' \
        ! -name '*.tar.*' -print -quit) && [ -z "$other" ] ||
        die "$1: contains '${other##*/}', which the build would remove (give an empty or a new folder)"
}

# Moves the results of a build into a folder. Removes the earlier contents of the folder.
take_packages() {
    rm -rf "$2" && mkdir -p "$2" && as_root find "$1" -maxdepth 1 -type f -exec mv -t "$2" {} + &&
        as_root chown "$(id -u):$(id -g)" -R "$2"
}

# Fails if lintian reports anything that no override explains.
check_packages() {
    lintian --allow-root --no-cfg --tag-display-limit=0 --info --display-info --fail-on=error,warning,info \
        "$1"/*.changes
}
