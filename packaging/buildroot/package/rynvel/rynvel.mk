# SPDX-License-Identifier: MIT
################################################################################
#
# rynvel
#
################################################################################

# Buildroot builds the source tree that contains this folder.
RYNVEL_VERSION = 1.0.0
RYNVEL_SITE = $(realpath $(BR2_EXTERNAL_RYNVEL_PATH)/../..)
RYNVEL_SITE_METHOD = local
RYNVEL_LICENSE = MIT
RYNVEL_LICENSE_FILES = LICENSE
RYNVEL_INSTALL_STAGING = YES

RYNVEL_CONF_OPTS = \
	-DCMAKE_SKIP_INSTALL_RPATH=ON \
	-DRYNVEL_COMPILER_CACHE=OFF \
	-DRYNVEL_EXAMPLES=OFF

ifeq ($(BR2_PACKAGE_RYNVEL_PROGRAMS),y)
RYNVEL_DEPENDENCIES = asio cli11 json-for-modern-cpp pugixml
RYNVEL_CONF_OPTS += \
	-DRYNVEL_PROGRAMS=ON \
	-DRYNVEL_SYSTEMD_UNITS=/usr/lib/systemd/system \
	-DRYNVEL_SYSUSERS=/usr/lib/sysusers.d \
	-DRYNVEL_UDEV_RULES=/lib/udev/rules.d

# The user of the server, and the group of the devices.
define RYNVEL_USERS
	rynveld -1 rynveld -1 * - - rynvel Register server
	- -1 rynvel -1 - - - - Devices of librynvel
endef
else
RYNVEL_CONF_OPTS += -DRYNVEL_PROGRAMS=OFF
endif

$(eval $(cmake-package))
