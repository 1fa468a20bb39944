# SPDX-License-Identifier: MIT
# Compiles a device description file into udev rules, and into the device list of the systemd unit of rynveld.
# Usage: cmake -DDESCRIPTION=<file> -DRULES=<file> -DUNIT=<file> -P GenerateDeviceAccess.cmake
#
# The driver of a UIO device sets the name of the device. The device file in the table must have the same name.

cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/DeviceDescription.cmake")

# Quotes the characters that have a special meaning in a pattern of udev.
function(udev_pattern name result)
  string(REGEX REPLACE "([*?|])" "[\\1]" quoted "${name}")
  set(${result} "${quoted}" PARENT_SCOPE)
endfunction()

# Quotes the characters that have a special meaning in a value of udev.
function(udev_value name result)
  string(REPLACE "$" "$$" quoted "${name}")
  string(REPLACE "%" "%%" quoted "${quoted}")
  set(${result} "${quoted}" PARENT_SCOPE)
endfunction()

# Stores the rule for a device file. udev makes a link with the bare name of the UIO device only if the link is directly
# in /dev.
function(make_rule type name result)
  udev_pattern("${name}" pattern)
  set(access "GROUP=\"rynvel\", MODE=\"0660\"")
  if(NOT type MATCHES "^Uio")
    set(rule "KERNEL==\"${pattern}\", ${access}")
  elseif(name MATCHES "/")
    set(rule "# No rule for /dev/${name}: udev makes a link with a bare name only for a UIO device directly in /dev.")
  else()
    udev_value("${name}" link)
    set(rule "SUBSYSTEM==\"uio\", ATTR{name}==\"${pattern}\", SYMLINK+=\"${link}\", ${access}")
  endif()
  set(${result} "${rule}" PARENT_SCOPE)
endfunction()

# Stores the device node or the class of device nodes that the unit must allow. A node must exist when the unit starts,
# but a class need not have any node at that time.
function(find_node type name result)
  if(type MATCHES "^Uio")
    set(node "char-uio")
  elseif(name MATCHES "^spidev")
    set(node "char-spi")
  elseif(name MATCHES "^i2c-")
    set(node "char-i2c")
  else()
    string(REPLACE "%" "%%" node "/dev/${name}")
  endif()
  set(${result} "${node}" PARENT_SCOPE)
endfunction()

set(rules "")
set(nodes "")
foreach(path type IN ZIP_LISTS row_paths row_types)
  if(type MATCHES "^Remote" OR NOT path MATCHES "^/dev/(.+)")
    continue()
  endif()
  set(name "${CMAKE_MATCH_1}")
  make_rule("${type}" "${name}" rule)
  find_node("${type}" "${name}" node)
  list(APPEND rules "${rule}")
  list(APPEND nodes "DeviceAllow=${node} rw")
endforeach()
list(REMOVE_DUPLICATES rules)
list(REMOVE_DUPLICATES nodes)
list(JOIN rules "\n" rules)
list(JOIN nodes "\n" nodes)

set(origin "# Made from a device description file (with cmake/GenerateDeviceAccess.cmake of librynvel).")
file(WRITE "${RULES}" "${origin}\n# Gives the group rynvel access to the devices, and makes the links of UIO devices.\n"
  "ACTION==\"remove\", GOTO=\"rynvel_end\"\n${rules}\nLABEL=\"rynvel_end\"\n")
file(WRITE "${UNIT}" "${origin}\n# The devices that rynveld may use.\n[Service]\n${nodes}\n")
