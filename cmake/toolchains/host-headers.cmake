# Included by the cross toolchain files. The crv tool uses two header-only libraries that only the
# build machine has installed (CLI11 and nlohmann_json). Their package files point at /usr/include,
# and putting that on a cross compiler's include path would mix the build machine's C library
# headers into the target's. So the two packages are laid out again below the build directory,
# their headers linked from there and their package files copied (which compute their prefix from
# where they lie), and find_package is pointed at those copies.
get_property(crv_in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT crv_in_try_compile)
  set(crv_host_headers "${CMAKE_BINARY_DIR}/host-headers")
  foreach(package_and_headers IN ITEMS "CLI11:CLI" "nlohmann_json:nlohmann")
    string(REPLACE ":" ";" package_and_headers "${package_and_headers}")
    list(GET package_and_headers 0 package)
    list(GET package_and_headers 1 headers)
    foreach(config_dir IN ITEMS /usr/share/cmake /usr/lib/cmake /usr/lib/x86_64-linux-gnu/cmake)
      if(EXISTS "${config_dir}/${package}" AND EXISTS "/usr/include/${headers}")
        file(MAKE_DIRECTORY "${crv_host_headers}/share/cmake" "${crv_host_headers}/include")
        file(COPY "${config_dir}/${package}" DESTINATION "${crv_host_headers}/share/cmake")
        if(NOT EXISTS "${crv_host_headers}/include/${headers}")
          file(CREATE_LINK "/usr/include/${headers}" "${crv_host_headers}/include/${headers}"
            SYMBOLIC)
        endif()
        set(${package}_DIR "${crv_host_headers}/share/cmake/${package}" CACHE PATH "" FORCE)
        break()
      endif()
    endforeach()
  endforeach()
endif()
