# The installed package, by component:
#   runtime      libcrv
#   development  the headers (include/crv/, the host interface in include/crv/host/), the CMake
#                package (crv::crv) and crv.pc
#   host         libcrvhost, the stand-in host, with crv::host and crvhost.pc: a real host's
#                deployment leaves it out, and crv::crv then links no host library
#   tool         the crv tool and its man page (from tools/)
#   docs         the guides and the reference (from docs/)
# The stand-in host's test controls (host_test.h) are not installed.
include(CMakePackageConfigHelpers)

set(CRV_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/crv
    CACHE STRING "Where crvConfig.cmake is installed, below the prefix")

# The stand-in host is imported as crv::host: a plug-in links it where a real host is not at hand.
set_target_properties(crvhost PROPERTIES EXPORT_NAME host INSTALL_RPATH "$ORIGIN")

install(TARGETS crv EXPORT crvTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS crvhost EXPORT crvHostTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT host NAMELINK_COMPONENT host)
crv_install_needs(runtime "$<TARGET_FILE:crv>" crv)
crv_install_needs(host "$<TARGET_FILE:crvhost>" crvhost)
install(DIRECTORY include/crv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
# The host interface goes below include/crv/, where crv.hpp's "host/geo.h" finds it beside itself,
# rather than claiming a top-level include/host/.
install(FILES include/host/host_api.h include/host/hs.h include/host/seq.h include/host/geo.h
              include/host/small_block.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/crv/host COMPONENT development)

install(EXPORT crvTargets NAMESPACE crv:: DESTINATION ${CRV_INSTALL_CMAKEDIR}
  COMPONENT development)
install(EXPORT crvHostTargets NAMESPACE crv:: DESTINATION ${CRV_INSTALL_CMAKEDIR}
  COMPONENT host)
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
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/crv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/crvhost.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT host)
