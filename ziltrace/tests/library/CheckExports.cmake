# SPDX-License-Identifier: MIT
execute_process(COMMAND ${NM} --dynamic --defined-only --demangle ${LIBRARY}
  OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" lines "${listing}")
if(NOT listing MATCHES "ZilTrace::logMsg")
  message(FATAL_ERROR "the exported symbols do not include the interface:\n${listing}")
endif()
set(interface " (ZILTRACE_1|ZilTrace::|ZilTraceControl::|(typeinfo|typeinfo name|vtable) for ZilTraceControl::Sink)")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^[0-9a-f]+ [A-Za-z]${interface}")
    message(SEND_ERROR "exported, but not part of the interface: ${line}")
  endif()
endforeach()
