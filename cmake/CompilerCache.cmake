# SPDX-License-Identifier: MIT
# Compiles with ccache if the option RYNVEL_COMPILER_CACHE is on, ccache is installed, this project is not a part of
# another project, and CMAKE_<LANGUAGE>_COMPILER_LAUNCHER is not set.

find_program(RYNVEL_CCACHE ccache)
mark_as_advanced(RYNVEL_CCACHE)
if(RYNVEL_COMPILER_CACHE AND RYNVEL_CCACHE AND PROJECT_IS_TOP_LEVEL)
  foreach(language IN ITEMS C CXX)
    if(NOT DEFINED CMAKE_${language}_COMPILER_LAUNCHER)
      # Without these settings, ccache does not store objects that are compiled with a precompiled header.
      set(CMAKE_${language}_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${RYNVEL_CCACHE}")
    endif()
  endforeach()
endif()
