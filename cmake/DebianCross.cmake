# SPDX-License-Identifier: MIT
# Sets up a cross compiler of Debian. Tests run under qemu-user. Before you include this file, set
# CMAKE_SYSTEM_PROCESSOR to the name of the processor in qemu, and `triplet` to the prefix of the compiler.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR};-L;/usr/${triplet})
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# The packages of header-only libraries do not depend on the architecture, so the build can use those of the build
# machine.
set(RYNVEL_HEADER_LIBRARIES /usr/include)
