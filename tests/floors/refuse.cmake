# A tree that goes against the floors is refused, for exactly the reasons that forbidden.txt lists.
execute_process(
  COMMAND "${CMAKE_COMMAND}" "-DROOT=${CMAKE_CURRENT_LIST_DIR}/forbidden"
    "-DEXPORTED=qvreg/settings/Exported.h" -P "${CMAKE_CURRENT_LIST_DIR}/check.cmake"
  RESULT_VARIABLE status
  ERROR_VARIABLE said)
file(READ "${CMAKE_CURRENT_LIST_DIR}/forbidden.txt" expected)
if(status EQUAL 0)
  message(FATAL_ERROR "the check accepts what goes against the floors")
endif()
string(REGEX REPLACE "CMake Error at .*" "" faults "${said}")
if(NOT faults STREQUAL expected)
  message(FATAL_ERROR "the check says:\n${said}\nwhere this was expected:\n${expected}")
endif()
message(STATUS "refused, as it must be:\n${faults}")
