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

# Tests are compiled without optimization, which takes minutes under the sanitizers, and so not fortified, and with what a
# stack trace needs of debugging information. What they test is compiled as the build type has it.
add_library(test_code INTERFACE)
target_link_libraries(test_code INTERFACE GTest::gtest_main)
target_compile_options(test_code INTERFACE -O0 -g1 -Wp,-U_FORTIFY_SOURCE)
