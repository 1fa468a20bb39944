# SPDX-License-Identifier: MIT
# The XML parser for register maps, pugixml. Links the static library if there is one, so that the programs do not need
# the shared library at run time.

find_path(RYNVEL_PUGIXML_HEADERS pugixml.hpp)
find_library(RYNVEL_PUGIXML_LIBRARY NAMES libpugixml.a pugixml PATH_SUFFIXES "${triplet}")
mark_as_advanced(RYNVEL_PUGIXML_HEADERS RYNVEL_PUGIXML_LIBRARY)
if(NOT RYNVEL_PUGIXML_HEADERS OR NOT RYNVEL_PUGIXML_LIBRARY)
  message(FATAL_ERROR "No pugixml.hpp or no libpugixml (install the package libpugixml-dev, run "
    "scripts/target-packages before a build for the target, or add pugixml to the sysroot)")
endif()
add_library(rynvel_pugixml UNKNOWN IMPORTED GLOBAL)
set_target_properties(rynvel_pugixml PROPERTIES IMPORTED_LOCATION "${RYNVEL_PUGIXML_LIBRARY}")
target_include_directories(rynvel_pugixml SYSTEM INTERFACE "${RYNVEL_PUGIXML_HEADERS}")
