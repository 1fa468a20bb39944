# SPDX-License-Identifier: MIT
# Installs librynvel and libziltrace with their headers, CMake packages, pkg-config files and documentation, and defines
# functions that install programs. You may move the installation, because each binary finds the libraries relative to
# the folder of the binary. A distribution sets CMAKE_SKIP_INSTALL_RPATH, because it installs the libraries in a folder
# that the dynamic linker searches.

# Each file belongs to one of the components Runtime, Development, Tools, Server and Python.

include(CMakePackageConfigHelpers)

if(NOT CMAKE_SKIP_INSTALL_RPATH)
  set(RUN_PATH_OF_USERS "-Wl,-rpath,\${libdir} ")
endif()

# Sets the run path of a program or library that is installed in `folder`.
function(rynvel_find_libraries_from target folder)
  cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
  file(RELATIVE_PATH libraries_from_folder "${folder}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  string(REGEX REPLACE "/$" "" run_path "$ORIGIN/${libraries_from_folder}")
  # An external libziltrace may be outside the prefix of this installation.
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${run_path}"
    INSTALL_RPATH_USE_LINK_PATH ${RYNVEL_EXTERNAL_ZILTRACE})
endfunction()

# Passes its arguments to install(), unless the option RYNVEL_INSTALL is off.
function(rynvel_install)
  if(RYNVEL_INSTALL)
    install(${ARGV})
  endif()
endfunction()

function(rynvel_install_program target folder component)
  rynvel_find_libraries_from(${target} "${folder}")
  rynvel_install(TARGETS ${target} DESTINATION "${folder}" COMPONENT ${component})
endfunction()

# Installs a file from a template that names folders of the installation. The install command fills in the template,
# because --prefix may change the prefix of the configuration.
function(rynvel_install_from_template template folder component)
  if(NOT RYNVEL_INSTALL)
    return()
  endif()
  cmake_path(GET template STEM LAST_ONLY name)
  install(CODE "
    set(sbin_folder \"${CMAKE_INSTALL_SBINDIR}\")
    set(file \"${folder}/${name}\")
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX)
    foreach(place IN ITEMS sbin_folder file)
      cmake_path(ABSOLUTE_PATH \${place} BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
    endforeach()
    message(STATUS \"Installing: \$ENV{DESTDIR}\${file}\")
    configure_file(\"${template}\" \"\$ENV{DESTDIR}\${file}\" @ONLY)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")"
    COMPONENT ${component})
endfunction()

function(rynvel_install_package target namespace)
  rynvel_find_libraries_from(${target} ${CMAKE_INSTALL_LIBDIR})
  install(TARGETS ${target} EXPORT ${target}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${target})
  install(EXPORT ${target} NAMESPACE ${namespace}:: FILE ${target}Targets.cmake DESTINATION ${package_dir}
    COMPONENT Development)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/${target}Config.cmake.in
    ${PROJECT_BINARY_DIR}/${target}Config.cmake INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/${target}ConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/${target}Config.cmake ${PROJECT_BINARY_DIR}/${target}ConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT Development)
  file(RELATIVE_PATH PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${target}.pc.in ${PROJECT_BINARY_DIR}/${target}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${target}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endfunction()

# RYNVEL_INSTALL is off by default if this project is a part of another project.
if(NOT RYNVEL_INSTALL)
  return()
endif()
rynvel_install_package(rynvel rynvel)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_BINARY_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
if(NOT RYNVEL_EXTERNAL_ZILTRACE)
  rynvel_install_package(ziltrace ziltrace)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/ziltrace/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT Development)
  install(FILES ${PROJECT_SOURCE_DIR}/ziltrace/README.md DESTINATION ${RYNVEL_DOCUMENTS}/ziltrace
    COMPONENT Development)
endif()
install(FILES docs/man/librynvel.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT Development)
install(FILES LICENSE DESTINATION ${RYNVEL_DOCUMENTS} COMPONENT Runtime)
install(FILES README.md CHANGELOG.md DESTINATION ${RYNVEL_DOCUMENTS} COMPONENT Development)
install(DIRECTORY docs examples DESTINATION ${RYNVEL_DOCUMENTS} COMPONENT Development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.c" PATTERN "*.json" PATTERN "*.yml" PATTERN "site" EXCLUDE)
