# Wherever a DLL keeps a vector of 32 bytes or more, it must not expect it to be aligned: GCC spills
# vectors to places on the stack that 64-bit Windows aligns to 16 (GCC's bug 54412).
#
#   cmake -DLIBRARY=<DLL> -DLISTER=<objdump> -P vectors.cmake
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${LISTER}" --disassemble --no-show-raw-insn "${LIBRARY}"
  OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
foreach(width IN ITEMS y z)
  if(NOT text MATCHES "vmovup[^\n]*%${width}mm[0-9]")
    message(FATAL_ERROR "${LISTER} shows no code with %${width}mm in ${LIBRARY}, which has some")
  endif()
endforeach()
if(text MATCHES "[^\n]*vmov(ap|dqa|nt)[^\n]*\\([^\n]*%[yz]mm[0-9][^\n]*" OR
   text MATCHES "[^\n]*vmov(ap|dqa|nt)[^\n]*%[yz]mm[0-9][^\n]*\\([^\n]*")
  message(FATAL_ERROR "${LIBRARY} expects a vector in memory to be aligned: ${CMAKE_MATCH_0}")
endif()
