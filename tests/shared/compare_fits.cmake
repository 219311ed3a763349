# A comparison of reference fits passes with the same numbers and fails at one changed digit, which it
# names, and at a number too few.
#
#   cmake -DPROGRAM=<qvreg_reference_fits> [-DEMULATOR=...] -DFITS=<a file to write>
#     -P compare_fits.cmake
cmake_minimum_required(VERSION 3.25)

function(expect result pattern)
  execute_process(COMMAND ${EMULATOR} "${PROGRAM}" compare "${FITS}"
    RESULT_VARIABLE got OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT got EQUAL result OR NOT output MATCHES "${pattern}")
    message(FATAL_ERROR "ended with ${got} instead of ${result}, or lacks '${pattern}':\n${output}")
  endif()
endfunction()

execute_process(COMMAND ${EMULATOR} "${PROGRAM}" write "${FITS}" COMMAND_ERROR_IS_FATAL ANY)
expect(0 "numbers here, [0-9]+ there, 0 of these different")

# The last digit of one mantissa: a relative difference of no more than 15 times 2^-52.
file(READ "${FITS}" written)
string(REGEX MATCH "linear/longley plain estimate 1\t[^\n]*" line "${written}")
string(REGEX MATCH "^(.*)(.)(p.*)$" parts "${line}")
if(CMAKE_MATCH_2 STREQUAL "0")
  set(digit 1)
else()
  set(digit 0)
endif()
string(REPLACE "${line}" "${CMAKE_MATCH_1}${digit}${CMAKE_MATCH_3}" changed "${written}")
file(WRITE "${FITS}" "${changed}")
expect(1 "linear/longley plain estimate 1: [^\n]* here, [^\n]* there.*, 1 of these different")

string(REPLACE "${line}\n" "" shorter "${written}")
file(WRITE "${FITS}" "${shorter}")
expect(1 "linear/longley plain estimate 1: [^\n]* here, none there")
