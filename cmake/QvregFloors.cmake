# The floors of the house: which files make a room, where it stands, and what it may include. The
# floor tests and the diagram of docs/architecture.md are both made from this table and from the
# includes in the sources.
#
# A room includes itself and rooms on lower floors of its own house. Rooms on one floor do not know
# one another. The library (qvreg/) never includes the host (host/), and nothing but the standard
# library besides itself; the host and the C interface include those of the library's headers that
# a package exports.
include_guard()
include("${CMAKE_CURRENT_LIST_DIR}/QvregHeaders.cmake")

# qvreg_room(ROOM HOUSE FLOOR FILES WORDS): a room holds the files that match the expression FILES
# and no room above it in this list.
set(qvreg_rooms)
macro(qvreg_room room house floor files words)
  list(APPEND qvreg_rooms ${room})
  set(qvreg_${room}_house ${house})
  set(qvreg_${room}_floor ${floor})
  set(qvreg_${room}_files "${files}")
  set(qvreg_${room}_words "${words}")
endmacro()

# The status codes and the factory share a folder with the interfaces between them.
qvreg_room(c library 6 "^qvreg/c/" "the C interface")
qvreg_room(qvreg.h library 6 "^qvreg/qvreg\\.h$" "every header for C++")
qvreg_room(factory library 5 "^qvreg/component/QvRegFactory\\." "settings to a component")
qvreg_room(glm library 4 "^qvreg/glm/" "the linear model")
qvreg_room(logistic library 4 "^qvreg/logistic/" "the logistic model")
qvreg_room(design library 3 "^qvreg/design/" "records to design rows")
qvreg_room(codes library 0 "^qvreg/component/QvStatusCodes\\.h$" "status codes")
qvreg_room(component library 3 "^qvreg/component/" "what a host sees")
qvreg_room(data library 2 "^qvreg/data/" "records in, the one record pass")
qvreg_room(settings library 1 "^qvreg/settings/" "a run described")
qvreg_room(common library 0 "^qvreg/common/" "statuses, records, matrices")

qvreg_room(cli host 5 "^host/cli/" "the command and its options")
qvreg_room(report host 4 "^host/report/" "text and JSON")
qvreg_room(fit host 3 "^host/fit/" "settings, progress, results")
qvreg_room(formula host 2 "^host/formula/" "a formula to terms")
qvreg_room(table host 1 "^host/table/" "any table to coded records")
qvreg_room(inference host 1 "^host/inference/" "errors, tests, intervals")
qvreg_room(host host 0 "^host/[^/]+$" "error, whole files")

