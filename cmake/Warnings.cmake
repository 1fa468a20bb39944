# SPDX-License-Identifier: MIT
# The target rynvel_warnings has the warnings for all targets of the project. -Werror=switch fails every build with a
# switch that lacks an enumerator, such as a new device type.

add_library(rynvel_warnings INTERFACE)
target_compile_options(rynvel_warnings INTERFACE
  -Wall -Werror=switch -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<BOOL:${RYNVEL_WERROR}>:-Werror>)
