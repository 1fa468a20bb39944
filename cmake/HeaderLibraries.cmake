# SPDX-License-Identifier: MIT
# Header-only libraries of the host, for every target architecture. A cross compiler does not search the folders of the
# host, and it must not find other headers there.

function(rynvel_add_header_library target package)
  set(folder "${PROJECT_BINARY_DIR}/headers/${target}")
  file(MAKE_DIRECTORY "${folder}")
  foreach(name IN LISTS ARGN)
    find_path(found NAMES "${name}" PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH NO_CACHE)
    if(NOT found)
      message(FATAL_ERROR "No ${name} in /usr/include: install the package ${package}")
    endif()
    file(CREATE_LINK "${found}/${name}" "${folder}/${name}" SYMBOLIC)
    unset(found)
  endforeach()
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE "${folder}")
endfunction()

find_package(Threads REQUIRED)
rynvel_add_header_library(cli11 libcli11-dev CLI)
rynvel_add_header_library(asio libasio-dev asio asio.hpp)
target_compile_definitions(asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(asio INTERFACE Threads::Threads)
# The thread sanitizer does not follow fences. That does no harm, because locks surround the fences of this library.
if(RYNVEL_SANITIZERS STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(asio INTERFACE -Wno-tsan)
endif()
