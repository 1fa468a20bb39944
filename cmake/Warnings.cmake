# SPDX-License-Identifier: MIT
# The warnings of all targets of the project, as the target rynvel_warnings. A switch that forgets an enumerator fails
# every build, so that no source can forget a new device type.

add_library(rynvel_warnings INTERFACE)
target_compile_options(rynvel_warnings INTERFACE
  -Wall -Werror=switch -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<BOOL:${RYNVEL_WERROR}>:-Werror>)
