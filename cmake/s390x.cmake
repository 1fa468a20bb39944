# A big-endian processor of 64 bits, with Debian's cross compiler: it shows what the target, little-endian and of 32
# bits, and the host cannot.

set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triplet s390x-linux-gnu)
include("${CMAKE_CURRENT_LIST_DIR}/DebianCross.cmake")
