# What makes errors in the code harder to exploit, as distributions compile and link: the target rynvel_hardening, for
# everything that is installed. It has nothing where the option is off: without optimization there are no checked
# functions of the C library, and sanitizers have checks of their own.

add_library(rynvel_hardening INTERFACE)
# A target of its own, since the library does without: it would cost each of its operations up to a quarter.
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
