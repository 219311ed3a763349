# Writes docs/rooms.dot from the includes under ROOT, and docs/rooms.svg from that with DOT, the
# program of Graphviz. Both are kept in the repository.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/../cmake/QvregRoomsGraph.cmake")

qvreg_read_includes("${ROOT}" "${EXPORTED}" faults edges)
if(faults)
  list(JOIN faults "\n" faults)
  message(FATAL_ERROR "the floors do not hold, so there is no diagram of them:\n${faults}")
endif()
qvreg_rooms_graph("${edges}" text)
qvreg_graph_mark("${text}" mark)
file(WRITE "${ROOT}/docs/rooms.dot" "${text}")
execute_process(
  COMMAND "${DOT}" -Tsvg "${ROOT}/docs/rooms.dot"
  OUTPUT_VARIABLE drawing
  COMMAND_ERROR_IS_FATAL ANY)
file(WRITE "${ROOT}/docs/rooms.svg" "${drawing}${mark}")
