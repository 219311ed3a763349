execute_process(
  COMMAND "${PYTHON}" "${CHECK}" "${CMAKE_CURRENT_LIST_DIR}/forbidden" qvreg/settings/Exported.h
  RESULT_VARIABLE status
  OUTPUT_VARIABLE faults)
file(READ "${CMAKE_CURRENT_LIST_DIR}/forbidden.txt" expected)
if(NOT status EQUAL 1 OR NOT faults STREQUAL expected)
  message(FATAL_ERROR "the check says (${status}):\n${faults}where this was expected:\n${expected}")
endif()
