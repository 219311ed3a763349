# Runs examples where they were built. Both print the same.
#
#   cmake -DBUILD=<folder of the programs> -DSUFFIX=<.exe or nothing> -DEMULATOR=<list>
#         -DTESTS=<tests/examples> -P run_examples.cmake
cmake_minimum_required(VERSION 3.25)

foreach(example IN ITEMS fit_from_vector fit_from_c)
  set(COMMAND ${EMULATOR} "${BUILD}/${example}${SUFFIX}")
  set(EXPECTED "${TESTS}/expected/fit_from_vector.txt")
  include("${TESTS}/output.cmake")
endforeach()
