# Builds the project in outside/, which includes qvreg's sources, runs its program, and sees that
# its installation holds its program and nothing of qvreg's.
#
#   cmake -DPROJECT=<outside> -DFOLDER=<to build in> -DOPTIONS=<list> -DTESTS=<tests/examples>
#         -DSTEPS=<configure, or build> -P outside.cmake
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${FOLDER}")
execute_process(
  COMMAND "${CMAKE_COMMAND}" -S "${PROJECT}" -B "${FOLDER}" ${OPTIONS} COMMAND_ERROR_IS_FATAL ANY)
if(STEPS STREQUAL "configure")
  return()
endif()

execute_process(
  COMMAND "${CMAKE_COMMAND}" --build "${FOLDER}" --parallel COMMAND_ERROR_IS_FATAL ANY)
set(COMMAND "${FOLDER}/program")
set(EXPECTED "${TESTS}/expected/fit_from_vector.txt")
include("${TESTS}/output.cmake")

execute_process(COMMAND "${CMAKE_COMMAND}" --install "${FOLDER}" --prefix "${FOLDER}/prefix"
  COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE installed LIST_DIRECTORIES FALSE RELATIVE "${FOLDER}/prefix" "${FOLDER}/prefix/*")
if(NOT installed STREQUAL "bin/program")
  message(FATAL_ERROR "the outside project installs ${installed}")
endif()
