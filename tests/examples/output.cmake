# Runs a program and compares what it prints with a file.
#
#   cmake -DCOMMAND=<program;argument;...> -DEXPECTED=<file> -P output.cmake
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${COMMAND} OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${COMMAND} ended with ${result}\n${output}")
endif()
string(REPLACE "\r\n" "\n" output "${output}")
file(READ "${EXPECTED}" expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "${COMMAND} printed\n${output}and not, as ${EXPECTED} has it,\n${expected}")
endif()
message(STATUS "${output}")
