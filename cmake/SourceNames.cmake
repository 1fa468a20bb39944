# SPDX-License-Identifier: MIT
# Assertions and traces name a source by its path in the project, without the extension. For example,
# "cppsrc/RynvelLseek" is the name of cppsrc/RynvelLseek.h.

# Distributions pass -ffile-prefix-map, which applies to several kinds of names. GCC applies this option after all
# options for one kind, such as -fmacro-prefix-map. The following code replaces -ffile-prefix-map with one option for
# each kind. GCC applies the options for one kind in their order, and the options of the project come last.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fprofile-prefix-map=a=b RYNVEL_HAS_PROFILE_PREFIX_MAP)
set(maps_of_single_kinds "-fdebug-prefix-map=\\1 -fmacro-prefix-map=\\1")
if(RYNVEL_HAS_PROFILE_PREFIX_MAP)
  string(APPEND maps_of_single_kinds " -fprofile-prefix-map=\\1")
endif()
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
foreach(language IN ITEMS C CXX)
  foreach(flags IN ITEMS CMAKE_${language}_FLAGS CMAKE_${language}_FLAGS_${build_type})
    if(CMAKE_${language}_COMPILER_ID STREQUAL "GNU" AND DEFINED ${flags})
      string(REGEX REPLACE "-ffile-prefix-map=([^ ]+)" "${maps_of_single_kinds}" ${flags} "${${flags}}")
    endif()
  endforeach()
endforeach()

# Maps the names of the sources in `folder` for a target, with options of the given scope: PRIVATE, PUBLIC or INTERFACE.
# The compiler gets the absolute path of a source, or, from a compiler cache, the path relative to the build folder.
function(rynvel_map_source_names target scope folder)
  file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.h" "${PROJECT_SOURCE_DIR}/${folder}/*.cpp")
  cmake_path(RELATIVE_PATH PROJECT_SOURCE_DIR BASE_DIRECTORY "${CMAKE_BINARY_DIR}" OUTPUT_VARIABLE root_from_build)
  foreach(root IN ITEMS "${PROJECT_SOURCE_DIR}/" "${root_from_build}/")
    target_compile_options(${target} ${scope} "-fmacro-prefix-map=${root}=")
    foreach(source IN LISTS sources)
      file(RELATIVE_PATH name "${PROJECT_SOURCE_DIR}" "${source}")
      string(REGEX REPLACE "\\.[a-z]+$" "" stem "${name}")
      target_compile_options(${target} ${scope} "-fmacro-prefix-map=${root}${name}=${stem}")
    endforeach()
  endforeach()
endfunction()
