# `cmake --install` copies files but builds nothing, so on a build that made only some targets
# (scripts/demo.sh builds crv_tool alone) it would stop at the first file not built, with part of
# the package already copied. The install therefore begins with a check of every built file of the
# components asked for, and stops before copying anything when one is missing, naming the targets
# to build.
#
# crv_install_needs(COMPONENT FILE TARGET): FILE (generator expressions allowed), made by
# TARGET, is installed with COMPONENT. Call it beside the install() rule of the file.
function(crv_install_needs component file target)
  set_property(GLOBAL APPEND PROPERTY CRV_INSTALL_NEEDS
    "crv_need(${component} \"${file}\" ${target})\n")
endfunction()

# ALL_COMPONENTS: the check runs whichever component is installed, before any other rule (the
# rules run in the order of their directories, and this is the first).
install(CODE "include(\"${PROJECT_BINARY_DIR}/crv_install_check-$<CONFIG>.cmake\")" ALL_COMPONENTS)

# Writes the check once every directory has declared its files (called at the end of the top
# level).
function(crv_write_install_check)
  get_property(needs GLOBAL PROPERTY CRV_INSTALL_NEEDS)
  string(JOIN "" needs ${needs})
  file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/crv_install_check-$<CONFIG>.cmake CONTENT
"# Made by CMake (cmake/CrvInstallCheck.cmake): stops the install before anything is copied when a
# file of the components asked for has not been built.
set(crv_missing_targets)
set(crv_missing_files)
macro(crv_need component file target)
  if((NOT CMAKE_INSTALL_COMPONENT OR CMAKE_INSTALL_COMPONENT STREQUAL \"\${component}\")
     AND NOT EXISTS \"\${file}\")
    list(APPEND crv_missing_targets \${target})
    list(APPEND crv_missing_files \"\${file}\")
  endif()
endmacro()
${needs}
if(crv_missing_targets)
  list(REMOVE_DUPLICATES crv_missing_targets)
  list(JOIN crv_missing_targets \" \" targets)
  list(JOIN crv_missing_files \"\\n  \" files)
  message(FATAL_ERROR \"crv: nothing installed: this build has not made\\n  \${files}\\n\"
    \"Build them first with\\n  cmake --build ${PROJECT_BINARY_DIR} --target \${targets}\\n\"
    \"or build everything with `cmake --build ${PROJECT_BINARY_DIR}`, or install only the \"
    \"components that are built (cmake --install ${PROJECT_BINARY_DIR} --component NAME).\")
endif()
")
endfunction()
