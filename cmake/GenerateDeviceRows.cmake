# SPDX-License-Identifier: MIT
# Compiles a device description file into the rows of the device table.
# Usage: cmake -DDESCRIPTION=<file> -DOUTPUT=<file> -P GenerateDeviceRows.cmake

cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/DeviceDescription.cmake")

set(rows "")
foreach(name path parameter type IN ZIP_LISTS row_names row_paths row_parameters row_types)
  string(APPEND rows "MemoryDevice{\"${name}\", \"${path}\", ${parameter}U, DeviceType::${type}},\n")
endforeach()
file(WRITE "${OUTPUT}" "${rows}")
