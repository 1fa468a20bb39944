# SPDX-License-Identifier: MIT
# Records which lines and branches of the project's own code run. A process writes its counts when it ends with exit().
# The object of CoverageDump.c also writes the counts when the process ends by SIGABRT, raise() or _exit().

# Without a filter, the code of tests and of the C++ library would also record its counts, which takes time.
set(covered_folders base common cppsrc include maps server tools ziltrace/include ziltrace/src)
list(JOIN covered_folders "|" covered_folders)
add_compile_options(--coverage -fprofile-update=atomic
  "-fprofile-filter-files=^${PROJECT_SOURCE_DIR}/(${covered_folders})/.*")
add_link_options(--coverage)

# Every program and library needs its own copy of the object, because the counts of each are separate.
set(coverage_dump "${CMAKE_BINARY_DIR}/CoverageDump.o")
execute_process(
  COMMAND ${CMAKE_C_COMPILER} -O1 -fPIC -c "${CMAKE_CURRENT_LIST_DIR}/CoverageDump.c" -o "${coverage_dump}"
  COMMAND_ERROR_IS_FATAL ANY)
add_link_options("${coverage_dump}" -Wl,--wrap=raise,--wrap=_exit)
