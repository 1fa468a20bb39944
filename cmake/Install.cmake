# What is installed: both libraries, their headers, CMake packages and pkg-config files.

include(CMakePackageConfigHelpers)

function(rynvel_install_package target namespace)
  install(TARGETS ${target} EXPORT ${target}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${target})
  install(EXPORT ${target} NAMESPACE ${namespace}:: FILE ${target}Targets.cmake DESTINATION ${package_dir})
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/${target}Config.cmake.in
    ${PROJECT_BINARY_DIR}/${target}Config.cmake INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/${target}ConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/${target}Config.cmake ${PROJECT_BINARY_DIR}/${target}ConfigVersion.cmake
    DESTINATION ${package_dir})
  file(RELATIVE_PATH PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${target}.pc.in ${PROJECT_BINARY_DIR}/${target}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${target}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

rynvel_install_package(rynvel rynvel)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(NOT RYNVEL_EXTERNAL_ZILTRACE)
  rynvel_install_package(ziltrace ziltrace)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/ziltrace/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
