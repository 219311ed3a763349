# The command fits a table, and says that it went well.
#
#   cmake -DCOMMAND=<the command> -DDATA=<penguins.csv> -P fit.cmake
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${COMMAND}" fit --data "${DATA}" --formula "body_mass ~ flipper_length"
  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(NOT output MATCHES "flipper_length[^\n]* 49\\.6")
  message(FATAL_ERROR "the fit is not the one expected:\n${output}")
endif()
