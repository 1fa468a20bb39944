# Assertions and traces name a source without its extension and its place on the building machine:
# "cppsrc/RynvelLseek" for cppsrc/RynvelLseek.h.

function(rynvel_map_source_names target)
  get_target_property(sources ${target} SOURCES)
  file(GLOB headers CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/cppsrc/*.h")
  target_compile_options(${target} PRIVATE "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
  foreach(source IN LISTS sources headers)
    get_filename_component(path "${source}" ABSOLUTE)
    file(RELATIVE_PATH name "${PROJECT_SOURCE_DIR}" "${path}")
    string(REGEX REPLACE "\\.[a-z]+$" "" name "${name}")
    target_compile_options(${target} PRIVATE "-fmacro-prefix-map=${path}=${name}")
  endforeach()
endfunction()
