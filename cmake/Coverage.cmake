# SPDX-License-Identifier: MIT
# Records which lines and branches run. A process writes its counts when it ends with exit(). The object of
# CoverageDump.c also writes the counts of its program or library when a failed assertion ends the process.

add_compile_options(--coverage -fprofile-update=atomic)
add_link_options(--coverage)

# Every program and library needs its own copy of the object, because the counts of each are separate.
set(coverage_dump "${CMAKE_BINARY_DIR}/CoverageDump.o")
execute_process(
  COMMAND ${CMAKE_C_COMPILER} -O1 -fPIC -c "${CMAKE_CURRENT_LIST_DIR}/CoverageDump.c" -o "${coverage_dump}"
  COMMAND_ERROR_IS_FATAL ANY)
add_link_options("${coverage_dump}")