# qvreg_room_of(FILE RESULT): the room of a file, named from the root of the tree, or nothing.
function(qvreg_room_of file result)
  foreach(room IN LISTS qvreg_rooms)
    if(file MATCHES "${qvreg_${room}_files}")
      set(${result} "${room}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
  set(${result} "" PARENT_SCOPE)
endfunction()

# qvreg_fault_of_rooms(ROOM TARGET INCLUDED EXPORTED RESULT): why ROOM may not include the file
# INCLUDED of the room TARGET, or nothing when it may.
function(qvreg_fault_of_rooms room target included exported result)
  set(${result} "" PARENT_SCOPE)
  if(room STREQUAL target)
    return()
  endif()
  set(fault "")
  set(house "${qvreg_${room}_house}")
  set(floor "${qvreg_${room}_floor}")
  set(target_house "${qvreg_${target}_house}")
  set(target_floor "${qvreg_${target}_floor}")
  if(house STREQUAL "library" AND target_house STREQUAL "host")
    set(fault "the library does not know the host")
  elseif(house STREQUAL target_house AND floor EQUAL target_floor)
    set(fault "${room} and ${target} stand on one floor and do not know one another")
  elseif(house STREQUAL target_house AND floor LESS target_floor)
    set(fault "upward, from ${room} (floor ${floor}) to ${target} (floor ${target_floor})")
  elseif(target_house STREQUAL "library" AND NOT included IN_LIST exported
      AND (house STREQUAL "host" OR room STREQUAL "c"))
    set(fault "no package exports this header, and ${room} uses the library as any host does")
  endif()
  set(${result} "${fault}" PARENT_SCOPE)
endfunction()

# qvreg_fault_of_foreign(ROOM INCLUDED QUOTED RESULT): the same for a header that is not ours.
function(qvreg_fault_of_foreign room included quoted result)
  set(fault "")
  if(quoted)
    set(fault "a header of ours is named by its path from the root of the tree")
  elseif(qvreg_${room}_house STREQUAL "library"
      AND NOT included MATCHES "^([a-z_]+|std(bool|def|int)\\.h)$")
    set(fault "the library uses the standard library only")
  endif()
  set(${result} "${fault}" PARENT_SCOPE)
endfunction()

# qvreg_line_of(TEXT DIRECTIVE RESULT): the number of the line that holds an include directive.
function(qvreg_line_of text directive result)
  string(FIND "${text}" "${directive}" place)
  string(SUBSTRING "${text}" 0 ${place} before)
  string(REGEX MATCHALL "\n" breaks "${before}")
  list(LENGTH breaks breaks)
  math(EXPR line "${breaks} + 1")
  set(${result} ${line} PARENT_SCOPE)
endfunction()

# qvreg_fault_of_include(ROOT ROOM INCLUDED QUOTED EXPORTED FAULT TARGET): why a file of ROOM may
# not include INCLUDED, or nothing when it may, and the room of INCLUDED where that is one of ours.
function(qvreg_fault_of_include root room included quoted exported fault_result target_result)
  set(fault "")
  set(target "")
  if(included MATCHES "(^|/)\\.\\.?/")
    set(fault "a header of ours is named by its path from the root of the tree")
  elseif(included IN_LIST qvreg_generated_headers)
    # Every room may include it.
  elseif(NOT included MATCHES "^(qvreg|host)/")
    qvreg_fault_of_foreign(${room} "${included}" ${quoted} fault)
  elseif(NOT EXISTS "${root}/${included}")
    set(fault "there is no such file")
  else()
    qvreg_room_of("${included}" target)
    if(target)
      qvreg_fault_of_rooms(${room} ${target} "${included}" "${exported}" fault)
    else()
      set(fault "it is in no room")
    endif()
  endif()
  set(${fault_result} "${fault}" PARENT_SCOPE)
  set(${target_result} "${target}" PARENT_SCOPE)
endfunction()

# qvreg_read_includes(ROOT EXPORTED FAULTS EDGES): reads the includes of every source under
# ROOT/qvreg and ROOT/host. FAULTS becomes a list of what goes against the floors, one
# "file:line: ..." each; EDGES a list of "room>room", sorted, once each. EXPORTED lists the headers
# that a package exports.
function(qvreg_read_includes root exported faults_result edges_result)
  set(faults)
  set(edges)
  file(GLOB_RECURSE files RELATIVE "${root}"
    "${root}/qvreg/*.h" "${root}/qvreg/*.cpp" "${root}/host/*.h" "${root}/host/*.cpp")
  list(SORT files)
  foreach(file IN LISTS files)
    qvreg_room_of("${file}" room)
    if(NOT room)
      list(APPEND faults "${file}:1: is in no room: name its folder in cmake/QvregFloors.cmake")
      continue()
    endif()
    file(READ "${root}/${file}" text)
    # A list of CMake's ends at a semicolon, and not within brackets.
    string(REGEX REPLACE "[][;]" " " text "\n${text}")
    string(REGEX MATCHALL "\n[ \t]*#[ \t]*include[ \t]*[\"<][^\">\n]+[\">]" directives "${text}")
    foreach(directive IN LISTS directives)
      string(REGEX MATCH "([\"<])([^\">]+)[\">]$" spelled "${directive}")
      set(included "${CMAKE_MATCH_2}")
      string(COMPARE EQUAL "${CMAKE_MATCH_1}" "\"" quoted)
      qvreg_fault_of_include(
        "${root}" ${room} "${included}" ${quoted} "${exported}" fault target)
      if(target AND NOT room STREQUAL target)
        list(APPEND edges "${room}>${target}")
      endif()
      if(fault)
        qvreg_line_of("${text}" "${directive}" line)
        list(APPEND faults "${file}:${line}: includes ${spelled}: ${fault}")
      endif()
    endforeach()
  endforeach()
  list(REMOVE_DUPLICATES edges)
  list(SORT edges)
  set(${faults_result} "${faults}" PARENT_SCOPE)
  set(${edges_result} "${edges}" PARENT_SCOPE)
endfunction()
