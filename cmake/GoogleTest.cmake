# SPDX-License-Identifier: MIT
# Builds GoogleTest from the sources in Debian's package googletest, because each target architecture and sanitizer
# needs a separate build.

include(GoogleTest)
set(RYNVEL_GOOGLETEST "/usr/src/googletest" CACHE PATH "Sources of GoogleTest")
if(NOT EXISTS "${RYNVEL_GOOGLETEST}/CMakeLists.txt")
  message(FATAL_ERROR "No GoogleTest sources in ${RYNVEL_GOOGLETEST} (install the package googletest)")
endif()
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory("${RYNVEL_GOOGLETEST}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
if(NOT TARGET GTest::gtest_main)
  add_library(GTest::gtest ALIAS gtest)
  add_library(GTest::gtest_main ALIAS gtest_main)
endif()

# The options for the code of tests, GoogleTest included. The code under test has the options of the build type.
# -O0: With a sanitizer, optimization makes the compile time of the tests minutes longer.
# -g1: The debugging information is enough for a stack trace.
# -U_FORTIFY_SOURCE: Fortification needs optimization.
set(test_options -O0 -g1 -Wp,-U_FORTIFY_SOURCE)
# ccache stores objects that are compiled with a precompiled header only if this option is set.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND test_options -fpch-preprocess)
endif()
# The macros for typed tests have an optional last argument, which C++17 does not allow.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  list(APPEND test_options -Wno-gnu-zero-variadic-macro-arguments)
endif()
# The undefined behavior sanitizer does not check the code of tests. The checks would take a seventh of the build time.
if(RYNVEL_SANITIZERS MATCHES undefined)
  list(APPEND test_options -fno-sanitize=undefined)
endif()
add_library(test_code INTERFACE)
target_link_libraries(test_code INTERFACE GTest::gtest_main)
target_compile_options(test_code INTERFACE ${test_options})
foreach(library IN ITEMS gtest gtest_main)
  target_compile_options(${library} PRIVATE ${test_options})
endforeach()
# With an emulator or a sanitizer, the start of a program takes longer than most tests. Each test program then runs as a
# single test of CTest, and tests with random inputs use fewer inputs.
if(CMAKE_CROSSCOMPILING_EMULATOR OR RYNVEL_SANITIZERS)
  set(RYNVEL_TESTS_RUN_SLOWLY ON)
  target_compile_definitions(test_code INTERFACE RYNVEL_TESTS_RUN_SLOWLY)
endif()

# Registers the tests of a program, which run in `folder`. The names of the tests in CTest begin with `prefix`, unless
# the whole program runs as one test. The remaining arguments are properties of the tests.
function(rynvel_register_tests target folder prefix)
  if(RYNVEL_TESTS_RUN_SLOWLY)
    add_test(NAME ${target} COMMAND ${target} WORKING_DIRECTORY "${folder}")
    set_tests_properties(${target} PROPERTIES ${ARGN} TIMEOUT 600)
  else()
    gtest_discover_tests(${target} TEST_PREFIX "${prefix}" WORKING_DIRECTORY "${folder}" DISCOVERY_MODE PRE_TEST
      PROPERTIES ${ARGN} TIMEOUT 120)
  endif()
endfunction()
