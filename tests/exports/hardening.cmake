# What is installed must be hardened, as cmake/QvregBuildOptions.cmake asks: read off a built file.
#
#   cmake -DFILE=<library or program> -DLISTER=<readelf, or objdump for a DLL> -P hardening.cmake
cmake_minimum_required(VERSION 3.25)

# read(RESULT OPTION...): what the lister says of the file.
function(read result)
  execute_process(COMMAND "${LISTER}" ${ARGN} "${FILE}"
    OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# expect(TEXT EXPRESSION MISSING): it must match, or else the file lacks what MISSING says.
function(expect text expression missing)
  if(NOT text MATCHES "${expression}")
    message(SEND_ERROR "${FILE}: ${missing}")
  endif()
endfunction()

if(FILE MATCHES "\\.dll$")
  read(header --private-headers)
  foreach(mark IN ITEMS HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT)
    expect("${header}" "[\t ]${mark}" "not marked ${mark}")
  endforeach()
  return()
endif()

read(segments --wide --program-headers)
expect("${segments}" "GNU_RELRO" "no part is read-only after it is loaded")
expect("${segments}" "GNU_STACK [^\n]* RW +0x" "its stack can be run")
read(dynamic --wide --dynamic)
expect("${dynamic}" "BIND_NOW" "functions are looked up while it runs, in a table that can be written")
read(symbols --wide --dyn-syms)
expect("${symbols}" "UND __stack_chk_fail" "no function guards its stack")
expect("${symbols}" "UND __[a-z0-9]+_chk[@ ]" "no call of the C library is checked")
