# docs/rooms.dot is what the includes under ROOT give now, and docs/rooms.svg was drawn from it.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/QvregRoomsGraph.cmake")

qvreg_read_includes("${ROOT}" "${EXPORTED}" faults edges)
qvreg_rooms_graph("${edges}" expected)
file(READ "${ROOT}/docs/rooms.dot" kept)
if(NOT kept STREQUAL expected)
  message(FATAL_ERROR
    "docs/rooms.dot is not what the includes give now: run ./dev docs. They give:\n${expected}")
endif()
qvreg_graph_mark("${kept}" mark)
file(READ "${ROOT}/docs/rooms.svg" drawing)
string(FIND "${drawing}" "${mark}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "docs/rooms.svg was not drawn from docs/rooms.dot: run ./dev docs")
endif()
