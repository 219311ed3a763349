# Packs BUILD into the empty folder PACKAGES and sees that there are the packages EXPECTED and no
# others.
#
#   cmake -DBUILD=<folder> -DPACKAGES=<folder> -DGENERATORS=<list> -DEXPECTED=<list> -P pack.cmake
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${PACKAGES}")
execute_process(
  COMMAND "${CMAKE_CPACK_COMMAND}" --config "${BUILD}/CPackConfig.cmake" -G "${GENERATORS}"
    -B "${PACKAGES}"
  ERROR_VARIABLE errors
  COMMAND_ERROR_IS_FATAL ANY)
if(errors MATCHES "Warning")
  message(FATAL_ERROR "cpack warns:\n${errors}")
endif()
# Its working copies, a few hundred megabytes.
file(REMOVE_RECURSE "${PACKAGES}/_CPack_Packages")

file(GLOB packages LIST_DIRECTORIES FALSE RELATIVE "${PACKAGES}" "${PACKAGES}/*")
list(SORT packages)
list(SORT EXPECTED)
if(NOT packages STREQUAL EXPECTED)
  message(FATAL_ERROR "cpack made: ${packages}\nand not: ${EXPECTED}")
endif()
