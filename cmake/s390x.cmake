# SPDX-License-Identifier: MIT
# Builds for a 64-bit big-endian processor with Debian's cross compiler. Tests on this processor find byte order errors
# that tests on the little-endian target and build machine cannot find.

set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triplet s390x-linux-gnu)
include("${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake")
