# SPDX-License-Identifier: MIT
# Delays the garbage collection of GCC until the heap of the compiler has 1 GB. Garbage collection takes a tenth of the
# compile time of a large source file. A machine with less than 8 GiB of memory keeps the default of GCC.

cmake_host_system_information(RESULT mebibytes QUERY TOTAL_PHYSICAL_MEMORY)
if(PROJECT_IS_TOP_LEVEL AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND mebibytes GREATER_EQUAL 8192)
  add_compile_options("SHELL:--param ggc-min-heapsize=1000000")
endif()
