# What `cpack` makes in packages/ of the build folder, from the components of QvregInstall:
#   Windows  a ZIP with all that embedding takes
#   Linux    the same as a TGZ, and another with the command, the library and DuckDB, which needs
#            libfmt, libsqlite3 and libpugixml of the system; both unpack into one folder
#   Debian   as well, when made on Debian: libqvreg<N>, libqvreg-dev and qvreg (the command), each
#            with its dependencies
set(QVREG_PACKAGE_CONTACT "The qvreg authors <authors@qvreg.example>" CACHE STRING
  "Who answers for the packages")

set(CPACK_PACKAGE_NAME qvreg)
set(CPACK_PACKAGE_VENDOR "The qvreg authors")
set(CPACK_PACKAGE_CONTACT "${QVREG_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_SOURCE_IGNORE_FILES "/build/" "/\\.deps/" "/\\.git/")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
# Whoever packs may have another umask.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(WIN32)
  set(qvreg_generators ZIP)
else()
  set(qvreg_generators TGZ)
  # Debian's packages name what they need as the Debian that makes them does.
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND EXISTS "/etc/debian_version")
    list(APPEND qvreg_generators DEB)
  endif()
endif()
set(CPACK_GENERATOR "${qvreg_generators}")

# A group is an archive. Debian's packages are the components themselves, see QvregPackagesFor.
set(CPACK_COMPONENTS_ALL development)
if(BUILD_SHARED_LIBS)
  list(PREPEND CPACK_COMPONENTS_ALL library)
endif()
set(CPACK_COMPONENT_LIBRARY_GROUP embedding)
set(CPACK_COMPONENT_DEVELOPMENT_GROUP embedding)
if(QVREG_BUILD_HOST)
  list(APPEND CPACK_COMPONENTS_ALL command)
  if(BUILD_SHARED_LIBS)
    list(APPEND CPACK_COMPONENTS_ALL command_library)
  endif()
  set(CPACK_COMPONENT_COMMAND_GROUP running)
  set(CPACK_COMPONENT_COMMAND_LIBRARY_GROUP running)
endif()
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/cmake/QvregPackagesFor.cmake")

string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" qvreg_system)
set(CPACK_PACKAGE_FILE_NAME "qvreg-${PROJECT_VERSION}-${qvreg_system}")
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_ARCHIVE_EMBEDDING_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}")
set(CPACK_ARCHIVE_RUNNING_FILE_NAME "qvreg-command-${PROJECT_VERSION}-${qvreg_system}")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqvreg-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "regression engine that applications embed (development)
Headers, package configuration, documents and examples for hosts of the
library, in C++ and in C.")
set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME qvreg)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION math)
set(CPACK_DEBIAN_COMMAND_DESCRIPTION "fits regression models to tables
The command qvreg fits linear and multinomial logistic models to the tables
that DuckDB reads, from a formula.")
if(BUILD_SHARED_LIBS)
  get_target_property(soversion qvreg SOVERSION)
  set(package "libqvreg${soversion}")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME "${package}")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "regression engine that applications embed
Estimates linear and multinomial logistic models over a stream of records
that it need not hold in memory.")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${package} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${package} (= ${PROJECT_VERSION})")
  # What the build of another package learns from this one.
  set(qvreg_shlibs "${PROJECT_BINARY_DIR}/cmake/shlibs")
  file(WRITE "${qvreg_shlibs}" "libqvreg ${soversion} ${package} (>= ${PROJECT_VERSION})\n")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${qvreg_shlibs}")
endif()

include(CPack)
