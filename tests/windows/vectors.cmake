# A DLL must not use vectors of 32 bytes: GCC spills them to places on the stack that 64-bit Windows
# aligns to 16 (GCC's bug 54412).
#
#   cmake -DLIBRARY=<DLL> -DLISTER=<objdump> -P vectors.cmake
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${LISTER}" --disassemble --no-show-raw-insn "${LIBRARY}"
  OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
if(NOT text MATCHES "%xmm[0-9]")
  message(FATAL_ERROR "${LISTER} shows no vector code in ${LIBRARY}, which has some")
endif()
if(text MATCHES "[^\n]*%[yz]mm[0-9][^\n]*")
  message(FATAL_ERROR "${LIBRARY} uses vectors of 32 bytes or more: ${CMAKE_MATCH_0}")
endif()
