# Do the includes under ROOT keep to the floors? EXPORTED lists the headers that a package exports.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/QvregFloors.cmake")

qvreg_read_includes("${ROOT}" "${EXPORTED}" faults edges)
list(LENGTH faults count)
if(count GREATER 0)
  list(JOIN faults "\n" faults)
  message(NOTICE "${faults}")
  message(FATAL_ERROR "against the floors of cmake/QvregFloors.cmake: ${count}")
endif()
list(LENGTH edges count)
# A tree that was not read at all would keep to them, too.
if(count EQUAL 0)
  message(FATAL_ERROR "there is no include from one room to another under ${ROOT}")
endif()
message(STATUS "the floors hold: ${count} pairs of rooms, and every include leads downward")
