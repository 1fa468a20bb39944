#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the recipes for Yocto and Buildroot as far as this is possible without Yocto and Buildroot: make and a parser
# of Kconfig read the files of Buildroot, a parser of assignments reads the recipe of Yocto, and CMake configures the
# project with the options of both. Usage: recipes.sh FOLDER. The builds are in FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
mkdir -p "$1" || exit
folder=$(cd "$1" && pwd)
. "$root/scripts/checks.sh"
suite=recipes
buildroot="$root/packaging/buildroot"
layer="$root/packaging/yocto"
recipe=$(ls "$layer"/recipes-support/rynvel/rynvel_*.bb)

# Configures a build with the options in a file. Fails if CMake does not use an option. Usage: configure NAME FILE
configure() {
    local options
    mapfile -t options < <(tr -s ' \t' '\n' <"$2" | grep .)
    [ ${#options[@]} -ge 3 ] && rm -rf "${folder:?}/$1" &&
        cmake -S "$root" -B "$folder/$1" -G Ninja "${options[@]}" >"$work/log" 2>&1 &&
        ! grep -A 10 'Manually-specified variables were not used' "$work/log" || { cat "$work/log"; return 1; }
}

# Reads rynvel.mk with make as Buildroot does, and prints a variable. The arguments are the variable and the settings of
# the configuration.
buildroot_variable() {
    printf '%s\n' 'include $(BR2_EXTERNAL_RYNVEL_PATH)/external.mk' 'print: ; $(info $($(NAME)))@:' >"$work/makefile"
    make --no-print-directory --warn-undefined-variables -f "$work/makefile" print \
        "BR2_EXTERNAL_RYNVEL_PATH=$buildroot" 'cmake-package=$(info package $(notdir $(CURDIR)))' "NAME=$1" \
        "${@:2}" 2>"$work/warnings" | grep -v '^package ' && [ ! -s "$work/warnings" ] || { cat "$work/warnings"; false; }
}

buildroot_reads_the_package() {
    [ "$(buildroot_variable RYNVEL_SITE BR2_PACKAGE_RYNVEL_PROGRAMS=y)" = "$root" ] &&
        [ "$(buildroot_variable RYNVEL_DEPENDENCIES BR2_PACKAGE_RYNVEL_PROGRAMS=y | wc -w)" = 4 ] &&
        [ "$(buildroot_variable RYNVEL_USERS BR2_PACKAGE_RYNVEL_PROGRAMS=y | awk 'NF >= 9' | wc -l)" = 2 ]
}

cmake_uses_the_options_of_buildroot() {
    local programs
    for programs in y n; do
        buildroot_variable RYNVEL_CONF_OPTS BR2_PACKAGE_RYNVEL_PROGRAMS=$programs >"$work/options" &&
            echo -DBUILD_TESTING=OFF >>"$work/options" && configure "buildroot_$programs" "$work/options" || return
    done
}

# The menu refers to symbols that Buildroot defines, so this function defines them.
buildroot_reads_the_menu() {
    { for symbol in INSTALL_LIBSTDCPP TOOLCHAIN_GCC_AT_LEAST_9 TOOLCHAIN_HAS_THREADS STATIC_LIBS \
        PACKAGE_ASIO PACKAGE_CLI11 PACKAGE_JSON_FOR_MODERN_CPP PACKAGE_PUGIXML; do
        printf 'config BR2_%s\n\tbool "%s"\n' $symbol $symbol
    done && printf 'source "%s/Config.in"\n' "$buildroot"; } >"$work/menu"
    BR2_EXTERNAL_RYNVEL_PATH=$buildroot /usr/bin/python3 - "$work/menu" <<-'END'
	import sys, kconfiglib
	menu = kconfiglib.Kconfig(sys.argv[1], warn_to_stderr=False)
	menu.warn_assign_undef = True
	sys.exit("\n".join(menu.warnings)) if menu.warnings else None
	for name in ("INSTALL_LIBSTDCPP", "TOOLCHAIN_GCC_AT_LEAST_9", "TOOLCHAIN_HAS_THREADS", "PACKAGE_RYNVEL"):
	    assert menu.syms["BR2_" + name].set_value("y"), name
	assert menu.syms["BR2_PACKAGE_RYNVEL_PROGRAMS"].str_value == "y", "the programs are not the default"
	assert menu.syms["BR2_PACKAGE_PUGIXML"].str_value == "y", "the programs do not select pugixml"
	menu.syms["BR2_STATIC_LIBS"].set_value("y")
	assert menu.syms["BR2_PACKAGE_RYNVEL"].str_value == "n", "the package does not need shared libraries"
	END
}

# Reads files of BitBake that consist of assignments and "inherit". Prints the value of a variable, with the folders of a
# target. Usage: yocto_variable VARIABLE FILE
yocto_variable() {
    /usr/bin/python3 - "$@" <<-'END'
	import re, sys
	text = open(sys.argv[2], encoding="utf-8").read().replace("\\\n", " ")
	values = {"systemd_system_unitdir": "/usr/lib/systemd/system", "nonarch_libdir": "/usr/lib",
	          "nonarch_base_libdir": "/usr/lib", "libdir": "/usr/lib", "bindir": "/usr/bin", "sbindir": "/usr/sbin",
	          "datadir": "/usr/share", "LAYERDIR": "/layer"}
	for line in filter(None, (line.strip() for line in text.splitlines())):
	    match = re.fullmatch(r'([A-Za-z0-9_]+(?::[a-z-]+)?) (=|\+=|=\+|\.=) "([^"]*)"', line)
	    if match:
	        values[match[1]] = match[3]
	    elif not line.startswith("#") and not re.fullmatch(r"inherit( [a-z]+)+", line):
	        sys.exit(f"{sys.argv[2]}: {line}: is not an assignment")
	def expand(match):
	    return values[match[1]]
	print(re.sub(r"\$\{([a-zA-Z_]+)\}", expand, values[sys.argv[1]]))
	END
}

cmake_uses_the_options_of_yocto() {
    yocto_variable EXTRA_OECMAKE "$recipe" >"$work/options" && configure yocto "$work/options"
}

yocto_reads_the_layer() { [ "$(yocto_variable BBFILES "$layer/conf/layer.conf")" = '/layer/recipes-*/*/*.bb' ]; }

yocto_has_the_checksum_of_the_license() {
    [ "$(yocto_variable LIC_FILES_CHKSUM "$recipe")" = \
        "file://LICENSE;md5=$(md5sum <"$root/LICENSE" | cut -d ' ' -f 1)" ]
}

check 'make reads the package of Buildroot' buildroot_reads_the_package
check 'CMake uses all options of the package of Buildroot' cmake_uses_the_options_of_buildroot
check 'the menu of Buildroot selects what the package needs' buildroot_reads_the_menu
check 'the layer for Yocto has its recipes' yocto_reads_the_layer
check 'the recipe for Yocto has the checksum of the license' yocto_has_the_checksum_of_the_license
check 'CMake uses all options of the recipe for Yocto' cmake_uses_the_options_of_yocto
summary
