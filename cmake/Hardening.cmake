# SPDX-License-Identifier: MIT
# The target rynvel_hardening compiles and links as distributions do, so that errors in the code are harder to exploit.
# Everything that is installed uses it. The target is empty if the option is off: the checked functions of the C library
# need optimization, and sanitizers have checks of their own.

add_library(rynvel_hardening INTERFACE)
# The library does not use this target: each of its operations would take up to a quarter longer.
add_library(rynvel_stack_protection INTERFACE)
if(RYNVEL_HARDENING)
  include(CheckPIESupported)
  check_pie_supported()
  set_target_properties(rynvel_hardening PROPERTIES INTERFACE_POSITION_INDEPENDENT_CODE ON)
  target_compile_options(rynvel_hardening INTERFACE
    -Wformat -Werror=format-security -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  target_link_options(rynvel_hardening INTERFACE LINKER:-z,relro LINKER:-z,now)
  target_compile_options(rynvel_stack_protection INTERFACE -fstack-protector-strong)
endif()
