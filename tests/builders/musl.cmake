# SPDX-License-Identifier: MIT
# Compiles against the headers of musl, with clang and libc++. Linking is not possible.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER clang-16)
set(CMAKE_CXX_COMPILER clang++-16)
set(CMAKE_C_COMPILER_TARGET x86_64-linux-musl)
set(CMAKE_CXX_COMPILER_TARGET x86_64-linux-musl)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# The headers of the kernel do not depend on the C library, but their folder also contains headers of the GNU C library.
set(kernel_headers "${CMAKE_BINARY_DIR}/kernel_headers")
file(MAKE_DIRECTORY "${kernel_headers}")
file(CREATE_LINK /usr/include/linux "${kernel_headers}/linux" SYMBOLIC)
file(CREATE_LINK /usr/include/asm-generic "${kernel_headers}/asm-generic" SYMBOLIC)
file(CREATE_LINK /usr/include/x86_64-linux-gnu/asm "${kernel_headers}/asm" SYMBOLIC)
set(libc_headers "-isystem /usr/include/x86_64-linux-musl -isystem ${kernel_headers}")
set(CMAKE_C_FLAGS_INIT "-nostdlibinc ${libc_headers}")
set(CMAKE_CXX_FLAGS_INIT
  "-nostdlibinc -D_LIBCPP_HAS_MUSL_LIBC -isystem /usr/lib/llvm-16/include/c++/v1 ${libc_headers}")
