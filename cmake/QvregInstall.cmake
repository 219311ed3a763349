# What `cmake --install` writes: the library, the headers that qvreg/qvreg.h reaches, the package
# configuration that find_package(qvreg) finds, and the command. The tree may be moved as a whole.
include(CMakePackageConfigHelpers)
include(QvregHeaders)

set(qvreg_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qvreg")

install(TARGETS qvreg EXPORT qvregTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT qvregTargets
  NAMESPACE qvreg::
  DESTINATION "${qvreg_package_dir}")

qvreg_reachable_headers(qvreg_headers)
foreach(header IN LISTS qvreg_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES "${PROJECT_SOURCE_DIR}/${header}"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}")
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/include/qvreg/QvExport.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qvreg")

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
  DESTINATION "${qvreg_package_dir}")

if(QVREG_BUILD_HOST)
  # The command finds the libraries beside it, wherever the tree stands.
  file(RELATIVE_PATH qvreg_bin_to_lib
    "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(qvreg_command PROPERTIES
    INSTALL_RPATH "$<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>/${qvreg_bin_to_lib}")

  # DuckDB comes along when it is the copy that ./dev setup keeps: no system would have it.
  cmake_path(IS_PREFIX PROJECT_SOURCE_DIR "${DuckDB_LIBRARY}" NORMALIZE qvreg_brings_duckdb)
  if(qvreg_brings_duckdb)
    cmake_path(GET DuckDB_LIBRARY PARENT_PATH qvreg_duckdb_dir)
    install(FILES "${DuckDB_LIBRARY}" DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    install(FILES "${qvreg_duckdb_dir}/LICENSE"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/licenses/duckdb")
  else()
    set_target_properties(qvreg_command PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
  endif()
endif()
