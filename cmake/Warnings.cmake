# Warnings of all targets of the project, as the target rynvel_warnings.

add_library(rynvel_warnings INTERFACE)
target_compile_options(rynvel_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<BOOL:${RYNVEL_WERROR}>:-Werror>)
