# SPDX-License-Identifier: MIT
# The XML parser for register maps, from Debian's package libpugixml-dev. Links the static library, so that a program
# does not need the shared library on its machine.

find_path(RYNVEL_PUGIXML_HEADERS pugixml.hpp)
find_library(RYNVEL_PUGIXML_ARCHIVE libpugixml.a PATH_SUFFIXES "${triplet}")
mark_as_advanced(RYNVEL_PUGIXML_HEADERS RYNVEL_PUGIXML_ARCHIVE)
if(NOT RYNVEL_PUGIXML_HEADERS OR NOT RYNVEL_PUGIXML_ARCHIVE)
  message(FATAL_ERROR "No pugixml.hpp or no libpugixml.a (install the package libpugixml-dev, or run "
    "scripts/target-packages before a build for the target)")
endif()
add_library(pugixml STATIC IMPORTED GLOBAL)
set_target_properties(pugixml PROPERTIES IMPORTED_LOCATION "${RYNVEL_PUGIXML_ARCHIVE}")
target_include_directories(pugixml SYSTEM INTERFACE "${RYNVEL_PUGIXML_HEADERS}")
