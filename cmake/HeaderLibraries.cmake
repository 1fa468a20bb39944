# SPDX-License-Identifier: MIT
# Header-only libraries of the build machine, for every target architecture. A cross compiler does not search
# /usr/include, and must not find the headers of the C library there. The compiler therefore gets a folder that contains
# only links to these libraries.

function(rynvel_add_header_library target package)
  set(folder "${PROJECT_BINARY_DIR}/headers/${target}")
  file(MAKE_DIRECTORY "${folder}")
  foreach(name IN LISTS ARGN)
    find_path(found NAMES "${name}" PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH NO_CACHE)
    if(NOT found)
      message(FATAL_ERROR "No ${name} in /usr/include (install the package ${package})")
    endif()
    file(CREATE_LINK "${found}/${name}" "${folder}/${name}" SYMBOLIC)
    unset(found)
  endforeach()
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE "${folder}")
endfunction()

find_package(Threads REQUIRED)
rynvel_add_header_library(cli11 libcli11-dev CLI)
rynvel_add_header_library(nlohmann_json nlohmann-json3-dev nlohmann)
rynvel_add_header_library(asio libasio-dev asio asio.hpp)
target_compile_definitions(asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(asio INTERFACE Threads::Threads)
# GCC warns that the thread sanitizer does not support fences. The warning is harmless, because locks surround the
# fences of asio.
if(RYNVEL_SANITIZERS STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(asio INTERFACE -Wno-tsan)
endif()
