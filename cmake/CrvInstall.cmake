# The installed package: headers, libcrv and the stand-in host libcrvhost, the crv tool (installed
# from tools/), a CMake package with the imported targets crv::crv and crv::host, and pkg-config
# files crv.pc and crvhost.pc.
include(CMakePackageConfigHelpers)

set(CRV_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/crv
    CACHE STRING "Where crvConfig.cmake is installed, below the prefix")

# The stand-in host is imported as crv::host: a plug-in links it where a real host is not at hand.
set_target_properties(crvhost PROPERTIES EXPORT_NAME host INSTALL_RPATH "$ORIGIN")

install(TARGETS crv crvhost EXPORT crvTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/crv include/host DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)

install(EXPORT crvTargets NAMESPACE crv:: DESTINATION ${CRV_INSTALL_CMAKEDIR}
  COMPONENT development)
configure_package_config_file(cmake/crvConfig.cmake.in
  ${PROJECT_BINARY_DIR}/crvConfig.cmake INSTALL_DESTINATION ${CRV_INSTALL_CMAKEDIR})
# 0.x releases promise nothing across minor versions, hence SameMinorVersion.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/crvConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/crvConfig.cmake ${PROJECT_BINARY_DIR}/crvConfigVersion.cmake
  DESTINATION ${CRV_INSTALL_CMAKEDIR} COMPONENT development)

# The .pc files locate the prefix from their own directory, so a package installed with
# `cmake --install --prefix DIR` (or moved afterwards) still points at itself. pkg-config wants
# absolute directories or ones below ${prefix}; GNUInstallDirs may give either.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(CRV_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  string(REGEX REPLACE "/$" "" up "${up}")
  set(CRV_PC_PREFIX "\${pcfiledir}/${up}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(CRV_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(CRV_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
foreach(pc crv crvhost)
  configure_file(cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endforeach()
