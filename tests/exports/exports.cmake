# Compares what a shared library exports with what it means to: functions, demangled and sorted, with
# a list kept beside this script; and every name with the classes and functions that the headers
# mark for export and the functions of the C interface. Both are the same for every system.
#
#   cmake -DLIBRARY=<file> -DLISTER=<nm, or objdump for a DLL> -DFILTER=<c++filt> -DSCRATCH=<folder>
#         -DROOT=<repository> -DHEADERS=<its exported headers> [-DWRITE=ON] -P exports.cmake
#
# WRITE writes the list anew, for a change of the interface that is meant.
cmake_minimum_required(VERSION 3.25)

set(list_file "${CMAKE_CURRENT_LIST_DIR}/exports.txt")

# The symbols as the linker knows them.
function(read_symbols result)
  if(LIBRARY MATCHES "\\.dll$")
    set(command "${LISTER}" --private-headers "${LIBRARY}")
  else()
    set(command "${LISTER}" --dynamic --defined-only "${LIBRARY}")
  endif()
  execute_process(COMMAND ${command} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  if(LIBRARY MATCHES "\\.dll$")
    string(REGEX REPLACE "^.*\\[Ordinal/Name Pointer\\] Table" "" text "${text}")
    string(REGEX MATCHALL "\n\t\\[ *[0-9]+\\] [^\n]+" lines "${text}")
  else()
    string(REGEX MATCHALL "[0-9a-f]+ [A-Za-z] [^\n]+" lines "${text}")
  endif()
  list(TRANSFORM lines REPLACE "^.* " "")
  set(${result} "${lines}" PARENT_SCOPE)
endfunction()

# Their names in C++, each once: a constructor has more than one symbol.
function(demangle result symbols)
  list(JOIN symbols "\n" text)
  set(input "${SCRATCH}/symbols.txt")
  file(WRITE "${input}" "${text}\n")
  execute_process(COMMAND "${FILTER}" INPUT_FILE "${input}" OUTPUT_VARIABLE output
    COMMAND_ERROR_IS_FATAL ANY)
  string(STRIP "${output}" output)
  # What the C libraries call the structure behind FILE.
  string(REGEX REPLACE "(_IO_FILE|_iobuf)" "FILE" output "${output}")
  string(REPLACE "\n" ";" names "${output}")
  list(REMOVE_DUPLICATES names)
  list(SORT names COMPARE STRING)
  set(${result} "${names}" PARENT_SCOPE)
endfunction()

# The classes and the functions in a namespace that the headers mark, the latter without parameters,
# and the functions of the C interface.
function(read_marked classes functions)
  set(found_classes)
  set(found_functions)
  foreach(header IN LISTS HEADERS)
    file(READ "${ROOT}/${header}" text)
    string(REGEX MATCHALL "(class|struct) QVREG_EXPORT [A-Za-z]+" matches "${text}")
    list(TRANSFORM matches REPLACE "^.* " "")
    list(APPEND found_classes ${matches})
    string(REGEX MATCHALL "QVREG_EXPORT [a-z0-9_ \n*]*qvreg_[a-z0-9_]+\\(" matches "${text}")
    list(TRANSFORM matches REPLACE "^.*(qvreg_[a-z0-9_]+)\\($" "\\1")
    list(APPEND found_functions ${matches})
    string(REGEX MATCHALL "QVREG_EXPORT [a-z]+ [A-Z][A-Za-z]+\\(" matches "${text}")
    set(scope "")
    if(text MATCHES "namespace ([A-Za-z]+) {")
      set(scope "${CMAKE_MATCH_1}::")
    endif()
    list(TRANSFORM matches REPLACE "^.* ([A-Za-z]+)\\($" "${scope}\\1")
    list(APPEND found_functions ${matches})
  endforeach()
  set(${classes} "${found_classes}" PARENT_SCOPE)
  set(${functions} "${found_functions}" PARENT_SCOPE)
endfunction()

# The class of a member, of a virtual table or of type information; empty for anything else.
function(class_of result name)
  string(REGEX REPLACE "^(vtable|typeinfo|typeinfo name) for (.*)$" "\\2::" name "${name}")
  string(REGEX REPLACE "\\(.*$" "" name "${name}")
  string(REGEX REPLACE "^QvCommon::" "" name "${name}")
  set(class)
  if(name MATCHES "^([A-Za-z]+)::[^:]*$")
    set(class "${CMAKE_MATCH_1}")
  endif()
  set(${result} "${class}" PARENT_SCOPE)
endfunction()

read_symbols(symbols)
demangle(names "${symbols}")
read_marked(classes functions)

set(unwritten ${functions})
foreach(name IN LISTS names)
  string(REGEX REPLACE "\\(.*$" "" function "${name}")
  list(REMOVE_ITEM unwritten "${function}")
  class_of(class "${name}")
  if(NOT class IN_LIST classes AND NOT function IN_LIST functions)
    list(APPEND unmarked "${name}")
  endif()
endforeach()

# Virtual tables and type information come with their classes, as each compiler sees fit.
set(listed ${names})
list(FILTER listed EXCLUDE REGEX "^(vtable|typeinfo|typeinfo name) for ")
if(WRITE)
  list(JOIN listed "\n" text)
  file(WRITE "${list_file}" "${text}\n")
endif()
file(STRINGS "${list_file}" expected)
set(added ${listed})
list(REMOVE_ITEM added ${expected})
set(gone ${expected})
list(REMOVE_ITEM gone ${listed})

list(LENGTH symbols n_symbols)
list(LENGTH listed n_listed)
message(STATUS "${LIBRARY} exports ${n_symbols} symbols, ${n_listed} functions by name")
foreach(kind IN ITEMS unmarked unwritten added gone)
  if(${kind})
    list(JOIN ${kind} "\n  " text)
    string(APPEND faults "${kind}:\n  ${text}\n")
  endif()
endforeach()
if(faults)
  message(FATAL_ERROR "the exports are not those of ${list_file}\n${faults}"
    "Where the change is meant, run this with -DWRITE=ON and keep the new list.")
endif()
