# SPDX-License-Identifier: MIT
# Builds the source tree that contains this layer.

SUMMARY = "Register access by logical device name"
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=c3606b827142b2c6f3359e6302c61702"

DEPENDS = "asio cli11 nlohmann-json pugixml"

inherit cmake externalsrc systemd useradd

EXTERNALSRC = "${@os.path.normpath(d.getVar('THISDIR') + '/../../../..')}"

EXTRA_OECMAKE = " \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DBUILD_TESTING=OFF \
    -DRYNVEL_COMPILER_CACHE=OFF \
    -DRYNVEL_EXAMPLES=OFF \
    -DRYNVEL_HARDENING=ON \
    -DRYNVEL_SYSTEMD_UNITS=${systemd_system_unitdir} \
    -DRYNVEL_SYSUSERS=${nonarch_libdir}/sysusers.d \
    -DRYNVEL_UDEV_RULES=${nonarch_base_libdir}/udev/rules.d \
"

# The package rynvel contains the library. The package rynvel-udev contains the udev rules and the group of the devices,
# which programs other than the server also need.
PACKAGES =+ "ziltrace rynvel-tools rynvel-udev rynveld"

FILES:ziltrace = "${libdir}/libziltrace.so.*"
FILES:rynvel-tools = " \
    ${bindir}/rynvelctl \
    ${datadir}/bash-completion \
    ${datadir}/rynvel \
    ${datadir}/zsh \
"
FILES:rynvel-udev = "${nonarch_base_libdir}/udev/rules.d ${nonarch_libdir}/sysusers.d/rynvel.conf"
FILES:rynveld = " \
    ${sbindir}/rynveld \
    ${nonarch_libdir}/sysusers.d/rynveld.conf \
    ${systemd_system_unitdir} \
"
RDEPENDS:rynveld = "rynvel-udev"
RRECOMMENDS:rynvel-tools = "rynvel-udev"

USERADD_PACKAGES = "rynvel-udev rynveld"
GROUPADD_PARAM:rynvel-udev = "--system rynvel"
GROUPADD_PARAM:rynveld = "--system rynvel"
USERADD_PARAM:rynveld = "--system --no-create-home --home-dir / --shell /sbin/nologin --user-group --groups rynvel rynveld"

# Each client can write registers, so the image or the administrator starts the server.
SYSTEMD_PACKAGES = "rynveld"
SYSTEMD_SERVICE:rynveld = "rynveld.service rynveld.socket"
SYSTEMD_AUTO_ENABLE:rynveld = "disable"
