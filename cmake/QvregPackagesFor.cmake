# Read by cpack once for each generator.
if(CPACK_GENERATOR STREQUAL "DEB")
  # A package for each component. One depends on another instead of repeating its files.
  set(CPACK_COMPONENTS_GROUPING IGNORE)
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL command_library)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY OFF)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/QvregDebianFiles.cmake")
  # It would be put before the description of each package, which begins with its own.
  unset(CPACK_PACKAGE_DESCRIPTION_SUMMARY)
endif()
