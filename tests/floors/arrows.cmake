# Which edges between rooms become arrows of the diagram.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/QvregRoomsGraph.cmake")

# expect_arrows(EDGES EXPECTED)
function(expect_arrows edges expected)
  qvreg_drawn_edges("${edges}" drawn)
  if(NOT drawn STREQUAL expected)
    message(FATAL_ERROR "of ${edges} are drawn: ${drawn}, and not: ${expected}")
  endif()
endfunction()

expect_arrows("a>b;b>c" "a>b;b>c")
expect_arrows("a>b;a>c;b>c" "a>b;b>c")
expect_arrows("a>b;a>d;b>c;c>d" "a>b;b>c;c>d")
# A circle is against the floors, and may be there while that is being found.
expect_arrows("a>b;b>a" "")
expect_arrows("a>b;b>c;c>a" "")
