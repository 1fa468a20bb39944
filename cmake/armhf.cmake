# SPDX-License-Identifier: MIT
# Builds for the target, 32-bit ARM Linux with hardware floating point, with Debian's cross compiler.

set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
include("${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake")

# scripts/common.sh unpacks packages of the target into this folder.
if(DEFINED ENV{XDG_CACHE_HOME})
  list(APPEND CMAKE_FIND_ROOT_PATH "$ENV{XDG_CACHE_HOME}/rynvel/armhf")
else()
  list(APPEND CMAKE_FIND_ROOT_PATH "$ENV{HOME}/.cache/rynvel/armhf")
endif()
