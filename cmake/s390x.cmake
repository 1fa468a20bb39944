# SPDX-License-Identifier: MIT
# A big-endian processor of 64 bits, with Debian's cross compiler: it shows errors of byte order that neither the
# target nor the host can show.

set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triplet s390x-linux-gnu)
include("${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake")
