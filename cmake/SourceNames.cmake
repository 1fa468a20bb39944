# SPDX-License-Identifier: MIT
# Assertions and traces name a source without its extension and without its folder on the machine that builds it:
# "cppsrc/RynvelLseek" for cppsrc/RynvelLseek.h.

# The compiler applies -ffile-prefix-map, which a distribution's build passes, after all maps of single kinds. It means
# the same as these, which are applied in their order, so that the project's own maps come last.
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

# Maps the names of the sources in a folder for a target, in the scope of its options. The names are the compiler's own:
# absolute ones, or those from the build folder, which is what a compiler cache may make of them.
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
