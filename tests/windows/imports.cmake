# A DLL may need what every Windows has and nothing else.
#
#   cmake -DLIBRARY=<DLL> -DLISTER=<objdump> -P imports.cmake
cmake_minimum_required(VERSION 3.25)

set(part_of_windows KERNEL32.dll msvcrt.dll)

execute_process(COMMAND "${LISTER}" --private-headers "${LIBRARY}"
  OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "DLL Name: [^\n]+" imports "${text}")
list(TRANSFORM imports REPLACE "^DLL Name: " "")
if(NOT imports)
  message(FATAL_ERROR "${LIBRARY} has no import table that ${LISTER} can read")
endif()
message(STATUS "${LIBRARY} imports from: ${imports}")

list(REMOVE_ITEM imports ${part_of_windows})
if(imports)
  message(FATAL_ERROR "${LIBRARY} needs what a Windows may lack: ${imports}")
endif()
