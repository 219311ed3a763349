# What `cmake --install` writes. The tree may be moved as a whole. Its components are
#   library          the shared library, as programs load it
#   development      what building against it takes: the headers that a host includes, the package
#                    configuration that find_package(qvreg) finds, the one of pkg-config, documents
#                    and examples; the static library, when that is built
#   command          the command, its manual pages, what completes it in a shell, the DuckDB that it
#                    brings, and the licences of what it embeds
#   command_library  the shared library once more, for an archive that holds all the command needs;
#                    only cpack asks for it
include(CMakePackageConfigHelpers)

set(qvreg_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qvreg")

install(TARGETS qvreg EXPORT qvregTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT library
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development
  FILE_SET generated DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT qvregTargets
  NAMESPACE qvreg::
  DESTINATION "${qvreg_package_dir}"
  COMPONENT development)

configure_package_config_file(cmake/qvregConfig.cmake.in
  "${PROJECT_BINARY_DIR}/cmake/qvregConfig.cmake"
  INSTALL_DESTINATION "${qvreg_package_dir}"
  NO_SET_AND_CHECK_MACRO)
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/cmake/qvregConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/cmake/qvregConfig.cmake"
  "${PROJECT_BINARY_DIR}/cmake/qvregConfigVersion.cmake"
  DESTINATION "${qvreg_package_dir}"
  COMPONENT development)

if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  message(FATAL_ERROR "CMAKE_INSTALL_LIBDIR and CMAKE_INSTALL_INCLUDEDIR must be relative to the "
    "prefix: the package can be moved as a whole.")
endif()
# pkg-config's description finds the tree from where it stands itself.
file(RELATIVE_PATH qvreg_pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" qvreg_pc_to_prefix "${qvreg_pc_to_prefix}")
set(qvreg_pc_defines)
set(qvreg_pc_private_libs)
if(NOT BUILD_SHARED_LIBS)
  set(qvreg_pc_defines " -DQVREG_STATIC_DEFINE")
  # What a compiler of C does not link by itself.
  if(MINGW)
    # Asked for static libraries, the compiler does not say which it links, or names their files.
    set(libraries stdc++)
  else()
    set(libraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
    list(REMOVE_ITEM libraries ${CMAKE_C_IMPLICIT_LINK_LIBRARIES})
  endif()
  list(REMOVE_DUPLICATES libraries)
  list(TRANSFORM libraries PREPEND " -l")
  string(CONCAT qvreg_pc_private_libs ${libraries})
endif()
configure_file(cmake/qvreg.pc.in "${PROJECT_BINARY_DIR}/cmake/qvreg.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/cmake/qvreg.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)

install(FILES README.md CHANGELOG.md
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/qvreg"
  COMPONENT development)
# Each package that does not depend on another carries the licence.
set(qvreg_licence_components development)
if(BUILD_SHARED_LIBS)
  set(qvreg_licence_components library)
  if(QVREG_BUILD_HOST)
    list(APPEND qvreg_licence_components command_library)
  endif()
elseif(QVREG_BUILD_HOST)
  list(APPEND qvreg_licence_components command)
endif()
foreach(component IN LISTS qvreg_licence_components)
  set(rarely)
  if(component STREQUAL "command_library")
    set(rarely EXCLUDE_FROM_ALL)
  endif()
  install(FILES LICENSE
    DESTINATION "${CMAKE_INSTALL_DATADIR}/licenses/qvreg"
    COMPONENT ${component} ${rarely})
endforeach()
install(DIRECTORY docs/
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/qvreg/docs"
  COMPONENT development
  FILES_MATCHING PATTERN *.md PATTERN *.json)
install(DIRECTORY examples/
  DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/qvreg/examples"
  COMPONENT development
  FILES_MATCHING
  PATTERN build* EXCLUDE
  PATTERN CMakeLists.txt PATTERN *.cpp PATTERN *.c PATTERN *.h PATTERN *.py
  PATTERN *.csv PATTERN *.md)

if(QVREG_BUILD_HOST)
  if(BUILD_SHARED_LIBS)
    install(TARGETS qvreg
      RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT command_library EXCLUDE_FROM_ALL
      LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT command_library EXCLUDE_FROM_ALL
        NAMELINK_SKIP)
  endif()

  # The command finds the libraries beside it, wherever the tree stands.
  file(RELATIVE_PATH qvreg_bin_to_lib
    "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set(qvreg_rpath "$<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>/${qvreg_bin_to_lib}")

  # DuckDB comes along when it is the copy that ./dev setup keeps: no system would have it. It
  # stands in a folder of our own, out of the way of a DuckDB that the system gets one day.
  cmake_path(IS_PREFIX PROJECT_SOURCE_DIR "${DuckDB_LIBRARY}" NORMALIZE qvreg_brings_duckdb)
  if(qvreg_brings_duckdb)
    cmake_path(GET DuckDB_LIBRARY PARENT_PATH qvreg_duckdb_dir)
    install(FILES "${DuckDB_LIBRARY}"
      DESTINATION "${CMAKE_INSTALL_LIBDIR}/qvreg"
      COMPONENT command)
    install(FILES "${qvreg_duckdb_dir}/LICENSE"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/licenses/duckdb"
      COMPONENT command)
    list(APPEND qvreg_rpath "${qvreg_rpath}/qvreg")
  else()
    set_target_properties(qvreg_command PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
  endif()
  set_target_properties(qvreg_command PROPERTIES INSTALL_RPATH "${qvreg_rpath}")
  foreach(library IN LISTS qvreg_page_libraries)
    install(FILES "${QVREG_PAGE_DIR}/LICENSE.${library}"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/licenses/${library}"
      RENAME LICENSE
      COMPONENT command)
  endforeach()
  install(TARGETS qvreg_command RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT command)
  if(qvreg_pages_dir)
    install(DIRECTORY "${qvreg_pages_dir}/man/" DESTINATION "${CMAKE_INSTALL_MANDIR}" COMPONENT command)
    foreach(folder IN ITEMS bash-completion zsh)
      install(DIRECTORY "${qvreg_pages_dir}/${folder}" DESTINATION "${CMAKE_INSTALL_DATADIR}"
        COMPONENT command)
    endforeach()
  endif()
endif()
