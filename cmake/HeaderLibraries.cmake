# SPDX-License-Identifier: MIT
# Header-only libraries. A build for another architecture searches its sysroot, and then the folder
# RYNVEL_HEADER_LIBRARIES of the build machine, which the toolchain file may set. That folder also contains the C
# library headers of the build machine, which the compiler must not find. The compiler therefore searches a folder that
# contains only links to the header-only libraries.

function(rynvel_add_header_library target package)
  set(folder "${PROJECT_BINARY_DIR}/headers/${target}")
  file(MAKE_DIRECTORY "${folder}")
  foreach(name IN LISTS ARGN)
    find_path(found NAMES "${name}" NO_CACHE)
    if(NOT found AND RYNVEL_HEADER_LIBRARIES)
      find_path(found NAMES "${name}" PATHS "${RYNVEL_HEADER_LIBRARIES}" NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
        NO_CACHE)
    endif()
    if(NOT found)
      message(FATAL_ERROR "${name}: no such header (install the package ${package}, or add it to the sysroot)")
    endif()
    cmake_path(SET header NORMALIZE "${found}/${name}")
    file(REMOVE "${folder}/${name}")
    file(CREATE_LINK "${header}" "${folder}/${name}" SYMBOLIC)
    unset(found)
  endforeach()
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE "${folder}")
endfunction()

find_package(Threads REQUIRED)
rynvel_add_header_library(rynvel_cli11 libcli11-dev CLI)
rynvel_add_header_library(rynvel_nlohmann_json nlohmann-json3-dev nlohmann)
rynvel_add_header_library(rynvel_asio libasio-dev asio asio.hpp)
target_compile_definitions(rynvel_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(rynvel_asio INTERFACE Threads::Threads)
# GCC warns that the thread sanitizer does not support fences. The warning is harmless, because locks surround the
# fences of asio.
if(RYNVEL_SANITIZERS STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(rynvel_asio INTERFACE -Wno-tsan)
endif()
