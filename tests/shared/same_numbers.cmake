# Loops for vectors of 32 and of 64 bytes give the same reference fits, to the last bit. A machine
# that has neither compares other loops with themselves.
#
#   cmake -DPROGRAM=<qvreg_reference_fits> [-DEMULATOR=...] -DFITS=<a file to write>
#     -P same_numbers.cmake
cmake_minimum_required(VERSION 3.25)

set(ENV{QVREG_ARITHMETIC} v3)
execute_process(COMMAND ${EMULATOR} "${PROGRAM}" write "${FITS}" COMMAND_ERROR_IS_FATAL ANY)
set(ENV{QVREG_ARITHMETIC} v4)
execute_process(COMMAND ${EMULATOR} "${PROGRAM}" compare "${FITS}" COMMAND_ERROR_IS_FATAL ANY)
