# SPDX-License-Identifier: MIT
# GoogleTest, built from the sources that Debian's package googletest installs, so that it suits every target
# architecture and sanitizer.

include(GoogleTest)
set(RYNVEL_GOOGLETEST "/usr/src/googletest" CACHE PATH "Sources of GoogleTest")
if(NOT EXISTS "${RYNVEL_GOOGLETEST}/CMakeLists.txt")
  message(FATAL_ERROR "No GoogleTest sources in ${RYNVEL_GOOGLETEST}: install the package googletest")
endif()
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory("${RYNVEL_GOOGLETEST}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
if(NOT TARGET GTest::gtest_main)
  add_library(GTest::gtest ALIAS gtest)
  add_library(GTest::gtest_main ALIAS gtest_main)
endif()

# Tests are compiled without optimization, because it takes minutes under the sanitizers. They are therefore not
# fortified. Their debugging information is enough for a stack trace. The code under test is compiled as the build type
# says.
set(test_options -O0 -g1 -Wp,-U_FORTIFY_SOURCE)
# ccache needs it for precompiled headers.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND test_options -fpch-preprocess)
endif()
# The undefined behaviour sanitizer checks the code under test only: on the tests it would take a seventh of the build.
if(RYNVEL_SANITIZERS MATCHES undefined)
  list(APPEND test_options -fno-sanitize=undefined)
endif()
add_library(test_code INTERFACE)
target_link_libraries(test_code INTERFACE GTest::gtest_main)
target_compile_options(test_code INTERFACE ${test_options})
foreach(library IN ITEMS gtest gtest_main)
  target_compile_options(${library} PRIVATE ${test_options})
endforeach()
# An emulator or a sanitizer takes longer to start a program than most tests take. There, each program of tests runs as
# one test, and tests with random inputs try fewer of them.
if(CMAKE_CROSSCOMPILING_EMULATOR OR RYNVEL_SANITIZERS)
  set(RYNVEL_TESTS_RUN_SLOWLY ON)
  target_compile_definitions(test_code INTERFACE RYNVEL_TESTS_RUN_SLOWLY)
endif()

# Registers the tests of a program, which run in a folder, with the properties that follow.
function(rynvel_register_tests target folder prefix)
  if(RYNVEL_TESTS_RUN_SLOWLY)
    add_test(NAME ${target} COMMAND ${target} WORKING_DIRECTORY "${folder}")
    set_tests_properties(${target} PROPERTIES ${ARGN} TIMEOUT 600)
  else()
    gtest_discover_tests(${target} TEST_PREFIX "${prefix}" WORKING_DIRECTORY "${folder}" DISCOVERY_MODE PRE_TEST
      PROPERTIES ${ARGN} TIMEOUT 120)
  endif()
endfunction()
