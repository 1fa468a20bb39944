# SPDX-License-Identifier: MIT
# The settings for the target, 32-bit ARM Linux with hardware floating point, and Debian's cross compiler.

set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
include("${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake")
