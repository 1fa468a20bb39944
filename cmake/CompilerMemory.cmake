# SPDX-License-Identifier: MIT
# Lets GCC use up to 1 GB of memory before it searches for memory that it can free. The search takes a tenth of the time
# of a large source. A machine with little memory keeps GCC's own limit.

cmake_host_system_information(RESULT mebibytes QUERY TOTAL_PHYSICAL_MEMORY)
if(PROJECT_IS_TOP_LEVEL AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND mebibytes GREATER_EQUAL 8192)
  add_compile_options("SHELL:--param ggc-min-heapsize=1000000")
endif()
