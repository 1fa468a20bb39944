# SPDX-License-Identifier: MIT
# The target rynvel_hardening has the hardening options of distributions, which make errors harder to exploit. All
# installed binaries use the target. The target is empty unless RYNVEL_HARDENING is on. The option is off by default,
# because the checked functions of the C library need optimization, and the sanitizers have their own checks.

add_library(rynvel_hardening INTERFACE)
# librynvel does not use the target rynvel_stack_protection, because each register operation would take up to a quarter
# longer.
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
